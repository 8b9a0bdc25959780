// Tests of libvutility: allocating and freeing without the global operators.

#include <gtest/gtest.h>
#include <libvutility/VUGlobal.h>
#include <tests/support/FullMemory.h>

#include <cstdint>
#include <cstdlib>
#include <limits>
#include <memory>
#include <stdexcept>

// By default, the address sanitizer aborts on a huge allocation; this option lets malloc fail.
extern "C" const char* __asan_default_options() {
  return "allocator_may_return_null=1";
}

namespace {

struct Object : VUGlobal {
  Object() = default;
  virtual ~Object() = default;
  double value = 0;
};
struct Derived : Object {
  char more[200] = {};
};
struct Throwing : VUGlobal {
  Throwing() { throw std::runtime_error("no"); }
};

// Runs `action` and returns how often it calls the global operators.
template <class Action>
long GlobalCallsOf(Action action) {
  support::heap = {};
  action();
  return support::heap.taken + support::heap.freed;
}

constexpr std::size_t kTooMuch = std::numeric_limits<std::ptrdiff_t>::max();

TEST(VUGlobal, GlobalOperatorsAreCountedInThisProgram) {
  EXPECT_EQ(GlobalCallsOf([] { ::operator delete(::operator new(8)); }), 2);
}

TEST(VUGlobal, NewAndDeleteOfADerivedClassUseItsAllocator) {
  EXPECT_EQ(GlobalCallsOf([] { delete new Derived; }), 0);
}

TEST(VUGlobal, DeleteThroughTheBaseUsesItsAllocator) {
  EXPECT_EQ(GlobalCallsOf([] {
              Object* const object = new Derived;
              delete object;
            }),
            0);
}

TEST(VUGlobal, UniquePointersUseItsAllocator) {
  EXPECT_EQ(GlobalCallsOf([] { std::make_unique<Derived>(); }), 0);
}

TEST(VUGlobal, NothrowFormUsesItsAllocator) {
  EXPECT_EQ(GlobalCallsOf([] { delete new (std::nothrow) Object; }), 0);
}

TEST(VUGlobal, StorageFitsEveryFundamentalAlignment) {
  void* const storage = VUGlobal::operator new(1);

  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(storage) % alignof(std::max_align_t), 0U);
  VUGlobal::operator delete(storage);
}

TEST(VUGlobal, ZeroBytesGetUniqueStorage) {
  void* const first = VUGlobal::operator new(0);
  void* const second = VUGlobal::operator new(0);

  EXPECT_NE(first, nullptr);
  EXPECT_NE(first, second);
  VUGlobal::operator delete(first);
  VUGlobal::operator delete(second);
}

TEST(VUGlobal, DeletingNullDoesNothing) {
  VUGlobal::operator delete(nullptr);
  VUGlobal::operator delete(nullptr, std::nothrow);
  EXPECT_EQ(GlobalCallsOf([] { delete static_cast<Object*>(nullptr); }), 0);
}

TEST(VUGlobal, PlacementNewReturnsThePlaceAndItsDeleteFreesNothing) {
  alignas(Object) unsigned char place[sizeof(Object)];

  auto* const object = new (static_cast<void*>(place)) Object;

  EXPECT_EQ(static_cast<void*>(object), static_cast<void*>(place));
  object->~Object();
  Object::operator delete(object, static_cast<void*>(place));
}

// Memory from each form of new is freed by the matching delete; the address sanitizer reports
// leaks.
TEST(VUGlobal, AThrowingConstructorFreesItsStorage) {
  alignas(Throwing) unsigned char place[sizeof(Throwing)];

  EXPECT_THROW(new Throwing, std::runtime_error);
  EXPECT_THROW(new (std::nothrow) Throwing, std::runtime_error);
  EXPECT_THROW(new (static_cast<void*>(place)) Throwing, std::runtime_error);
}

class VUGlobalOutOfMemory : public testing::Test {
 protected:
  ~VUGlobalOutOfMemory() override { std::set_new_handler(nullptr); }
};

TEST_F(VUGlobalOutOfMemory, ThrowsBadAlloc) {
  EXPECT_THROW(VUGlobal::operator new(kTooMuch), std::bad_alloc);
}

TEST_F(VUGlobalOutOfMemory, NothrowReturnsNull) {
  EXPECT_EQ(VUGlobal::operator new(kTooMuch, std::nothrow), nullptr);
}

TEST_F(VUGlobalOutOfMemory, CallsTheNewHandlerUntilThereIsNone) {
  static int asked = 0;
  asked = 0;
  std::set_new_handler([] {
    if (++asked == 3) std::set_new_handler(nullptr);
  });

  EXPECT_THROW(VUGlobal::operator new(kTooMuch), std::bad_alloc);
  EXPECT_EQ(asked, 3);
}

TEST_F(VUGlobalOutOfMemory, NothrowReturnsNullIfTheNewHandlerThrows) {
  std::set_new_handler([] { throw std::bad_alloc(); });

  EXPECT_EQ(VUGlobal::operator new(kTooMuch, std::nothrow), nullptr);
}

}  // namespace
