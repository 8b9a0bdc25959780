// ChangeFrame: its encoding, the rejection of invalid bytes, and the memory that the library
// allocates for bytes from outside.

#include <client/ChangeFrame.h>
#include <client/ChangeStreamReader.h>
#include <client/DictionaryMessages.h>
#include <libdatasrc/ORVX_DataSource.h>
#include <liborvxdemg/DataSetModifiedMsg.h>
#include <liborvxdemg/DeleteVarsMsg.h>
#include <liborvxdemg/ErrorMsg.h>
#include <liborvxdemg/FileSpecChangeMsg.h>
#include <liborvxdemg/ImputationInfoMsg.h>
#include <liborvxdemg/ModifyVarMsg.h>
#include <liborvxdemg/MoveVarsMsg.h>
#include <liborvxdemg/ReadDataSetMsg.h>
#include <liborvxdemg/ResetUndoMsg.h>
#include <liborvxmsgs/ReportedErrorMsg.h>
#include <liborvxmsgs/ReportedErrorMsgResponse.h>
#include <libvserial/VStream.h>
#include <sys/mman.h>
#include <tests/support/Agreement.h>
#include <tests/support/FullDictionary.h>
#include <tests/support/FullMemory.h>
#include <tests/support/MessageBytes.h>
#include <tests/support/Messages.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace {

using support::Labelled;
using support::Var;
using support::Vars;
using testing::HasSubstr;
using Outcome = ChangeStreamReader::Outcome;

const LocallyUniqueID kStreamedDataset(0, 7);

template <class Message, class... Arguments>
void Add(ChangeFrame& frame, const Arguments&... arguments) {
  Message message(0, kStreamedDataset, 3, arguments...);
  frame.AddMessage(message);
}

// The snapshot of a dictionary in which everything is set.
ChangeFrame FullSnapshot() {
  const auto source = support::FullDictionary();
  ChangeFrame frame;
  frame.kind = ChangeFrame::Kind::Snapshot;
  frame.dataset = kStreamedDataset;
  frame.passNumber = 41;
  frame.caseSequence = 3;
  for (const auto& message : DictionaryMessages(*source, kStreamedDataset, 3))
    frame.AddMessage(*message);
  frame.digest = DigestOf(*source);
  return frame;
}

// Encodes a copy of the object in read-only memory, where writing to a field ends the process.
template <class Object>
std::string EncodedReadOnly(const Object& object) {
  void* const memory = mmap(nullptr, sizeof(Object), PROT_READ | PROT_WRITE,
                            MAP_PRIVATE | MAP_ANONYMOUS, /*fd=*/-1, 0);
  Object* const copy = ::new (memory) Object(object);
  EXPECT_EQ(mprotect(memory, sizeof(Object), PROT_READ), 0);
  VStream stream;
  copy->Process(stream);
  EXPECT_EQ(mprotect(memory, sizeof(Object), PROT_READ | PROT_WRITE), 0);
  std::destroy_at(copy);
  munmap(memory, sizeof(Object));
  return std::string(stream.Bytes());
}

// Applies the messages of the frames, in order, to an empty mirror and returns the mirror.
DictionaryMirror MirrorAfter(const std::vector<ChangeFrame>& frames) {
  DictionaryMirror mirror;
  for (const ChangeFrame& frame : frames) mirror.Apply(frame.Messages());
  return mirror;
}

// A pass after FullSnapshot(), with the kinds of messages that a snapshot does not have.
ChangeFrame PassAfterSnapshot() {
  ChangeFrame frame;
  frame.dataset = kStreamedDataset;
  frame.passNumber = 42;
  frame.caseSequence = 4;
  ResetUndoMsg undo;
  frame.AddMessage(undo);
  Add<MoveVarsMsg>(frame, std::vector<int>{3}, 0);
  Add<DeleteVarsMsg>(frame, Vars("B C"));
  Add<ModifyVarMsg>(frame, Labelled(Var("A"), "new"));
  Add<FileSpecChangeMsg>(frame, "/data/survey.tsv", true);
  ImputationInfoMsg imputation;
  frame.AddMessage(imputation);
  frame.digest = DigestOf(MirrorAfter({FullSnapshot(), frame}).Dictionary());
  return frame;
}

std::string TextOf(const ChangeFrame& frame) {
  std::string text;
  for (const auto& message : frame.Messages()) text += support::AsText(message.get()) + "\n";
  return text;
}

