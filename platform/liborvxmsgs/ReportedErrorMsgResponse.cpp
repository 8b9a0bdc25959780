#include <liborvxmsgs/ReportedErrorMsgResponse.h>

namespace OrvxMessages {

ReportedErrorMsgResponse::ReportedErrorMsgResponse() {}

ReportedErrorMsgResponse::~ReportedErrorMsgResponse() = default;

void ReportedErrorMsgResponse::Serialize(VStream& stream) {
  // Decoding must not read the answer, which may be uninitialised.
  bool answer = stream.Writing() && answer_;
  stream.Bool(answer);
  if (!stream.Writing()) answer_ = answer;
}

}  // namespace OrvxMessages
