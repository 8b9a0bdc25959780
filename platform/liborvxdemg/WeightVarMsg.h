// WeightVarMsg: the weight of a dataset changed.

#ifndef LIBORVXDEMG_WEIGHTVARMSG_H_
#define LIBORVXDEMG_WEIGHTVARMSG_H_

#include <liborvxdemg/DataSetMsg.h>
#include <ServerDataManager/ErrorMessageGlue.h>
#include <ServerDataManager/Export.h>

namespace DEMessages {

// The weight variable, if any, is in the dictionary when the message is applied.
class SDM_EXPORT WeightVarMsg final : public MessageGlue<WeightVarMsg, DataSetMsg> {
 public:
  static const char* VSignature() { return "DEMessages::WeightVarMsg"; }
  static unsigned int Version() { return 1; }

  WeightVarMsg() = default;
  WeightVarMsg(unsigned int leading, LocallyUniqueID dataSetID, unsigned int caseSequence,
               LocallyUniqueID variableID);

  // Null for no weight.
  LocallyUniqueID GetVariableID() const { return variableID_; }

  void Accept(DataSetMsgVisitor& visitor) const override;
  void Serialize(VStream& stream);

 private:
  LocallyUniqueID variableID_;
};

}  // namespace DEMessages

#endif  // LIBORVXDEMG_WEIGHTVARMSG_H_
