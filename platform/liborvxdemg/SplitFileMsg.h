// SplitFileMsg: the split of a dataset changed.

#ifndef LIBORVXDEMG_SPLITFILEMSG_H_
#define LIBORVXDEMG_SPLITFILEMSG_H_

#include <ServerDataManager/Export.h>
#include <vector>

#include <liborvxdemg/DataSetMsg.h>
#include <ServerDataManager/ErrorMessageGlue.h>

namespace DEMessages {

// Has the complete new split.
class SDM_EXPORT SplitFileMsg final : public MessageGlue<SplitFileMsg, DataSetMsg> {
 public:
  static const char* VSignature() { return "DEMessages::SplitFileMsg"; }
  static unsigned int Version() { return 1; }

  SplitFileMsg() = default;
  // Copies the first `count` identifiers of `ids`, which may be null for a count of 0. Throws
  // std::invalid_argument for a negative count.
  SplitFileMsg(unsigned int leading, LocallyUniqueID dataSetID, unsigned int caseSequence,
               int count, const LocallyUniqueID* ids, bool separate);

  // The split variables, in order; empty for no split.
  const std::vector<LocallyUniqueID>& GetVariableIDs() const { return variableIDs_; }
  // Whether each group is analysed separately.
  bool GetSeparate() const { return separate_; }

  void Accept(DataSetMsgVisitor& visitor) const override;
  void Serialize(VStream& stream);

 private:
  std::vector<LocallyUniqueID> variableIDs_;
  bool separate_ = false;
};

}  // namespace DEMessages

#endif  // LIBORVXDEMG_SPLITFILEMSG_H_
