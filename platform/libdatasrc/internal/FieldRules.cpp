#include <libdatasrc/internal/FieldRules.h>
#include <libdatasrc/internal/FieldValue.h>
#include <libdatasrc/internal/JsonText.h>
#include <libdatasrc/internal/NumberText.h>

#include <algorithm>
#include <cmath>

namespace sdm_internal {

namespace {

// Removes the text before and after a number, as in "EUR 95", "95 %" or "$-95".
std::string_view WithoutSurroundings(std::string_view text, std::string_view mark) {
  const auto isStart = [&](std::size_t i) {
    const std::string_view rest = text.substr(i);
    return IsDigit(rest.front()) || rest.front() == '-' || rest.front() == '+' ||
           (rest.starts_with(mark) && rest.size() > mark.size() && IsDigit(rest[mark.size()]));
  };
  std::size_t first = 0;
  while (first < text.size() && !isStart(first)) ++first;
  text.remove_prefix(first);
  while (!text.empty() && !IsDigit(text.back()) && !text.ends_with(mark)) text.remove_suffix(1);
  return text;
}

// Removes the group marks. Each must be between two digits and before the decimal mark: "1,234.5".
std::optional<std::string> WithoutGroups(std::string_view text, std::string_view group,
                                         std::string_view mark) {
  std::string number;
  const std::size_t point = std::min(text.find(mark), text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (!text.substr(i).starts_with(group)) {
      number += text[i];
      continue;
    }
    const std::size_t next = i + group.size();
    if (i == 0 || i > point || !IsDigit(text[i - 1]) || next >= text.size() ||
        !IsDigit(text[next])) {
      return std::nullopt;
    }
    i = next - 1;
  }
  return number;
}

std::optional<double> ParseMarkedNumber(std::string_view text, const FieldRules& rules,
                                        std::string_view mark) {
  std::string number(rules.isBareNumber ? text : WithoutSurroundings(text, mark));
  if (!rules.groupMark.empty()) {
    auto ungrouped = WithoutGroups(number, rules.groupMark, mark);
    if (!ungrouped) return std::nullopt;
    number = *std::move(ungrouped);
  }
  return ParseNumber(number, mark);
}

// Parses an optional minus and at least four digits, as in XML Schema.
std::optional<double> ParseYear(std::string_view text) {
  std::string_view digits = text;
  if (digits.starts_with('-')) digits.remove_prefix(1);
  if (digits.size() < 4 || !std::all_of(digits.begin(), digits.end(), IsDigit)) return std::nullopt;
  return ParseNumber(text);
}

bool IsOneOf(const std::optional<TextSet>& texts, std::string_view text, bool isTrue,
             std::string_view digit) {
  return texts ? texts->contains(text) : ParseBoolean(text) == isTrue || text == digit;
}

bool HasForm(std::string_view text, const TextForm& form) {
  if (form.pattern) return form.pattern->Matches(text);
  const std::size_t start = text.find_first_not_of(" \t\r\n");
  return start != text.npos && text[start] == form.jsonStart && IsJson(text);
}

std::string RuleText(const char* rule, double limit) {
  return std::string(rule) + " " + ShortestText(limit);
}

}  // namespace

std::size_t CharacterCount(std::string_view text) {
  return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), [](char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0) != 0x80;
  }));
}

std::optional<double> FieldRules::Parse(std::string_view text, char fileMark) const {
  text = Trimmed(text);
  const std::string_view mark = decimalMark ? *decimalMark : std::string_view(&fileMark, 1);
  if (!datePattern.empty()) return ParseByPattern(text, datePattern);
  switch (type) {
    case Type::Any:
    case Type::String:
      return std::nullopt;
    case Type::Number: {
      const std::optional<double> number = ParseMarkedNumber(text, *this, mark);
      return number ? number : ParseNonFinite(text);
    }
    case Type::Integer: {
      const std::optional<double> number = ParseMarkedNumber(text, *this, mark);
      return number && std::trunc(*number) == *number ? number : std::nullopt;
    }
    case Type::Boolean:
      if (IsOneOf(trueValues, text, true, "1")) return 1;
      return IsOneOf(falseValues, text, false, "0") ? std::optional(0.0) : std::nullopt;
    case Type::Date:
      return ParseDate(text);
    case Type::Time:
      return ParseTime(text);
    case Type::DateTime:
      return ParseDateTime(text);
    case Type::Year:
      return ParseYear(text);
  }
  return std::nullopt;
}

const char* FieldRules::TypeName() const {
  switch (type) {
    case Type::Any:
    case Type::String:
      return "a string";
    case Type::Number:
      return "a number";
    case Type::Integer:
      return "a whole number";
    case Type::Boolean:
      return "a true or false value";
    case Type::Date:
      return "a date";
    case Type::Time:
      return "a time";
    case Type::DateTime:
      return "a date with a time";
    case Type::Year:
      return "a year";
  }
  return "";
}

std::string FieldRules::BrokenRule(double value) const {
  if (minimum && value < *minimum) return RuleText("minimum", *minimum);
  if (maximum && value > *maximum) return RuleText("maximum", *maximum);
  if (exclusiveMinimum && value <= *exclusiveMinimum) {
    return RuleText("exclusiveMinimum", *exclusiveMinimum);
  }
  if (exclusiveMaximum && value >= *exclusiveMaximum) {
    return RuleText("exclusiveMaximum", *exclusiveMaximum);
  }
  return hasEnum && !numbers.contains(value) ? "enum" : "";
}

std::string FieldRules::BrokenRule(std::string_view text) const {
  if (form && !HasForm(text, *form)) return form->rule;
  if (minLength || maxLength) {
    const std::size_t length = CharacterCount(text);
    if (minLength && length < *minLength) return "minLength " + std::to_string(*minLength);
    if (maxLength && length > *maxLength) return "maxLength " + std::to_string(*maxLength);
  }
  if (pattern && !HasForm(text, *pattern)) return pattern->rule;
  return hasEnum && !texts.contains(text) ? "enum" : "";
}

}  // namespace sdm_internal
