// ErrorMsg: an error with a code and a text; sent to clients, and thrown.
//
//   throw ErrorMsg(2001, "");   // no such dataset

#ifndef LIBORVXDEMG_ERRORMSG_H_
#define LIBORVXDEMG_ERRORMSG_H_

#include <ServerDataManager/Export.h>
#include <cstdint>
#include <string>

#include <liborvxdemg/DEMessagesFwd.h>
#include <ServerDataManager/ErrorMessageGlue.h>

namespace DEMessages {

// Thrown by value. Not a std::exception.
//
// Threads: several threads may read or encode one object.
class SDM_EXPORT ErrorMsg final : public MessageGlue<ErrorMsg> {
 public:
  static const char* VSignature() { return "DEMessages::ErrorMsg"; }
  static unsigned int Version() { return 1; }

  // Code 0 and an empty text: an object to decode into.
  ErrorMsg() = default;
  // Copies `text`, which may be empty.
  ErrorMsg(unsigned int code, const std::string& text);
  // Copies code and text, but not the name from SetName.
  ErrorMsg(const ErrorMsg&) = default;
  ~ErrorMsg() override;

  unsigned int GetCode() const { return code_; }
  const std::string& GetText() const { return text_; }

  void Serialize(VStream& stream);

 private:
  // The order of the fields is fixed: other binaries depend on it.
  std::string text_;
  std::uint32_t code_ = 0;
};

}  // namespace DEMessages

#endif  // LIBORVXDEMG_ERRORMSG_H_
