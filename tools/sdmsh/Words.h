// Small change of everything that the shell puts into words.

#ifndef SDMSH_WORDS_H_
#define SDMSH_WORDS_H_

#include "Output.h"

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace sdmsh {

// The word of an enumerator, which `words` has for those from 0 on; `other` where it has none.
template <class Enumeration>
const char* WordOf(Enumeration value, std::span<const char* const> words, const char* other) {
  const auto index = static_cast<std::size_t>(value);  // a huge one for a negative value
  return index < words.size() ? words[index] : other;
}

// In double quotes.
std::string Quoted(const std::string& text);

// "1 case", "944 cases"
std::string Counted(long long number, const char* one, const char* many);

}  // namespace sdmsh

#endif  // SDMSH_WORDS_H_
