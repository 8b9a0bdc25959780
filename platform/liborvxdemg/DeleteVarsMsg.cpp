#include <liborvxdemg/DeleteVarsMsg.h>

#include <liborvxdemg/DataSetMsgVisitor.h>
#include <liborvxdemg/internal/VariableWire.h>

#include <utility>

namespace DEMessages {

DeleteVarsMsg::DeleteVarsMsg(unsigned int leading, LocallyUniqueID dataSetID,
                             unsigned int caseSequence, std::vector<ORVX_Variable> variables)
    : MessageGlue(leading, dataSetID, caseSequence), variables_(std::move(variables)) {}

void DeleteVarsMsg::Accept(DataSetMsgVisitor& visitor) const {
  visitor.Visit(*this);
}

void DeleteVarsMsg::Serialize(VStream& stream) {
  SerializeCommon(stream);
  SerializeVariables(stream, variables_);
}

}  // namespace DEMessages
