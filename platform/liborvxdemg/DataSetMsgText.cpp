// DataSetMsg: the kind of a message, and the message as text.

#include <liborvxdemg/DataSetModifiedMsg.h>
#include <liborvxdemg/DataSetMsg.h>
#include <liborvxdemg/DataSetMsgVisitor.h>
#include <liborvxdemg/DeleteVarsMsg.h>
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

std::string Quoted(std::string_view text) {
  return '"' + std::string(text) + '"';
}

std::string QuotedOrNone(std::string_view text) {
  return text.empty() ? "none" : Quoted(text);
}

std::string Counted(long long number, const char* noun) {
  return std::to_string(number) + " " + noun + (number == 1 ? "" : "s");
}

// Separated by commas; "none" for an empty list.
template <class List, class Format>
std::string Joined(const List& list, Format format) {
  std::string text;
  for (const auto& element : list) text += (text.empty() ? "" : ", ") + format(element);
  return text.empty() ? "none" : text;
}

std::string VariablesAsText(const std::vector<ORVX_Variable>& variables) {
  if (variables.empty()) return "no variables";
  return (variables.size() == 1 ? "variable " : "variables ") +
         Joined(variables, [](const ORVX_Variable& each) { return Quoted(each.GetName()); });
}

std::string TypeAsText(int type) {
  return type == 0 ? "numeric" : "string of " + Counted(type, "byte");
}

// Short printable text in quotes; for other bytes, only the number of bytes.
std::string BytesAsText(std::string_view bytes) {
  constexpr std::size_t kShortText = 60;
  const auto isControl = [](unsigned char c) { return c < 0x20 || c == 0x7F; };
  if (bytes.size() > kShortText || std::any_of(bytes.begin(), bytes.end(), isControl)) {
    return Counted(static_cast<long long>(bytes.size()), "byte");
  }
  return QuotedOrNone(bytes);
}

// "news" (3 variables), "issues" (1 variable)
std::string SetsAsText(const ORVX_ExtensionImpl& block) {
  return Joined(ReadExtension(block.GetBytes(), block.GetType()), [](const VariableSet& set) {
    const auto size = static_cast<long long>(set.Impl().members.size());
    return Quoted(set.Impl().name) + " (" + Counted(size, "variable") + ")";
  });
}

std::string AttributesAsText(const ORVX_ExtensionImpl& block) {
  return Joined(DatasourceAttributes::Read(block.GetBytes()).All(), [](const auto& attribute) {
    std::string text = attribute.first + " =";
    for (const std::string& value : attribute.second) text.append(" ").append(Quoted(value));
    return text;
  });
}

class Formatter final : public DataSetMsgVisitor {
 public:
  // `before` may be null.
  explicit Formatter(const ORVX_DataSource* before) : before_(before) {}

  void Visit(const InsertVarsMsg& message) override {
    const std::vector<ORVX_Variable>& variables = message.GetVariables();
    text = "inserted " + VariablesAsText(variables);
    if (variables.size() == 1) text += " (" + TypeAsText(variables.front().GetType()) + ")";
    const LocallyUniqueID anchor = message.GetAnchor();
    text += anchor.IsNull() ? " at the end" : " before " + NameOf(anchor);
  }
  void Visit(const DeleteVarsMsg& message) override {
    text = "deleted " + VariablesAsText(message.GetVariables());
  }
  // Displayed positions count from 1.
  void Visit(const MoveVarsMsg& message) override {
    const std::vector<int>& positions = message.GetPositions();
    const bool one = positions.size() == 1;
    text = one ? "moved variable" : "moved variables";
    if (HasAllOf(positions)) {
      text += " " + Joined(positions, [&](int position) {
                return Quoted(before_->GetVariable(position).GetName());
              });
    }
    text += one ? " from position " : " from positions ";
    text += Joined(positions, [](int position) { return std::to_string(position + 1LL); });
    text += " to " + std::to_string(message.GetTarget() + 1LL);
  }
  void Visit(const ModifyVarMsg& message) override {
    text = "modified variable " + Quoted(message.GetVariable().GetName());
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
    const ORVX_TrendsInfo& trends = message.GetTrendsInfo();
    std::vector<std::string> parts;
    if (!trends.timeVariables.empty()) parts.push_back("by " + NamesOf(trends.timeVariables));
    if (trends.seasonalPeriod != 0) {
      parts.push_back("period " + std::to_string(trends.seasonalPeriod));
    }
    text = "time series: " + Joined(parts, [](const std::string& part) { return part; });
  }
  void Visit(const SplitFileMsg& message) override {
    text = "split: " + NamesOf(message.GetVariableIDs());
    if (message.GetVariableIDs().empty()) return;
    text += message.GetSeparate() ? " (separately)" : " (together)";
  }
  void Visit(const ExtensionsMsg& message) override {
    const ORVX_ExtensionImpl& block = *message.GetExtension();
    switch (block.GetType()) {
      case kVariableSetsText:
        return VisitText("variable sets: ", block, SetsAsText);
      case kMRSetsText:
        return VisitText("multiple-response sets: ", block, SetsAsText);
      case kMRSetsSecondText:
        return VisitText("multiple-response sets (extension 19): ", block, SetsAsText);
      case kAttributesText:
        return VisitText("attributes: ", block, AttributesAsText);
      default:
        text = "extension of type " + std::to_string(block.GetType()) + ": " +
               BytesAsText(block.GetBytes());
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
  std::string NameOf(LocallyUniqueID id) const {
    if (id.IsNull()) return "none";
    const int position = before_ == nullptr ? -1 : before_->FindVarIndex(id);
    return position < 0 ? id.ToString() : Quoted(before_->GetVariable(position).GetName());
  }

  std::string NamesOf(const std::vector<LocallyUniqueID>& ids) const {
    return Joined(ids, [this](LocallyUniqueID id) { return NameOf(id); });
  }

  bool HasAllOf(const std::vector<int>& positions) const {
    return before_ != nullptr && std::all_of(positions.begin(), positions.end(), [this](int each) {
             return each >= 0 && each < before_->ColumnCount();
           });
  }

  // A message from outside may contain invalid text.
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
