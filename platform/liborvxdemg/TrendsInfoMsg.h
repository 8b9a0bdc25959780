// TrendsInfoMsg: the time series properties of a dataset changed.

#ifndef LIBORVXDEMG_TRENDSINFOMSG_H_
#define LIBORVXDEMG_TRENDSINFOMSG_H_

#include <libdatasrc/ORVX_TrendsInfo.h>
#include <liborvxdemg/DataSetMsg.h>
#include <ServerDataManager/ErrorMessageGlue.h>
#include <ServerDataManager/Export.h>

namespace DEMessages {

// Has the complete new value. Its time variables need not be in the dictionary.
class SDM_EXPORT TrendsInfoMsg final : public MessageGlue<TrendsInfoMsg, DataSetMsg> {
 public:
  static const char* VSignature() { return "DEMessages::TrendsInfoMsg"; }
  static unsigned int Version() { return 1; }

  TrendsInfoMsg() = default;
  // Copies `trends`, which is not null.
  TrendsInfoMsg(unsigned int leading, LocallyUniqueID dataSetID, unsigned int caseSequence,
                const ORVX_TrendsInfo* trends);

  const ORVX_TrendsInfo& GetTrendsInfo() const { return trends_; }

  void Accept(DataSetMsgVisitor& visitor) const override;
  void Serialize(VStream& stream);

 private:
  ORVX_TrendsInfo trends_;
};

}  // namespace DEMessages

#endif  // LIBORVXDEMG_TRENDSINFOMSG_H_
