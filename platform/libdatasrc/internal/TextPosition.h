// TextPosition: a place in a text file, as errors name it.

#ifndef LIBDATASRC_INTERNAL_TEXTPOSITION_H_
#define LIBDATASRC_INTERNAL_TEXTPOSITION_H_

#include <string_view>

namespace sdm_internal {

// The byte `column` of the line `line`, both counted from 1.
struct TextPosition {
  long line = 1;
  long column = 1;

  bool operator==(const TextPosition&) const = default;

  // On to the byte behind `byte`.
  void Pass(char byte) {
    ++column;
    if (byte == '\n') {
      ++line;
      column = 1;
    }
  }
  void Pass(std::string_view text) {
    for (char byte : text) Pass(byte);
  }
};

}  // namespace sdm_internal

#endif  // LIBDATASRC_INTERNAL_TEXTPOSITION_H_
