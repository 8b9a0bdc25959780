#include <liborvxdemg/ResetClientDataMsg.h>

#include <liborvxdemg/DataSetMsgVisitor.h>

namespace DEMessages {

ResetClientDataMsg::ResetClientDataMsg(unsigned int leading, LocallyUniqueID dataSetID,
                                       unsigned int caseSequence, long long rowCount)
    : MessageGlue(leading, dataSetID, caseSequence), rowCount_(rowCount) {}

void ResetClientDataMsg::Accept(DataSetMsgVisitor& visitor) const {
  visitor.Visit(*this);
}

void ResetClientDataMsg::Serialize(VStream& stream) {
  SerializeCommon(stream);
  stream.Int64(rowCount_);
}

}  // namespace DEMessages
