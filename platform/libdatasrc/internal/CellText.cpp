#include <libdatasrc/internal/CellText.h>
#include <libdatasrc/internal/NumberText.h>
#include <libdatasrc/internal/ObsCells.h>
#include <libdatasrc/internal/Utf8.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <string>

namespace sdm_internal {

double NumberOrMissing(std::string_view text) {
  return ParseNumber(text).value_or(kMissingNumber);
}

void WriteText(std::string_view text, int width, OBS* cells) {
  char* const begin = cells->text;
  char* const end = begin + ObsCells(width) * static_cast<long>(sizeof(OBS));
  const std::string_view kept = CutUtf8(text, static_cast<std::size_t>(width));
  std::fill(std::copy(kept.begin(), kept.end(), begin), end, ' ');
}

void WriteNumberAsText(double number, int width, OBS* cells) {
  std::string text;
  if (std::isfinite(number)) text = ShortestText(number);
  if (text.size() > static_cast<std::size_t>(width)) text.clear();
  WriteText(text, width, cells);
}

void WriteMissing(int type, OBS* cells) {
  if (type == 0) {
    cells->number = kMissingNumber;
  } else {
    WriteText({}, type, cells);
  }
}

}  // namespace sdm_internal
