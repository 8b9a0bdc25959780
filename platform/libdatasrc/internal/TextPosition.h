// TextPosition: a position in a text file, for error messages.

#ifndef LIBDATASRC_INTERNAL_TEXTPOSITION_H_
#define LIBDATASRC_INTERNAL_TEXTPOSITION_H_

#include <algorithm>
#include <cstddef>
#include <string_view>

namespace sdm_internal {

// Line, and byte in the line, both counted from 1.
struct TextPosition {
  long line = 1;
  long column = 1;

  bool operator==(const TextPosition&) const = default;

  void Advance(char byte) {
    ++column;
    if (byte == '\n') {
      ++line;
      column = 1;
    }
  }
  void Advance(std::string_view text) {
    const std::size_t lastFeed = text.rfind('\n');
    if (lastFeed != text.npos) {
      line += static_cast<long>(std::count(text.begin(), text.end(), '\n'));
      column = 1;
      text.remove_prefix(lastFeed + 1);
    }
    column += static_cast<long>(text.size());
  }
};

}  // namespace sdm_internal

#endif  // LIBDATASRC_INTERNAL_TEXTPOSITION_H_
