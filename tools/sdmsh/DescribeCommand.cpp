// The command that describes the values of variables, by group and by weight.

#include "Arguments.h"
#include "CommandError.h"
#include "Commands.h"
#include "DictionaryJson.h"
#include "Shell.h"
#include "Statistics.h"
#include "Variables.h"

#include <libdatasrc/CaseReader.h>
#include <libdatasrc/OBS.h>
#include <libdatasrc/ValueText.h>
#include <liborvxdemg/DictionaryText.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <functional>
#include <map>
#include <optional>
#include <utility>
#include <vector>

namespace sdmsh {
namespace {

using DictionaryText::Quoted;

constexpr std::size_t kBins = 10;

// The values of one variable in one group.
struct Values {
  std::vector<WeightedValue> numbers;  // that are not missing; empty for a string variable
  double present = 0;                  // sum of the weights of the values that are not missing
  double missing = 0;                  // sum of the weights of the missing values
};

// The values of the split variables. An empty string replaces a missing number: a NaN cannot be
// sorted, and an empty string comes after all numbers.
using GroupKey = std::vector<DataValue>;

bool IsMissingKey(const DataValue& value) {
  const auto* const text = std::get_if<std::string>(&value);
  return text != nullptr && text->empty();
}

// The variables that a command describes or uses, found before the cases are read.
struct Task {
  std::vector<ORVX_Variable> variables;  // of the whole dictionary
  std::vector<std::size_t> described;    // positions
  std::vector<std::size_t> split;
  std::optional<std::size_t> weight;
  std::optional<std::size_t> filter;
  bool separate = false;
};

// Returns `position`, or nullopt for -1. Refuses a string variable; for `does` see RefuseString.
std::optional<std::size_t> NumberPosition(const ORVX_DataSource& source, int position,
                                          const char* does) {
  if (position < 0) return std::nullopt;
  RefuseString(source.GetVariable(position), does);
  return static_cast<std::size_t>(position);
}

Task TaskOf(const ORVX_DataSource& source, const std::vector<std::string>& names) {
  Task task;
  task.variables = VariablesOf(source);
  for (const int position : PositionsOf(source, names)) {
    task.described.push_back(static_cast<std::size_t>(position));
  }
  if (names.empty()) {
    for (std::size_t i = 0; i < task.variables.size(); ++i) task.described.push_back(i);
  }
  for (const LocallyUniqueID id : SplitOf(source)) {
    task.split.push_back(static_cast<std::size_t>(source.FindVarIndex(id)));
  }
  task.weight = NumberPosition(source, source.GetWeightVarIndex(), "weight cases");
  task.filter = NumberPosition(source, source.GetFilterVarIndex(), "select cases");
  task.separate = source.GetSplitqSeparate();
  return task;
}

// The values of a group, one element for each described variable.
using Group = std::vector<Values>;

class Description {
 public:
  explicit Description(Task task) : task_(std::move(task)) {}

  void Read(const ORVX_DataSource& source, Output& output) {
    ProgressBar bar(output);
    CaseReader cases(source, std::ref(bar));
    while (cases.Next()) Add(cases.Values());
  }

  const Task& GetTask() const { return task_; }
  std::map<GroupKey, Group>& Groups() { return groups_; }

 private:
  // Omits a case whose weight is missing, 0 or negative, or whose filter value is missing or 0.
  void Add(const std::vector<DataValue>& values) {
    const double weight = NumberAt(values, task_.weight);
    const double filter = NumberAt(values, task_.filter);
    if (!(weight > 0) || filter == 0 || std::isnan(filter)) return;
    Group& group = groups_.try_emplace(KeyOf(values), task_.described.size()).first->second;
    for (std::size_t i = 0; i < group.size(); ++i) {
      const DataValue& value = values[task_.described[i]];
      const bool isMissing = IsMissing(task_.variables[task_.described[i]], value);
      (isMissing ? group[i].missing : group[i].present) += weight;
      const auto* const number = std::get_if<double>(&value);
      if (!isMissing && number != nullptr) group[i].numbers.push_back({*number, weight});
    }
  }

  // Returns 1 if `position` is empty, and a NaN for a missing value.
  double NumberAt(const std::vector<DataValue>& values, std::optional<std::size_t> position) const {
    if (!position) return 1;
    const DataValue& value = values[*position];
    return IsMissing(task_.variables[*position], value) ? kMissingNumber : std::get<double>(value);
  }

  GroupKey KeyOf(const std::vector<DataValue>& values) const {
    GroupKey key;
    for (const std::size_t position : task_.split) {
      const DataValue& value = values[position];
      const auto* const number = std::get_if<double>(&value);
      key.push_back(number != nullptr && std::isnan(*number) ? DataValue(std::string()) : value);
    }
    return key;
  }

