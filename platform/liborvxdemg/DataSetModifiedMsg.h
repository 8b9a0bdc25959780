// DataSetModifiedMsg: the dirty flag of a dataset changed.

#ifndef LIBORVXDEMG_DATASETMODIFIEDMSG_H_
#define LIBORVXDEMG_DATASETMODIFIEDMSG_H_

#include <liborvxdemg/DataSetMsg.h>
#include <ServerDataManager/ErrorMessageGlue.h>
#include <ServerDataManager/Export.h>

namespace DEMessages {

// Has the new value of the dirty flag.
class SDM_EXPORT DataSetModifiedMsg final : public MessageGlue<DataSetModifiedMsg, DataSetMsg> {
 public:
  static const char* VSignature() { return "DEMessages::DataSetModifiedMsg"; }
  static unsigned int Version() { return 1; }

  DataSetModifiedMsg() = default;
  DataSetModifiedMsg(unsigned int leading, LocallyUniqueID dataSetID, unsigned int caseSequence,
                     bool modified);

  // Whether there are unsaved changes.
  bool GetModified() const { return modified_; }

  void Accept(DataSetMsgVisitor& visitor) const override;
  void Serialize(VStream& stream);

 private:
  bool modified_ = false;
};

}  // namespace DEMessages

#endif  // LIBORVXDEMG_DATASETMODIFIEDMSG_H_
