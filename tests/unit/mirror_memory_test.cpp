// What a client has when memory runs out in the middle of a pass. This program replaces the global
// operator new, so it is one of its own.

#include <client/ChangeFrame.h>
#include <client/ChangeStreamReader.h>
#include <client/DictionaryMessages.h>
#include <client/DictionaryMirror.h>
#include <libdatasrc/ORVX_DataSource.h>
#include <liborvxdemg/DeleteVarsMsg.h>
#include <liborvxdemg/MoveVarsMsg.h>
#include <tests/support/FullDictionary.h>
#include <tests/support/MessageBytes.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <new>
#include <string>
#include <vector>

namespace {

// The allocations until the one that fails; negative for none. Only the test's thread allocates.
long allocationsLeft = -1;

// Makes the allocation after `count` others fail, and no more.
class OneFailureAfter {
 public:
  explicit OneFailureAfter(long count) { allocationsLeft = count; }
  ~OneFailureAfter() { allocationsLeft = -1; }
};

}  // namespace

// These are not inlined: where they are, compilers take the free for a mistake.
__attribute__((noinline)) void* operator new(std::size_t size) {
  const bool fails = allocationsLeft == 0;
  if (allocationsLeft >= 0) --allocationsLeft;
  void* const storage = fails ? nullptr : std::malloc(size == 0 ? 1 : size);
  if (storage != nullptr) return storage;
  throw std::bad_alloc();
}
__attribute__((noinline)) void operator delete(void* storage) noexcept {
  std::free(storage);
}
__attribute__((noinline)) void operator delete(void* storage, std::size_t) noexcept {
  std::free(storage);
}

namespace {

const LocallyUniqueID kDataset(0, 1);

// A pass that makes another dictionary of FullDictionary(), by messages of nearly every kind.
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

TEST(MirrorMemory, WhereverAPassRunsOutOfMemoryTheMirrorIsAsItWas) {
  const OwnedMessages first = DictionaryMessages(*support::FullDictionary(), kDataset, 1);
  const OwnedMessages pass = AnotherDictionary();
  DictionaryMirror mirror;
  mirror.Apply(first);
  const DictionaryDigest before = DigestOf(mirror.Dictionary());

  long failures = 0;
  for (bool applied = false; !applied; ++failures) {
    const OneFailureAfter shortage(failures);
    try {
      mirror.Apply(pass);
      applied = true;
    } catch (const std::bad_alloc&) {
      allocationsLeft = -1;
      ASSERT_EQ(DigestOf(mirror.Dictionary()), before) << "after " << failures << " allocations";
    }
  }

  EXPECT_GT(failures, 50);
  DictionaryMirror expected;
  expected.Apply(first);
  expected.Apply(pass);
  EXPECT_EQ(DigestOf(mirror.Dictionary()), DigestOf(expected.Dictionary()));
}

TEST(MirrorMemory, AReaderTakesTheFrameAgainThatItHadNoMemoryFor) {
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
    const OneFailureAfter shortage(failures);
    try {
      EXPECT_EQ(reader.Apply(bytes), ChangeStreamReader::Outcome::Applied)
          << reader.SnapshotReason();
      taken = true;
    } catch (const std::bad_alloc&) {
      allocationsLeft = -1;
      ASSERT_EQ(reader.PassNumber(), 0U);
      ASSERT_EQ(DigestOf(reader.Dictionary()), reader.Digest());
    }
  }

  EXPECT_GT(failures, 50);
  EXPECT_EQ(reader.Digest(), frame.digest);
}

}  // namespace
