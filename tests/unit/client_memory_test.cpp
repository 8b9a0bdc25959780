// The client library when memory runs out. The tests call every public operation of client/.

#include <client/ChangeFrame.h>
#include <client/ChangeStreamReader.h>
#include <client/DictionaryDigest.h>
#include <client/DictionaryMessages.h>
#include <client/DictionaryMirror.h>
#include <client/server/ChangeStreamObserver.h>
#include <libdatasrc/ORVX_DataSource.h>
#include <liborvxdemg/DeleteVarsMsg.h>
#include <liborvxdemg/FileLabelChangeMsg.h>
#include <liborvxdemg/MoveVarsMsg.h>
#include <liborvxdemg/ResetUndoMsg.h>
#include <tests/support/Datasets.h>
#include <tests/support/FrameChannel.h>
#include <tests/support/FullDictionary.h>
#include <tests/support/FullMemory.h>
#include <tests/support/MessageBytes.h>
#include <tests/support/OutOfMemory.h>

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <vector>

namespace {

using support::Changes;
using support::ExpectNoAllocations;
using support::ExpectSafeWithoutMemory;
using support::FullDictionary;
using support::kLong;
using support::Operation;
using support::Returns;
using support::Trial;

const LocallyUniqueID kMirroredDataset(0, 1);

std::string TextOf(const ORVX_DataSource& dictionary) {
  return DigestOf(dictionary).AsText();
}

std::string TextOf(const OwnedMessages& messages) {
  std::string text;
  for (const auto& message : messages) text += BytesOf(*message);
  return text;
}

// A pass that turns FullDictionary() into another dictionary, with messages of nearly every kind.
OwnedMessages AnotherDictionary() {
  const auto other = FullDictionary();
  other->MakeVariable(support::Var("X"), nullptr);
  other->SetLabel("another label");
  other->SetWeightVar(2);
  other->SetMRSets({support::SetOf("other", "B")});
  support::SetExtension(*other, 0, 1, "other bytes");
  support::SetAttribute(*other, "other", {"value"});
  OwnedMessages pass;
  pass.push_back(std::make_unique<MoveVarsMsg>(0, kMirroredDataset, 1, std::vector<int>{0, 2}, 1));
  pass.push_back(std::make_unique<DeleteVarsMsg>(0, kMirroredDataset, 1, support::Vars("A B C D")));
  for (auto& message : DictionaryMessages(*other, kMirroredDataset, 1))
    pass.push_back(std::move(message));
  return pass;
}

ChangeFrame FrameOf(const OwnedMessages& messages) {
  ChangeFrame frame;
  frame.dataset = kMirroredDataset;
  frame.passNumber = 1;
  DictionaryMirror expected;
  for (const auto& message : messages) {
    frame.AddMessage(*message);
    expected.Apply(*message);
  }
  frame.digest = DigestOf(expected.Dictionary());
  return frame;
}

// A mirror that runs out of memory while it undoes a pass ends the process.
Operation EndsWithoutMemory(Operation operation) {
  operation.endsWithoutMemory = true;
  return operation;
}

Operation Mirroring(const std::string& name, const std::function<void(DictionaryMirror&)>& apply) {
  return EndsWithoutMemory(Changes(
      name,
      [] {
        auto mirror = std::make_unique<DictionaryMirror>();
        mirror->Apply(DictionaryMessages(*FullDictionary(), kMirroredDataset, 1));
        return mirror;
      },
      apply, [](const auto& mirror) { return TextOf(mirror.Dictionary()); }));
}

TEST(ClientMemory, AMirrorIsUnchangedIfItThrows) {
  const OwnedMessages pass = AnotherDictionary();
  std::vector<DataSetMsg*> borrowed;
  for (const auto& message : pass) borrowed.push_back(message.get());
  const FileLabelChangeMsg label(0, kMirroredDataset, 1, kLong.c_str());
  EXPECT_GT(support::AllocationsOf([&] {
              DictionaryMirror mirror;
              mirror.Apply(DictionaryMessages(*FullDictionary(), kMirroredDataset, 1));
            }),
            50);
  ExpectSafeWithoutMemory({
      Returns(
          "DictionaryMirror", [] { return DictionaryMirror(); },
          [](const DictionaryMirror& mirror) { return TextOf(mirror.Dictionary()); }),
      Mirroring("Apply", [&](auto& mirror) { mirror.Apply(pass); }),
      Mirroring("Apply, borrowed", [&](auto& mirror) { mirror.Apply(borrowed); }),
      Mirroring("Apply, one message", [&](auto& mirror) { mirror.Apply(label); }),
  });
}

using Outcome = ChangeStreamReader::Outcome;

// Makes an operation that applies `bytes` to a new reader. The result must be `outcome`, and the
// dictionary of the reader must then have `digest`.
Operation Reading(const std::string& name, const std::string& bytes, Outcome outcome,
                  const DictionaryDigest& digest) {
  return EndsWithoutMemory(Changes(
      name, [] { return std::make_unique<ChangeStreamReader>(kMirroredDataset); },
      [=](auto& reader) {
        EXPECT_EQ(reader.Apply(bytes), outcome);
        EXPECT_EQ(reader.Digest(), digest);
      },
      [](auto& reader) {
        return std::to_string(reader.PassNumber()) + " " + reader.Digest().AsText() + " " +
               TextOf(reader.Dictionary()) + reader.SnapshotReason();
      }));
}

TEST(ClientMemory, AReaderMayApplyTheSameBytesAgainAfterBadAlloc) {
  ChangeFrame frame = FrameOf(DictionaryMessages(*FullDictionary(), kMirroredDataset, 1));
  const std::string bytes = BytesOf(frame);
  ExpectSafeWithoutMemory({
      Reading("Apply", bytes, Outcome::Applied, frame.digest),
      Reading("Apply to invalid bytes", bytes.substr(0, bytes.size() - 1), Outcome::SnapshotWanted,
              DigestOf(DictionaryMirror().Dictionary())),
  });
}

TEST(ClientMemory, FramesAndDigestsAreMadeOrThrow) {
  const std::shared_ptr<const ORVX_DataSource> source = FullDictionary();
  const std::shared_ptr<ChangeFrame> frame =
      std::make_shared<ChangeFrame>(FrameOf(DictionaryMessages(*source, kMirroredDataset, 1)));
  const std::string bytes = BytesOf(*frame);
  const auto messages = [](const OwnedMessages& made) { return TextOf(made); };
  const auto digest = [](const DictionaryDigest& made) { return made.AsText(); };
  ExpectSafeWithoutMemory({
      Changes(
          "AddMessage", [] { return std::make_unique<ChangeFrame>(); },
          [](auto& changed) {
            FileLabelChangeMsg label(0, kMirroredDataset, 1, kLong.c_str());
            changed.AddMessage(label);
          },
          [](auto& changed) { return changed.messageBytes; }),
      Returns(
          "Messages", [=] { return frame->Messages(); }, messages),
      Returns("a frame encoded", [=] { return BytesOf(*frame); }),
      Returns(
          "ReadChangeFrame", [=] { return ReadChangeFrame(bytes); },
          [](ChangeFrame& read) { return BytesOf(read); }),
      Returns(
          "DictionaryMessages", [=] { return DictionaryMessages(*source, kMirroredDataset, 1); },
          messages),
      Returns(
          "PropertyMessages", [=] { return PropertyMessages(*source, kMirroredDataset, 1); },
          messages),
      Returns(
          "DigestOf", [=] { return DigestOf(*source); }, digest),
      Returns("AsText",
              [] {
                return DictionaryDigest{1, 2}.AsText();
              }),
      Returns(
          "MirrorError", [] { return MirrorError(kLong); },
          [](const MirrorError& error) { return std::string(error.what()); }),
  });
}

// A dictionary that has cached the hashes of its variables and was changed afterwards.
struct Digested {
  Digested() {
    DigestOf(*source);
    source->GetVariable(2).SetLabel("another label");
    source->MakeVariable(support::Var("X"), nullptr);
  }

