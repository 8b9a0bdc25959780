// Variables in words.

#include "VariableWords.h"

#include "Words.h"

#include <array>
#include <charconv>
#include <cmath>
#include <string_view>

namespace sdmsh {
namespace {

// Items in braces, separated by commas.
class Braced {
 public:
  void Add(const std::string& item) {
    text_ += text_.empty() ? "" : ", ";
    text_ += item;
  }
  std::string Text() const { return text_.empty() ? "none" : "{" + text_ + "}"; }

 private:
  std::string text_;
};

std::string LabelsInWords(const ValueLabels& labels) {
  Braced words;
  for (const auto& [value, label] : labels) words.Add(ValueInWords(value) + " = " + Quoted(label));
  return words.Text();
}

std::string MissingInWords(const MissingValues& missing) {
  Braced words;
  for (const DataValue& value : missing.values) words.Add(ValueInWords(value));
  return words.Text();
}

}  // namespace

std::string TypeInWords(int type) {
  if (type == 0) return "numeric";
  return "string of " + std::to_string(type) + (type == 1 ? " byte" : " bytes");
}

const char* FormatKindInWords(VariableFormat::Kind kind) {
  return WordOf(kind, std::array{"plain", "date", "time", "datetime"}, "unknown");
}

std::string FormatInWords(const VariableFormat& format) {
  std::string words = FormatKindInWords(format.kind);
  if (format.width != 0) words.append(", width ").append(std::to_string(format.width));
  if (format.decimals != 0) words.append(", decimals ").append(std::to_string(format.decimals));
  return words;
}

const char* LevelInWords(MeasurementLevel level) {
  return WordOf(level, std::array{"unknown", "nominal", "ordinal", "interval", "ratio"}, "unknown");
}

std::string NumberInWords(double number) {
  if (std::isnan(number)) return "NaN";
  const double magnitude = std::fabs(number);
  const bool isPlain = number == 0 || (magnitude >= 1e-4 && magnitude < 1e15);
  char text[32];
  const auto result =
      isPlain ? std::to_chars(text, text + sizeof text, number, std::chars_format::fixed)
              : std::to_chars(text, text + sizeof text, number);
  return std::string(text, result.ptr);
}

std::string ValueInWords(const DataValue& value) {
  if (const double* const number = std::get_if<double>(&value)) return NumberInWords(*number);
  return Quoted(std::get<std::string>(value));
}

std::string AttributesInWords(const VariableAttributes& attributes) {
  Braced words;
  for (const auto& [name, values] : attributes) {
    std::string item = name + " =";
    for (const std::string& value : values) item.append(" ").append(Quoted(value));
    words.Add(item);
  }
  return words.Text();
}

std::vector<Difference> Differences(const ORVX_Variable& before, const ORVX_Variable& after) {
  std::vector<Difference> differences;
  const auto compare = [&](const char* what, auto get, auto inWords) {
    const auto& from = (before.*get)();
    const auto& to = (after.*get)();
    if (!(from == to)) differences.push_back({what, inWords(from), inWords(to)});
  };
  compare("name", &ORVX_Variable::GetName, Quoted);
  compare("label", &ORVX_Variable::GetLabel, Quoted);
  compare("type", &ORVX_Variable::GetType, TypeInWords);
  compare("format", &ORVX_Variable::GetFormat, FormatInWords);
  compare("value labels", &ORVX_Variable::GetValueLabels, LabelsInWords);
  compare("missing values", &ORVX_Variable::GetMissingValues, MissingInWords);
  compare("measurement level", &ORVX_Variable::GetMeasurementLevel, LevelInWords);
  compare("attributes", &ORVX_Variable::GetAttributes, AttributesInWords);
  return differences;
}

}  // namespace sdmsh
