// Identifiers of datasets and variables, their generator, and counted pointers.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <libdatastr/ORVX_RefCntObject.h>
#include <ServerDataManager/LocallyUniqueID.h>
#include <ServerDataManager/RefCountPtr.h>
#include <ServerDataManager/SvrDMItemPtr.h>

#include <algorithm>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <unordered_set>
#include <utility>
#include <vector>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

// ---------------------------------------------------------------------------------------------
// LocallyUniqueID

TEST(LocallyUniqueID, HasTheDomainInTheLowFourBitsAndTheSerialAbove) {
  const LocallyUniqueID id(3, 0x1234567);

  EXPECT_EQ(id.Domain(), 3U);
  EXPECT_EQ(id.Serial(), 0x1234567U);
  EXPECT_EQ(id.Word(), 0x12345673U);
}

TEST(LocallyUniqueID, IsConstructedFromItsWord) {
  EXPECT_EQ(LocallyUniqueID::FromWord(0x12345673), LocallyUniqueID(3, 0x1234567));
  EXPECT_TRUE(LocallyUniqueID::FromWord(0xFFFFFFFF).IsNull());
}

TEST(LocallyUniqueID, DropsDomainBitsAboveTheLowFour) {
  EXPECT_EQ(LocallyUniqueID(16, 5), LocallyUniqueID(0, 5));
  EXPECT_EQ(LocallyUniqueID(0xFFFFFFF2, 5), LocallyUniqueID(2, 5));
}

TEST(LocallyUniqueID, DropsSerialBitsAboveTheLow28) {
  EXPECT_EQ(LocallyUniqueID(0, 0x10000000), LocallyUniqueID(0, 0));
  EXPECT_EQ(LocallyUniqueID(1, 0xF0000007), LocallyUniqueID(1, 7));
}

TEST(LocallyUniqueID, DefaultIsNullAndHasEveryBitSet) {
  const LocallyUniqueID none;

  EXPECT_TRUE(none.IsNull());
  EXPECT_EQ(none.Word(), 0xFFFFFFFFU);
  EXPECT_EQ(none.Domain(), 15U);
  EXPECT_EQ(none.Serial(), 0x0FFFFFFFU);
}

TEST(LocallyUniqueID, IsNullWhenBuiltFromTheLargestDomainAndSerial) {
  EXPECT_TRUE(LocallyUniqueID(15, 0x0FFFFFFF).IsNull());
  EXPECT_FALSE(LocallyUniqueID(15, 0x0FFFFFFE).IsNull());
  EXPECT_FALSE(LocallyUniqueID(14, 0x0FFFFFFF).IsNull());
  EXPECT_FALSE(LocallyUniqueID(0, 0).IsNull());
}

TEST(LocallyUniqueID, IsEqualIfDomainAndSerialAreEqual) {
  const LocallyUniqueID id(4, 9);

  EXPECT_TRUE(id == LocallyUniqueID(4, 9));
  EXPECT_FALSE(id != LocallyUniqueID(4, 9));
  EXPECT_FALSE(id == LocallyUniqueID(4, 8));
  EXPECT_TRUE(id != LocallyUniqueID(4, 8));
  EXPECT_FALSE(id == LocallyUniqueID(5, 9));
  EXPECT_TRUE(id != LocallyUniqueID(5, 9));
}

TEST(LocallyUniqueID, IsOrderedByDomainBeforeSerial) {
  EXPECT_TRUE(LocallyUniqueID(0, 0x0FFFFFFF) < LocallyUniqueID(1, 0));
  EXPECT_FALSE(LocallyUniqueID(1, 0) < LocallyUniqueID(0, 0x0FFFFFFF));
  EXPECT_TRUE(LocallyUniqueID(2, 6) < LocallyUniqueID(2, 7));
  EXPECT_FALSE(LocallyUniqueID(2, 7) < LocallyUniqueID(2, 7));
  EXPECT_FALSE(LocallyUniqueID(2, 8) < LocallyUniqueID(2, 7));
}

