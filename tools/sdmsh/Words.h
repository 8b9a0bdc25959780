// Small change of everything that the shell puts into words.

#ifndef SDMSH_WORDS_H_
#define SDMSH_WORDS_H_

#include <string>
#include <vector>

namespace sdmsh {

// In double quotes.
std::string Quoted(const std::string& text);

// "1 case", "944 cases"
std::string Counted(long long number, const char* one, const char* many);

// With commas between.
std::string Joined(const std::vector<std::string>& texts);

// The text, or "none" for an empty one.
std::string OrNone(const std::string& text);

}  // namespace sdmsh

#endif  // SDMSH_WORDS_H_