  const Task task_;
  std::map<GroupKey, Group> groups_;
};

// Returns the value as text, a string in quotes.
std::string KeyText(const ORVX_Variable& variable, const DataValue& value) {
  if (IsMissingKey(value)) return "missing";
  const std::string text = ValueText(variable, value);
  return std::holds_alternative<std::string>(value) ? Quoted(text) : text;
}

// Returns a text such as `vote = 1 "Dole"`, with the value label if there is one.
std::string GroupText(const Task& task, const GroupKey& key) {
  std::vector<std::string> parts;
  for (std::size_t i = 0; i < key.size(); ++i) {
    const ORVX_Variable& variable = task.variables[task.split[i]];
    const auto label = variable.GetValueLabels().find(key[i]);
    parts.push_back(variable.GetName() + " = " + KeyText(variable, key[i]) +
                    (label != variable.GetValueLabels().end() ? " " + Quoted(label->second) : ""));
  }
  return Joined(parts);
}

// Formats a date or time, rounded to seconds, if `format` is for dates or times; otherwise a number
// with six significant digits. Returns an empty text for a NaN, a statistic that is not defined.
std::string Rounded(double number, const VariableFormat& format = {}) {
  if (std::isnan(number)) return "";
  const std::string date = FormatValue(format, std::round(number));
  if (!date.empty()) return date;
  char text[32];
  std::snprintf(text, sizeof text, "%.6g", number);
  return text;
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

void AddRow(Table& table, const ORVX_Variable& variable, const std::optional<std::string>& group,
            Values& values, bool hasChart) {
  const Statistics result = StatisticsOf(values.numbers);
  const VariableFormat& format = variable.GetFormat();
  std::vector<std::string> row = {variable.GetName()};
  if (group) row.push_back(*group);
  row.push_back(Rounded(values.present));
  row.push_back(Rounded(values.missing));
  row.push_back(Rounded(result.mean, format));
  row.push_back(Rounded(result.deviation));
  row.push_back(Rounded(result.minimum, format));
  for (const double quartile : result.quartiles) row.push_back(Rounded(quartile, format));
  row.push_back(Rounded(result.maximum, format));
  row.push_back(hasChart ? Histogram(values.numbers, kBins) : "");
  table.Add(std::move(row));
}

// If the split shows the groups together, formats one table with a row for each variable and group.
// Otherwise formats one table for each group.
std::string DescriptionText(Description& description, const Output& output) {
  const Task& task = description.GetTask();
  const bool hasChart = output.MaxWidth() > 0;
  const bool together = !task.split.empty() && !task.separate;
  const auto variableAt = [&](std::size_t i) -> const ORVX_Variable& {
    return task.variables[task.described[i]];
  };
  if (together) {
    Table table = NewTable(/*hasGroups=*/true);
    for (std::size_t i = 0; i < task.described.size(); ++i) {
      for (auto& [key, group] : description.Groups()) {
        AddRow(table, variableAt(i), GroupText(task, key), group[i], hasChart);
      }
    }
    return table.TakeText(output);
  }
  std::string text;
  for (auto& [key, group] : description.Groups()) {
    Table table = NewTable(/*hasGroups=*/false);
    for (std::size_t i = 0; i < group.size(); ++i) {
      AddRow(table, variableAt(i), std::nullopt, group[i], hasChart);
    }
    text += text.empty() ? "" : "\n";
    if (!key.empty()) text += output.Heading(GroupText(task, key)) + "\n";
    text += table.TakeText(output);
  }
  return text;
}

Json GroupInJson(const Task& task, const GroupKey& key, Group& group) {
  Json values = Json::array();
  for (std::size_t i = 0; i < key.size(); ++i) {
    values.push_back({{"variable", task.variables[task.split[i]].GetName()},
                      {"value", IsMissingKey(key[i]) ? Json(nullptr) : ValueInJson(key[i])}});
  }
  Json variables = Json::array();
  for (std::size_t i = 0; i < group.size(); ++i) {
    const Statistics result = StatisticsOf(group[i].numbers);
    variables.push_back({{"variable", task.variables[task.described[i]].GetName()},
                         {"n", group[i].present},
                         {"missing", group[i].missing},
                         {"mean", NumberInJson(result.mean)},
                         {"sd", NumberInJson(result.deviation)},
                         {"min", NumberInJson(result.minimum)},
                         {"quartiles", Json::array({NumberInJson(result.quartiles[0]),
                                                    NumberInJson(result.quartiles[1]),
                                                    NumberInJson(result.quartiles[2])})},
                         {"max", NumberInJson(result.maximum)}});
  }
  return {{"group", values}, {"variables", variables}};
}

Json DescriptionInJson(const std::string& dataset, Description& description) {
  Json groups = Json::array();
  for (auto& [key, group] : description.Groups()) {
    groups.push_back(GroupInJson(description.GetTask(), key, group));
  }
  const Task& task = description.GetTask();
  const auto nameAt = [&](std::optional<std::size_t> position) {
    return position ? Json(task.variables[*position].GetName()) : Json(nullptr);
  };
  return {{"event", "description"},
          {"dataset", dataset},
          {"weight", nameAt(task.weight)},
          {"filter", nameAt(task.filter)},
          {"groups", groups}};
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
  Description description(TaskOf(source, names));
  description.Read(source, output);
  const auto words = [&] {
    const bool isEmpty = description.Groups().empty() || description.GetTask().described.empty();
    return isEmpty ? dataset + " has no values to describe" : DescriptionText(description, output);
  };
  output.Say(words, [&] { return DescriptionInJson(dataset, description); });
}

}  // namespace sdmsh