TEST(LocallyUniqueID, SortsTheNullIdentifierAfterEveryOther) {
  std::vector<LocallyUniqueID> ids{LocallyUniqueID(), LocallyUniqueID(15, 0x0FFFFFFE),
                                   LocallyUniqueID(15, 0), LocallyUniqueID(0, 0x0FFFFFFF)};

  std::sort(ids.begin(), ids.end());

  EXPECT_THAT(ids, ElementsAre(LocallyUniqueID(0, 0x0FFFFFFF), LocallyUniqueID(15, 0),
                               LocallyUniqueID(15, 0x0FFFFFFE), LocallyUniqueID()));
}

TEST(LocallyUniqueID, FormatsAsDomainColonSerial) {
  EXPECT_EQ(LocallyUniqueID(0, 0).ToString(), "0:0");
  EXPECT_EQ(LocallyUniqueID(14, 0x0FFFFFFF).ToString(), "14:268435455");
  EXPECT_EQ(LocallyUniqueID().ToString(), "null");
}

TEST(LocallyUniqueID, StreamsTheFormattedText) {
  std::ostringstream stream;
  stream << LocallyUniqueID(3, 17) << ' ' << LocallyUniqueID();
  EXPECT_EQ(stream.str(), "3:17 null");
}

TEST(LocallyUniqueID, CanBeHashed) {
  const std::unordered_set<LocallyUniqueID> ids{LocallyUniqueID(1, 2), LocallyUniqueID()};

  EXPECT_EQ(ids.count(LocallyUniqueID(17, 2)), 1U);
  EXPECT_EQ(ids.count(LocallyUniqueID(2, 1)), 0U);
}

// ---------------------------------------------------------------------------------------------
// LocallyUniqueIDGenerator

TEST(LocallyUniqueIDGenerator, StartsWithTheFirstSerialAndCounts) {
  LocallyUniqueIDGenerator generator(0, 0);

  EXPECT_EQ(generator.Next().Word(), 0x00000000U);
  EXPECT_EQ(generator.Next().Word(), 0x00000010U);
  EXPECT_EQ(generator.Next().Word(), 0x00000020U);
}

TEST(LocallyUniqueIDGenerator, RepeatsSerialsAfter2ToThe28Calls) {
  LocallyUniqueIDGenerator generator(3, 0x0FFFFFFF);

  EXPECT_EQ(generator.Next(), LocallyUniqueID(3, 0x0FFFFFFF));
  EXPECT_EQ(generator.Next(), LocallyUniqueID(3, 0));
  EXPECT_EQ(generator.Next(), LocallyUniqueID(3, 1));
}

TEST(LocallyUniqueIDGenerator, MasksItsCounterTo28BitsAndWrapsItAfter32Bits) {
  LocallyUniqueIDGenerator generator(7, 0xFFFFFFFF);

  EXPECT_EQ(generator.Next(), LocallyUniqueID(7, 0x0FFFFFFF));
  EXPECT_EQ(generator.Next(), LocallyUniqueID(7, 0));
}

// An oddity that is kept: the generator does not skip the null identifier. Skipping it would change
// all later identifiers, which clients see.
TEST(LocallyUniqueIDGenerator, OfTheLastDomainReachesTheNullIdentifier) {
  LocallyUniqueIDGenerator generator(15, 0x0FFFFFFF);

  EXPECT_TRUE(generator.Next().IsNull());
  EXPECT_EQ(generator.Next(), LocallyUniqueID(15, 0));
}

TEST(LocallyUniqueIDGenerator, MasksADomainAbove15) {
  LocallyUniqueIDGenerator generator(18, 4);

  EXPECT_EQ(generator.Next(), LocallyUniqueID(2, 4));
}

// ---------------------------------------------------------------------------------------------
// RefCountPtr

using Calls = std::vector<std::string>;

