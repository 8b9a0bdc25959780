#include <liborvxdemg/ImputationInfoMsg.h>

#include <liborvxdemg/DataSetMsgVisitor.h>

namespace DEMessages {

void ImputationInfoMsg::Accept(DataSetMsgVisitor& visitor) const {
  visitor.Visit(*this);
}

void ImputationInfoMsg::Serialize(VStream& stream) {
  SerializeCommon(stream);
  stream.Int64(rowsPerImputation_);
}

}  // namespace DEMessages
