// LocallyUniqueID: the identifier of a dataset or of a variable, and the generator that hands it
// out.
//
//   LocallyUniqueIDGenerator generator(0, 0);
//   LocallyUniqueID first = generator.Next();   // domain 0, serial 0
//   LocallyUniqueID none;                       // none.IsNull()
//
// Both are header-only: the platform libraries use them without linking this one.

#ifndef SERVERDATAMANAGER_LOCALLYUNIQUEID_H_
#define SERVERDATAMANAGER_LOCALLYUNIQUEID_H_

#include <cstddef>
#include <functional>

// One 32-bit word: the domain (which generator the value comes from) in bits 0-3, the serial in
// bits 4-31. Pass it by value.
//
// Threads: a plain value; any thread may use its own copy.
class LocallyUniqueID {
 public:
  // The null identifier: all bits set. Sorts after every other value.
  constexpr LocallyUniqueID() noexcept : domain_(kDomainMask), serial_(kSerialMask) {}

  // Bits of `domain` above the low 4 and bits of `serial` above the low 28 are dropped silently, so
  // (15, 0x0FFFFFFF) is the null identifier too.
  constexpr LocallyUniqueID(unsigned int domain, unsigned int serial) noexcept
      : domain_(domain & kDomainMask), serial_(serial & kSerialMask) {}

  constexpr bool operator==(LocallyUniqueID other) const noexcept {
    return domain_ == other.domain_ && serial_ == other.serial_;
  }
  constexpr bool operator!=(LocallyUniqueID other) const noexcept { return !(*this == other); }

  // By domain, then by serial.
  constexpr bool operator<(LocallyUniqueID other) const noexcept {
    return domain_ != other.domain_ ? domain_ < other.domain_ : serial_ < other.serial_;
  }

  constexpr bool IsNull() const noexcept { return *this == LocallyUniqueID(); }

  constexpr unsigned int Domain() const noexcept { return domain_; }
  constexpr unsigned int Serial() const noexcept { return serial_; }

  // Domain and serial as the one word described above.
  constexpr unsigned int Word() const noexcept { return Serial() << kDomainBits | Domain(); }

 private:
  static constexpr unsigned int kDomainBits = 4;
  static constexpr unsigned int kDomainMask = 0xF;
  static constexpr unsigned int kSerialMask = 0x0FFFFFFF;

  unsigned int domain_ : 4;
  unsigned int serial_ : 28;
};

static_assert(sizeof(LocallyUniqueID) == 4);

template <>
struct std::hash<LocallyUniqueID> {
  std::size_t operator()(LocallyUniqueID id) const noexcept {
    return std::hash<unsigned int>()(id.Word());
  }
};

// Hands out identifiers of one domain with running serials.
//
// The counter is a full 32-bit word that wraps silently; the identifier keeps its low 28 bits, so
// serials repeat every 2^28 calls, and domain 15 reaches the null value. Nothing detects either.
//
// Threads: not safe; the owner's lock guards it.
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
