#include <liborvxdemg/FileLabelChangeMsg.h>

#include <liborvxdemg/DataSetMsgVisitor.h>

namespace DEMessages {

FileLabelChangeMsg::FileLabelChangeMsg(unsigned int leading, LocallyUniqueID dataSetID,
                                       unsigned int caseSequence, const char* label)
    : MessageGlue(leading, dataSetID, caseSequence), label_(label != nullptr ? label : "") {}

void FileLabelChangeMsg::Accept(DataSetMsgVisitor& visitor) const {
  visitor.Visit(*this);
}

void FileLabelChangeMsg::Serialize(VStream& stream) {
  SerializeCommon(stream);
  stream.String(label_);
}

}  // namespace DEMessages
