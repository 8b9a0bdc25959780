// VariableListHash: a hash of a list of variables, composed from the hashes of its parts.
//
//   VariableListHash all;
//   all.Append(HashOf(age));     // the hash of one variable
//   all.Append(rest);            // the hash of a list; equals appending its variables one by one
//
// Header-only: libdatasrc uses it without linking this library.

#ifndef SERVERDATAMANAGER_VARIABLELISTHASH_H_
#define SERVERDATAMANAGER_VARIABLELISTHASH_H_

#include <array>
#include <cstddef>
#include <cstdint>

// The hash of one variable: 128 bits.
struct VariableHash {
  std::uint64_t high = 0;
  std::uint64_t low = 0;

  bool operator==(const VariableHash&) const = default;
};

namespace sdm_internal {

// The hashes are computed modulo this number, a Mersenne prime.
inline constexpr std::uint64_t kHashPrime = (std::uint64_t{1} << 61) - 1;
__extension__ using WideHash = unsigned __int128;

// Returns `number` modulo kHashPrime. Adds the upper 3 bits to the lower 61 bits, because 2^61 is 1
// modulo kHashPrime.
constexpr std::uint64_t ReducedHash(std::uint64_t number) {
  const std::uint64_t sum = (number & kHashPrime) + (number >> 61);
  return sum >= kHashPrime ? sum - kHashPrime : sum;
}
// The product modulo kHashPrime. Both factors must be less than kHashPrime.
constexpr std::uint64_t HashProduct(std::uint64_t a, std::uint64_t b) {
  const WideHash product = static_cast<WideHash>(a) * b;
  return ReducedHash((static_cast<std::uint64_t>(product) & kHashPrime) +
                     static_cast<std::uint64_t>(product >> 61));
}

// Powers of 37 and 43 with the same exponent.
struct HashPowers {
  std::uint64_t of37 = 1;
  std::uint64_t of43 = 1;

  constexpr HashPowers operator*(const HashPowers& other) const {
    return {HashProduct(of37, other.of37), HashProduct(of43, other.of43)};
  }
};

// The powers with exponents 0 to 256, for appending blocks of at most 256 variables.
inline constexpr std::array<HashPowers, 257> kSmallHashPowers = [] {
  std::array<HashPowers, 257> powers{};
  for (std::size_t i = 1; i < powers.size(); ++i) powers[i] = powers[i - 1] * HashPowers{37, 43};
  return powers;
}();

// The powers with the given exponent, computed by repeated squaring.
constexpr HashPowers HashPowersOf(std::uint64_t exponent) {
  if (exponent < kSmallHashPowers.size()) return kSmallHashPowers[exponent];
  const HashPowers half = HashPowersOf(exponent / 2);
  return half * half * kSmallHashPowers[exponent % 2];
}

}  // namespace sdm_internal

// Two polynomial hashes (Karp and Rabin, "Efficient randomized pattern-matching algorithms", 1987)
// of a list of n variables, modulo the Mersenne prime p = 2^61 - 1:
//
//   First()  = high[0] * 37^(n-1) + ... + high[n-1]
//   Second() = low[0] * 43^(n-1) + ... + low[n-1]
//
// 37 and 43 are the smallest primitive roots modulo p, so each position of a list with fewer than p
// variables has a different factor. If the hashes of different variables are independent and
// uniform, two different lists of equal length have equal hashes with a probability of about
// 2^-122.
//
// Threads: a plain value; any thread may use its own copy.
class VariableListHash {
 public:
  // The hash of the empty list.
  constexpr VariableListHash() = default;
  // The hash of a list of `count` variables with the given First() and Second(), which must be less
  // than 2^61 - 1.
  constexpr VariableListHash(std::uint64_t count, std::uint64_t first, std::uint64_t second)
      : count_(count), first_(first), second_(second) {}

  constexpr void Append(const VariableHash& variable) {
    using namespace sdm_internal;
    ++count_;
    first_ = ReducedHash(HashProduct(first_, 37) + ReducedHash(variable.high));
    second_ = ReducedHash(HashProduct(second_, 43) + ReducedHash(variable.low));
  }
  constexpr void Append(const VariableListHash& more) {
    using namespace sdm_internal;
    const HashPowers powers = HashPowersOf(more.count_);
    count_ += more.count_;
    first_ = ReducedHash(HashProduct(first_, powers.of37) + more.first_);
    second_ = ReducedHash(HashProduct(second_, powers.of43) + more.second_);
  }

  constexpr std::uint64_t Count() const { return count_; }
  // First() and Second() are less than 2^61 - 1.
  constexpr std::uint64_t First() const { return first_; }
  constexpr std::uint64_t Second() const { return second_; }

  constexpr bool operator==(const VariableListHash&) const = default;

 private:
  std::uint64_t count_ = 0;
  std::uint64_t first_ = 0;
  std::uint64_t second_ = 0;
};

#endif  // SERVERDATAMANAGER_VARIABLELISTHASH_H_
