#include <libdatasrc/ImportReport.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <string_view>

namespace {

using Reason = ImportReport::Reason;
using Type = ImportReport::Type;

std::string NameOf(char delimiter) {
  switch (delimiter) {
    case ',':
      return "a comma";
    case '\t':
      return "a tab";
    case ';':
      return "a semicolon";
    case '|':
      return "a bar";
    default:
      return "a space";
  }
}

std::string_view NameOf(Type type) {
  switch (type) {
    case Type::Number:
      return "number";
    case Type::Boolean:
      return "true or false";
    case Type::Date:
      return "date";
    case Type::DateTime:
      return "date with time";
    case Type::Time:
      return "time";
    case Type::Text:
      return "text";
  }
  return {};
}

// The words for Type and Reason in JSON, in the order of the enumerators.
constexpr const char* kTypes[] = {"number", "boolean", "date", "datetime", "time", "text"};
constexpr const char* kReasons[] = {"noValues",   "everyValue",  "schema",
                                    "otherValue", "leadingZero", "largeNumber"};

std::string OnOneLine(std::string text) {
  std::ranges::replace_if(
      text, [](char c) { return static_cast<unsigned char>(c) < ' ' || c == 0x7F; }, ' ');
  return text;
}

std::string ReasonOf(const ImportReport::Variable& variable) {
  const std::string value = "'" + variable.value + "' in line " + std::to_string(variable.line);
  switch (variable.reason) {
    case Reason::NoValues:
      return ", because it has no values";
    case Reason::EveryValue:
      return ", like its first value " + value;
    case Reason::Schema:
      return ", as the schema says";
    case Reason::OtherValue:
      return ", because " + value + " does not have another type that all values share";
    case Reason::LeadingZero:
      return ", because " + value + " is a number with a leading zero";
    case Reason::LargeNumber:
      return ", because " + value +
             " is a whole number above 2^53, which may not be stored exactly";
  }
  return {};
}

std::string MissingOf(const ImportReport::Variable& variable) {
  if (variable.missing.empty()) return "No missing values.";
  std::string text = "Missing values: ";
  const char* separator = "";
  for (const auto& [word, count] : variable.missing) {
    text += separator + std::to_string(count) + " " +
            (word.empty() ? std::string("empty") : "'" + OnOneLine(word) + "'");
    separator = ", ";
  }
  return text + ".";
}

}  // namespace

std::string ImportReport::Text() const {
  std::string text = std::to_string(rows) + " rows and " + std::to_string(variables.size()) +
                     " variables. The delimiter is " + NameOf(delimiter) +
                     ", the decimal mark is " + (decimalMark == ',' ? "a comma" : "a point") +
                     ", the encoding is " + encoding + ".\n";
  for (const Variable& variable : variables) {
    text.append(OnOneLine(variable.name)).append(": ").append(NameOf(variable.type));
    text += ReasonOf(variable) + ". " + MissingOf(variable) + "\n";
  }
  return text;
}

std::string ImportReport::Json() const {
  using Json = nlohmann::ordered_json;
  Json list = Json::array();
  for (const Variable& variable : variables) {
    Json missing = Json::array();
    for (const auto& [word, count] : variable.missing) {
      missing.push_back({{"word", word}, {"count", count}});
    }
    list.push_back({{"name", variable.name},
                    {"type", kTypes[static_cast<std::size_t>(variable.type)]},
                    {"reason", kReasons[static_cast<std::size_t>(variable.reason)]},
                    {"value", variable.value},
                    {"line", variable.line == 0 ? Json(nullptr) : Json(variable.line)},
                    {"missing", missing}});
  }
  const Json json = {{"delimiter", std::string(1, delimiter)},
                     {"decimalMark", std::string(1, decimalMark)},
                     {"encoding", encoding},
                     {"rows", rows},
                     {"variables", list}};
  return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}
