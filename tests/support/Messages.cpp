// Reads messages through the visitor, and prints them.

#include <tests/support/Messages.h>

#include <liborvxdemg/DataSetModifiedMsg.h>
#include <liborvxdemg/DataSetMsgVisitor.h>
#include <liborvxdemg/DeleteVarsMsg.h>
#include <liborvxdemg/ExtensionsMsg.h>
#include <liborvxdemg/FileLabelChangeMsg.h>
#include <liborvxdemg/FileSpecChangeMsg.h>
#include <liborvxdemg/FilterVarMsg.h>
#include <liborvxdemg/ImputationInfoMsg.h>
#include <liborvxdemg/InsertVarsMsg.h>
#include <liborvxdemg/ModifyVarMsg.h>
#include <liborvxdemg/MoveVarsMsg.h>
#include <liborvxdemg/ResetClientDataMsg.h>
#include <liborvxdemg/ResetUndoMsg.h>
#include <liborvxdemg/SplitFileMsg.h>
#include <liborvxdemg/TrendsInfoMsg.h>
#include <liborvxdemg/WeightVarMsg.h>
#include <tests/support/Dictionary.h>

#include <algorithm>
#include <ostream>
#include <utility>

namespace support {

namespace {

class Reader final : public DataSetMsgVisitor {
 public:
  void Visit(const InsertVarsMsg& message) override {
    said.kind = Said::Kind::Insert;
    said.variables = message.GetVariables();
    said.anchor = message.GetAnchor();
  }
  void Visit(const DeleteVarsMsg& message) override {
    said.kind = Said::Kind::Delete;
    said.variables = message.GetVariables();
  }
  void Visit(const MoveVarsMsg& message) override {
    said.kind = Said::Kind::Move;
    said.positions = message.GetPositions();
    said.target = message.GetTarget();
  }
  void Visit(const ModifyVarMsg& message) override {
    said.kind = Said::Kind::Modify;
    said.variables = {message.GetVariable()};
  }
  void Visit(const ResetUndoMsg&) override { said.kind = Said::Kind::ResetUndo; }
  void Visit(const ImputationInfoMsg& message) override {
    said.kind = Said::Kind::Imputation;
    said.number = message.RowsPerImputation();
  }
  void Visit(const FileSpecChangeMsg& message) override {
    said.kind = Said::Kind::FileSpec;
    said.text = message.GetFileSpec();
    said.flag = message.GetFlag();
  }
  void Visit(const FileLabelChangeMsg& message) override {
    said.kind = Said::Kind::Label;
    said.text = message.GetLabel();
  }
  void Visit(const WeightVarMsg& message) override {
    said.kind = Said::Kind::Weight;
    said.ids = {message.GetVariableID()};
  }
  void Visit(const FilterVarMsg& message) override {
    said.kind = Said::Kind::Filter;
    said.ids = {message.GetVariableID()};
  }
  void Visit(const TrendsInfoMsg& message) override {
    said.kind = Said::Kind::Trends;
    said.trends = message.GetTrendsInfo();
  }
  void Visit(const SplitFileMsg& message) override {
    said.kind = Said::Kind::Split;
    said.ids = message.GetVariableIDs();
    said.flag = message.GetSeparate();
  }
  void Visit(const ExtensionsMsg& message) override {
    const ORVX_ExtensionImpl& block = *message.GetExtension();
    said.kind = Said::Kind::Extension;
    said.type = block.GetType();
    said.version = block.GetVersion();
    said.text = block.GetBytes();
  }
  void Visit(const ResetClientDataMsg& message) override {
    said.kind = Said::Kind::RowCount;
    said.number = message.GetRowCount();
  }
  void Visit(const DataSetModifiedMsg& message) override {
    said.kind = Said::Kind::Dirty;
    said.flag = message.GetModified();
  }

