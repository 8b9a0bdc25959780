#include <liborvxdemg/TrendsInfoMsg.h>

#include <liborvxdemg/DataSetMsgVisitor.h>
#include <liborvxdemg/internal/IdentifierList.h>

namespace DEMessages {

TrendsInfoMsg::TrendsInfoMsg(unsigned int leading, LocallyUniqueID dataSetID,
                             unsigned int caseSequence, const ORVX_TrendsInfo* trends)
    : MessageGlue(leading, dataSetID, caseSequence), trends_(*trends) {}

void TrendsInfoMsg::Accept(DataSetMsgVisitor& visitor) const {
  visitor.Visit(*this);
}

void TrendsInfoMsg::Serialize(VStream& stream) {
  SerializeCommon(stream);
  SerializeIDs(stream, trends_.timeVariables);
  stream.Int32(trends_.seasonalPeriod);
}

}  // namespace DEMessages
