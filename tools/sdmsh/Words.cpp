// Quotes, counts and lists.

#include "Words.h"

namespace sdmsh {
std::string Quoted(const std::string& text) {
  return "\"" + text + "\"";
}

std::string Counted(long long number, const char* one, const char* many) {
  return std::to_string(number) + " " + (number == 1 ? one : many);
}

}  // namespace sdmsh
