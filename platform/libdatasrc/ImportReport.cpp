#include <libdatasrc/ImportReport.h>

#include <algorithm>
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
