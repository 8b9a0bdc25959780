#include <liborvxdemg/WeightVarMsg.h>

#include <liborvxdemg/DataSetMsgVisitor.h>

namespace DEMessages {

WeightVarMsg::WeightVarMsg(unsigned int leading, LocallyUniqueID dataSetID,
                           unsigned int caseSequence, LocallyUniqueID variableID)
    : MessageGlue(leading, dataSetID, caseSequence), variableID_(variableID) {}

void WeightVarMsg::Accept(DataSetMsgVisitor& visitor) const {
  visitor.Visit(*this);
}

void WeightVarMsg::Serialize(VStream& stream) {
  SerializeCommon(stream);
  SerializeID(stream, variableID_);
}

}  // namespace DEMessages
