// FileSpecChangeMsg: the file specification of a dataset changed.

#ifndef LIBORVXDEMG_FILESPECCHANGEMSG_H_
#define LIBORVXDEMG_FILESPECCHANGEMSG_H_

#include <ServerDataManager/Export.h>
#include <string>

#include <liborvxdemg/DataSetMsg.h>
#include <ServerDataManager/ErrorMessageGlue.h>

namespace DEMessages {

// Has the new file specification.
class SDM_EXPORT FileSpecChangeMsg final : public MessageGlue<FileSpecChangeMsg, DataSetMsg> {
 public:
  static const char* VSignature() { return "DEMessages::FileSpecChangeMsg"; }
  static unsigned int Version() { return 1; }

  FileSpecChangeMsg() = default;
  // Copies `fileSpec`. A null pointer counts as "".
  FileSpecChangeMsg(unsigned int leading, LocallyUniqueID dataSetID, unsigned int caseSequence,
                    const char* fileSpec, bool flag);

  const std::string& GetFileSpec() const { return fileSpec_; }
  // A flag that the library does not interpret; the server always sends true.
  bool GetFlag() const { return flag_; }

  void Accept(DataSetMsgVisitor& visitor) const override;
  void Serialize(VStream& stream);

 private:
  std::string fileSpec_;
  bool flag_ = false;
};

}  // namespace DEMessages

#endif  // LIBORVXDEMG_FILESPECCHANGEMSG_H_
