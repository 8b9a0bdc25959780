#include <liborvxdemg/InsertVarsMsg.h>

#include <liborvxdemg/DataSetMsgVisitor.h>
#include <liborvxdemg/internal/VariableWire.h>

#include <utility>

namespace DEMessages {

InsertVarsMsg::InsertVarsMsg(unsigned int leading, LocallyUniqueID dataSetID,
                             unsigned int caseSequence, std::vector<ORVX_Variable> variables,
                             LocallyUniqueID anchor)
    : MessageGlue(leading, dataSetID, caseSequence),
      variables_(std::move(variables)),
      anchor_(anchor) {}

void InsertVarsMsg::Accept(DataSetMsgVisitor& visitor) const {
  visitor.Visit(*this);
}

void InsertVarsMsg::Serialize(VStream& stream) {
  SerializeCommon(stream);
  SerializeVariables(stream, variables_);
  SerializeID(stream, anchor_);
}

}  // namespace DEMessages
