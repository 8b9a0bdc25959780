// UTF-8: incremental validation, and truncation between characters.

#ifndef LIBDATASRC_INTERNAL_UTF8_H_
#define LIBDATASRC_INTERNAL_UTF8_H_

#include <string_view>

namespace sdm_internal {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

// Validates UTF-8 byte by byte.
class Utf8Checker {
 public:
  // Returns false if the bytes so far, including this one, cannot begin a UTF-8 text.
  bool Accepts(char byte) {
    const auto value = static_cast<unsigned char>(byte);
    if (missing_ == 0) return value < 0x80 || Begins(value);
    if (value < least_ || value > most_) return false;
    --missing_;
    least_ = 0x80;
    most_ = 0xBF;
    return true;
  }

  // Whether the bytes so far end inside a character.
  bool IsInside() const { return missing_ > 0; }

 private:
  bool Begins(unsigned char lead) {
    if (lead < 0xC2 || lead > 0xF4) return false;
    missing_ = lead < 0xE0 ? 1 : lead < 0xF0 ? 2 : 3;
    // No overlong forms, no surrogates, nothing above U+10FFFF.
    least_ = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
    most_ = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
    return true;
  }

  int missing_ = 0;  // bytes left in the current character
  unsigned char least_ = 0x80;
  unsigned char most_ = 0xBF;
};

inline bool IsUtf8(std::string_view text) {
  Utf8Checker checker;
  for (const char byte : text) {
    if (!checker.Accepts(byte)) return false;
  }
  return !checker.IsInside();
}

// The longest prefix of UTF-8 `text` that has at most `size` bytes and ends between characters.
inline std::string_view CutUtf8(std::string_view text, std::size_t size) {
  if (text.size() <= size) return text;
  while (size > 0 && (static_cast<unsigned char>(text[size]) & 0xC0) == 0x80) --size;
  return text.substr(0, size);
}

}  // namespace sdm_internal

#endif  // LIBDATASRC_INTERNAL_UTF8_H_
