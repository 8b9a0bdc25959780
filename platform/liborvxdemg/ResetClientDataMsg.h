// ResetClientDataMsg: the case data that a client has cached for a dataset are invalid.

#ifndef LIBORVXDEMG_RESETCLIENTDATAMSG_H_
#define LIBORVXDEMG_RESETCLIENTDATAMSG_H_

#include <ServerDataManager/Export.h>
#include <cstdint>

#include <liborvxdemg/DataSetMsg.h>
#include <ServerDataManager/ErrorMessageGlue.h>

namespace DEMessages {

// The client drops its case data and reads the cases again.
class SDM_EXPORT ResetClientDataMsg final : public MessageGlue<ResetClientDataMsg, DataSetMsg> {
 public:
  static const char* VSignature() { return "DEMessages::ResetClientDataMsg"; }
  static unsigned int Version() { return 1; }

  ResetClientDataMsg() = default;
  ResetClientDataMsg(unsigned int leading, LocallyUniqueID dataSetID, unsigned int caseSequence,
                     long long rowCount);

  // The new number of cases; -1 if unknown.
  long long GetRowCount() const { return rowCount_; }

  void Accept(DataSetMsgVisitor& visitor) const override;
  void Serialize(VStream& stream);

 private:
  std::int64_t rowCount_ = 0;
};

}  // namespace DEMessages

#endif  // LIBORVXDEMG_RESETCLIENTDATAMSG_H_
