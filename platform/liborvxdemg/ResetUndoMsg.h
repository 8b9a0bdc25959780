// ResetUndoMsg: the client's undo history is invalid.

#ifndef LIBORVXDEMG_RESETUNDOMSG_H_
#define LIBORVXDEMG_RESETUNDOMSG_H_

#include <liborvxdemg/DataSetMsg.h>
#include <ServerDataManager/ErrorMessageGlue.h>
#include <ServerDataManager/Export.h>

namespace DEMessages {

// The common fields are not set (leading word 0, null identifier, case sequence 0): the client
// knows the dataset from the queue that delivers the message.
class SDM_EXPORT ResetUndoMsg final : public MessageGlue<ResetUndoMsg, DataSetMsg> {
 public:
  static const char* VSignature() { return "DEMessages::ResetUndoMsg"; }
  static unsigned int Version() { return 1; }

  void Accept(DataSetMsgVisitor& visitor) const override;
  void Serialize(VStream& stream);
};

}  // namespace DEMessages

#endif  // LIBORVXDEMG_RESETUNDOMSG_H_
