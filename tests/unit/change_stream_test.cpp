// Both ends of a change stream: the client follows the dataset, recovers from errors, and may be
// lost.

#include <client/ChangeStreamReader.h>
#include <client/DictionaryMessages.h>
#include <client/server/ChangeStreamObserver.h>
#include <libdatasrc/SystemFileDataSource.h>
#include <liborvxdemg/ErrorMsg.h>
#include <liborvxdemg/ResetUndoMsg.h>
#include <ServerDataManager/SaveDataset.h>
#include <tests/support/Datasets.h>
#include <tests/support/FrameChannel.h>
#include <tests/support/FullDictionary.h>
#include <tests/support/MessageBytes.h>
#include <tests/support/Messages.h>
#include <tests/support/Observers.h>
#include <tests/unit/saved_files.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <any>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using support::Names;
using support::Var;
using testing::HasSubstr;
using testing::StartsWith;
using Outcome = ChangeStreamReader::Outcome;

// A dataset with the variables A and B, a stream, and its client.
class ChangeStream : public testing::Test {
 protected:
  ChangeStream() : ChangeStream(support::Dictionary("A B").release(), "") {}
  ChangeStream(ORVX_DataSource* source, const std::string& fileName)
      : id(registry.Add(*source, fileName, /*quiet=*/true)), reader(id) {}

  SvrDMDataset Dataset() { return SvrDMDataset(registry, id); }
  void Register() { Dataset().Register(stream); }

  template <class Change>
  void Write(Change change, SvrDMDataSetObserver* originator = nullptr) {
    support::Write(registry, id, change, originator);
  }
  void Label(const char* label) {
    Write([&](SvrDMWriteableDataSource& writer) { writer->SetLabel(label); });
  }
  void SendSnapshot() {
    const SvrDMInputDataSource handle(registry, id, /*tryOnly=*/false);
    stream.SendSnapshot(handle);
  }

  Outcome Deliver() { return channel.Deliver(reader); }
  // Delivers all frames; every frame must be applied.
  void DeliverAll() {
    while (!channel.frames.empty())
      ASSERT_EQ(Deliver(), Outcome::Applied) << reader.SnapshotReason();
  }
  // Discards the frames that are not delivered yet, then sends and delivers a snapshot.
  void Resynchronise() {
    channel.frames.clear();
    SendSnapshot();
    ASSERT_EQ(Deliver(), Outcome::Applied) << reader.SnapshotReason();
  }

  // Checks that the client has the server's dictionary, digest and case sequence, and does not want
  // a snapshot.
  void ExpectInStep() {
    const SvrDMInputDataSource handle(registry, id, /*tryOnly=*/false);
    EXPECT_FALSE(reader.WantsSnapshot()) << reader.SnapshotReason();
    DataFreeDataSource none;
    const ORVX_DataSource& source = *handle != nullptr ? **handle : none;
    EXPECT_EQ(Names(reader.Dictionary()), Names(source));
    EXPECT_EQ(reader.Digest(), DigestOf(source));
    EXPECT_EQ(DigestOf(reader.Dictionary()), reader.Digest());
    EXPECT_EQ(reader.CaseSequence(), handle.GetCaseSequence());
  }

  ServerDataManager registry;
  LocallyUniqueID id;
  support::FrameChannel channel;
  ChangeStreamObserver stream{channel};
  ChangeStreamReader reader;
};

TEST_F(ChangeStream, AClientFollowsTheStreamFromTheFirstPass) {
  Register();
  EXPECT_EQ(reader.PassNumber(), 0U);
  Label("first");
  Write([](SvrDMWriteableDataSource& writer) {
    writer->InsertVariable(1, Var("C"));
    writer->SetWeightVar(2);
    writer.IncrementCaseSequence();
  });
  DeliverAll();
  EXPECT_EQ(reader.PassNumber(), 2U);
  EXPECT_STREQ(reader.Dictionary().GetLabel(), "first");
  ExpectInStep();
}

