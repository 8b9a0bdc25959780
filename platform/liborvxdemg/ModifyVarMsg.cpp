#include <liborvxdemg/ModifyVarMsg.h>

#include <liborvxdemg/DataSetMsgVisitor.h>
#include <liborvxdemg/internal/VariableWire.h>

namespace DEMessages {

ModifyVarMsg::ModifyVarMsg(unsigned int leading, LocallyUniqueID dataSetID,
                           unsigned int caseSequence, const ORVX_Variable& variable)
    : MessageGlue(leading, dataSetID, caseSequence), variable_(variable) {}

void ModifyVarMsg::Accept(DataSetMsgVisitor& visitor) const {
  visitor.Visit(*this);
}

void ModifyVarMsg::Serialize(VStream& stream) {
  SerializeCommon(stream);
  SerializeVariable(stream, variable_);
}

}  // namespace DEMessages
