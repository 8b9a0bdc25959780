// DeleteVarsMsg: variables were deleted from a dataset's dictionary.

#ifndef LIBORVXDEMG_DELETEVARSMSG_H_
#define LIBORVXDEMG_DELETEVARSMSG_H_

#include <ServerDataManager/Export.h>
#include <vector>

#include <libdatasrc/ORVX_Variable.h>
#include <liborvxdemg/DataSetMsg.h>
#include <ServerDataManager/ErrorMessageGlue.h>

namespace DEMessages {

// Has the deleted variables, as observers were last notified of them. Clients find the variables by
// identifier. The variables need not have been adjacent. The list may be empty.
class SDM_EXPORT DeleteVarsMsg final : public MessageGlue<DeleteVarsMsg, DataSetMsg> {
 public:
  static const char* VSignature() { return "DEMessages::DeleteVarsMsg"; }
  static unsigned int Version() { return 1; }

  DeleteVarsMsg() = default;
  DeleteVarsMsg(unsigned int leading, LocallyUniqueID dataSetID, unsigned int caseSequence,
                std::vector<ORVX_Variable> variables);

  const std::vector<ORVX_Variable>& GetVariables() const { return variables_; }

  void Accept(DataSetMsgVisitor& visitor) const override;
  void Serialize(VStream& stream);

 private:
  std::vector<ORVX_Variable> variables_;
};

}  // namespace DEMessages

#endif  // LIBORVXDEMG_DELETEVARSMSG_H_