class SplitByAll : public DataFreeDataSource {
 public:
  unsigned int GetNSplitVars() const override { return static_cast<unsigned int>(ColumnCount()); }
  int GetSplitVarIndex(unsigned int i) const override { return static_cast<int>(i); }
  LocallyUniqueID GetSplitVarID(unsigned int i) const override {
    return GetVariable(static_cast<int>(i)).GetID();
  }
};

TEST_F(ChangeStream, CarriesASplitByMoreThanEightVariables) {
  Register();
  Write([](SvrDMWriteableDataSource& writer) {
    writer.SetDataSet(new SplitByAll);
    support::Replace(**writer, support::Vars("A B C D E F G H I J K L"));
  });
  DeliverAll();
  EXPECT_EQ(reader.Dictionary().GetNSplitVars(), 12U);
  ExpectInStep();

  Write([](SvrDMWriteableDataSource& writer) { writer->DeleteVariables(9, 10); });
  DeliverAll();
  EXPECT_EQ(reader.Dictionary().GetNSplitVars(), 10U);
  ExpectInStep();

  Resynchronise();
  ExpectInStep();
}

TEST_F(ChangeStream, IsSentWithItsOwnCommandNumber) {
  Register();
  Label("first");
  EXPECT_EQ(channel.lastCommand, kChangeFrameCommand);
}

TEST_F(ChangeStream, SendsNothingForAWriteThatChangedNothing) {
  Register();
  Label("first");
  channel.frames.clear();
  support::WriteNothing(registry, id);
  EXPECT_TRUE(channel.frames.empty());
}

TEST_F(ChangeStream, SendsADatasetWithoutASourceAsEmpty) {
  Register();
  Label("first");
  Write([](SvrDMWriteableDataSource& writer) { writer.SetDataSet(nullptr); });
  DeliverAll();
  ExpectInStep();
  EXPECT_EQ(reader.Dictionary().RowCount(), 0);
  Resynchronise();
  ExpectInStep();
}

TEST_F(ChangeStream, SkipsNullMessages) {
  Register();
  Write([](SvrDMWriteableDataSource& writer) { writer.AddNotification(nullptr); });
  DeliverAll();
  ExpectInStep();
}

TEST_F(ChangeStream, ALateClientRequestsOneSnapshotAndContinues) {
  support::RecordingObserver other;
  Dataset().Register(other);
  Label("before the client came");
  Register();

  Label("after");
  EXPECT_EQ(Deliver(), Outcome::SnapshotWanted);
  EXPECT_THAT(reader.SnapshotReason(), StartsWith("pass 1: the dictionary has the digest "));
  Label("meanwhile");
  EXPECT_EQ(Deliver(), Outcome::Skipped);
  Resynchronise();
  ExpectInStep();

  Label("then");
  EXPECT_EQ(Deliver(), Outcome::Applied);
  ExpectInStep();
  Dataset().Unregister(other);
}

TEST_F(ChangeStream, AClientMayStartWithASnapshot) {
  support::RecordingObserver other;
  Dataset().Register(other);
  Label("before the client came");
  Register();
  SendSnapshot();
  EXPECT_EQ(Deliver(), Outcome::Applied);
  EXPECT_EQ(reader.PassNumber(), 0U);
  ExpectInStep();
  Label("then");
  EXPECT_EQ(Deliver(), Outcome::Applied);
  ExpectInStep();
  Dataset().Unregister(other);
}

TEST_F(ChangeStream, AClientWithASnapshotFromBeforeTheFirstPassRequestsAnother) {
  Register();
  SendSnapshot();
  EXPECT_EQ(Deliver(), Outcome::Applied);
  Label("first");
  EXPECT_EQ(Deliver(), Outcome::SnapshotWanted);
  EXPECT_THAT(reader.SnapshotReason(), HasSubstr("already exists"));
  Resynchronise();
  ExpectInStep();
}

