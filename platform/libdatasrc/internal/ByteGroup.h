// ByteGroup: searches 64 bytes at once. In a mask, bit i is set if byte i matches.

#ifndef LIBDATASRC_INTERNAL_BYTEGROUP_H_
#define LIBDATASRC_INTERNAL_BYTEGROUP_H_

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace sdm_internal {

constexpr std::size_t kGroupBytes = 64;

// For any processor. Keeps the 64 bytes as eight words of eight bytes.
class PlainByteGroup {
 public:
  explicit PlainByteGroup(const char* bytes) { std::memcpy(words_.data(), bytes, kGroupBytes); }

  std::uint64_t MaskOf(char byte) const {
    const std::uint64_t wanted = kOnes * static_cast<unsigned char>(byte);
    std::uint64_t mask = 0;
    for (std::size_t i = words_.size(); i-- > 0;) {
      mask = mask << 8 | Gather(ZeroBytes(words_[i] ^ wanted));
    }
    return mask;
  }
  bool HasZeroByte() const {
    std::uint64_t found = 0;
    for (const std::uint64_t word : words_) found |= ZeroBytes(word);
    return found != 0;
  }
  bool IsAscii() const {
    std::uint64_t all = 0;
    for (const std::uint64_t word : words_) all |= word;
    return (all & kHighBits) == 0;
  }

 private:
  static constexpr std::uint64_t kOnes = 0x0101010101010101;
  static constexpr std::uint64_t kHighBits = 0x80 * kOnes;

  // Sets the high bit of each byte that is zero in `word`; all other bits are 0.
  static std::uint64_t ZeroBytes(std::uint64_t word) {
    return ~(((word & ~kHighBits) + ~kHighBits) | word | ~kHighBits);
  }
  // Packs the high bits of eight bytes into one byte, with the bit of the first byte lowest.
  static std::uint64_t Gather(std::uint64_t highBits) {
    const std::uint64_t bits = highBits >> 7;
    constexpr bool kFirstIsLowest = std::endian::native == std::endian::little;
    return bits * (kFirstIsLowest ? 0x0102040810204080 : 0x8040201008040201) >> 56;
  }

  std::array<std::uint64_t, 8> words_;
};

#ifdef __SSE2__

class VectorByteGroup {
 public:
  explicit VectorByteGroup(const char* bytes)
      : a_(Load(bytes)), b_(Load(bytes + 16)), c_(Load(bytes + 32)), d_(Load(bytes + 48)) {}

  std::uint64_t MaskOf(char byte) const {
    const __m128i wanted = _mm_set1_epi8(byte);
    return Equal(a_, wanted) | Equal(b_, wanted) << 16 | Equal(c_, wanted) << 32 |
           Equal(d_, wanted) << 48;
  }
  bool HasZeroByte() const {
    const __m128i least = _mm_min_epu8(_mm_min_epu8(a_, b_), _mm_min_epu8(c_, d_));
    return Equal(least, _mm_setzero_si128()) != 0;
  }
  bool IsAscii() const {
    return _mm_movemask_epi8(_mm_or_si128(_mm_or_si128(a_, b_), _mm_or_si128(c_, d_))) == 0;
  }

 private:
  static __m128i Load(const char* bytes) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes));
  }
  static std::uint64_t Equal(__m128i bytes, __m128i wanted) {
    return static_cast<unsigned int>(_mm_movemask_epi8(_mm_cmpeq_epi8(bytes, wanted)));
  }

  __m128i a_, b_, c_, d_;
};
using ByteGroup = VectorByteGroup;

#else
using ByteGroup = PlainByteGroup;
#endif

}  // namespace sdm_internal

#endif  // LIBDATASRC_INTERNAL_BYTEGROUP_H_
