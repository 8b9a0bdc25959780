// ReportedErrorMsgResponse: the client's answer to a ReportedErrorMsg.

#ifndef LIBORVXMSGS_REPORTEDERRORMSGRESPONSE_H_
#define LIBORVXMSGS_REPORTEDERRORMSGRESPONSE_H_

#include <ServerDataManager/ErrorMessageGlue.h>
#include <ServerDataManager/Export.h>

namespace OrvxMessages {

// Only decoding sets the answer. Until then the answer has no value: do not read, copy or encode
// the object.
//
// Threads: several threads may read or encode one object.
class SDM_EXPORT ReportedErrorMsgResponse final : public MessageGlue<ReportedErrorMsgResponse> {
 public:
  static const char* VSignature() { return "OrvxMessages::ReportedErrorMsgResponse"; }
  static unsigned int Version() { return 1; }

  ReportedErrorMsgResponse();
  // Copies the answer, but not the name from SetName.
  ReportedErrorMsgResponse(const ReportedErrorMsgResponse&) = default;
  ~ReportedErrorMsgResponse() override;

  bool GetAnswer() const { return answer_; }

  void Serialize(VStream& stream);

 private:
  // Deliberately uninitialised, so that a memory checker reports the use of a missing answer.
  bool answer_;
};

}  // namespace OrvxMessages

using OrvxMessages::ReportedErrorMsgResponse;

#endif  // LIBORVXMSGS_REPORTEDERRORMSGRESPONSE_H_
