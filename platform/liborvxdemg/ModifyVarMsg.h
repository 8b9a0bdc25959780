// ModifyVarMsg: the definition of a variable changed in a dataset's dictionary.

#ifndef LIBORVXDEMG_MODIFYVARMSG_H_
#define LIBORVXDEMG_MODIFYVARMSG_H_

#include <libdatasrc/ORVX_Variable.h>
#include <liborvxdemg/DataSetMsg.h>
#include <ServerDataManager/ErrorMessageGlue.h>
#include <ServerDataManager/Export.h>

namespace DEMessages {

// Has the complete new definition. The identifier, which never changes, identifies the variable.
class SDM_EXPORT ModifyVarMsg final : public MessageGlue<ModifyVarMsg, DataSetMsg> {
 public:
  static const char* VSignature() { return "DEMessages::ModifyVarMsg"; }
  static unsigned int Version() { return 1; }

  ModifyVarMsg() = default;
  ModifyVarMsg(unsigned int leading, LocallyUniqueID dataSetID, unsigned int caseSequence,
               const ORVX_Variable& variable);

  const ORVX_Variable& GetVariable() const { return variable_; }

  void Accept(DataSetMsgVisitor& visitor) const override;
  void Serialize(VStream& stream);

 private:
  ORVX_Variable variable_;
};

}  // namespace DEMessages

#endif  // LIBORVXDEMG_MODIFYVARMSG_H_
