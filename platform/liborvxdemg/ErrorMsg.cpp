#include <liborvxdemg/ErrorMsg.h>

namespace DEMessages {

ErrorMsg::ErrorMsg(unsigned int code, const std::string& text) : text_(text), code_(code) {}

ErrorMsg::~ErrorMsg() = default;

void ErrorMsg::Serialize(VStream& stream) {
  stream.String(text_);
  stream.Uint32(code_);
}

}  // namespace DEMessages
