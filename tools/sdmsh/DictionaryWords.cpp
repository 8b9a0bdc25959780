// Properties of a dictionary in words.

#include "DictionaryWords.h"

#include "OpenDataset.h"
#include "Words.h"

namespace sdmsh {

std::string VariableInWords(const NamedVariable& variable) {
  if (variable.id.IsNull()) return "none";
  return variable.name.empty() ? InWords(variable.id) + " (not there)" : Quoted(variable.name);
}

std::string VariablesInWords(const std::vector<NamedVariable>& variables) {
  std::vector<std::string> names;
  for (const NamedVariable& variable : variables) names.push_back(VariableInWords(variable));
  return OrNone(Joined(names));
}

std::string SplitInWords(const Split& split) {
  if (split.variables.empty()) return "none";
  return VariablesInWords(split.variables) + (split.separate ? " (separately)" : " (together)");
}

std::string TimeSeriesInWords(const TimeSeries& trends) {
  std::string words;
  const auto add = [&words](const std::string& part) {
    words += (words.empty() ? "" : "; ") + part;
  };
  if (!trends.dateVariables.empty()) add("by " + VariablesInWords(trends.dateVariables));
  if (trends.periodicity != 0) add("period " + std::to_string(trends.periodicity));
  if (trends.firstCase != 0 || trends.lastCase != 0) {
    add("cases " + std::to_string(trends.firstCase) + " to " + std::to_string(trends.lastCase));
  }
  return OrNone(words);
}

std::string SetsInWords(const std::vector<NamedSet>& sets) {
  std::vector<std::string> words;
  for (const NamedSet& set : sets) {
    const auto size = static_cast<long long>(set.members.size());
    words.push_back(Quoted(set.set.name) + " (" + Counted(size, "variable", "variables") + ")");
  }
  return OrNone(Joined(words));
}

const char* SetKindInWords(int kind) {
  switch (kind) {
    case VariableSetImpl::kPlain:
      return "plain";
    case VariableSetImpl::kMultipleDichotomies:
      return "dichotomies";
    case VariableSetImpl::kMultipleCategories:
      return "categories";
    default:
      return "unknown";
  }
}

}  // namespace sdmsh
