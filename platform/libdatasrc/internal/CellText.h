// Values that become values of another type on their way into the cells of a row.

#ifndef LIBDATASRC_INTERNAL_CELLTEXT_H_
#define LIBDATASRC_INTERNAL_CELLTEXT_H_

#include <libdatasrc/OBS.h>

#include <string_view>

namespace sdm_internal {

// The number that `text` is; kMissingNumber where it is none.
double NumberOrMissing(std::string_view text);

// Writes the cells of a string of `width` bytes: the text, cut between characters to the width, and
// blanks up to the end of the last cell.
void WriteText(std::string_view text, int width, OBS* cells);

// The same with the shortest decimal text of the number; blanks for what is infinite or no number,
// and for a number whose text is too wide: cut, it would be another number.
void WriteNumberAsText(double number, int width, OBS* cells);

// Writes what stands for a missing value. `type`: 0 for a number, otherwise the width of a string.
void WriteMissing(int type, OBS* cells);

}  // namespace sdm_internal

#endif  // LIBDATASRC_INTERNAL_CELLTEXT_H_
