#include <liborvxdemg/DataSetMsg.h>
#include <libvserial/VStream.h>
#include <ServerDataManager/ErrorMessageGlue.h>

namespace DEMessages {

void DataSetMsg::SerializeCommon(VStream& stream) {
  stream.Uint32(leading_);
  SerializeID(stream, dataSetID_);
  stream.Uint32(caseSequence_);
}

}  // namespace DEMessages
