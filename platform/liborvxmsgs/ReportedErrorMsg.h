// ReportedErrorMsg: an error or warning on behalf of a dataset, on its way to the client.

#ifndef LIBORVXMSGS_REPORTEDERRORMSG_H_
#define LIBORVXMSGS_REPORTEDERRORMSG_H_

#include <ServerDataManager/ErrorMessageGlue.h>
#include <ServerDataManager/ErrorText.h>
#include <ServerDataManager/Export.h>
#include <ServerDataManager/LocallyUniqueID.h>

namespace OrvxMessages {

// Threads: any number may look at one object at a time.
class SDM_EXPORT ReportedErrorMsg final : public MessageGlue<ReportedErrorMsg> {
 public:
  static const char* VSignature() { return "OrvxMessages::ReportedErrorMsg"; }
  static unsigned int Version() { return 1; }

  // An empty error of no dataset: to be read from a stream.
  ReportedErrorMsg() = default;
  // Copies both.
  ReportedErrorMsg(LocallyUniqueID& dataSetID, const ErrorText& text);
  // Copies text and identifier; the name given with SetName is not copied.
  ReportedErrorMsg(const ReportedErrorMsg&) = default;
  ~ReportedErrorMsg() override;

  const ErrorText& GetText() const { return text_; }
  LocallyUniqueID GetDataSetID() const { return dataSetID_; }

  void Serialize(VStream& stream);

 private:
  // In this order: other binaries depend on it.
  ErrorText text_;
  LocallyUniqueID dataSetID_;
};

}  // namespace OrvxMessages

using OrvxMessages::ReportedErrorMsg;

#endif  // LIBORVXMSGS_REPORTEDERRORMSG_H_
