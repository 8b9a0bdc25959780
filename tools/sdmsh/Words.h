// Small change of everything that the shell puts into words.

#ifndef SDMSH_WORDS_H_
#define SDMSH_WORDS_H_

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

// Each control character becomes a sign that can be seen: U+0000 to U+001F and U+007F the one that
// Unicode has for it, U+0080 to U+009F and the separators of lines and paragraphs, U+2028 and
// U+2029, the replacement character U+FFFD. All else stays as it is, as many letters as before.
std::string OnOneLine(std::string_view text);

// With commas between.
std::string Joined(const std::vector<std::string>& texts);

// The text, or "none" for an empty one.
std::string OrNone(const std::string& text);

}  // namespace sdmsh

#endif  // SDMSH_WORDS_H_
