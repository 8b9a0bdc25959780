// FileLabelChangeMsg: the label of a dataset changed.

#ifndef LIBORVXDEMG_FILELABELCHANGEMSG_H_
#define LIBORVXDEMG_FILELABELCHANGEMSG_H_

#include <ServerDataManager/Export.h>
#include <string>

#include <liborvxdemg/DataSetMsg.h>
#include <ServerDataManager/ErrorMessageGlue.h>

namespace DEMessages {

// Has the new label.
class SDM_EXPORT FileLabelChangeMsg final : public MessageGlue<FileLabelChangeMsg, DataSetMsg> {
 public:
  static const char* VSignature() { return "DEMessages::FileLabelChangeMsg"; }
  static unsigned int Version() { return 1; }

  FileLabelChangeMsg() = default;
  // Copies `label`. A null pointer counts as "".
  FileLabelChangeMsg(unsigned int leading, LocallyUniqueID dataSetID, unsigned int caseSequence,
                     const char* label);

  // "" for no label.
  const std::string& GetLabel() const { return label_; }

  void Accept(DataSetMsgVisitor& visitor) const override;
  void Serialize(VStream& stream);

 private:
  std::string label_;
};

}  // namespace DEMessages

#endif  // LIBORVXDEMG_FILELABELCHANGEMSG_H_