TEST_F(ChangeStream, ALostFrameIsDetectedAtTheNextFrame) {
  Register();
  Label("first");
  DeliverAll();
  Label("lost");
  channel.frames.clear();
  Label("third");
  EXPECT_EQ(Deliver(), Outcome::SnapshotWanted);
  EXPECT_EQ(reader.SnapshotReason(), "pass 3: does not follow pass 1");
  EXPECT_STREQ(reader.Dictionary().GetLabel(), "first");
  Resynchronise();
  EXPECT_EQ(reader.PassNumber(), 3U);
  ExpectInStep();
}

TEST_F(ChangeStream, ADuplicateFrameIsNotApplied) {
  Register();
  Label("first");
  const std::string frame = channel.frames.front();
  DeliverAll();
  EXPECT_EQ(reader.Apply(frame), Outcome::SnapshotWanted);
  EXPECT_EQ(reader.SnapshotReason(), "pass 1: does not follow pass 1");
  Resynchronise();
  ExpectInStep();
}

TEST_F(ChangeStream, AClientsOwnChangeIsDetectedInTheNextPass) {
  Register();
  Label("first");
  DeliverAll();
  Write([](SvrDMWriteableDataSource& writer) { writer->SetLabel("the client's own"); }, &stream);
  EXPECT_TRUE(channel.frames.empty());
  Write([](SvrDMWriteableDataSource& writer) { writer->SetWeightVar(1); });
  EXPECT_EQ(Deliver(), Outcome::SnapshotWanted);
  EXPECT_THAT(reader.SnapshotReason(), StartsWith("pass 2: the dictionary has the digest "));
  EXPECT_STREQ(reader.Dictionary().GetLabel(), "first");
  EXPECT_EQ(reader.Dictionary().GetWeightVarIndex(), -1);
  Resynchronise();
  ExpectInStep();
}

TEST_F(ChangeStream, ABadFrameIsNotAppliedAndMakesTheClientRequestASnapshot) {
  Register();
  Label("first");
  DeliverAll();
  Label("second");
  channel.frames.front().back() ^= 1;
  EXPECT_EQ(Deliver(), Outcome::SnapshotWanted);
  EXPECT_THAT(reader.SnapshotReason(), StartsWith("bad frame: at byte "));
  EXPECT_STREQ(reader.Dictionary().GetLabel(), "first");
  EXPECT_EQ(DigestOf(reader.Dictionary()), reader.Digest());
  Resynchronise();
  ExpectInStep();
}

TEST_F(ChangeStream, ABadSnapshotIsRequestedAgain) {
  EXPECT_EQ(reader.Apply("no frame"), Outcome::SnapshotWanted);
  SendSnapshot();
  channel.frames.front().back() ^= 1;
  EXPECT_EQ(Deliver(), Outcome::SnapshotWanted);
  Resynchronise();
  ExpectInStep();
}

TEST_F(ChangeStream, ASnapshotThatDoesNotMatchItsDigestIsNotApplied) {
  SendSnapshot();
  ChangeFrame frame = ReadChangeFrame(channel.frames.front());
  frame.digest.low ^= 1;
  EXPECT_EQ(reader.Apply(BytesOf(frame)), Outcome::SnapshotWanted);
  EXPECT_THAT(reader.SnapshotReason(), StartsWith("the snapshot after pass 0: the dictionary has"));
  EXPECT_EQ(reader.Dictionary().ColumnCount(), 0);
}

TEST_F(ChangeStream, AnUnrequestedSnapshotIsApplied) {
  Register();
  Label("first");
  DeliverAll();
  SendSnapshot();
  EXPECT_EQ(Deliver(), Outcome::Applied);
  Label("second");
  EXPECT_EQ(Deliver(), Outcome::Applied);
  ExpectInStep();
}

TEST_F(ChangeStream, AFrameOfAnotherDatasetIsIgnored) {
  ChangeStreamReader other(LocallyUniqueID(0, 77));
  Register();
  Label("first");
  EXPECT_EQ(channel.Deliver(other), Outcome::AnotherDataset);
  EXPECT_FALSE(other.WantsSnapshot());
  EXPECT_EQ(other.Dictionary().ColumnCount(), 0);
}