// A reader that has applied FullSnapshot().
std::unique_ptr<ChangeStreamReader> Following() {
  auto reader = std::make_unique<ChangeStreamReader>(kStreamedDataset);
  ChangeFrame snapshot = FullSnapshot();
  EXPECT_EQ(reader->Apply(BytesOf(snapshot)), Outcome::Applied) << reader->SnapshotReason();
  return reader;
}

TEST(Encoding, DoesNotWriteToTheObject) {
  LocallyUniqueID id = kStreamedDataset;
  ReportedErrorMsgResponse response;
  VStream answer(std::string_view("\1", 1));
  response.Serialize(answer);
  EXPECT_NE(EncodedReadOnly(ErrorMsg(7, "text")), "");
  EXPECT_NE(EncodedReadOnly(ReportedErrorMsg(id, ErrorText("text", 1))), "");
  EXPECT_NE(EncodedReadOnly(response), "");
  EXPECT_NE(EncodedReadOnly(FullSnapshot()), "");
  EXPECT_NE(EncodedReadOnly(DataSetModifiedMsg(0, kStreamedDataset, 3, true)), "");
  EXPECT_NE(EncodedReadOnly(ModifyVarMsg(0, kStreamedDataset, 3, Var("A"))), "");
}

TEST(VStream, DoesNotWriteToADoubleThatItEncodes) {
  struct Number {
    void Process(VStream& stream) { stream.Double(value); }
    double value;
  };
  EXPECT_NE(EncodedReadOnly(Number{0.5}), "");
}

TEST(ChangeFrame, RoundTrips) {
  for (ChangeFrame frame : {FullSnapshot(), PassAfterSnapshot()}) {
    const ChangeFrame read = ReadChangeFrame(BytesOf(frame));
    EXPECT_EQ(read.kind, frame.kind);
    EXPECT_EQ(read.dataset, frame.dataset);
    EXPECT_EQ(read.passNumber, frame.passNumber);
    EXPECT_EQ(read.caseSequence, frame.caseSequence);
    EXPECT_EQ(read.digest, frame.digest);
    EXPECT_EQ(read.messageBytes, frame.messageBytes);
  }
}

TEST(ChangeFrame, ReturnsItsMessagesInOrder) {
  EXPECT_EQ(TextOf(PassAfterSnapshot()),
            "reset undo\nmove 3 to 0\ndelete B, C\nmodify A \"new\"\n"
            "file specification \"/data/survey.tsv\"\nimputation of 0 rows\n");
}

TEST(ChangeFrame, EncodesEachMessageWithItsOwnSerialisation) {
  ChangeFrame frame;
  ModifyVarMsg first(0, kStreamedDataset, 3, Var("A"));
  MoveVarsMsg second(0, kStreamedDataset, 3, {1}, 0);
  frame.AddMessage(first);
  frame.AddMessage(second);
  EXPECT_EQ(frame.messageBytes, BytesOf(first) + BytesOf(second));
}

// These bytes are frozen: clients of other versions decode them.
TEST(ChangeFrame, HasThisEncoding) {
  ChangeFrame frame;
  frame.kind = ChangeFrame::Kind::Snapshot;
  frame.dataset = kStreamedDataset;
  frame.passNumber = 0x0102030405060708;
  frame.caseSequence = 9;
  frame.digest = {0x1112131415161718, 0x2122232425262728};
  frame.messageBytes = "messages";
  const std::string body(
      "\x01"
      "\x70\x00\x00\x00"
      "\x08\x07\x06\x05\x04\x03\x02\x01"
      "\x09\x00\x00\x00"
      "\x18\x17\x16\x15\x14\x13\x12\x11"
      "\x28\x27\x26\x25\x24\x23\x22\x21"
      "\x08\x00\x00\x00messages",
      45);
  const std::string head("\x1e\x00\x00\x00ServerDataManager::ChangeFrame\x02\x00\x00\x00", 38);
  const std::string checksum("\xff_\x8a}x\xd4\xb3\xf5", 8);
  const std::string length("\x2d\x00\x00\x00", 4);
  EXPECT_EQ(BytesOf(frame), head + checksum + length + body);
}

TEST(ChangeFrame, IsRejectedAtEveryTruncation) {
  for (ChangeFrame frame : {FullSnapshot(), PassAfterSnapshot()}) {
    ExpectEveryTruncationRefused(BytesOf(frame), ReadChangeFrame);
  }
}

