#include <liborvxdemg/FileSpecChangeMsg.h>

#include <liborvxdemg/DataSetMsgVisitor.h>

namespace DEMessages {

FileSpecChangeMsg::FileSpecChangeMsg(unsigned int leading, LocallyUniqueID dataSetID,
                                     unsigned int caseSequence, const char* fileSpec, bool flag)
    : MessageGlue(leading, dataSetID, caseSequence),
      fileSpec_(fileSpec != nullptr ? fileSpec : ""),
      flag_(flag) {}

void FileSpecChangeMsg::Accept(DataSetMsgVisitor& visitor) const {
  visitor.Visit(*this);
}

void FileSpecChangeMsg::Serialize(VStream& stream) {
  SerializeCommon(stream);
  stream.String(fileSpec_);
  stream.Bool(flag_);
}

}  // namespace DEMessages
