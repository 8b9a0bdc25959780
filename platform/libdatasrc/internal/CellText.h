// CellText: converts between numbers and texts, and writes values to the cells of a row.

#ifndef LIBDATASRC_INTERNAL_CELLTEXT_H_
#define LIBDATASRC_INTERNAL_CELLTEXT_H_

#include <libdatasrc/OBS.h>

#include <string>
#include <string_view>

namespace sdm_internal {

// Parses a number; returns kMissingNumber if `text` is not a number.
double NumberOrMissing(std::string_view text);

// `text` without the blanks at its end, which are padding.
std::string_view WithoutPadding(std::string_view text);

// Writes the cells of a string of `width` bytes. Cuts the text to at most `width` bytes without
// splitting a character, and fills the rest of the cells with blanks.
void WriteText(std::string_view text, int width, OBS* cells);

// The shortest decimal text of the number. Empty if the number is infinite or a NaN, or if the text
// is longer than `width` bytes: a truncated text would be another number.
std::string NumberAsText(double number, int width);

// Writes the text from NumberAsText as a string of `width` bytes. An empty text gives blanks.
void WriteNumberAsText(double number, int width, OBS* cells);

// Writes a missing value. `type`: 0 for a number, otherwise the width of a string.
void WriteMissing(int type, OBS* cells);

}  // namespace sdm_internal

#endif  // LIBDATASRC_INTERNAL_CELLTEXT_H_
