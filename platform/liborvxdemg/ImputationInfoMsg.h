// ImputationInfoMsg: the number of rows per imputation of a dataset changed.

#ifndef LIBORVXDEMG_IMPUTATIONINFOMSG_H_
#define LIBORVXDEMG_IMPUTATIONINFOMSG_H_

#include <ServerDataManager/Export.h>
#include <cstdint>

#include <liborvxdemg/DataSetMsg.h>
#include <ServerDataManager/ErrorMessageGlue.h>

namespace DEMessages {

// The common fields are not set (leading word 0, null identifier, case sequence 0): the client
// knows the dataset from the queue that delivers the message.
//
// Threads: call RowsPerImputation(long long) only before the message is queued.
class SDM_EXPORT ImputationInfoMsg final : public MessageGlue<ImputationInfoMsg, DataSetMsg> {
 public:
  static const char* VSignature() { return "DEMessages::ImputationInfoMsg"; }
  static unsigned int Version() { return 1; }

  // An object to decode into. Its number of rows per imputation is 0.
  ImputationInfoMsg() = default;

  // 0 if the dataset is not the result of multiple imputation.
  long long RowsPerImputation() const { return rowsPerImputation_; }
  void RowsPerImputation(long long rows) { rowsPerImputation_ = rows; }

  void Accept(DataSetMsgVisitor& visitor) const override;
  void Serialize(VStream& stream);

 private:
  std::int64_t rowsPerImputation_ = 0;
};

}  // namespace DEMessages

#endif  // LIBORVXDEMG_IMPUTATIONINFOMSG_H_
