// FilterVarMsg: the filter of a dataset changed.

#ifndef LIBORVXDEMG_FILTERVARMSG_H_
#define LIBORVXDEMG_FILTERVARMSG_H_

#include <liborvxdemg/DataSetMsg.h>
#include <ServerDataManager/ErrorMessageGlue.h>
#include <ServerDataManager/Export.h>

namespace DEMessages {

// The filter variable, if any, is in the dictionary when the message is applied.
class SDM_EXPORT FilterVarMsg final : public MessageGlue<FilterVarMsg, DataSetMsg> {
 public:
  static const char* VSignature() { return "DEMessages::FilterVarMsg"; }
  static unsigned int Version() { return 1; }

  FilterVarMsg() = default;
  FilterVarMsg(unsigned int leading, LocallyUniqueID dataSetID, unsigned int caseSequence,
               LocallyUniqueID variableID);

  // Null for no filter.
  LocallyUniqueID GetVariableID() const { return variableID_; }

  void Accept(DataSetMsgVisitor& visitor) const override;
  void Serialize(VStream& stream);

 private:
  LocallyUniqueID variableID_;
};

}  // namespace DEMessages

#endif  // LIBORVXDEMG_FILTERVARMSG_H_
