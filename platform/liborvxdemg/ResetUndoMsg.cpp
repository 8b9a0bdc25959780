#include <liborvxdemg/ResetUndoMsg.h>

#include <liborvxdemg/DataSetMsgVisitor.h>

namespace DEMessages {

void ResetUndoMsg::Accept(DataSetMsgVisitor& visitor) const {
  visitor.Visit(*this);
}

void ResetUndoMsg::Serialize(VStream& stream) {
  SerializeCommon(stream);
}

}  // namespace DEMessages
