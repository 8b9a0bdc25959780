// Bitwise equality of numbers: a NaN equals itself.

#ifndef LIBDATASRC_INTERNAL_SAMENUMBER_H_
#define LIBDATASRC_INTERNAL_SAMENUMBER_H_

#include <bit>
#include <cstdint>

namespace sdm_internal {

inline bool SameNumber(double a, double b) {
  return std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b);
}

}  // namespace sdm_internal

#endif  // LIBDATASRC_INTERNAL_SAMENUMBER_H_