TEST_F(ChangeStream, ASnapshotHasEverythingThatMessagesCarry) {
  Write([](SvrDMWriteableDataSource& writer) {
    writer.SetDataSet(support::FullDictionary().release());
  });
  Resynchronise();
  ExpectInStep();
}

// --- file specifications ---

class ChangeStreamOfAFile : public ChangeStream {
 protected:
  ChangeStreamOfAFile() : ChangeStream(Open("survey.csv"), folder().Path("survey.csv")) {}

  static TemporaryFolder& folder() {
    static TemporaryFolder theFolder;
    return theFolder;
  }
  static ORVX_DataSource* Open(const std::string& name) {
    return SystemFileDataSource::Open(folder().Write(name)).release();
  }
};

TEST_F(ChangeStreamOfAFile, SendsTheFileSpecification) {
  Register();
  Label("first");
  DeliverAll();
  EXPECT_EQ(reader.Dictionary().GetFileSpec(), folder().Path("survey.csv"));
  Resynchronise();
  EXPECT_EQ(reader.Dictionary().GetFileSpec(), folder().Path("survey.csv"));
  ExpectInStep();
}

TEST_F(ChangeStreamOfAFile, DoesNotSendASuppressedFileSpecification) {
  registry.Delete(id);
  registry.Add(*Open("survey.csv"), folder().Path("survey.csv"), true);
  id = registry.Add(*Open("survey.csv"), folder().Path("survey.csv"), true);
  ChangeStreamReader second(id);
  Register();
  Label("first");
  EXPECT_EQ(channel.Deliver(second), Outcome::Applied);
  EXPECT_STREQ(second.Dictionary().GetFileSpec(), "");
  SendSnapshot();
  EXPECT_EQ(channel.Deliver(second), Outcome::Applied);
  EXPECT_STREQ(second.Dictionary().GetFileSpec(), "");
}

// No message reports that the dataset no longer has a saved file.
TEST_F(ChangeStreamOfAFile, KeepsTheOldFileSpecificationWhenTheDatasetLosesItsSavedFile) {
  Register();
  Label("first");
  Write([](SvrDMWriteableDataSource& writer) {
    writer.SetDataSet(support::Dictionary("A").release());
  });
  DeliverAll();
  EXPECT_EQ(reader.Dictionary().GetFileSpec(), folder().Path("survey.csv"));
  Resynchronise();
  EXPECT_STREQ(reader.Dictionary().GetFileSpec(), "");
}

TEST_F(ChangeStream, ASnapshotHasTheFileSpecificationThatSavingReported) {
  const TemporaryFolder folder;
  const std::string path = folder.Path("saved.csv");
  Register();
  Write([&](SvrDMWriteableDataSource& writer) { SaveDataset(writer, path); });
  DeliverAll();
  EXPECT_EQ(reader.Dictionary().GetFileSpec(), path);
  Resynchronise();
  EXPECT_EQ(reader.Dictionary().GetFileSpec(), path);
}

TEST_F(ChangeStream, ASnapshotHasNoFileSpecificationThatNoMessageReported) {
  Register();
  Write([&](SvrDMWriteableDataSource& writer) { writer->SetFileSpec("/data/unsaved.csv"); });
  DeliverAll();
  EXPECT_STREQ(reader.Dictionary().GetFileSpec(), "");
  Resynchronise();
  EXPECT_STREQ(reader.Dictionary().GetFileSpec(), "");
}

// Messages report the rows per imputation only when they become 0, the end of an imputation.
TEST_F(ChangeStream, DoesNotSendRowsPerImputation) {
  Register();
  Write([](SvrDMWriteableDataSource& writer) { writer->RowsPerImputation(5); });
  DeliverAll();
  EXPECT_EQ(reader.Dictionary().RowsPerImputation(), 0);
  ExpectInStep();
  Write([](SvrDMWriteableDataSource& writer) { writer->RowsPerImputation(0); });
  DeliverAll();
  ExpectInStep();
}

// --- a lost client ---

