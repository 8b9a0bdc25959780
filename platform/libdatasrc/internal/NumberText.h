// Numbers as text.

#ifndef LIBDATASRC_INTERNAL_NUMBERTEXT_H_
#define LIBDATASRC_INTERNAL_NUMBERTEXT_H_

#include <optional>
#include <string>
#include <string_view>

namespace sdm_internal {

// Without the blanks and tabs at both ends.
std::string_view Trimmed(std::string_view text);

// The number that `text` is, blanks around it aside: decimal, with an optional sign, point and
// exponent. None for anything else and for a number that a double cannot hold.
std::optional<double> NumberIn(std::string_view text);

// The shortest decimal text that is this number again.
std::string ShortestText(double number);

}  // namespace sdm_internal

#endif  // LIBDATASRC_INTERNAL_NUMBERTEXT_H_
