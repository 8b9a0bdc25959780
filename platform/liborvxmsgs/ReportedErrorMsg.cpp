#include <liborvxmsgs/ReportedErrorMsg.h>

#include <utility>

namespace OrvxMessages {

ReportedErrorMsg::ReportedErrorMsg(LocallyUniqueID& dataSetID, const ErrorText& text)
    : text_(text), dataSetID_(dataSetID) {}

ReportedErrorMsg::~ReportedErrorMsg() = default;

void ReportedErrorMsg::Serialize(VStream& stream) {
  std::string text = text_.Text();
  auto severity = static_cast<std::int8_t>(text_.Severity());
  stream.String(text);
  stream.Int8(severity);
  SerializeID(stream, dataSetID_);
  if (!stream.Writing()) text_ = ErrorText(std::move(text), severity);
}

}  // namespace OrvxMessages
