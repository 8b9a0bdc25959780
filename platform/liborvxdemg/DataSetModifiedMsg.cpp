#include <liborvxdemg/DataSetModifiedMsg.h>

#include <liborvxdemg/DataSetMsgVisitor.h>

namespace DEMessages {

DataSetModifiedMsg::DataSetModifiedMsg(unsigned int leading, LocallyUniqueID dataSetID,
                                       unsigned int caseSequence, bool modified)
    : MessageGlue(leading, dataSetID, caseSequence), modified_(modified) {}

void DataSetModifiedMsg::Accept(DataSetMsgVisitor& visitor) const {
  visitor.Visit(*this);
}

void DataSetModifiedMsg::Serialize(VStream& stream) {
  SerializeCommon(stream);
  stream.Bool(modified_);
}

}  // namespace DEMessages
