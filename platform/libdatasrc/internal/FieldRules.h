// FieldRules: what a field of a table schema says about the values of its column.

#ifndef LIBDATASRC_INTERNAL_FIELDRULES_H_
#define LIBDATASRC_INTERNAL_FIELDRULES_H_

#include <libdatasrc/internal/TextPattern.h>

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_set>

namespace sdm_internal {

// Allows lookup by string_view without a copy.
struct TextHash {
  using is_transparent = void;
  std::size_t operator()(std::string_view text) const {
    return std::hash<std::string_view>()(text);
  }
};
using TextSet = std::unordered_set<std::string, TextHash, std::equal_to<>>;

// What the whole text must be: a match of a pattern, or JSON.
struct TextForm {
  std::string rule;  // for messages, such as "format email"
  std::optional<TextPattern> pattern;
  char jsonStart = '\0';  // without a pattern, the start of the JSON: { or [
};

struct FieldRules {
  // How a column is stored. Any: the values determine the type. String: text, unchanged. All other
  // types are stored as numbers: Boolean as 1 or 0, Date and DateTime as date values, Time as
  // seconds since midnight.
  enum class Type { Any, String, Number, Integer, Boolean, Date, Time, DateTime, Year };

  Type type = Type::Any;
  std::string datePattern;                 // for ParseByPattern; empty: ISO 8601
  std::optional<TextSet> trueValues;       // by default true, True, TRUE and 1
  std::optional<TextSet> falseValues;      // by default false, False, FALSE and 0
  std::optional<std::string> decimalMark;  // by default the mark of the file
  std::string groupMark;                   // empty for none
  bool isBareNumber = true;                // false: other characters may surround a number

  bool isRequired = false;
  std::optional<double> minimum, maximum, exclusiveMinimum, exclusiveMaximum;
  std::optional<std::size_t> minLength, maxLength;  // in characters
  std::optional<TextForm> form;                     // from the type and format in the schema
  std::optional<TextForm> pattern;                  // the constraint `pattern`
  bool hasEnum = false;
  std::unordered_set<double> numbers;  // the constraint `enum` of a number
  TextSet texts;                       // the constraint `enum` of a text

  bool IsNumeric() const { return type != Type::Any && type != Type::String; }
  bool RestrictsTexts() const { return form || minLength || maxLength || pattern || hasEnum; }

  // The number that `text` stands for in a numeric column; nothing if the text is not of type
  // `type`. Only Type::Number allows infinities and NaN (ParseNonFinite). `fileMark` is the decimal
  // mark of the file, used if `decimalMark` is not set. Ignores blanks around the text.
  // Threads: any.
  std::optional<double> Parse(std::string_view text, char fileMark = '.') const;

  // The type as a noun for messages, such as "a number".
  const char* TypeName() const;

  // The first rule that a value breaks, such as "minimum 0"; empty if there is none. The value must
  // not be missing.
  // Threads: any.
  std::string BrokenRule(double value) const;
  std::string BrokenRule(std::string_view text) const;
};

// The number of characters of a UTF-8 text.
std::size_t CharacterCount(std::string_view text);

}  // namespace sdm_internal

#endif  // LIBDATASRC_INTERNAL_FIELDRULES_H_