  std::unique_ptr<ORVX_DataSource> source = FullDictionary();
  DictionaryDigest digest;
};

TEST(ClientMemory, ADigestIsRightAfterAComputationRanOutOfMemory) {
  ExpectSafeWithoutMemory({Changes(
      "DigestOf after a change", [] { return std::make_unique<Digested>(); },
      [](auto& digested) { digested.digest = DigestOf(*digested.source); },
      [](auto& digested) { return digested.digest.AsText(); })});
}

// --- The server's end of a stream ---

// A dataset, and a channel for its streams.
struct Streaming {
  ServerDataManager registry;
  LocallyUniqueID id = registry.Add(*FullDictionary().release(), "", /*quiet=*/true);
  support::FrameChannel channel;
};

// A stream that runs out of memory is lost and sends nothing, so each call of the operation makes a
// new stream.
template <class Handle, class Send>
Operation Sending(const std::string& name, Send send) {
  return Changes(
      name, [] { return std::make_unique<Streaming>(); },
      [=](auto& streaming) {
        const auto handle = Handle::Open(streaming);
        ChangeStreamObserver observer(streaming.channel);
        send(observer, *handle);
        if (observer.IsLost()) throw std::bad_alloc();
      },
      [](auto& streaming) {
        std::string text;
        for (const std::string& frame : streaming.channel.frames) text += frame;
        return text;
      });
}

struct Reader {
  static auto Open(Streaming& streaming) {
    return std::make_unique<SvrDMInputDataSource>(streaming.registry, streaming.id, false);
  }
};
struct Writer {
  static auto Open(Streaming& streaming) {
    auto writer = std::make_unique<SvrDMWriteableDataSource>(streaming.registry, streaming.id,
                                                             false, nullptr);
    writer->AddNotification(new ResetUndoMsg());
    return writer;
  }
};

TEST(ClientMemory, AStreamSendsAWholeFrameOrIsLost) {
  ExpectSafeWithoutMemory({
      Sending<Reader>("SendSnapshot",
                      [](auto& observer, auto& reader) { observer.SendSnapshot(reader); }),
      Sending<Writer>("OnDataSetChanged",
                      [](auto& observer, auto& writer) { observer.OnDataSetChanged(&writer); }),
  });
}

TEST(ClientMemory, IsNotNeededToMoveAMirrorOrToMakeAStream) {
  DictionaryMirror mirror, other;
  support::FrameChannel channel;
  ExpectNoAllocations({
      {"moving a mirror", [&] { mirror = std::move(other); }},
      {"ChangeFrame", [] { ChangeFrame(); }},
      {"ChangeStreamObserver", [&] { const ChangeStreamObserver observer(channel); }},
  });
}

}  // namespace