  Said said{Said::Kind::Other, {}, {}, {}, 0};
};

template <class List, class Show>
std::string Joined(const List& list, const std::string& separator, Show show) {
  std::string text;
  for (const auto& element : list) text += (text.empty() ? "" : separator) + show(element);
  return text.empty() ? "nothing" : text;
}

std::string Definitions(const std::vector<ORVX_Variable>& variables) {
  return Joined(variables, ", ", [](const ORVX_Variable& variable) { return AsText(variable); });
}

std::string NamesOf(const std::vector<LocallyUniqueID>& ids) {
  return Joined(ids, " ", NameOf);
}

std::string TrendsAsText(const ORVX_TrendsInfo& trends) {
  return "trends by " + NamesOf(trends.timeVariables) + ", " +
         std::to_string(trends.seasonalPeriod) + " in a season";
}

// Formats the message without the definitions of variables, and without the version and the bytes
// of an extension.
std::string Brief(Said said) {
  if (said.kind == Said::Kind::Extension) return "extension " + std::to_string(said.type);
  for (ORVX_Variable& variable : said.variables) {
    const LocallyUniqueID id = variable.GetID();
    variable = ORVX_Variable(id, NameOf(id));
  }
  return AsText(said);
}

std::string ExpectedText(const Expected& expected) {
  return expected.definitionsToo ? AsText(expected.said) : Brief(expected.said);
}

bool Fits(const Said& said, const Expected& expected) {
  if (expected.definitionsToo) return said == expected.said;
  return Brief(said) == Brief(expected.said);
}

Expected Of(Said::Kind kind, std::vector<ORVX_Variable> variables, bool definitionsToo) {
  Expected expected;
  expected.said.kind = kind;
  expected.said.variables = std::move(variables);
  expected.definitionsToo = definitionsToo;
  return expected;
}

Expected OfUse(Said::Kind kind, std::vector<LocallyUniqueID> ids) {
  Expected expected = Of(kind, {}, true);
  expected.said.ids = std::move(ids);
  return expected;
}

}  // namespace

Said WhatIsSaidBy(const DataSetMsg* message) {
  if (message == nullptr) return Said();
  Reader reader;
  message->Accept(reader);
  return std::move(reader.said);
}

std::vector<Said> WhatIsSaidBy(const std::vector<DataSetMsg*>& queue) {
  std::vector<Said> said;
  said.reserve(queue.size());
  for (const DataSetMsg* message : queue) said.push_back(WhatIsSaidBy(message));
  return said;
}

bool IsAboutVariables(const Said& said) {
  return said.kind == Said::Kind::Insert || said.kind == Said::Kind::Delete ||
         said.kind == Said::Kind::Move || said.kind == Said::Kind::Modify;
}

std::vector<Said> OnlyAboutVariables(std::vector<Said> said) {
  std::erase_if(said, [](const Said& one) { return !IsAboutVariables(one); });
  return said;
}

std::string AsText(const Said& said) {
  switch (said.kind) {
    case Said::Kind::Null:
      return "(null)";
    case Said::Kind::Other:
      return "(a message of the test's)";
    case Said::Kind::Insert:
      return "insert " + Definitions(said.variables) +
             (said.anchor.IsNull() ? " at the end" : " before " + NameOf(said.anchor));
    case Said::Kind::Delete:
      return "delete " + Definitions(said.variables);
    case Said::Kind::Move:
      return "move " +
             Joined(said.positions, " ", [](int position) { return std::to_string(position); }) +
             " to " + std::to_string(said.target);
    case Said::Kind::Modify:
      return "modify " + Definitions(said.variables);
    case Said::Kind::ResetUndo:
      return "reset undo";
    case Said::Kind::Imputation:
      return "imputation of " + std::to_string(said.number) + " rows";
    case Said::Kind::FileSpec:
      return std::string("file specification ") + testing::PrintToString(said.text) +
             (said.flag ? "" : ", flag off");
    case Said::Kind::Label:
      return "label " + testing::PrintToString(said.text);
    case Said::Kind::Weight:
      return "weight by " + NamesOf(said.ids);
    case Said::Kind::Filter:
      return "filter by " + NamesOf(said.ids);
    case Said::Kind::Trends:
      return TrendsAsText(said.trends);
    case Said::Kind::Split:
      return "split by " + NamesOf(said.ids) + (said.flag ? ", separate" : "");
    case Said::Kind::Extension:
      return "extension " + std::to_string(said.type) + ", version " +
             std::to_string(said.version) + ": " + testing::PrintToString(said.text);
    case Said::Kind::RowCount:
      return "reset client data, " + std::to_string(said.number) + " rows";
    case Said::Kind::Dirty:
      return said.flag ? "dirty" : "clean";
  }
  return "(unknown kind)";
}

std::string AsText(const DataSetMsg* message) {
  return AsText(WhatIsSaidBy(message));
}

std::string AsText(const ORVX_Variable& variable) {
  const std::string known = NameOf(variable.GetID());
  const ORVX_Variable fresh(variable.GetID(), known);
  std::string text = known;
  if (variable.GetName() != known) text += " named " + variable.GetName();
  if (variable.GetType() != 0) text += " of width " + std::to_string(variable.GetType());
  if (!variable.GetLabel().empty()) text += " \"" + variable.GetLabel() + "\"";
  const auto also = [&](bool differs, const char* what) {
    if (differs) text += std::string(" with ") + what;
  };
  also(variable.GetFormat() != fresh.GetFormat(), "a format");
  also(variable.GetValueLabels() != fresh.GetValueLabels(), "value labels");
  also(variable.GetMissingValues() != fresh.GetMissingValues(), "missing values");
  also(variable.GetMeasurementLevel() != fresh.GetMeasurementLevel(), "a measurement level");
  also(variable.GetAttributes() != fresh.GetAttributes(), "attributes");
  return text;
}

std::string SideBySide(const std::string& leftTitle, const std::vector<std::string>& left,
                       const std::string& rightTitle, const std::vector<std::string>& right) {
  std::size_t width = leftTitle.size();
  for (const std::string& line : left) width = std::max(width, line.size());
  const auto padded = [width](const std::string& line) {
    return line + std::string(width - line.size(), ' ');
  };
  std::string text = "    " + padded(leftTitle) + " | " + rightTitle + "\n";
  for (std::size_t i = 0; i < std::max(left.size(), right.size()); ++i) {
    const std::string leftLine = i < left.size() ? left[i] : "-";
    const std::string rightLine = i < right.size() ? right[i] : "-";
    text += (leftLine == rightLine ? "    " : " !  ") + padded(leftLine) + " | " + rightLine + "\n";
  }
  return text;
}

std::ostream& operator<<(std::ostream& stream, const Said& said) {
  return stream << AsText(said);
}

Inserted::Inserted(const std::string& names) : variables_(Vars(names)), definitionsToo_(false) {}

Inserted::Inserted(const ORVX_Variable& variable) : variables_{variable}, definitionsToo_(true) {}

Expected Inserted::Before(const std::string& name) const {
  return With(Id(name));
}

Expected Inserted::AtEnd() const {
  return With(LocallyUniqueID());
}

Expected Inserted::With(LocallyUniqueID anchor) const {
  Expected expected = Of(Said::Kind::Insert, variables_, definitionsToo_);
  expected.said.anchor = anchor;
  return expected;
}

Expected Moved::To(int target) const {
  Expected expected = Of(Said::Kind::Move, {}, true);
  expected.said.positions = {position_};
  expected.said.target = target;
  return expected;
}

Expected Deleted(const std::string& names) {
  return Of(Said::Kind::Delete, Vars(names), false);
}

Expected Deleted(const std::vector<ORVX_Variable>& variables) {
  return Of(Said::Kind::Delete, variables, true);
}

Expected Modified(const std::string& name) {
  return Of(Said::Kind::Modify, Vars(name), false);
}

Expected Modified(const ORVX_Variable& variable) {
  return Of(Said::Kind::Modify, {variable}, true);
}

Expected ResetUndo() {
  return Of(Said::Kind::ResetUndo, {}, true);
}

Expected Imputation(long long rows) {
  Expected expected = Of(Said::Kind::Imputation, {}, true);
  expected.said.number = rows;
  return expected;
}

Expected FileSpec(const std::string& fileSpec) {
  Expected expected = Of(Said::Kind::FileSpec, {}, true);
  expected.said.text = fileSpec;
  expected.said.flag = true;
  return expected;
}

Expected Label(const std::string& label) {
  Expected expected = Of(Said::Kind::Label, {}, true);
  expected.said.text = label;
  return expected;
}

Expected Weight(const std::string& name) {
  return OfUse(Said::Kind::Weight, {Id(name)});
}

Expected NoWeight() {
  return OfUse(Said::Kind::Weight, {LocallyUniqueID()});
}

Expected Filter(const std::string& name) {
  return OfUse(Said::Kind::Filter, {Id(name)});
}

Expected NoFilter() {
  return OfUse(Said::Kind::Filter, {LocallyUniqueID()});
}

Expected Trends(const ORVX_TrendsInfo& trends) {
  Expected expected = Of(Said::Kind::Trends, {}, true);
  expected.said.trends = trends;
  return expected;
}

Expected Extension(int type) {
  Expected expected = Of(Said::Kind::Extension, {}, false);
  expected.said.type = type;
  return expected;
}

Expected Extension(int type, const std::string& bytes) {
  Expected expected = Of(Said::Kind::Extension, {}, true);
  expected.said.type = type;
  expected.said.version = 1;
  expected.said.text = bytes;
  return expected;
}

Expected RowCount(long long rows) {
  Expected expected = Of(Said::Kind::RowCount, {}, true);
  expected.said.number = rows;
  return expected;
}

Expected Dirty(bool dirty) {
  Expected expected = Of(Said::Kind::Dirty, {}, true);
  expected.said.flag = dirty;
  return expected;
}

Split::Split(const std::string& names) {
  for (const ORVX_Variable& variable : Vars(names)) ids_.push_back(variable.GetID());
}

Split::operator Expected() const {
  return OfUse(Said::Kind::Split, ids_);
}

Expected Split::Separate() const {
  Expected expected = OfUse(Said::Kind::Split, ids_);
  expected.said.flag = true;
  return expected;
}

Expected NullMessage() {
  return Of(Said::Kind::Null, {}, true);
}

testing::AssertionResult AreSaid(const std::vector<Said>& said,
                                 const std::vector<Expected>& expected) {
  bool same = said.size() == expected.size();
  for (std::size_t i = 0; same && i < said.size(); ++i) same = Fits(said[i], expected[i]);
  if (same) return testing::AssertionSuccess();

  std::vector<std::string> expectedTexts;
  for (const Expected& one : expected) expectedTexts.push_back(ExpectedText(one));
  std::vector<std::string> saidTexts;
  for (std::size_t i = 0; i < said.size(); ++i) {
    const bool brief = i < expected.size() && !expected[i].definitionsToo;
    saidTexts.push_back(brief ? Brief(said[i]) : AsText(said[i]));
  }
  return testing::AssertionFailure() << "other messages than expected:\n"
                                     << SideBySide("expected", expectedTexts, "queued", saidTexts);
}

}  // namespace support
