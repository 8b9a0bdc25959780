// ReportedErrorMsgResponse: its wire form.

#include <liborvxmsgs/ReportedErrorMsgResponse.h>

namespace OrvxMessages {

ReportedErrorMsgResponse::ReportedErrorMsgResponse() {}

ReportedErrorMsgResponse::~ReportedErrorMsgResponse() = default;

void ReportedErrorMsgResponse::Serialize(VStream& stream) {
  // Reading must not look at the answer, which may have no value yet.
  bool answer = stream.Writing() && answer_;
  stream.Bool(answer);
  answer_ = answer;
}

}  // namespace OrvxMessages
