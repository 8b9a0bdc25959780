// ReportedErrorMsgResponse: its wire form.

#include <liborvxmsgs/ReportedErrorMsgResponse.h>

namespace OrvxMessages {

ReportedErrorMsgResponse::ReportedErrorMsgResponse() {}

ReportedErrorMsgResponse::~ReportedErrorMsgResponse() = default;

void ReportedErrorMsgResponse::Serialize(VStream& stream) {
  stream.Bool(answer_);
}

}  // namespace OrvxMessages
