// ReportedErrorMsgResponse: the client's answer to a ReportedErrorMsg.

#ifndef LIBORVXMSGS_REPORTEDERRORMSGRESPONSE_H_
#define LIBORVXMSGS_REPORTEDERRORMSGRESPONSE_H_

#include <ServerDataManager/ErrorMessageGlue.h>
#include <ServerDataManager/Export.h>

namespace OrvxMessages {

// The answer is set by reading it from a stream and in no other way. Before that it has no value:
// do not ask for it, copy the object or write it.
//
// Threads: any number may look at one object at a time.
class SDM_EXPORT ReportedErrorMsgResponse final : public MessageGlue<ReportedErrorMsgResponse> {
 public:
  static const char* VSignature() { return "OrvxMessages::ReportedErrorMsgResponse"; }
  static unsigned int Version() { return 1; }

  ReportedErrorMsgResponse();
  // Copies the answer; the name given with SetName is not copied.
  ReportedErrorMsgResponse(const ReportedErrorMsgResponse&) = default;
  ~ReportedErrorMsgResponse() override;

  bool GetAnswer() const { return answer_; }

  void Serialize(VStream& stream);

 private:
  // Without an initial value on purpose: an answer that nobody gave shows up in a memory checker.
  bool answer_;
};

}  // namespace OrvxMessages

using OrvxMessages::ReportedErrorMsgResponse;

#endif  // LIBORVXMSGS_REPORTEDERRORMSGRESPONSE_H_
