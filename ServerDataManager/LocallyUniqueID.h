// LocallyUniqueID: the identifier of a dataset or a variable, and its generator.
//
//   LocallyUniqueIDGenerator generator(0, 0);
//   LocallyUniqueID first = generator.Next();   // domain 0, serial 0
//   LocallyUniqueID none;                       // none.IsNull()
//
// Header-only: the platform libraries use both classes without linking this library.

#ifndef SERVERDATAMANAGER_LOCALLYUNIQUEID_H_
#define SERVERDATAMANAGER_LOCALLYUNIQUEID_H_

#include <cstddef>
#include <functional>
#include <iosfwd>
#include <string>

// One 32-bit word. Bits 0 to 3 are the domain, which identifies the generator; bits 4 to 31 are the
// serial. Pass it by value.
//
// Threads: a plain value; any thread may use its own copy.
class LocallyUniqueID {
 public:
  // The null identifier: all bits set. Sorts after every other value.
  constexpr LocallyUniqueID() noexcept = default;

  // Uses only the low 4 bits of `domain` and the low 28 bits of `serial`. (15, 0x0FFFFFFF) is the
  // null identifier.
  constexpr LocallyUniqueID(unsigned int domain, unsigned int serial) noexcept
      : word_(serial << kDomainBits | (domain & kDomainMask)) {}

  // The identifier whose Word() is `word`.
  static constexpr LocallyUniqueID FromWord(unsigned int word) noexcept {
    return LocallyUniqueID(word, word >> kDomainBits);
  }

  constexpr bool operator==(LocallyUniqueID other) const noexcept { return word_ == other.word_; }
  constexpr bool operator!=(LocallyUniqueID other) const noexcept { return !(*this == other); }

  // Orders by domain, then by serial.
  constexpr bool operator<(LocallyUniqueID other) const noexcept {
    return Domain() != other.Domain() ? Domain() < other.Domain() : Serial() < other.Serial();
  }

  constexpr bool IsNull() const noexcept { return *this == LocallyUniqueID(); }

  constexpr unsigned int Domain() const noexcept { return word_ & kDomainMask; }
  constexpr unsigned int Serial() const noexcept { return word_ >> kDomainBits; }

  // Domain and serial in one word, as described above.
  constexpr unsigned int Word() const noexcept { return word_; }

  // Domain and serial in decimal, separated by a colon, such as "0:17"; "null" for the null
  // identifier. operator<< writes the same text.
  std::string ToString() const {
    if (IsNull()) return "null";
    return std::to_string(Domain()) + ":" + std::to_string(Serial());
  }
  template <class Traits>
  friend std::basic_ostream<char, Traits>& operator<<(std::basic_ostream<char, Traits>& stream,
                                                      LocallyUniqueID id) {
    return stream << id.ToString();
  }

 private:
  static constexpr unsigned int kDomainBits = 4;
  static constexpr unsigned int kDomainMask = 0xF;

  unsigned int word_ = 0xFFFFFFFF;
};

static_assert(sizeof(LocallyUniqueID) == 4);

template <>
struct std::hash<LocallyUniqueID> {
  std::size_t operator()(LocallyUniqueID id) const noexcept {
    return std::hash<unsigned int>()(id.Word());
  }
};

// Generates identifiers of one domain with consecutive serials.
//
// A serial has 28 bits, so serials repeat every 2^28 calls. In domain 15, one call in 2^28 returns
// the null identifier. The generator detects neither a repeated serial nor a null identifier.
//
// Threads: not safe; guarded by the lock of the generator's owner.
class LocallyUniqueIDGenerator {
 public:
  constexpr LocallyUniqueIDGenerator(unsigned int domain, unsigned int first) noexcept
      : domain_(domain), next_(first) {}

  constexpr LocallyUniqueID Next() noexcept { return LocallyUniqueID(domain_, next_++); }

 private:
  unsigned int domain_;
  unsigned int next_;
};

#endif  // SERVERDATAMANAGER_LOCALLYUNIQUEID_H_