TEST_F(ChangeStream, IsNotLostWhileSendingSucceeds) {
  Register();
  Label("first");
  EXPECT_FALSE(stream.IsLost());
  auto dataset = Dataset();
  EXPECT_EQ(stream.UnregisterIfLost(dataset), std::nullopt);
  Label("second");
  EXPECT_EQ(channel.sends, 2);
}

TEST_F(ChangeStream, SendsNothingAfterAFrameThatCouldNotBeSent) {
  Register();
  Label("first");
  channel.failure = [] { return short{32}; };
  Label("second");
  EXPECT_TRUE(stream.IsLost());
  channel.failure = nullptr;
  Label("third");
  SendSnapshot();
  EXPECT_EQ(channel.sends, 2);
}

TEST_F(ChangeStream, ALostStreamIsUnregisteredAndReportedOnce) {
  Register();
  channel.failure = [] { return short{32}; };
  Label("first");
  auto dataset = Dataset();
  EXPECT_EQ(stream.UnregisterIfLost(dataset), "the channel returned status 32");
  EXPECT_EQ(stream.UnregisterIfLost(dataset), std::nullopt);

  // Without observers, the pass of this write compares nothing. Only a later pass, which has an
  // observer, reports the write.
  Write([](SvrDMWriteableDataSource& writer) { writer->SetWeightVar(1); });
  support::RecordingObserver other;
  dataset.Register(other);
  support::WriteNothing(registry, id);
  EXPECT_EQ(other.passes.size(), 1U);
  dataset.Unregister(other);
}

TEST_F(ChangeStream, ReportsTheExceptionOfTheChannel) {
  int told = 0;
  const auto why = [this, &told](std::function<short()> failure) {
    support::FrameChannel failing;
    failing.failure = std::move(failure);
    ChangeStreamObserver failingStream(failing);
    auto dataset = Dataset();
    dataset.Register(failingStream);
    Label(("told " + std::to_string(++told)).c_str());
    return failingStream.UnregisterIfLost(dataset).value_or("is not lost");
  };
  EXPECT_EQ(why([]() -> short { throw std::runtime_error("no such client"); }), "no such client");
  EXPECT_EQ(why([]() -> short { throw ErrorMsg(2001, "gone"); }), "error 2001 gone");
  EXPECT_EQ(why([]() -> short { throw 55; }), "unknown exception");
}

TEST_F(ChangeStream, IsLostIfAMessageCannotBeSerialised) {
  int deaths = 0;
  Register();
  Write([&](SvrDMWriteableDataSource& writer) {
    writer.AddNotification(new support::CountedMessage(deaths));
  });
  auto dataset = Dataset();
  EXPECT_EQ(stream.UnregisterIfLost(dataset), "Test::CountedMessage cannot be serialised");
  EXPECT_EQ(deaths, 1);
}

TEST_F(ChangeStream, IsLostIfASnapshotCannotBeSent) {
  Register();
  channel.failure = [] { return short{1}; };
  SendSnapshot();
  EXPECT_TRUE(stream.IsLost());
}

TEST_F(ChangeStream, ALostStreamDoesNotAffectOtherObservers) {
  Register();
  support::RecordingObserver other;
  Dataset().Register(other);
  channel.failure = [] { return short{32}; };
  Label("first");
  Label("second");
  EXPECT_EQ(other.passes.size(), 2U);
  Dataset().Unregister(other);
}

// A message that is encoded as a ResetUndoMsg and counts its encodings.
class CountedEncoding : public support::CountedMessage {
 public:
  CountedEncoding(int& deaths, int& encodings) : CountedMessage(deaths), encodings_(encodings) {}
  bool VSInitSerialization(VStream& stream) override {
    ++encodings_;
    return ResetUndoMsg().VSInitSerialization(stream);
  }

 private:
  int& encodings_;
};

class StreamsOfADataset : public ChangeStream {
 protected:
  ~StreamsOfADataset() override {
    auto dataset = Dataset();
    dataset.Unregister(stream);
    dataset.Unregister(between);
    dataset.Unregister(second);
  }

