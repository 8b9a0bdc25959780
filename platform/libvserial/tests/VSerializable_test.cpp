// Tests of libvserial: the base class of serialisable objects.

#include <gtest/gtest.h>
#include <libvserial/VSerializable.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <type_traits>

namespace {

class Note : public VSerializable {
 public:
  explicit Note(int number) : number_(number) {}
  VSerializable* VSClone() const override { return new Note(*this); }
  bool VSInitSerialization(VStream&) override { return true; }
  const char* VSConcreteSignature() const override { return "Test::Note"; }

  int number_;
};

TEST(Serializable, HasNoNameInitially) {
  EXPECT_STREQ(Note(1).Name(), "");
}

TEST(Serializable, CopiesTheGivenName) {
  Note note(1);
  std::string name = "first";

  note.SetName(name.c_str());
  name = "other";

  EXPECT_STREQ(note.Name(), "first");
}

TEST(Serializable, NullClearsTheName) {
  Note note(1);
  note.SetName("first");

  note.SetName(nullptr);

  EXPECT_STREQ(note.Name(), "");
}

TEST(Serializable, ACopyHasNoName) {
  Note original(7);
  original.SetName("first");

  const Note copy(original);
  const std::unique_ptr<VSerializable> clone(original.VSClone());

  EXPECT_STREQ(copy.Name(), "");
  EXPECT_EQ(copy.number_, 7);
  EXPECT_STREQ(clone->Name(), "");
  EXPECT_STREQ(clone->VSConcreteSignature(), "Test::Note");
}

TEST(Serializable, AssigningDoesNotChangeTheName) {
  Note target(1), source(2);
  target.SetName("target");
  source.SetName("source");

  target = source;

  EXPECT_STREQ(target.Name(), "target");
  EXPECT_EQ(target.number_, 2);
}

TEST(Serializable, IsAllocatedByTheCommonAllocator) {
  static_assert(std::is_base_of_v<VUGlobal, VSerializable>);
  static_assert(std::has_virtual_destructor_v<VSerializable>);
}

// In the Itanium C++ ABI a pointer to a virtual member function holds the byte offset in the
// virtual table, plus 1 on most processors. The destructor takes the first two slots.
template <class Member>
std::size_t SlotOf(Member member) {
  std::uintptr_t offset = 0;
  std::memcpy(&offset, &member, sizeof(offset));
  return offset / sizeof(void*);
}

TEST(Serializable, KeepsTheOrderOfItsVirtualTable) {
  EXPECT_EQ(SlotOf(&VSerializable::SetName), 2U);
  EXPECT_EQ(SlotOf(&VSerializable::VSClone), 3U);
  EXPECT_EQ(SlotOf(&VSerializable::VSInitSerialization), 4U);
  EXPECT_EQ(SlotOf(&VSerializable::VSConcreteSignature), 5U);
}

}  // namespace
