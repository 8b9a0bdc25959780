// ReportedErrorMsg: an error or warning about a dataset, sent to the client.

#ifndef LIBORVXMSGS_REPORTEDERRORMSG_H_
#define LIBORVXMSGS_REPORTEDERRORMSG_H_

#include <ServerDataManager/ErrorMessageGlue.h>
#include <ServerDataManager/ErrorText.h>
#include <ServerDataManager/Export.h>
#include <ServerDataManager/LocallyUniqueID.h>

namespace OrvxMessages {

// Threads: several threads may read or encode one object.
class SDM_EXPORT ReportedErrorMsg final : public MessageGlue<ReportedErrorMsg> {
 public:
  static const char* VSignature() { return "OrvxMessages::ReportedErrorMsg"; }
  static unsigned int Version() { return 1; }

  // An empty error without a dataset: an object to decode into.
  ReportedErrorMsg() = default;
  // Copies the identifier and the text.
  ReportedErrorMsg(LocallyUniqueID& dataSetID, const ErrorText& text);
  // Copies text and identifier, but not the name from SetName.
  ReportedErrorMsg(const ReportedErrorMsg&) = default;
  ~ReportedErrorMsg() override;

  const ErrorText& GetText() const { return text_; }
  LocallyUniqueID GetDataSetID() const { return dataSetID_; }

  void Serialize(VStream& stream);

 private:
  // The order of the fields is fixed: other binaries depend on it.
  ErrorText text_;
  LocallyUniqueID dataSetID_;
};

}  // namespace OrvxMessages

using OrvxMessages::ReportedErrorMsg;

#endif  // LIBORVXMSGS_REPORTEDERRORMSG_H_
