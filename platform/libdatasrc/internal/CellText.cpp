#include <libdatasrc/internal/CellText.h>
#include <libdatasrc/internal/NumberText.h>
#include <libdatasrc/internal/ObsCells.h>
#include <libdatasrc/internal/Utf8.h>

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace sdm_internal {

double NumberOrMissing(std::string_view text) {
  return ParseNumber(text).value_or(kMissingNumber);
}

std::string_view WithoutPadding(std::string_view text) {
  return text.substr(0, text.find_last_not_of(' ') + 1);
}

void WriteText(std::string_view text, int width, OBS* cells) {
  char* const begin = cells->text;
  char* const end = begin + ObsCells(width) * static_cast<long>(sizeof(OBS));
  const std::string_view kept = CutUtf8(text, static_cast<std::size_t>(width));
  std::fill(std::copy(kept.begin(), kept.end(), begin), end, ' ');
}

std::string NumberAsText(double number, int width) {
  std::string text;
  if (std::isfinite(number)) text = ShortestText(number);
  if (text.size() > static_cast<std::size_t>(width)) text.clear();
  return text;
}

void WriteNumberAsText(double number, int width, OBS* cells) {
  WriteText(NumberAsText(number, width), width, cells);
}

void WriteMissing(int type, OBS* cells) {
  if (type == 0) {
    cells->number = kMissingNumber;
  } else {
    WriteText({}, type, cells);
  }
}

}  // namespace sdm_internal
