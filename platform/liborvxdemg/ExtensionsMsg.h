// ExtensionsMsg: an extension of a dataset was replaced.

#ifndef LIBORVXDEMG_EXTENSIONSMSG_H_
#define LIBORVXDEMG_EXTENSIONSMSG_H_

#include <libdatasrc/ORVX_ExtensionImpl.h>
#include <liborvxdemg/DataSetMsg.h>
#include <ServerDataManager/ErrorMessageGlue.h>
#include <ServerDataManager/Export.h>
#include <ServerDataManager/RefCountPtr.h>

namespace DEMessages {

// Has the new extension.
class SDM_EXPORT ExtensionsMsg final : public MessageGlue<ExtensionsMsg, DataSetMsg> {
 public:
  static const char* VSignature() { return "DEMessages::ExtensionsMsg"; }
  static unsigned int Version() { return 1; }

  // Type 0, version 1 and no bytes: an object to decode into.
  ExtensionsMsg();
  // Shares `extension`; throws std::invalid_argument if it is null.
  ExtensionsMsg(unsigned int leading, LocallyUniqueID dataSetID, unsigned int caseSequence,
                const RefCountPtr<ORVX_ExtensionImpl>& extension);

  // Never null.
  const RefCountPtr<ORVX_ExtensionImpl>& GetExtension() const { return extension_; }

  void Accept(DataSetMsgVisitor& visitor) const override;
  void Serialize(VStream& stream);

 private:
  RefCountPtr<ORVX_ExtensionImpl> extension_;
};

}  // namespace DEMessages

#endif  // LIBORVXDEMG_EXTENSIONSMSG_H_
