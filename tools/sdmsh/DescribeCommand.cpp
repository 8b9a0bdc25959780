// The command that describes the values of variables, by group and by weight.

#include "Arguments.h"
#include "CommandError.h"
#include "Commands.h"
#include "Shell.h"
#include "Variables.h"

#include <libdatasrc/ORVX_DataSource.h>
#include <libdatasrc/Summary.h>
#include <libdatasrc/ValueText.h>
#include <liborvxdemg/DictionaryText.h>

#include <cmath>
#include <cstdio>
#include <functional>
#include <numeric>
#include <utility>
#include <vector>

namespace sdmsh {
namespace {

constexpr std::size_t kBins = 10;

// The described variables and their values. Borrows the source.
struct Description {
  const ORVX_DataSource& source;
  std::vector<int> positions;
  std::vector<const ORVX_Variable*> split;
  Summary::Groups groups;

  const ORVX_Variable& VariableAt(std::size_t i) const { return source.GetVariable(positions[i]); }
  bool IsEmpty() const { return groups.empty() || positions.empty(); }
};

// With no `names`, describes all variables.
Description DescriptionOf(const ORVX_DataSource& source, const std::vector<std::string>& names,
                          Output& output) {
  Description description{source, PositionsOf(source, names), {}, {}};
  if (names.empty()) {
    description.positions.resize(static_cast<std::size_t>(source.ColumnCount()));
    std::iota(description.positions.begin(), description.positions.end(), 0);
  }
  for (const LocallyUniqueID id : SplitOf(source)) {
    description.split.push_back(&source.GetVariable(source.FindVarIndex(id)));
  }
  ProgressBar bar(output);
  description.groups = Summary::ReadGroups(source, description.positions, std::ref(bar));
  return description;
}

bool IsMissingKey(const DataValue& value) {
  const auto* const text = std::get_if<std::string>(&value);
  return text != nullptr && text->empty();
}

// Returns the value as text, with quotes around a string; "missing" for an empty string.
std::string KeyText(const ORVX_Variable& variable, const DataValue& value) {
  if (IsMissingKey(value)) return "missing";
  const std::string text = ValueText(variable, value);
  return std::holds_alternative<std::string>(value) ? DictionaryText::Quoted(text) : text;
}

// Returns a text such as `vote = 1 "Dole"`, with the value label if there is one.
std::string GroupText(const Description& description, const Summary::Key& key) {
  std::vector<std::string> parts;
  for (std::size_t i = 0; i < key.size(); ++i) {
    const ORVX_Variable& variable = *description.split[i];
    const ValueLabels& labels = variable.GetValueLabels();
    const auto label = labels.find(key[i]);
    parts.push_back(variable.GetName() + " = " + KeyText(variable, key[i]) +
                    (label != labels.end() ? " " + DictionaryText::Quoted(label->second) : ""));
  }
  return Joined(parts);
}

// Formats a date or time, rounded to seconds, if `format` is for dates or times; otherwise a number
// with six significant digits. Returns an empty text for a NaN, which stands for a statistic that
// is not defined.
std::string Rounded(double number, const VariableFormat& format = {}) {
  if (std::isnan(number)) return "";
  const std::string date = FormatValue(format, std::round(number));
  if (!date.empty()) return date;
  char text[32];
  std::snprintf(text, sizeof text, "%.6g", number);
  return text;
}

// Formats a sum of weights, with all digits if it is a whole number.
std::string CountText(double count) {
  if (count != std::round(count) || count >= 1e15) return Rounded(count);
  return std::to_string(std::llround(count));
}

Table NewTable(bool hasGroups) {
  std::vector<Table::Column> columns = {{.head = "variable"}};
  if (hasGroups) columns.push_back({.head = "group"});
  for (const char* const head :
       {"n", "missing", "mean", "sd", "min", "25%", "median", "75%", "max"}) {
    columns.push_back({.head = head, .right = true});
  }
  columns.push_back({});
  return Table(std::move(columns));
}

// Adds a row that begins with `cells`.
void AddRow(Table& table, std::vector<std::string> cells, const ORVX_Variable& variable,
            const Summary::Values& values, const Output& output) {
  const Summary::Statistics result = Summary::StatisticsOf(values.numbers);
  const VariableFormat& format = variable.GetFormat();
  cells.insert(cells.end(),
               {CountText(values.present), CountText(values.missing), Rounded(result.mean, format),
                Rounded(result.deviation), Rounded(result.minimum, format)});
  for (const double quartile : result.quartiles) cells.push_back(Rounded(quartile, format));
  cells.push_back(Rounded(result.maximum, format));
  const bool hasChart = output.MaxWidth() > 0;
  cells.push_back(hasChart ? Summary::Histogram(values.numbers, kBins) : "");
  table.Add(std::move(cells));
}

// One table with a row for each variable and group.
std::string TextOfGroupsTogether(const Description& description, const Output& output) {
  Table table = NewTable(/*hasGroups=*/true);
  for (std::size_t i = 0; i < description.positions.size(); ++i) {
    const ORVX_Variable& variable = description.VariableAt(i);
    for (const auto& [key, group] : description.groups) {
      AddRow(table, {variable.GetName(), GroupText(description, key)}, variable, group[i], output);
    }
  }
  return table.TakeText(output);
}

// One table for each group.
std::string TextOfGroupsSeparately(const Description& description, const Output& output) {
  std::vector<std::string> tables;
  for (const auto& [key, group] : description.groups) {
    Table table = NewTable(/*hasGroups=*/false);
    for (std::size_t i = 0; i < group.size(); ++i) {
      const ORVX_Variable& variable = description.VariableAt(i);
      AddRow(table, {variable.GetName()}, variable, group[i], output);
    }
    if (!key.empty()) tables.push_back(output.Heading(GroupText(description, key)));
    tables.push_back(table.TakeText(output));
  }
  return Joined(tables, "\n");
}

}  // namespace

void Describe(Call& call) {
  std::vector<std::string> names;
  if (!call.AtEnd()) names = call.TakeRest("VARIABLE");
  const SvrDMInputDataSource& reader = call.Reader();
  const std::string dataset = call.dataset->Name();
  if (*reader == nullptr) throw CommandError(dataset + " has no data source");
  const ORVX_DataSource& source = **reader;
  Output& output = call.shell.Out();
  const Description description = DescriptionOf(source, names, output);
  const auto words = [&] {
    if (description.IsEmpty()) return dataset + " has no values to describe";
    const bool together = !description.split.empty() && !source.GetSplitqSeparate();
    return together ? TextOfGroupsTogether(description, output)
                    : TextOfGroupsSeparately(description, output);
  };
  call.Show("description", words, [&] {
    return Json::parse(Summary::Json(source, description.positions, description.groups));
  });
}

}  // namespace sdmsh
