// A client that runs out of memory while it applies a pass.

#include <client/ChangeFrame.h>
#include <client/ChangeStreamReader.h>
#include <client/DictionaryMessages.h>
#include <client/DictionaryMirror.h>
#include <libdatasrc/ORVX_DataSource.h>
#include <liborvxdemg/DeleteVarsMsg.h>
#include <liborvxdemg/MoveVarsMsg.h>
#include <tests/support/FullDictionary.h>
#include <tests/support/FullMemory.h>
#include <tests/support/MessageBytes.h>

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace {

using support::FailsWithMemoryFor;
using support::Shortage;

const LocallyUniqueID kDataset(0, 1);

// A pass that turns FullDictionary() into another dictionary, with messages of nearly every kind.
OwnedMessages AnotherDictionary() {
  const auto other = support::FullDictionary();
  other->MakeVariable(support::Var("X"), nullptr);
  other->SetLabel("another label");
  other->SetWeightVar(2);
  other->SetMRSets({support::SetOf("other", "B")});
  support::SetExtension(*other, 0, 1, "other bytes");
  support::SetAttribute(*other, "other", {"value"});
  OwnedMessages pass;
  pass.push_back(std::make_unique<MoveVarsMsg>(0, kDataset, 1, std::vector<int>{0, 2}, 1));
  pass.push_back(std::make_unique<DeleteVarsMsg>(0, kDataset, 1, support::Vars("A B C D")));
  for (auto& message : DictionaryMessages(*other, kDataset, 1)) pass.push_back(std::move(message));
  return pass;
}

TEST(MirrorMemory, MirrorIsUnchangedIfAnyAllocationFails) {
  const OwnedMessages first = DictionaryMessages(*support::FullDictionary(), kDataset, 1);
  const OwnedMessages pass = AnotherDictionary();
  DictionaryMirror mirror;
  mirror.Apply(first);
  const DictionaryDigest before = DigestOf(mirror.Dictionary());

  long failures = 0;
  for (bool applied = false; !applied; ++failures) {
    applied = !FailsWithMemoryFor(
        failures, [&] { mirror.Apply(pass); }, Shortage::Passes);
    if (!applied) {
      ASSERT_EQ(DigestOf(mirror.Dictionary()), before) << "after " << failures << " allocations";
    }
  }

  EXPECT_GT(failures, 50);
  DictionaryMirror expected;
  expected.Apply(first);
  expected.Apply(pass);
  EXPECT_EQ(DigestOf(mirror.Dictionary()), DigestOf(expected.Dictionary()));
}

TEST(MirrorMemory, AReaderAcceptsAFrameAgainAfterBadAlloc) {
  ChangeFrame frame;
  frame.dataset = kDataset;
  frame.passNumber = 1;
  DictionaryMirror expected;
  for (const auto& message : DictionaryMessages(*support::FullDictionary(), kDataset, 1)) {
    frame.AddMessage(*message);
    expected.Apply(*message);
  }
  frame.digest = DigestOf(expected.Dictionary());
  const std::string bytes = BytesOf(frame);
  ChangeStreamReader reader(kDataset);

  long failures = 0;
  for (bool taken = false; !taken; ++failures) {
    const auto take = [&] {
      EXPECT_EQ(reader.Apply(bytes), ChangeStreamReader::Outcome::Applied)
          << reader.SnapshotReason();
    };
    taken = !FailsWithMemoryFor(failures, take, Shortage::Passes);
    if (!taken) {
      ASSERT_EQ(reader.PassNumber(), 0U);
      ASSERT_EQ(DigestOf(reader.Dictionary()), reader.Digest());
    }
  }

  EXPECT_GT(failures, 50);
  EXPECT_EQ(reader.Digest(), frame.digest);
}

}  // namespace
