// DataSetMsg: the kind of a message, and the message as text.

#include <liborvxdemg/DataSetModifiedMsg.h>
#include <liborvxdemg/DataSetMsg.h>
#include <liborvxdemg/DataSetMsgVisitor.h>
#include <liborvxdemg/DeleteVarsMsg.h>
#include <liborvxdemg/DictionaryText.h>
#include <liborvxdemg/ExtensionsMsg.h>
#include <liborvxdemg/ExtensionTypes.h>
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

#include <algorithm>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <libdatasrc/ORVX_DataSource.h>

namespace DEMessages {
namespace {

using DictionaryText::Counted;
using DictionaryText::Joined;
using DictionaryText::Quoted;
using DictionaryText::QuotedOrNone;

class KindFinder final : public DataSetMsgVisitor {
 public:
  using Kind = DataSetMsg::Kind;

  void Visit(const InsertVarsMsg&) override { kind = Kind::InsertVars; }
  void Visit(const DeleteVarsMsg&) override { kind = Kind::DeleteVars; }
  void Visit(const MoveVarsMsg&) override { kind = Kind::MoveVars; }
  void Visit(const ModifyVarMsg&) override { kind = Kind::ModifyVar; }
  void Visit(const ResetUndoMsg&) override { kind = Kind::ResetUndo; }
  void Visit(const ImputationInfoMsg&) override { kind = Kind::ImputationInfo; }
  void Visit(const FileSpecChangeMsg&) override { kind = Kind::FileSpecChange; }
  void Visit(const FileLabelChangeMsg&) override { kind = Kind::FileLabelChange; }
  void Visit(const WeightVarMsg&) override { kind = Kind::WeightVar; }
  void Visit(const FilterVarMsg&) override { kind = Kind::FilterVar; }
  void Visit(const TrendsInfoMsg&) override { kind = Kind::TrendsInfo; }
  void Visit(const SplitFileMsg&) override { kind = Kind::SplitFile; }
  void Visit(const ExtensionsMsg&) override { kind = Kind::Extensions; }
  void Visit(const ResetClientDataMsg&) override { kind = Kind::ResetClientData; }
  void Visit(const DataSetModifiedMsg&) override { kind = Kind::DataSetModified; }

  Kind kind = Kind::Other;
};

std::string NamesOf(const std::vector<ORVX_Variable>& variables) {
  if (variables.empty()) return "no variables";
  return (variables.size() == 1 ? "variable " : "variables ") +
         Joined(variables, [](const ORVX_Variable& each) { return Quoted(each.GetName()); });
}

std::string SetsOf(const ORVX_ExtensionImpl& block) {
  return DictionaryText::SetSizes(ReadExtension(block.GetBytes(), block.GetType()));
}

std::string AttributesOf(const ORVX_ExtensionImpl& block) {
  return DictionaryText::Attributes(DatasourceAttributes::Read(block.GetBytes()).All());
}

class Formatter final : public DataSetMsgVisitor {
 public:
  // `before` is the dictionary before the message; it may be null.
  explicit Formatter(const ORVX_DataSource* before) : before_(before) {}

