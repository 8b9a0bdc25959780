// Quotes, counts and lists.

#include "Words.h"

namespace sdmsh {
namespace {

constexpr unsigned char kDelete = 0x7F;

bool IsControl(unsigned char byte) {
  return byte < ' ' || byte == kDelete;
}

// U+2400 to U+241F, and U+2421 for the last of them, as UTF-8.
std::string SignOf(unsigned char control) {
  const int sign = control == kDelete ? 0x21 : control;
  return {'\xE2', '\x90', static_cast<char>(0x80 + sign)};
}

// Of how many bytes the character is that `text` begins with, where it is one of U+0080 to U+009F,
// U+2028 and U+2029; 0 for any other.
std::size_t LengthOfUnseen(std::string_view text) {
  const auto second = static_cast<unsigned char>(text.size() < 2 ? 0 : text[1]);
  if (text[0] == '\xC2' && second >= 0x80 && second <= 0x9F) return 2;
  return text.starts_with("\u2028") || text.starts_with("\u2029") ? 3 : 0;
}

}  // namespace

std::string Quoted(const std::string& text) {
  return "\"" + text + "\"";
}

std::string OnOneLine(std::string_view text) {
  std::string line;
  while (!text.empty()) {
    const auto byte = static_cast<unsigned char>(text.front());
    const std::size_t unseen = LengthOfUnseen(text);
    if (unseen > 0) {
      line += "\uFFFD";
    } else if (IsControl(byte)) {
      line += SignOf(byte);
    } else {
      line += text.front();
    }
    text.remove_prefix(unseen > 0 ? unseen : 1);
  }
  return line;
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
