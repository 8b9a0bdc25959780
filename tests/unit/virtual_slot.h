// VirtualSlot: the index of a virtual function in the virtual table. In the Itanium C++ ABI, the
// first word of a pointer to a virtual member function is the function's offset in the virtual
// table, in bytes, plus one.

#ifndef TESTS_UNIT_VIRTUAL_SLOT_H_
#define TESTS_UNIT_VIRTUAL_SLOT_H_

#include <cstddef>
#include <cstring>

template <class Member>
std::ptrdiff_t VirtualSlot(Member member) {
  std::ptrdiff_t code;
  static_assert(sizeof member == 2 * sizeof code);
  std::memcpy(&code, &member, sizeof code);
  return (code - 1) / static_cast<std::ptrdiff_t>(sizeof(void*));
}

#endif  // TESTS_UNIT_VIRTUAL_SLOT_H_