  // Registers two streams and an observer that is called between them, and delivers the first pass.
  void RegisterAll() {
    Register();
    Dataset().Register(between);
    Dataset().Register(second);
    Label("first");
    DeliverAll();
    ASSERT_EQ(secondChannel.Deliver(secondReader), Outcome::Applied);
  }

  support::RecordingObserver between;
  support::FrameChannel secondChannel;
  ChangeStreamObserver second{secondChannel};
  ChangeStreamReader secondReader{id};
};

TEST_F(StreamsOfADataset, EncodeEachPassOnce) {
  RegisterAll();
  int deaths = 0, encodings = 0;
  for (int pass = 1; pass <= 2; ++pass) {
    Write([&](SvrDMWriteableDataSource& writer) {
      writer.AddNotification(new CountedEncoding(deaths, encodings));
      writer->SetLabel(std::to_string(pass).c_str());
    });
    EXPECT_EQ(encodings, pass);
    EXPECT_EQ(channel.frames.back(), secondChannel.frames.back());
  }
  DeliverAll();
  ExpectInStep();
}

TEST_F(StreamsOfADataset, OnlyTheLaterStreamSendsAMessageQueuedBetweenThem) {
  RegisterAll();
  between.reaction = [](SvrDMWriteableDataSource const* writer) {
    auto* const changed = const_cast<SvrDMWriteableDataSource*>(writer);
    changed->AddNotification(new ResetUndoMsg());
  };
  Label("second");
  EXPECT_EQ(ReadChangeFrame(channel.frames.back()).Messages().size(), 1U);
  EXPECT_EQ(ReadChangeFrame(secondChannel.frames.back()).Messages().size(), 2U);
}

TEST_F(StreamsOfADataset, DoNotReplaceThePassDataOfAnotherObserver) {
  support::RecordingObserver first;
  first.reaction = [](SvrDMWriteableDataSource const* writer) {
    writer->PassData()->emplace<int>(7);
  };
  Dataset().Register(first);
  RegisterAll();
  int found = 0;
  between.reaction = [&](SvrDMWriteableDataSource const* writer) {
    found = std::any_cast<int>(*writer->PassData());
  };
  Label("second");
  EXPECT_EQ(found, 7);
  EXPECT_EQ(channel.frames.back(), secondChannel.frames.back());
  Dataset().Unregister(first);
}

// The observer between the two streams writes to another dataset, whose pass has its own
// PassData().
TEST_F(StreamsOfADataset, SendTheirOwnPassIfAnObserverBetweenThemWritesToAnotherDataset) {
  RegisterAll();
  const LocallyUniqueID other = registry.Add(*support::Dictionary("X").release(), "", true);
  support::FrameChannel otherChannel;
  ChangeStreamObserver otherStream(otherChannel);
  SvrDMDataset(registry, other).Register(otherStream);
  between.reaction = [&](SvrDMWriteableDataSource const*) {
    support::Write(registry, other, [](SvrDMWriteableDataSource& writer) {
      writer->SetLabel("of the other dataset");
    });
  };
  Label("second");
  ASSERT_EQ(otherChannel.frames.size(), 1U);
  EXPECT_EQ(ReadChangeFrame(otherChannel.frames.back()).dataset, other);
  EXPECT_EQ(channel.frames.back(), secondChannel.frames.back());
  SvrDMDataset(registry, other).Unregister(otherStream);
}

TEST_F(StreamsOfADataset, SharePassDataOnlyWhileObserversAreCalled) {
  RegisterAll();
  std::vector<const std::any*> seen;
  const auto see = [&](SvrDMWriteableDataSource const* writer) {
    seen.push_back(writer->PassData());
  };
  between.reaction = see;
  Write([&](SvrDMWriteableDataSource& writer) {
    see(&writer);
    writer->SetLabel("second");
  });
  ASSERT_EQ(seen.size(), 2U);
  EXPECT_EQ(seen[0], nullptr);
  EXPECT_NE(seen[1], nullptr);
}

}  // namespace
