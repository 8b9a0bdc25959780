// Prints a data file as the library reads it, as lines of JSON: the variables, then each case as an
// array. A missing number is null, an infinity is "inf" or "-inf"; other numbers are printed
// exactly.

#include <libdatasrc/CaseReader.h>
#include <libdatasrc/SystemFileDataSource.h>

#include <cmath>
#include <iostream>
#include <nlohmann/json.hpp>

namespace {

using nlohmann::json;

const char* KindName(VariableFormat::Kind kind) {
  switch (kind) {
    case VariableFormat::Kind::Plain:
      return "plain";
    case VariableFormat::Kind::Date:
      return "date";
    case VariableFormat::Kind::Time:
      return "time";
    case VariableFormat::Kind::DateTime:
      return "datetime";
  }
  return "";
}

json JsonOf(const DataValue& value) {
  if (const auto* text = std::get_if<std::string>(&value)) return *text;
  const double number = std::get<double>(value);
  if (std::isinf(number)) return number > 0 ? "inf" : "-inf";
  return std::isnan(number) ? json() : json(number);
}

json JsonOf(const ORVX_Variable& variable) {
  json labels = json::array();
  for (const auto& [value, label] : variable.GetValueLabels()) {
    labels.push_back({JsonOf(value), label});
  }
  return {{"name", variable.GetName()},
          {"width", variable.GetType()},
          {"format", KindName(variable.GetFormat().kind)},
          {"labels", labels}};
}

void Print(const ORVX_DataSource& source) {
  json variables = json::array();
  for (int i = 0; i < source.ColumnCount(); ++i) variables.push_back(JsonOf(source.GetVariable(i)));
  std::cout << variables << '\n';
  CaseReader cases(source);
  while (cases.Next()) {
    json row = json::array();
    for (const DataValue& value : cases.Values()) row.push_back(JsonOf(value));
    std::cout << row << '\n';
  }
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 2 && count != 3) {
    std::cerr << "usage: print_cases FILE [ENCODING]\n";
    return 2;
  }
  try {
    ImportOptions options;
    if (count == 3) options.encoding = arguments[2];
    Print(*SystemFileDataSource::Open(arguments[1], options));
  } catch (const DataFileError& error) {
    std::cerr << error.what() << '\n';
    return 1;
  }
  return 0;
}
