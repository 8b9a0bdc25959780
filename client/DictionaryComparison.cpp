#include <client/DictionaryComparison.h>
#include <libdatasrc/ORVX_DataSource.h>
#include <liborvxdemg/DictionaryText.h>

#include <algorithm>

namespace DictionaryComparison {
namespace {

using DictionaryText::Quoted;

std::vector<LocallyUniqueID> IdentifiersOf(const ORVX_DataSource& dictionary) {
  std::vector<LocallyUniqueID> ids;
  for (int position = 0; position < dictionary.ColumnCount(); ++position) {
    ids.push_back(dictionary.GetVariable(position).GetID());
  }
  return ids;
}

std::vector<LocallyUniqueID> SplitOf(const ORVX_DataSource& dictionary) {
  std::vector<LocallyUniqueID> ids;
  for (unsigned int i = 0; i < dictionary.GetNSplitVars(); ++i) {
    ids.push_back(dictionary.GetSplitVarID(i));
  }
  return ids;
}

void CompareProperties(const ORVX_DataSource& source, const ORVX_DataSource& mirror,
                       std::vector<Line>& lines) {
  const std::vector<Property> mirrored = PropertiesOf(mirror);
  for (std::size_t i = 0; const auto& [name, value, isUsual, isSent] : PropertiesOf(source)) {
    const std::string& other = mirrored[i++].value;
    if (isUsual || value != "none" || other != "none") {
      lines.push_back({name, value, other, isSent});
    }
  }
}

void CompareVariables(const ORVX_DataSource& source, const ORVX_DataSource& mirror,
                      std::vector<Line>& lines) {
  for (int sourceIndex = 0; sourceIndex < source.ColumnCount(); ++sourceIndex) {
    const ORVX_Variable& variable = source.GetVariable(sourceIndex);
    const std::string name = Quoted(variable.GetName());
    const int mirrorIndex = mirror.FindVarIndex(variable.GetID());
    if (mirrorIndex < 0) {
      lines.push_back({name, "present", "missing"});
      continue;
    }
    for (const auto& [what, here, there] :
         DictionaryText::Differences(variable, mirror.GetVariable(mirrorIndex))) {
      lines.push_back({name + " " + what, here, there});
    }
  }
  for (int mirrorIndex = 0; mirrorIndex < mirror.ColumnCount(); ++mirrorIndex) {
    const ORVX_Variable& variable = mirror.GetVariable(mirrorIndex);
    if (source.FindVarIndex(variable.GetID()) >= 0) continue;
    lines.push_back({Quoted(variable.GetName()), "missing", "present"});
  }
}

// Compares the order only if both dictionaries have the same variables.
void CompareOrder(const ORVX_DataSource& source, const ORVX_DataSource& mirror,
                  std::vector<Line>& lines) {
  const std::vector<LocallyUniqueID> here = IdentifiersOf(source);
  const std::vector<LocallyUniqueID> there = IdentifiersOf(mirror);
  if (here == there || !std::is_permutation(here.begin(), here.end(), there.begin(), there.end())) {
    return;
  }
  lines.push_back(
      {"order", DictionaryText::Names(&source, here), DictionaryText::Names(&mirror, there)});
}

}  // namespace

std::vector<Property> PropertiesOf(const ORVX_DataSource& dictionary) {
  using namespace DictionaryText;
  const char* const label = dictionary.GetLabel();
  const long long cases = dictionary.RowCount();
  const long long rows = dictionary.RowsPerImputation();
  const std::string fileSpec = dictionary.GetFileSpec();
  const auto name = [&](LocallyUniqueID id) { return Name(&dictionary, id); };
  const auto sets = [&](VarSetsType which) {
    return Sets(&dictionary, VariableSets(dictionary, which));
  };
  return {
      {"label", QuotedOrNone(label != nullptr ? label : "")},
      {"variables", std::to_string(dictionary.ColumnCount())},
      {"cases", cases < 0 ? "unknown" : std::to_string(cases)},
      {"weight", name(dictionary.GetWeightVariableID())},
      {"filter", name(dictionary.GetFilterVariableID())},
      {"split", Split(&dictionary, SplitOf(dictionary), dictionary.GetSplitqSeparate())},
      {"imputation", rows == 0 ? "none" : Counted(rows, "row"), /*isUsual=*/false,
       /*isSent=*/false},
      {"trends", TimeSeries(&dictionary, *dictionary.GetTrendsInfo()), /*isUsual=*/false},
      {"response sets", sets(kMRSets), /*isUsual=*/false},
      {"variable sets", sets(kVariableSets), /*isUsual=*/false},
      {"extension", Bytes(ORVX_DataSource::Extension(dictionary, /*type=*/0).Impl()->GetBytes()),
       /*isUsual=*/false},
      {"attributes", Attributes(dictionary.GetAttributes().All()), /*isUsual=*/false},
      {"saved as", fileSpec.empty() ? "none" : fileSpec, /*isUsual=*/true, /*isSent=*/false},
      {"unsaved", dictionary.IsDirty() ? "yes" : "no"},
  };
}

std::vector<Line> Compare(const ORVX_DataSource& source, const ORVX_DataSource& mirror) {
  std::vector<Line> lines;
  CompareProperties(source, mirror, lines);
  CompareVariables(source, mirror, lines);
  CompareOrder(source, mirror, lines);
  return lines;
}

}  // namespace DictionaryComparison
