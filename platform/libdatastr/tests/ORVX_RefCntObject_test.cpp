// Tests of libdatastr: counting, copying, and shareability.

#include <gtest/gtest.h>
#include <libdatastr/ORVX_RefCntObject.h>

#include <latch>
#include <thread>
#include <type_traits>
#include <vector>

namespace {

// Increments `deletions` when it is deleted.
class Counted : public ORVX_RefCntObject {
 public:
  explicit Counted(int& deletions) : deletions_(&deletions) {}
  Counted(const Counted&) = default;
  Counted& operator=(const Counted&) = default;
  ~Counted() override { ++*deletions_; }

 private:
  int* deletions_;
};

class RefCntObject : public testing::Test {
 protected:
  int deletions_ = 0;
};

TEST_F(RefCntObject, StartsShareableWithoutReferences) {
  const Counted object(deletions_);

  EXPECT_EQ(object.ReferenceCount(), 0U);
  EXPECT_FALSE(object.IsShared());
  EXPECT_TRUE(object.IsShareable());
}

TEST_F(RefCntObject, IsSharedWithTwoReferences) {
  const Counted object(deletions_);

  object.AddReference();
  EXPECT_FALSE(object.IsShared());
  object.AddReference();
  EXPECT_TRUE(object.IsShared());
  object.RemoveReference();
  EXPECT_FALSE(object.IsShared());
  EXPECT_EQ(object.ReferenceCount(), 1U);
}

TEST_F(RefCntObject, IsDeletedThroughItsBaseClassWithTheLastReference) {
  const ORVX_RefCntObject* const object = new Counted(deletions_);
  object->AddReference();
  object->AddReference();

  object->RemoveReference();
  EXPECT_EQ(deletions_, 0);
  object->RemoveReference();
  EXPECT_EQ(deletions_, 1);
}

TEST_F(RefCntObject, ACopyStartsWithItsOwnCount) {
  const Counted original(deletions_);
  original.AddReference();
  original.AddReference();

  const Counted copy(original);

  EXPECT_EQ(copy.ReferenceCount(), 0U);
  EXPECT_EQ(original.ReferenceCount(), 2U);
}

TEST_F(RefCntObject, ACopyOfAnUnshareableObjectIsShareable) {
  Counted original(deletions_);
  original.MarkUnshareable();

  const Counted copy(original);

  EXPECT_TRUE(copy.IsShareable());
  EXPECT_FALSE(original.IsShareable());
}

TEST_F(RefCntObject, AssigningDoesNotChangeCountOrFlag) {
  Counted target(deletions_);
  target.AddReference();
  target.MarkUnshareable();
  Counted source(deletions_);
  source.AddReference();
  source.AddReference();

  target = source;

  EXPECT_EQ(target.ReferenceCount(), 1U);
  EXPECT_FALSE(target.IsShareable());
  EXPECT_EQ(source.ReferenceCount(), 2U);
  EXPECT_TRUE(source.IsShareable());
}

TEST_F(RefCntObject, MovingMakesACopy) {
  Counted original(deletions_);
  original.AddReference();

  const Counted moved(std::move(original));

  EXPECT_EQ(moved.ReferenceCount(), 0U);
  EXPECT_EQ(original.ReferenceCount(), 1U);
}

TEST_F(RefCntObject, HasAVirtualDestructor) {
  static_assert(std::has_virtual_destructor_v<ORVX_RefCntObject>);
}

// Interleaving: all threads start together, so their calls overlap. After the threads have ended,
// the test removes the initial reference, which deletes the object.
TEST_F(RefCntObject, CountsExactlyWhileThreadsAddAndRemoveReferences) {
  constexpr int kThreads = 4;
  constexpr int kRounds = 20'000;
  const auto* const object = new Counted(deletions_);
  object->AddReference();
  std::latch start(kThreads);
  std::vector<std::jthread> threads;

  for (int thread = 0; thread < kThreads; ++thread) {
    threads.emplace_back([&] {
      start.arrive_and_wait();
      for (int round = 0; round < kRounds; ++round) object->AddReference();
      for (int round = 0; round < kRounds; ++round) object->RemoveReference();
    });
  }
  threads.clear();

  EXPECT_EQ(object->ReferenceCount(), 1U);
  EXPECT_EQ(deletions_, 0);
  object->RemoveReference();
  EXPECT_EQ(deletions_, 1);
}

// Interleaving: every thread owns one reference and writes its own field before removing it; the
// last removal deletes the object. The thread sanitizer reports a race if the count does not order
// the writes before the deletion.
TEST_F(RefCntObject, TheDeletingThreadSeesTheWritesOfOtherThreads) {
  constexpr std::size_t kThreads = 4;
  struct Sum : ORVX_RefCntObject {
    explicit Sum(int& result) : result_(result) {}
    ~Sum() override { result_ = parts[0] + parts[1] + parts[2] + parts[3]; }
    int parts[kThreads] = {};
    int& result_;
  };
  int result = 0;
  auto* const object = new Sum(result);
  for (std::size_t thread = 0; thread < kThreads; ++thread) object->AddReference();
  std::latch start(kThreads);
  std::vector<std::jthread> threads;

  for (std::size_t thread = 0; thread < kThreads; ++thread) {
    threads.emplace_back([&, thread] {
      start.arrive_and_wait();
      object->parts[thread] = 1;
      object->RemoveReference();
    });
  }
  threads.clear();

  EXPECT_EQ(result, 4);
}

}  // namespace
