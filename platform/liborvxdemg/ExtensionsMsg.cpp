#include <liborvxdemg/ExtensionsMsg.h>
#include <liborvxdemg/ExtensionTypes.h>

#include <stdexcept>
#include <string>

#include <liborvxdemg/DataSetMsgVisitor.h>

namespace DEMessages {

ExtensionsMsg::ExtensionsMsg() : extension_(TextBlock(kOwnExtension, "")) {}

ExtensionsMsg::ExtensionsMsg(unsigned int leading, LocallyUniqueID dataSetID,
                             unsigned int caseSequence,
                             const RefCountPtr<ORVX_ExtensionImpl>& extension)
    : MessageGlue(leading, dataSetID, caseSequence), extension_(extension) {
  if (!extension.IsValid()) throw std::invalid_argument("ExtensionsMsg: no block");
}

void ExtensionsMsg::Accept(DataSetMsgVisitor& visitor) const {
  visitor.Visit(*this);
}

void ExtensionsMsg::Serialize(VStream& stream) {
  SerializeCommon(stream);
  const ORVX_ExtensionImpl& block = *extension_;
  std::int32_t type = block.GetType();
  std::int32_t version = block.GetVersion();
  std::string bytes(block.GetBytes());
  stream.Int32(type);
  stream.Int32(version);
  stream.String(bytes);
  if (stream.Writing()) return;
  extension_ = RefCountPtr<ORVX_ExtensionImpl>(
      new ORVX_ExtensionImpl(type, version, static_cast<long>(bytes.size()), bytes.data()));
}

}  // namespace DEMessages
