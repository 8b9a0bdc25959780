// MoveVarsMsg: variables were moved in a dataset's dictionary.

#ifndef LIBORVXDEMG_MOVEVARSMSG_H_
#define LIBORVXDEMG_MOVEVARSMSG_H_

#include <ServerDataManager/Export.h>
#include <vector>

#include <liborvxdemg/DataSetMsg.h>
#include <ServerDataManager/ErrorMessageGlue.h>

namespace DEMessages {

// All positions count from 0. The variables at the given positions are removed from the list, then
// inserted together, in the given order, at the target position of the shortened list.
class SDM_EXPORT MoveVarsMsg final : public MessageGlue<MoveVarsMsg, DataSetMsg> {
 public:
  static const char* VSignature() { return "DEMessages::MoveVarsMsg"; }
  static unsigned int Version() { return 1; }

  MoveVarsMsg() = default;
  MoveVarsMsg(unsigned int leading, LocallyUniqueID dataSetID, unsigned int caseSequence,
              std::vector<int> positions, int target);

  // The positions of the moved variables in the list before the removal.
  const std::vector<int>& GetPositions() const { return positions_; }
  // The new position of the first moved variable, in the list after the removal.
  int GetTarget() const { return target_; }

  void Accept(DataSetMsgVisitor& visitor) const override;
  void Serialize(VStream& stream);

 private:
  std::vector<int> positions_;
  int target_ = 0;
};

}  // namespace DEMessages

#endif  // LIBORVXDEMG_MOVEVARSMSG_H_