// An object that records its calls. The name of a copy is the original's name and an apostrophe.
class Witness {
 public:
  Witness(std::string name, Calls& calls) : name_(std::move(name)), calls_(calls) {}
  Witness(const Witness& other) : name_(other.name_ + "'"), calls_(other.calls_) {
    if (other.copyingFails_) throw std::runtime_error("no copy");
    calls_.push_back("copy " + other.name_);
  }
  Witness& operator=(const Witness&) = delete;
  ~Witness() { calls_.push_back("destroy " + name_); }

  void AddReference() const {
    calls_.push_back("add " + name_);
    ++count_;
  }
  void RemoveReference() const {
    calls_.push_back("remove " + name_);
    if (--count_ == 0) delete this;
  }
  bool IsShared() const { return count_ > 1; }
  bool IsShareable() const { return shareable_; }

  int Count() const { return count_; }
  const std::string& Name() const { return name_; }
  void MarkUnshareable() { shareable_ = false; }
  void FailToCopy() { copyingFails_ = true; }

 private:
  std::string name_;
  Calls& calls_;
  mutable int count_ = 0;
  bool shareable_ = true;
  bool copyingFails_ = false;
};

using Pointer = RefCountPtr<Witness>;

class RefCountPtrTest : public testing::Test {
 protected:
  Witness* Make(const std::string& name) { return new Witness(name, calls_); }
  Calls TakeCalls() { return std::exchange(calls_, {}); }

  Calls calls_;
};

TEST_F(RefCountPtrTest, HoldsOneReferenceAndTheLastDeletesTheObject) {
  {
    const Pointer pointer(Make("a"));
    EXPECT_TRUE(pointer.IsValid());
    EXPECT_THAT(TakeCalls(), ElementsAre("add a"));
  }
  EXPECT_THAT(TakeCalls(), ElementsAre("remove a", "destroy a"));
}

TEST_F(RefCountPtrTest, ACopySharesTheObject) {
  const Pointer first(Make("a"));
  TakeCalls();
  {
    const Pointer second(first);
    EXPECT_EQ(second.get(), first.get());
    EXPECT_THAT(TakeCalls(), ElementsAre("add a"));
  }
  EXPECT_THAT(TakeCalls(), ElementsAre("remove a"));
  EXPECT_EQ(first->Count(), 1);
}

TEST_F(RefCountPtrTest, AMovedFromPointerKeepsItsReference) {
  Pointer first(Make("a"));
  Pointer second(std::move(first));
  Pointer third(nullptr);
  third = std::move(second);

  EXPECT_EQ(third->Count(), 3);
}

TEST_F(RefCountPtrTest, AssigningAPointerReleasesTheOldObjectAndSharesTheNewObject) {
  Pointer target(Make("a"));
  const Pointer source(Make("b"));
  TakeCalls();

  Pointer& result = target = source;

  EXPECT_EQ(&result, &target);
  EXPECT_EQ(target.get(), source.get());
  EXPECT_THAT(TakeCalls(), ElementsAre("remove a", "destroy a", "add b"));
}

TEST_F(RefCountPtrTest, AssigningARawPointerReleasesTheOldObjectAndSharesTheNewObject) {
  Pointer target(Make("a"));
  Witness* const other = Make("b");
  TakeCalls();

  target = other;

  EXPECT_EQ(target.get(), other);
  EXPECT_THAT(TakeCalls(), ElementsAre("remove a", "destroy a", "add b"));
}

TEST_F(RefCountPtrTest, AssigningAnUnshareableObjectReleasesTheOldObjectBeforeCopying) {
  const std::unique_ptr<Witness> other(Make("b"));
  other->MarkUnshareable();
  Pointer target(Make("a"));
  TakeCalls();

  target = other.get();

  EXPECT_THAT(TakeCalls(), ElementsAre("remove a", "destroy a", "copy b", "add b'"));
}

TEST_F(RefCountPtrTest, SelfAssignmentMakesNoCall) {
  Pointer pointer(Make("a"));
  const Pointer& itself = pointer;
  TakeCalls();

  pointer = itself;

  EXPECT_THAT(TakeCalls(), IsEmpty());
  EXPECT_EQ(pointer->Count(), 1);
}

