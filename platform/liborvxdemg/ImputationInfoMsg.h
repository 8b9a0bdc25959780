// ImputationInfoMsg: how many rows of a dataset make up one imputation changed.

#ifndef LIBORVXDEMG_IMPUTATIONINFOMSG_H_
#define LIBORVXDEMG_IMPUTATIONINFOMSG_H_

#include <ServerDataManager/Export.h>
#include <cstdint>

#include <liborvxdemg/DataSetMsg.h>
#include <ServerDataManager/ErrorMessageGlue.h>

namespace DEMessages {

// Not even the common arguments are given to it: the client knows the dataset by the queue that the
// message comes through. Leading word 0, null identifier, case sequence 0.
//
// Threads: RowsPerImputation(long long) only before the message is handed over.
class SDM_EXPORT ImputationInfoMsg final : public MessageGlue<ImputationInfoMsg, DataSetMsg> {
 public:
  static const char* VSignature() { return "DEMessages::ImputationInfoMsg"; }
  static unsigned int Version() { return 1; }

  // 0 rows.
  ImputationInfoMsg() = default;

  // 0 when the rows are not those of a multiple imputation.
  long long RowsPerImputation() const { return rowsPerImputation_; }
  void RowsPerImputation(long long rows) { rowsPerImputation_ = rows; }

  void Accept(DataSetMsgVisitor& visitor) const override;
  void Serialize(VStream& stream);

 private:
  std::int64_t rowsPerImputation_ = 0;
};

}  // namespace DEMessages

#endif  // LIBORVXDEMG_IMPUTATIONINFOMSG_H_
