// DataSetMsgVisitor: visitor for the change messages.

#ifndef LIBORVXDEMG_DATASETMSGVISITOR_H_
#define LIBORVXDEMG_DATASETMSGVISITOR_H_

#include <liborvxdemg/DEMessagesFwd.h>
#include <ServerDataManager/Export.h>

namespace DEMessages {

// One operation for each class, called by DataSetMsg::Accept. The message is borrowed for the call.
// No operation has a default: a visitor must handle every kind of change.
class SDM_EXPORT DataSetMsgVisitor {
 public:
  virtual void Visit(const InsertVarsMsg& message) = 0;
  virtual void Visit(const DeleteVarsMsg& message) = 0;
  virtual void Visit(const MoveVarsMsg& message) = 0;
  virtual void Visit(const ModifyVarMsg& message) = 0;
  virtual void Visit(const ResetUndoMsg& message) = 0;
  virtual void Visit(const ImputationInfoMsg& message) = 0;
  virtual void Visit(const FileSpecChangeMsg& message) = 0;
  virtual void Visit(const FileLabelChangeMsg& message) = 0;
  virtual void Visit(const WeightVarMsg& message) = 0;
  virtual void Visit(const FilterVarMsg& message) = 0;
  virtual void Visit(const TrendsInfoMsg& message) = 0;
  virtual void Visit(const SplitFileMsg& message) = 0;
  virtual void Visit(const ExtensionsMsg& message) = 0;
  virtual void Visit(const ResetClientDataMsg& message) = 0;
  virtual void Visit(const DataSetModifiedMsg& message) = 0;

 protected:
  ~DataSetMsgVisitor() = default;
};

}  // namespace DEMessages

#endif  // LIBORVXDEMG_DATASETMSGVISITOR_H_
