// Conversions between numbers and text, independent of the locale.

#ifndef LIBDATASRC_INTERNAL_NUMBERTEXT_H_
#define LIBDATASRC_INTERNAL_NUMBERTEXT_H_

#include <optional>
#include <string>
#include <string_view>

namespace sdm_internal {

// `text` without blanks and tabs at both ends.
std::string_view Trimmed(std::string_view text);

inline bool IsDigit(char c) {
  return '0' <= c && c <= '9';
}

// Whether the texts are equal, ignoring case in ASCII.
bool SameWord(std::string_view a, std::string_view b);

// Parses a decimal number with optional sign, point and exponent; ignores blanks around it. Returns
// nothing for any other text and for a number outside the range of a double.
std::optional<double> ParseNumber(std::string_view text);

// Like ParseNumber(text), but with `decimalMark` instead of the point.
std::optional<double> ParseNumber(std::string_view text, std::string_view decimalMark);

// Parses NaN, INF or -INF, in upper or lower case, without blanks. Returns nothing for any other
// text.
std::optional<double> ParseNonFinite(std::string_view text);

// The shortest decimal text that parses back to this number; INF or -INF for an infinity. The
// number must not be a NaN.
std::string ShortestText(double number);

}  // namespace sdm_internal

#endif  // LIBDATASRC_INTERNAL_NUMBERTEXT_H_
