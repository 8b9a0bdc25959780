#include <tests/support/Agreement.h>

#include <ServerDataManager/Equality.h>
#include <tests/support/Dictionary.h>
#include <tests/support/Messages.h>

namespace support {

namespace {

std::vector<std::string> VariableLines(const ORVX_DataSource& dictionary) {
  std::vector<std::string> lines;
  for (const ORVX_Variable& variable : VariablesOf(dictionary)) {
    lines.push_back(AsText(variable));
  }
  return lines;
}

bool AreSplitAlike(const ORVX_DataSource& source, const ORVX_DataSource& mirror) {
  const unsigned int count = source.GetNSplitVars();
  if (mirror.GetNSplitVars() != count || mirror.GetSplitqSeparate() != source.GetSplitqSeparate()) {
    return false;
  }
  for (unsigned int i = 0; i < count; ++i) {
    if (source.GetSplitVarID(i) != mirror.GetSplitVarID(i) ||
        source.GetSplitVarIndex(i) != mirror.GetSplitVarIndex(i)) {
      return false;
    }
  }
  return true;
}

std::string LabelOf(const ORVX_DataSource& dictionary) {
  return dictionary.GetLabel() != nullptr ? dictionary.GetLabel() : "";
}

}  // namespace

bool HaveTheSameVariables(const ORVX_DataSource& source, const ORVX_DataSource& mirror) {
  const int count = source.ColumnCount();
  if (mirror.ColumnCount() != count) return false;
  for (int i = 0; i < count; ++i) {
    if (!(source.GetVariable(i) == mirror.GetVariable(i))) return false;
  }
  return true;
}

std::string DifferencesBetween(const ORVX_DataSource& source, const ORVX_DataSource& mirror) {
  std::string text;
  if (!HaveTheSameVariables(source, mirror)) {
    text += "other variables:\n" +
            SideBySide("source", VariableLines(source), "mirror", VariableLines(mirror));
  }
  const auto require = [&text](bool equal, const char* what) {
    if (!equal) text += std::string("another ") + what + "\n";
  };
  require(source.GetWeightVariableID() == mirror.GetWeightVariableID() &&
              source.GetWeightVarIndex() == mirror.GetWeightVarIndex(),
          "weight");
  require(source.GetFilterVariableID() == mirror.GetFilterVariableID() &&
              source.GetFilterVarIndex() == mirror.GetFilterVarIndex(),
          "filter");
  require(AreSplitAlike(source, mirror), "split");
  require(LabelOf(source) == LabelOf(mirror), "label");
  require(source.RowCount() == mirror.RowCount(), "row count");
  require(source.IsDirty() == mirror.IsDirty(), "dirty flag");
  require(*source.GetTrendsInfo() == *mirror.GetTrendsInfo(), "trends information");
  require(source.GetMRSets() == mirror.GetMRSets(), "list of multiple-response sets");
  require(source.GetVariableSets() == mirror.GetVariableSets(), "list of variable sets");
  require(ORVX_DataSource::Extension(source, 0) == ORVX_DataSource::Extension(mirror, 0),
          "extension");
  require(source.GetAttributes() == mirror.GetAttributes(), "list of attributes");
  return text;
}

std::string DifferencesBesideTheDigest(const ORVX_DataSource& source, const ORVX_DataSource& mirror,
                                       const std::vector<ORVX_DataSource::ExtensionType>& types) {
  std::string text;
  if (std::string(source.GetFileSpec()) != mirror.GetFileSpec()) {
    text += "another file specification\n";
  }
  if (source.RowsPerImputation() != mirror.RowsPerImputation()) {
    text += "other rows per imputation\n";
  }
  for (const ORVX_DataSource::ExtensionType type : types) {
    using Extension = ORVX_DataSource::Extension;
    if (Extension(source, type) == Extension(mirror, type)) continue;
    text += "another extension of type " + std::to_string(type) + "\n";
  }
  return text;
}

}  // namespace support