  void Visit(const InsertVarsMsg& message) override {
    const std::vector<ORVX_Variable>& variables = message.GetVariables();
    text = "inserted " + NamesOf(variables);
    if (variables.size() == 1)
      text += " (" + DictionaryText::Type(variables.front().GetType()) + ")";
    const LocallyUniqueID anchor = message.GetAnchor();
    text += anchor.IsNull() ? " at the end" : " before " + NameOf(anchor);
  }
  void Visit(const DeleteVarsMsg& message) override {
    text = "deleted " + NamesOf(message.GetVariables());
  }
  // Displayed positions count from 1.
  void Visit(const MoveVarsMsg& message) override {
    const std::vector<int>& positions = message.GetPositions();
    const bool one = positions.size() == 1;
    text = one ? "moved variable" : "moved variables";
    if (HasAllOf(positions)) {
      text += " " + Joined(positions, [this](int position) {
                return Quoted(before_->GetVariable(position).GetName());
              });
    }
    text += (one ? " from position " : " from positions ") +
            Joined(positions, [](int position) { return std::to_string(position + 1LL); }) +
            " to " + std::to_string(message.GetTarget() + 1LL);
  }
  void Visit(const ModifyVarMsg& message) override {
    const ORVX_Variable& after = message.GetVariable();
    const int position = before_ == nullptr ? -1 : before_->FindVarIndex(after.GetID());
    const ORVX_Variable before = position < 0 ? after : before_->GetVariable(position);
    text = "modified variable " + Quoted(before.GetName());
    const char* separator = ": ";
    for (const auto& [what, from, to] : DictionaryText::Differences(before, after)) {
      text.append(separator).append(what) += " " + from + " -> " + to;
      separator = "; ";
    }
  }
  void Visit(const ResetUndoMsg&) override { text = "undo history reset"; }
  void Visit(const ImputationInfoMsg& message) override {
    const long long rows = message.RowsPerImputation();
    text = "rows per imputation: " + (rows == 0 ? "none" : std::to_string(rows));
  }
  void Visit(const FileSpecChangeMsg& message) override {
    text = "saved file: " + QuotedOrNone(message.GetFileSpec());
  }
  void Visit(const FileLabelChangeMsg& message) override {
    text = "dataset label: " + QuotedOrNone(message.GetLabel());
  }
  void Visit(const WeightVarMsg& message) override {
    text = "weight: " + NameOf(message.GetVariableID());
  }
  void Visit(const FilterVarMsg& message) override {
    text = "filter: " + NameOf(message.GetVariableID());
  }
  void Visit(const TrendsInfoMsg& message) override {
    text = "time series: " + DictionaryText::TimeSeries(before_, message.GetTrendsInfo());
  }
  void Visit(const SplitFileMsg& message) override {
    text =
        "split: " + DictionaryText::Split(before_, message.GetVariableIDs(), message.GetSeparate());
  }
  void Visit(const ExtensionsMsg& message) override {
    const ORVX_ExtensionImpl& block = *message.GetExtension();
    switch (block.GetType()) {
      case kVariableSetsText:
        return VisitText("variable sets: ", block, SetsOf);
      case kMRSetsText:
        return VisitText("multiple-response sets: ", block, SetsOf);
      case kMRSetsSecondText:
        return VisitText("multiple-response sets (extension 19): ", block, SetsOf);
      case kAttributesText:
        return VisitText("attributes: ", block, AttributesOf);
      default:
        text = "extension of type " + std::to_string(block.GetType()) + ": " +
               DictionaryText::Bytes(block.GetBytes());
    }
  }
  void Visit(const ResetClientDataMsg& message) override {
    const long long rows = message.GetRowCount();
    text = "case data reset: " + (rows < 0 ? "unknown number of rows" : Counted(rows, "row"));
  }
  void Visit(const DataSetModifiedMsg& message) override {
    text = message.GetModified() ? "unsaved changes: yes" : "unsaved changes: no";
  }

  std::string text;

 private:
  std::string NameOf(LocallyUniqueID id) const { return DictionaryText::Name(before_, id); }

  bool HasAllOf(const std::vector<int>& positions) const {
    return before_ != nullptr && std::all_of(positions.begin(), positions.end(), [this](int each) {
             return each >= 0 && each < before_->ColumnCount();
           });
  }

  // `format` throws std::invalid_argument for invalid text, which a received message may contain.
  template <class Format>
  void VisitText(const char* what, const ORVX_ExtensionImpl& block, Format format) {
    try {
      text = what + format(block);
    } catch (const std::invalid_argument&) {
      text = what + Counted(block.GetLength(), "byte") + " that cannot be read";
    }
  }

  const ORVX_DataSource* const before_;
};

}  // namespace

DataSetMsg::Kind DataSetMsg::GetKind() const {
  KindFinder finder;
  Accept(finder);
  return finder.kind;
}

std::string DataSetMsg::ToString(const ORVX_DataSource* before) const {
  Formatter formatter(before);
  Accept(formatter);
  return formatter.text.empty() ? VSConcreteSignature() : formatter.text;
}

}  // namespace DEMessages
