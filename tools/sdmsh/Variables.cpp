#include "Variables.h"

#include "Arguments.h"
#include "CommandError.h"

#include <libdatasrc/ORVX_DataSource.h>
#include <libdatasrc/ValueText.h>
#include <liborvxdemg/DictionaryText.h>

#include <algorithm>

namespace sdmsh {

using DictionaryText::Quoted;

std::vector<ORVX_Variable> VariablesOf(const ORVX_DataSource& source) {
  std::vector<ORVX_Variable> variables;
  for (int position = 0; position < source.ColumnCount(); ++position) {
    variables.push_back(source.GetVariable(position));
  }
  return variables;
}

std::vector<LocallyUniqueID> SplitOf(const ORVX_DataSource& source) {
  std::vector<LocallyUniqueID> ids;
  for (unsigned int i = 0; i < source.GetNSplitVars(); ++i) ids.push_back(source.GetSplitVarID(i));
  return ids;
}

int FindByName(const ORVX_DataSource& source, const std::string& name) {
  for (int position = 0; position < source.ColumnCount(); ++position) {
    if (source.GetVariable(position).GetName() == name) return position;
  }
  return -1;
}

int PositionOf(const ORVX_DataSource& source, const std::string& name) {
  const int position = FindByName(source, name);
  if (position >= 0) return position;
  std::vector<std::string> names;
  for (const ORVX_Variable& variable : VariablesOf(source)) names.push_back(variable.GetName());
  throw CommandError("there is no variable " + Quoted(name) + DidYouMean(name, names));
}

int NumberPositionOf(const ORVX_DataSource& source, const std::string& name,
                     const std::string& does) {
  const int position = PositionOf(source, name);
  if (source.GetVariable(position).GetType() == 0) return position;
  throw CommandError("variable " + Quoted(name) + " is a string; only a numeric variable can " +
                     does);
}

std::vector<int> PositionsOf(const ORVX_DataSource& source, const std::vector<std::string>& names) {
  std::vector<int> positions;
  for (const std::string& name : names) {
    const int position = PositionOf(source, name);
    if (std::find(positions.begin(), positions.end(), position) != positions.end()) {
      throw CommandError("variable " + Quoted(name) + " is named twice");
    }
    positions.push_back(position);
  }
  return positions;
}

void RefuseTakenName(const ORVX_DataSource& source, const std::string& name) {
  if (name.empty()) throw CommandError("a variable cannot have an empty name");
  if (FindByName(source, name) >= 0) {
    throw CommandError("there is a variable " + Quoted(name) + " already");
  }
}

DataValue ValueFor(const ORVX_Variable& variable, const std::string& word) {
  const std::string& name = variable.GetName();
  if (variable.GetType() == 0) {
    if (const auto number = ParseValue(variable.GetFormat(), word)) return *number;
    throw CommandError(Quoted(word) + " is not a number, but variable " + Quoted(name) +
                       " is numeric");
  }
  if (word.size() <= static_cast<std::size_t>(variable.GetType())) return word;
  throw CommandError(Quoted(word) + " does not fit into variable " + Quoted(name) + ", a " +
                     DictionaryText::Type(variable.GetType()));
}

std::string ValueText(const ORVX_Variable& variable, const DataValue& value) {
  const auto* const number = std::get_if<double>(&value);
  if (number == nullptr) return std::get<std::string>(value);
  const std::string text = FormatValue(variable.GetFormat(), *number);
  return text.empty() ? DictionaryText::Number(*number) : text;
}

}  // namespace sdmsh
