#include <liborvxdemg/DictionaryText.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <cwchar>
#include <locale>
#include <span>
#include <string>
#include <variant>

#include <libdatasrc/ORVX_DataSource.h>

namespace DictionaryText {
namespace {

// Returns the texts of a list in braces; "none" for an empty list.
template <class List, class Text>
std::string Braced(const List& list, Text text) {
  return list.empty() ? "none" : "{" + Joined(list, text) + "}";
}

// Returns the word of an enumerator; enumerators count from 0.
template <class Enumeration>
const char* WordOf(Enumeration value, std::span<const char* const> words) {
  const auto index = static_cast<std::size_t>(value);  // huge for a negative value
  return index < words.size() ? words[index] : "unknown";
}

std::string Labels(const ValueLabels& labels) {
  return Braced(
      labels, [](const auto& entry) { return Value(entry.first) + " = " + Quoted(entry.second); });
}

std::string Missing(const MissingValues& missing) {
  return Braced(missing.values, Value);
}

std::string Attribute(const VariableAttributes::value_type& attribute) {
  return attribute.first + " = " + Joined(attribute.second, Quoted, " ");
}

std::string Set(const ORVX_DataSource* dictionary, const VariableSetImpl& set) {
  std::string text = Quoted(set.name);
  if (!set.label.empty()) text += " " + Quoted(set.label);
  text += ": ";
  if (set.kind != VariableSetImpl::kPlain) text.append(SetKind(set.kind)).append(" ");
  text += Names(dictionary, set.members);
  if (!set.selectedValue.empty()) text += ", selected value " + Quoted(set.selectedValue);
  return text;
}

// Whether the bytes are UTF-8 without ASCII control characters.
bool IsReadable(std::string_view bytes) {
  using Utf8 = std::codecvt<char32_t, char8_t, std::mbstate_t>;
  const std::u8string text(bytes.begin(), bytes.end());
  std::u32string characters(text.size(), U'\0');
  std::mbstate_t state{};
  const char8_t* textEnd = nullptr;
  char32_t* end = nullptr;
  const auto result = std::use_facet<Utf8>(std::locale::classic())
                          .in(state, text.data(), text.data() + text.size(), textEnd,
                              characters.data(), characters.data() + characters.size(), end);
  // The conversion accepts surrogates, which UTF-8 excludes.
  return result == Utf8::ok && std::none_of(characters.data(), end, [](char32_t c) {
           return c < 0x20 || c == 0x7F || (c >= 0xD800 && c <= 0xDFFF);
         });
}

}  // namespace

std::string Quoted(std::string_view text) {
  return '"' + std::string(text) + '"';
}

std::string QuotedOrNone(std::string_view text) {
  return text.empty() ? "none" : Quoted(text);
}

std::string Counted(long long number, const char* noun) {
  return std::to_string(number) + " " + noun + (number == 1 ? "" : "s");
}

std::string Number(double number) {
  if (std::isnan(number)) return "NaN";
  const double magnitude = std::fabs(number);
  const bool isPlain = number == 0 || (magnitude >= 1e-4 && magnitude < 1e15);
  char text[32];
  const auto result =
      isPlain ? std::to_chars(text, text + sizeof text, number, std::chars_format::fixed)
              : std::to_chars(text, text + sizeof text, number);
  return std::string(text, result.ptr);
}

std::string Value(const DataValue& value) {
  if (const double* const number = std::get_if<double>(&value)) return Number(*number);
  return Quoted(std::get<std::string>(value));
}

std::string Type(int type) {
  return type == 0 ? "numeric" : "string of " + Counted(type, "byte");
}

const char* FormatKind(VariableFormat::Kind kind) {
  return WordOf(kind, std::array{"plain", "date", "time", "datetime"});
}

std::string Format(const VariableFormat& format) {
  std::string text = FormatKind(format.kind);
  if (format.width != 0) text += ", width " + std::to_string(format.width);
  if (format.decimals != 0) text += ", decimals " + std::to_string(format.decimals);
  return text;
}

const char* Level(MeasurementLevel level) {
  return WordOf(level, std::array{"unknown", "nominal", "ordinal", "interval", "ratio"});
}

std::string Attributes(const VariableAttributes& attributes) {
  return Joined(attributes, Attribute);
}

std::vector<Difference> Differences(const ORVX_Variable& before, const ORVX_Variable& after) {
  std::vector<Difference> differences;
  const auto compare = [&](const char* what, auto get, auto text) {
    const auto& from = (before.*get)();
    const auto& to = (after.*get)();
    if (!(from == to)) differences.push_back({what, text(from), text(to)});
  };
  compare("name", &ORVX_Variable::GetName, Quoted);
  compare("label", &ORVX_Variable::GetLabel, QuotedOrNone);
  compare("type", &ORVX_Variable::GetType, Type);
  compare("format", &ORVX_Variable::GetFormat, Format);
  compare("value labels", &ORVX_Variable::GetValueLabels, Labels);
  compare("missing values", &ORVX_Variable::GetMissingValues, Missing);
  compare("measurement level", &ORVX_Variable::GetMeasurementLevel, Level);
  compare("attributes", &ORVX_Variable::GetAttributes,
          [](const VariableAttributes& each) { return Braced(each, Attribute); });
  return differences;
}

std::string Name(const ORVX_DataSource* dictionary, LocallyUniqueID id) {
  if (id.IsNull()) return "none";
  if (dictionary == nullptr) return id.ToString();
  const int position = dictionary->FindVarIndex(id);
  if (position < 0) return id.ToString() + " (no such variable)";
  return Quoted(dictionary->GetVariable(position).GetName());
}

std::string Names(const ORVX_DataSource* dictionary, const std::vector<LocallyUniqueID>& ids) {
  return Joined(ids, [&](LocallyUniqueID id) { return Name(dictionary, id); });
}

std::string Split(const ORVX_DataSource* dictionary, const std::vector<LocallyUniqueID>& ids,
                  bool separate) {
  if (ids.empty()) return "none";
  return Names(dictionary, ids) + (separate ? " (separately)" : " (together)");
}

std::string TimeSeries(const ORVX_DataSource* dictionary, const ORVX_TrendsInfo& trends) {
  std::vector<std::string> parts;
  if (!trends.timeVariables.empty())
    parts.push_back("by " + Names(dictionary, trends.timeVariables));
  if (trends.seasonalPeriod != 0)
    parts.push_back("period " + std::to_string(trends.seasonalPeriod));
  return Joined(parts, [](const std::string& part) { return part; });
}

const char* SetKind(std::int32_t kind) {
  return WordOf(kind, std::array{"plain", "indicators", "answers"});
}

std::string Sets(const ORVX_DataSource* dictionary, const std::vector<VariableSet>& sets) {
  return Joined(
      sets, [&](const VariableSet& set) { return Set(dictionary, set.Impl()); }, "; ");
}

std::string SetSizes(const std::vector<VariableSet>& sets) {
  return Joined(sets, [](const VariableSet& set) {
    const auto size = static_cast<long long>(set.Impl().members.size());
    return Quoted(set.Impl().name) + " (" + Counted(size, "variable") + ")";
  });
}

std::string Bytes(std::string_view bytes) {
  constexpr std::size_t kShortText = 60;
  if (bytes.size() > kShortText || !IsReadable(bytes)) {
    return Counted(static_cast<long long>(bytes.size()), "byte");
  }
  return QuotedOrNone(bytes);
}

}  // namespace DictionaryText