TEST(ChangeFrame, IsRejectedWithTrailingBytes) {
  ChangeFrame frame = PassAfterSnapshot();
  EXPECT_THROW(ReadChangeFrame(BytesOf(frame) + '\0'), VStreamError);
}

// Changes each bit of each byte alone, then all eight bits of the byte together.
TEST(ChangeFrame, IsRejectedAfterAnyByteChange) {
  std::size_t changes = 0;
  for (ChangeFrame frame : {FullSnapshot(), PassAfterSnapshot()}) {
    std::string bytes = BytesOf(frame);
    for (char& byte : bytes) {
      for (const int change : {1, 2, 4, 8, 16, 32, 64, 128, 255}) {
        const char right = byte;
        byte = static_cast<char>(byte ^ change);
        EXPECT_THROW(ReadChangeFrame(bytes), VStreamError)
            << "byte " << &byte - bytes.data() << " changed by " << change;
        byte = right;
        ++changes;
      }
    }
  }
  std::cout << changes << " changed frames\n";
}

TEST(ChangeFrame, ReportsTheErrorInABadFrame) {
  ChangeFrame frame = PassAfterSnapshot();
  std::string bytes = BytesOf(frame);
  bytes.back() = '?';
  try {
    ReadChangeFrame(bytes);
    FAIL() << "was read";
  } catch (const VStreamError& error) {
    EXPECT_THAT(error.what(), HasSubstr("expected the checksum"));
  }
}

// Whether damage to the message may leave the digest unchanged. A digest excludes the rows per
// imputation and the file specification. A snapshot has the multiple-response sets twice, in the
// extensions 7 and 19. If damage changes the type of one of these extensions to a type that digests
// exclude, the other extension still has the sets.
bool EscapesTheDigest(const support::Said& said) {
  using Kind = support::Said::Kind;
  return said.kind == Kind::FileSpec || said.kind == Kind::Imputation ||
         (said.kind == Kind::Extension &&
          (said.type == 7 || said.type == 19));  // multiple-response sets
}

// Returns one element for each byte of the frame's messages: whether the byte belongs to a message
// that escapes the digest.
std::vector<bool> BytesThatEscapeTheDigest(const ChangeFrame& frame) {
  std::vector<bool> escape;
  for (const auto& message : frame.Messages()) {
    const bool escapes = EscapesTheDigest(support::WhatIsSaidBy(message.get()));
    escape.insert(escape.end(), BytesOf(*message).size(), escapes);
  }
  return escape;
}

// Returns the extension types in the frame's messages; an empty list if a message cannot be
// decoded.
std::vector<int> ExtensionTypesIn(const ChangeFrame& frame) {
  std::vector<int> types;
  try {
    for (const auto& message : frame.Messages()) {
      const support::Said said = support::WhatIsSaidBy(message.get());
      if (said.kind == support::Said::Kind::Extension) types.push_back(said.type);
    }
  } catch (const VStreamError&) {
    return {};
  }
  return types;
}

// Frames with a valid checksum whose messages have been damaged.
class HostileMessages : public testing::Test {
 protected:
  // More bytes than a dictionary allocates for its first variable.
  static constexpr std::size_t kDictionary = 5000;

  // Applies the frame with `reader` and checks the allocations and the dictionary. After a rejected
  // frame, the dictionary must equal `before_`. After an applied frame, the dictionary must equal
  // `after_`; if `escapesTheDigest`, properties that the digest excludes may differ.
  void ExpectHarmless(ChangeStreamReader& reader, ChangeFrame& frame,
                      bool escapesTheDigest = false) {
    const std::string bytes = BytesOf(frame);
    support::heap = {};
    const Outcome outcome = reader.Apply(bytes);
    const support::Heap used = support::heap;
    largest_ = std::max(largest_, used.largest);
    all_ = std::max(all_, used.bytes);
    EXPECT_LE(used.largest, kDictionary + 8 * bytes.size());
    EXPECT_LE(used.bytes, 4 * kDictionary + 64 * bytes.size());
    EXPECT_EQ(DigestOf(reader.Dictionary()), reader.Digest());
    const bool applied = outcome == Outcome::Applied;
    const ORVX_DataSource& right = (applied ? after_ : before_).Dictionary();
    EXPECT_EQ(support::DifferencesBetween(right, reader.Dictionary()), "");
    const std::string escaped =
        support::DifferencesBesideTheDigest(right, reader.Dictionary(), ExtensionTypesIn(frame));
    if (applied) {
      EXPECT_EQ(reader.Digest(), DigestOf(right));
      EXPECT_TRUE(escaped.empty() || escapesTheDigest) << escaped;
      ++(escaped.empty() ? withoutEffect_ : escaped_);
    } else {
      EXPECT_EQ(outcome, Outcome::SnapshotWanted);
      EXPECT_FALSE(reader.SnapshotReason().empty());
      EXPECT_EQ(escaped, "");
      ++refused_;
    }
  }

