#include <liborvxdemg/FilterVarMsg.h>

#include <liborvxdemg/DataSetMsgVisitor.h>

namespace DEMessages {

FilterVarMsg::FilterVarMsg(unsigned int leading, LocallyUniqueID dataSetID,
                           unsigned int caseSequence, LocallyUniqueID variableID)
    : MessageGlue(leading, dataSetID, caseSequence), variableID_(variableID) {}

void FilterVarMsg::Accept(DataSetMsgVisitor& visitor) const {
  visitor.Visit(*this);
}

void FilterVarMsg::Serialize(VStream& stream) {
  SerializeCommon(stream);
  SerializeID(stream, variableID_);
}

}  // namespace DEMessages