TEST_F(RefCountPtrTest, AssigningTheSameObjectMakesNoCall) {
  Pointer first(Make("a"));
  const Pointer second(first);
  TakeCalls();

  first = second;
  EXPECT_THAT(TakeCalls(), IsEmpty());
  EXPECT_EQ(first->Count(), 2);

  first = first.get();
  EXPECT_THAT(TakeCalls(), IsEmpty());
  EXPECT_EQ(first->Count(), 2);
}

TEST_F(RefCountPtrTest, AssigningItsOwnUnshareableObjectMakesNoCopy) {
  Pointer pointer(Make("a"));
  pointer->MarkUnshareable();
  TakeCalls();

  pointer = pointer.get();

  EXPECT_THAT(TakeCalls(), IsEmpty());
}

TEST_F(RefCountPtrTest, AnEmptyPointerMakesNoCallWhenItIsDestroyedCopiedOrAssignedTo) {
  Witness* const object = Make("a");
  {
    const Pointer empty(nullptr);
    const Pointer copy(empty);
    EXPECT_FALSE(empty.IsValid());
    EXPECT_FALSE(copy.IsValid());
  }
  EXPECT_THAT(TakeCalls(), IsEmpty());

  Pointer filled(nullptr);
  filled = object;
  EXPECT_THAT(TakeCalls(), ElementsAre("add a"));
}

TEST_F(RefCountPtrTest, AssigningAnEmptyPointerOnlyReleases) {
  Pointer pointer(Make("a"));
  TakeCalls();

  pointer = Pointer(nullptr);

  EXPECT_FALSE(pointer.IsValid());
  EXPECT_THAT(TakeCalls(), ElementsAre("remove a", "destroy a"));
}

TEST_F(RefCountPtrTest, ComparesObjectsByIdentity) {
  const Pointer first(Make("a"));
  const Pointer same(first);
  const Pointer other(Make("a"));

  EXPECT_TRUE(first == same);
  EXPECT_FALSE(first != same);
  EXPECT_TRUE(first != other);
  EXPECT_FALSE(first == other);
  EXPECT_TRUE(first == same.get());
  EXPECT_TRUE(first != other.get());
  EXPECT_TRUE(Pointer(nullptr) == static_cast<const Witness*>(nullptr));
}

TEST_F(RefCountPtrTest, HoldsACopyOfAnUnshareableObject) {
  const std::unique_ptr<Witness> object(Make("a"));
  object->MarkUnshareable();

  const Pointer pointer(object.get());

  EXPECT_EQ(pointer->Name(), "a'");
  EXPECT_EQ(object->Count(), 0);
  EXPECT_THAT(TakeCalls(), ElementsAre("copy a", "add a'"));
}

TEST_F(RefCountPtrTest, CopyOrAssignmentOfAnUnshareableObjectMakesACopy) {
  Pointer first(Make("a"));
  first->MarkUnshareable();
  TakeCalls();

  const Pointer copied(first);
  EXPECT_THAT(TakeCalls(), ElementsAre("copy a", "add a'"));

  Pointer assigned(nullptr);
  assigned = first;
  EXPECT_THAT(TakeCalls(), ElementsAre("copy a", "add a'"));
  EXPECT_NE(copied, assigned);
  EXPECT_EQ(first->Count(), 1);
}

TEST_F(RefCountPtrTest, UnsharedWithOneOwnerMakesNoCopy) {
  Pointer pointer(Make("a"));
  Witness* const before = pointer.get();
  TakeCalls();

  EXPECT_EQ(pointer.Unshared(), before);

  EXPECT_EQ(pointer.get(), before);
  EXPECT_THAT(TakeCalls(), IsEmpty());
}

TEST_F(RefCountPtrTest, UnsharedCopiesASharedObject) {
  const Pointer first(Make("a"));
  Pointer second(first);
  TakeCalls();

  Witness* const detached = second.Unshared();

  EXPECT_EQ(detached, second.get());
  EXPECT_EQ(second->Name(), "a'");
  EXPECT_EQ(second->Count(), 1);
  EXPECT_EQ(first->Count(), 1);
  EXPECT_THAT(TakeCalls(), ElementsAre("remove a", "copy a", "add a'"));
}