  void PrintCounts() const {
    std::cout << refused_ << " refused, " << withoutEffect_ << " without effect, " << escaped_
              << " that no digest shows; allocated at most " << largest_ << " bytes at once, "
              << all_ << " for a frame\n";
  }

  // The mirrors before and after the undamaged frame is applied.
  DictionaryMirror before_;
  DictionaryMirror after_ = MirrorAfter({FullSnapshot()});

  std::size_t refused_ = 0;
  std::size_t withoutEffect_ = 0;
  std::size_t escaped_ = 0;
  std::size_t largest_ = 0;
  std::size_t all_ = 0;
};

TEST_F(HostileMessages, OfASnapshotWithAnyByteChangedAreRejectedOrHaveTheSameDigest) {
  const std::vector<bool> escape = BytesThatEscapeTheDigest(FullSnapshot());
  for (const int change : {1, 2, 4, 8, 16, 32, 64, 128, 255}) {
    ChangeFrame frame = FullSnapshot();
    for (std::size_t i = 0; i < frame.messageBytes.size(); ++i) {
      const char right = frame.messageBytes[i];
      frame.messageBytes[i] = static_cast<char>(right ^ change);
      ChangeStreamReader reader(kStreamedDataset);
      ExpectHarmless(reader, frame, escape[i]);
      frame.messageBytes[i] = right;
    }
  }
  PrintCounts();
  EXPECT_GT(refused_, withoutEffect_);
}

TEST_F(HostileMessages, OfAPassWithAnyByteChangedAreRejectedOrHaveTheSameDigest) {
  before_ = MirrorAfter({FullSnapshot()});
  after_ = MirrorAfter({FullSnapshot(), PassAfterSnapshot()});
  const std::vector<bool> escape = BytesThatEscapeTheDigest(PassAfterSnapshot());
  const auto reader = Following();
  ChangeFrame snapshot = FullSnapshot();
  const std::string snapshotBytes = BytesOf(snapshot);
  for (const int change : {1, 2, 4, 8, 16, 32, 64, 128, 255}) {
    ChangeFrame frame = PassAfterSnapshot();
    for (std::size_t i = 0; i < frame.messageBytes.size(); ++i) {
      const char right = frame.messageBytes[i];
      frame.messageBytes[i] = static_cast<char>(right ^ change);
      reader->Apply(snapshotBytes);
      ExpectHarmless(*reader, frame, escape[i]);
      frame.messageBytes[i] = right;
    }
  }
  PrintCounts();
  EXPECT_GT(refused_, withoutEffect_);
}

TEST_F(HostileMessages, AreRejectedAtEveryTruncation) {
  const ChangeFrame whole = FullSnapshot();
  for (std::size_t length = 0; length < whole.messageBytes.size(); ++length) {
    ChangeFrame frame = whole;
    frame.messageBytes.resize(length);
    ChangeStreamReader reader(kStreamedDataset);
    ExpectHarmless(reader, frame);
  }
  EXPECT_EQ(refused_, whole.messageBytes.size());
}

// Overwrites four bytes at every offset in the messages, so that each length and count becomes
// huge.
TEST_F(HostileMessages, WithHugeLengthsAllocateInProportionToTheFrame) {
  const ChangeFrame whole = FullSnapshot();
  const std::vector<bool> escape = BytesThatEscapeTheDigest(whole);
  for (std::size_t i = 0; i + 4 <= whole.messageBytes.size(); ++i) {
    for (const char* claim : {"\xff\xff\xff\xff", "\xff\xff\xff\x7f", "\x00\x00\x00\x01"}) {
      ChangeFrame frame = whole;
      frame.messageBytes.replace(i, 4, claim, 4);
      ChangeStreamReader reader(kStreamedDataset);
      ExpectHarmless(reader, frame, escape[i] || escape[i + 3]);
    }
  }
  PrintCounts();
}

}  // namespace
