#include <libdatasrc/internal/FieldValue.h>
#include <libdatasrc/internal/NumberText.h>
#include <libdatasrc/ValueText.h>

using namespace sdm_internal;
using Kind = VariableFormat::Kind;

std::string FormatValue(const VariableFormat& format, double number) {
  if (format.kind == Kind::Plain) return {};
  if (format.kind == Kind::Time) return TimeText(number);
  std::string text;
  if (format.kind == Kind::Date) text = DateText(number);
  return text.empty() ? DateTimeText(number) : text;
}

std::optional<double> ParseValue(const VariableFormat& format, std::string_view text) {
  std::optional<double> number;
  if (format.kind == Kind::Time) number = ParseTime(text);
  if (format.kind == Kind::Date || format.kind == Kind::DateTime) {
    number = ParseDate(text);
    if (!number) number = ParseDateTime(text);
  }
  return number ? number : ParseNumber(text);
}
