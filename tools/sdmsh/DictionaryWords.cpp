// Properties of a dictionary in words.

#include "DictionaryWords.h"

#include "OpenDataset.h"
#include "VariableWords.h"
#include "Words.h"

#include <algorithm>
#include <string_view>

namespace sdmsh {
namespace {

constexpr std::size_t kShortText = 60;

bool IsShortText(std::string_view bytes) {
  return bytes.size() <= kShortText && std::all_of(bytes.begin(), bytes.end(), [](unsigned char c) {
           return c >= 0x20 && c != 0x7F;
         });
}

// "news" "TV news": indicators "a", "b", selected value "1"
std::string SetInFull(const NamedSet& named) {
  const VariableSetImpl& set = named.set;
  std::string words = Quoted(set.name);
  if (!set.label.empty()) words.append(" ").append(Quoted(set.label));
  words += ": ";
  if (set.kind != VariableSetImpl::kPlain) words.append(SetKindInWords(set.kind)).append(" ");
  words += VariablesInWords(named.members);
  if (!set.selectedValue.empty()) {
    words.append(", selected value ").append(Quoted(set.selectedValue));
  }
  return words;
}

std::string SetsInFull(const std::vector<NamedSet>& sets) {
  std::string words;
  for (const NamedSet& set : sets) words += (words.empty() ? "" : "; ") + SetInFull(set);
  return OrNone(words);
}

std::string RowsInWords(long long rowCount) {
  return rowCount < 0 ? "unknown" : std::to_string(rowCount);
}

std::string QuotedOrNone(const std::string& text) {
  return text.empty() ? "none" : Quoted(text);
}

}  // namespace

std::string VariableInWords(const NamedVariable& variable) {
  if (variable.id.IsNull()) return "none";
  return variable.name.empty() ? variable.id.ToString() + " (not there)" : Quoted(variable.name);
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
  if (!trends.timeVariables.empty()) add("by " + VariablesInWords(trends.timeVariables));
  if (trends.seasonalPeriod != 0) add("period " + std::to_string(trends.seasonalPeriod));
  return OrNone(words);
}

std::string SetSizesInWords(const std::vector<NamedSet>& sets) {
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
    case VariableSetImpl::kIndicators:
      return "indicators";
    case VariableSetImpl::kAnswers:
      return "answers";
    default:
      return "unknown";
  }
}

std::string BlockInWords(const Block& block) {
  const std::string_view bytes = block->GetBytes();
  if (bytes.empty()) return "none";
  if (IsShortText(bytes)) return Quoted(std::string(bytes));
  return Counted(block->GetLength(), "byte", "bytes");
}

std::vector<Property> PropertiesInWords(const DictionaryFacts& facts) {
  const bool usual = true;
  const bool rare = false;
  const std::string rows =
      facts.rowsPerImputation == 0 ? "none" : Counted(facts.rowsPerImputation, "row", "rows");
  return {
      {"label", QuotedOrNone(facts.label), usual},
      {"variables", std::to_string(facts.variableCount), usual},
      {"cases", RowsInWords(facts.rowCount), usual},
      {"weight", VariableInWords(facts.weight), usual},
      {"filter", VariableInWords(facts.filter), usual},
      {"split", SplitInWords(facts.split), usual},
      {"imputation", rows, rare, /*told=*/false},
      {"trends", TimeSeriesInWords(facts.trends), rare},
      {"response sets", SetsInFull(facts.responseSets), rare},
      {"variable sets", SetsInFull(facts.variableSets), rare},
      {"extension", BlockInWords(facts.extension), rare},
      {"attributes", AttributesInWords(facts.attributes.All()), rare},
      {"saved as", OrNone(facts.fileSpec), usual, /*told=*/false},
      {"unsaved", facts.modified ? "yes" : "no", usual},
  };
}

}  // namespace sdmsh