TEST_F(RefCountPtrTest, UnsharedTwiceCopiesOnce) {
  const Pointer first(Make("a"));
  Pointer second(first);
  Witness* const detached = second.Unshared();
  TakeCalls();

  EXPECT_EQ(second.Unshared(), detached);
  EXPECT_THAT(TakeCalls(), IsEmpty());
}

TEST_F(RefCountPtrTest, HoldsNoReferenceIfCopyingThrows) {
  const std::unique_ptr<Witness> object(Make("a"));
  object->MarkUnshareable();
  object->FailToCopy();

  EXPECT_THROW(Pointer{object.get()}, std::runtime_error);

  EXPECT_THAT(TakeCalls(), IsEmpty());
  EXPECT_EQ(object->Count(), 0);
}

TEST_F(RefCountPtrTest, IsEmptyIfCopyingForAssignmentThrows) {
  const std::unique_ptr<Witness> object(Make("b"));
  object->MarkUnshareable();
  object->FailToCopy();
  Pointer pointer(Make("a"));
  TakeCalls();

  EXPECT_THROW(pointer = object.get(), std::runtime_error);

  EXPECT_FALSE(pointer.IsValid());
  EXPECT_THAT(TakeCalls(), ElementsAre("remove a", "destroy a"));
  EXPECT_EQ(object->Count(), 0);
}

TEST_F(RefCountPtrTest, IsEmptyIfCopyingForUnsharedThrows) {
  const Pointer first(Make("a"));
  Pointer second(first);
  second->FailToCopy();
  TakeCalls();

  EXPECT_THROW(second.Unshared(), std::runtime_error);

  EXPECT_FALSE(second.IsValid());
  EXPECT_EQ(first->Count(), 1);
  EXPECT_THAT(TakeCalls(), ElementsAre("remove a"));
}

// ---------------------------------------------------------------------------------------------
// RefCountPtr with an ORVX_RefCntObject, and SvrDMItemPtr

struct Record : ORVX_RefCntObject {
  int value = 0;
};

TEST(RefCountPtr, WritesToItsOwnCopyAfterUnshared) {
  RefCountPtr<Record> first(new Record);
  RefCountPtr<Record> second = first;

  second.Unshared()->value = 7;

  EXPECT_EQ(first->value, 0);
  EXPECT_EQ(second->value, 7);
  EXPECT_EQ(first->ReferenceCount(), 1U);
  EXPECT_EQ(second->ReferenceCount(), 1U);
}

TEST(RefCountPtr, CopiesAnUnshareableRecordOnceAndSharesTheCopy) {
  Record original;
  original.value = 3;
  original.MarkUnshareable();

  const RefCountPtr<Record> first(&original);
  const RefCountPtr<Record> second(first);

  EXPECT_NE(first.get(), &original);
  EXPECT_EQ(first->value, 3);
  EXPECT_EQ(second, first);
  EXPECT_EQ(first->ReferenceCount(), 2U);
}

TEST(SvrDMItemPtr, KeepsItsReferenceWhenItIsMovedFrom) {
  SvrDMItemPtr first(new SvrDMItem);
  SvrDMItemPtr second(nullptr);

  second = std::move(first);

  EXPECT_EQ(second->ReferenceCount(), 2U);
  EXPECT_EQ(first, second);
}

TEST(SvrDMItemPtr, SelfAssignmentDoesNotChangeTheCount) {
  SvrDMItemPtr pointer(new SvrDMItem);
  SvrDMItemPtr& itself = pointer;

  pointer = itself;
  EXPECT_EQ(pointer->ReferenceCount(), 1U);

  pointer = std::move(itself);
  EXPECT_EQ(pointer->ReferenceCount(), 1U);
}

TEST(SvrDMItemPtr, MayBeEmpty) {
  EXPECT_FALSE(SvrDMItemPtr(nullptr).IsValid());
}

}  // namespace
