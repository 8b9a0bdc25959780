// Quotes, counts and lists.

#include "Words.h"

namespace sdmsh {

std::string Quoted(const std::string& text) {
  return "\"" + text + "\"";
}

std::string Counted(long long number, const char* one, const char* many) {
  return std::to_string(number) + " " + (number == 1 ? one : many);
}

std::string Joined(const std::vector<std::string>& texts) {
  std::string joined;
  for (const std::string& text : texts) joined += (joined.empty() ? "" : ", ") + text;
  return joined;
}

std::string OrNone(const std::string& text) {
  return text.empty() ? "none" : text;
}

}  // namespace sdmsh
