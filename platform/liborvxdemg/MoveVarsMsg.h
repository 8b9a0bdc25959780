// MoveVarsMsg: variables took another place in a dataset's dictionary.

#ifndef LIBORVXDEMG_MOVEVARSMSG_H_
#define LIBORVXDEMG_MOVEVARSMSG_H_

#include <ServerDataManager/Export.h>
#include <vector>

#include <liborvxdemg/DataSetMsg.h>
#include <ServerDataManager/ErrorMessageGlue.h>

namespace DEMessages {

// All positions count from 0. The variables at the given positions of the list before the move are
// taken out, and put back together, in the order given, so that the first of them stands at the
// target position of the list.
class SDM_EXPORT MoveVarsMsg final : public MessageGlue<MoveVarsMsg, DataSetMsg> {
 public:
  static const char* VSignature() { return "DEMessages::MoveVarsMsg"; }
  static unsigned int Version() { return 1; }

  MoveVarsMsg() = default;
  MoveVarsMsg(unsigned int leading, LocallyUniqueID dataSetID, unsigned int caseSequence,
              const std::vector<int>& positions, int target);

  // In the list before the move.
  const std::vector<int>& GetPositions() const { return positions_; }
  // In the list from which they were taken out, which is where the first stands after the move.
  int GetTarget() const { return target_; }

  void Accept(DataSetMsgVisitor& visitor) const override;
  void Serialize(VStream& stream);

 private:
  std::vector<int> positions_;
  int target_ = 0;
};

}  // namespace DEMessages

#endif  // LIBORVXDEMG_MOVEVARSMSG_H_
