// InsertVarsMsg: variables were inserted into a dataset's dictionary.

#ifndef LIBORVXDEMG_INSERTVARSMSG_H_
#define LIBORVXDEMG_INSERTVARSMSG_H_

#include <ServerDataManager/Export.h>
#include <vector>

#include <libdatasrc/ORVX_Variable.h>
#include <liborvxdemg/DataSetMsg.h>
#include <ServerDataManager/ErrorMessageGlue.h>

namespace DEMessages {

// The variables are inserted together, in order, before the anchor variable. If the anchor is null,
// they are inserted at the end of the list.
class SDM_EXPORT InsertVarsMsg final : public MessageGlue<InsertVarsMsg, DataSetMsg> {
 public:
  static const char* VSignature() { return "DEMessages::InsertVarsMsg"; }
  static unsigned int Version() { return 1; }

  InsertVarsMsg() = default;
  InsertVarsMsg(unsigned int leading, LocallyUniqueID dataSetID, unsigned int caseSequence,
                std::vector<ORVX_Variable> variables, LocallyUniqueID anchor);

  const std::vector<ORVX_Variable>& GetVariables() const { return variables_; }
  LocallyUniqueID GetAnchor() const { return anchor_; }

  void Accept(DataSetMsgVisitor& visitor) const override;
  void Serialize(VStream& stream);

 private:
  std::vector<ORVX_Variable> variables_;
  LocallyUniqueID anchor_;
};

}  // namespace DEMessages

#endif  // LIBORVXDEMG_INSERTVARSMSG_H_
