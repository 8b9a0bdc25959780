// ResetClientDataMsg: the cases that a client keeps of a dataset no longer fit.

#ifndef LIBORVXDEMG_RESETCLIENTDATAMSG_H_
#define LIBORVXDEMG_RESETCLIENTDATAMSG_H_

#include <ServerDataManager/Export.h>
#include <cstdint>

#include <liborvxdemg/DataSetMsg.h>
#include <ServerDataManager/ErrorMessageGlue.h>

namespace DEMessages {

// The client drops them and reads anew.
class SDM_EXPORT ResetClientDataMsg final : public MessageGlue<ResetClientDataMsg, DataSetMsg> {
 public:
  static const char* VSignature() { return "DEMessages::ResetClientDataMsg"; }
  static unsigned int Version() { return 1; }

  ResetClientDataMsg() = default;
  ResetClientDataMsg(unsigned int leading, LocallyUniqueID dataSetID, unsigned int caseSequence,
                     long long rowCount);

  // The number of cases as it is now; -1 while unknown.
  long long GetRowCount() const { return rowCount_; }

  void Accept(DataSetMsgVisitor& visitor) const override;
  void Serialize(VStream& stream);

 private:
  std::int64_t rowCount_ = 0;
};

}  // namespace DEMessages

#endif  // LIBORVXDEMG_RESETCLIENTDATAMSG_H_
