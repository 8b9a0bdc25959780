// ResetUndoMsg: what the client remembers for undoing no longer applies.

#ifndef LIBORVXDEMG_RESETUNDOMSG_H_
#define LIBORVXDEMG_RESETUNDOMSG_H_

#include <liborvxdemg/DataSetMsg.h>
#include <ServerDataManager/ErrorMessageGlue.h>
#include <ServerDataManager/Export.h>

namespace DEMessages {

// Takes no arguments, not even the common ones: the client knows the dataset by the queue that the
// message comes through. Leading word 0, null identifier, case sequence 0.
class SDM_EXPORT ResetUndoMsg final : public MessageGlue<ResetUndoMsg, DataSetMsg> {
 public:
  static const char* VSignature() { return "DEMessages::ResetUndoMsg"; }
  static unsigned int Version() { return 1; }

  void Accept(DataSetMsgVisitor& visitor) const override;
  void Serialize(VStream& stream);
};

}  // namespace DEMessages

#endif  // LIBORVXDEMG_RESETUNDOMSG_H_
