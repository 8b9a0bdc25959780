// From messages to records.

#include "ChangeInterpreter.h"

#include <libdatasrc/ORVX_DataSource.h>
#include <liborvxdemg/DataSetModifiedMsg.h>
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
#include <ServerDataManager/SvrDMWriteableDataSource.h>

#include <exception>
#include <new>

namespace sdmsh {
namespace {

// Makes the record of one message, given the dictionary before it. What the message names and the
// dictionary has not is left empty: the mirror says what is wrong with it.
class Recorder final : public DataSetMsgVisitor {
 public:
  explicit Recorder(const ORVX_DataSource& before) : before_(before) {}

  Change Record(const DataSetMsg& message) {
    change_.leading = message.GetLeading();
    change_.datasetID = message.GetDataSetID();
    change_.caseSequence = message.GetCaseSequence();
    message.Accept(*this);
    return std::move(change_);
  }

  void Visit(const InsertVarsMsg& message) override {
    change_.what = VariablesInserted{message.GetVariables(), message.GetAnchor(),
                                     Before(message.GetAnchor()).GetName()};
  }
  void Visit(const DeleteVarsMsg& message) override {
    change_.what = VariablesDeleted{message.GetVariables()};
  }
  void Visit(const MoveVarsMsg& message) override {
    change_.what = VariablesMoved{message.GetPositions(), message.GetTarget(),
                                  NamesAt(message.GetPositions())};
  }
  void Visit(const ModifyVarMsg& message) override {
    const ORVX_Variable& after = message.GetVariable();
    change_.what = VariableModified{Before(after.GetID()), after};
  }
  void Visit(const ResetUndoMsg&) override { change_.what = UndoReset(); }
  void Visit(const ImputationInfoMsg& message) override {
    change_.what = ImputationChanged{message.RowsPerImputation()};
  }
  void Visit(const FileSpecChangeMsg& message) override {
    change_.what = FileSpecChanged{message.GetFileSpec(), message.GetFlag()};
  }
  void Visit(const FileLabelChangeMsg& message) override {
    change_.what = LabelChanged{message.GetLabel()};
  }
  void Visit(const WeightVarMsg& message) override {
    change_.what = WeightChanged{Named(before_, message.GetVariableID())};
  }
  void Visit(const FilterVarMsg& message) override {
    change_.what = FilterChanged{Named(before_, message.GetVariableID())};
  }
  void Visit(const TrendsInfoMsg& message) override {
    change_.what = TrendsChanged{Named(before_, message.GetTrendsInfo())};
  }
  void Visit(const SplitFileMsg& message) override {
    change_.what = SplitChanged{{Named(before_, message.GetVariableIDs()), message.GetSeparate()}};
  }
  void Visit(const ExtensionsMsg& message) override {
    const Block& block = message.GetExtension();
    switch (block->GetType()) {
      case DEMessages::kVariableSetsText:
        return RecordSets(SetsChanged::Form::VariableSets, block);
      case DEMessages::kMRSetsText:
        return RecordSets(SetsChanged::Form::ResponseSets, block);
      case DEMessages::kMRSetsSecondText:
        return RecordSets(SetsChanged::Form::ResponseSetsExtended, block);
      case DEMessages::kAttributesText:
        change_.what = AttributesChanged{block, DatasourceAttributes::Read(block->GetBytes())};
        return;
      default:
        change_.what = ExtensionChanged{block};
    }
  }
  void Visit(const ResetClientDataMsg& message) override {
    change_.what = ClientDataReset{message.GetRowCount()};
  }
  void Visit(const DataSetModifiedMsg& message) override {
    change_.what = ModifiedChanged{message.GetModified()};
  }

 private:
  void RecordSets(SetsChanged::Form form, const Block& block) {
    change_.what = SetsChanged{form, block,
                               Named(before_, ReadExtension(block->GetBytes(), block->GetType()))};
  }

  ORVX_Variable Before(LocallyUniqueID id) const {
    const int position = before_.FindVarIndex(id);
    return position < 0 ? ORVX_Variable() : before_.GetVariable(position);
  }

  std::vector<std::string> NamesAt(const std::vector<int>& positions) const {
    std::vector<std::string> names;
    for (const int position : positions) {
      const bool present = position >= 0 && position < before_.ColumnCount();
      names.push_back(present ? before_.GetVariable(position).GetName() : std::string());
    }
    return names;
  }

  const ORVX_DataSource& before_;
  Change change_{};
};

}  // namespace

void ChangeInterpreter::OnDataSetChanged(SvrDMWriteableDataSource const* writer) {
  if (!interrupted_) pass_.clear();
  interrupted_ = true;  // unless it gets through
  try {
    if (failure_.empty()) Interpret(*writer);
  } catch (const std::bad_alloc&) {
    throw;  // the pass is repeated, and goes on where it ended
  } catch (const std::exception& error) {
    failure_ = error.what();
  }
  interrupted_ = false;
  ++passCount_;
}

void ChangeInterpreter::Interpret(SvrDMWriteableDataSource const& writer) {
  const std::vector<DataSetMsg*>& messages = writer.GetNotifications();
  while (pass_.size() < messages.size()) {
    const DataSetMsg& message = *messages[pass_.size()];
    pass_.push_back(Recorder(mirror_.Dictionary()).Record(message));
    try {
      mirror_.Apply(message);
    } catch (...) {
      pass_.pop_back();
      throw;
    }
  }
}

}  // namespace sdmsh
