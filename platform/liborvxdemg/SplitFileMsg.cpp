#include <liborvxdemg/SplitFileMsg.h>

#include <stdexcept>
#include <string>

#include <liborvxdemg/DataSetMsgVisitor.h>
#include <liborvxdemg/internal/IdentifierList.h>

namespace DEMessages {
namespace {

int Checked(int count) {
  if (count < 0) {
    throw std::invalid_argument("SplitFileMsg: a count of " + std::to_string(count));
  }
  return count;
}

}  // namespace

SplitFileMsg::SplitFileMsg(unsigned int leading, LocallyUniqueID dataSetID,
                           unsigned int caseSequence, int count, const LocallyUniqueID* ids,
                           bool separate)
    : MessageGlue(leading, dataSetID, caseSequence),
      variableIDs_(ids, ids + Checked(count)),
      separate_(separate) {}

void SplitFileMsg::Accept(DataSetMsgVisitor& visitor) const {
  visitor.Visit(*this);
}

void SplitFileMsg::Serialize(VStream& stream) {
  SerializeCommon(stream);
  SerializeIDs(stream, variableIDs_);
  stream.Bool(separate_);
}

}  // namespace DEMessages
