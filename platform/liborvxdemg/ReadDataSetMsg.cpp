// ReadDataSetMsg: a table of the change messages by signature.

#include <liborvxdemg/ReadDataSetMsg.h>

#include <string>
#include <string_view>

#include <liborvxdemg/DataSetModifiedMsg.h>
#include <liborvxdemg/DeleteVarsMsg.h>
#include <liborvxdemg/ExtensionsMsg.h>
#include <liborvxdemg/FileLabelChangeMsg.h>
#include <liborvxdemg/FileSpecChangeMsg.h>
#include <liborvxdemg/FilterVarMsg.h>
#include <liborvxdemg/ImputationInfoMsg.h>
#include <liborvxdemg/InsertVarsMsg.h>
#include <liborvxdemg/ModifyVarMsg.h>
#include <liborvxdemg/MoveVarsMsg.h>
#include <liborvxdemg/ResetClientDataMsg.h>
#include <liborvxdemg/ResetUndoMsg.h>
#include <liborvxdemg/SplitFileMsg.h>
#include <liborvxdemg/TrendsInfoMsg.h>
#include <liborvxdemg/WeightVarMsg.h>

namespace DEMessages {
namespace {

struct MessageKind {
  const char* (*signature)();
  std::unique_ptr<DataSetMsg> (*make)();
};

template <class Message>
constexpr MessageKind Kind() {
  return {Message::VSignature,
          []() -> std::unique_ptr<DataSetMsg> { return std::make_unique<Message>(); }};
}

constexpr MessageKind kMessageKinds[] = {
    Kind<InsertVarsMsg>(),     Kind<DeleteVarsMsg>(),      Kind<MoveVarsMsg>(),
    Kind<ModifyVarMsg>(),      Kind<ResetUndoMsg>(),       Kind<ImputationInfoMsg>(),
    Kind<FileSpecChangeMsg>(), Kind<FileLabelChangeMsg>(), Kind<WeightVarMsg>(),
    Kind<FilterVarMsg>(),      Kind<TrendsInfoMsg>(),      Kind<SplitFileMsg>(),
    Kind<ExtensionsMsg>(),     Kind<ResetClientDataMsg>(), Kind<DataSetModifiedMsg>(),
};

std::unique_ptr<DataSetMsg> MakeDataSetMsg(std::string_view signature, std::size_t offset) {
  for (const MessageKind& kind : kMessageKinds) {
    if (signature == kind.signature()) return kind.make();
  }
  throw VStreamError(offset, "the signature of a change message", QuotedSignature(signature));
}

}  // namespace

std::unique_ptr<DataSetMsg> ReadDataSetMsg(VStream& stream) {
  const std::size_t start = stream.Position();
  std::unique_ptr<DataSetMsg> message = MakeDataSetMsg(PeekSignature(stream), start);
  if (!message->VSInitSerialization(stream)) {
    throw VStreamError(start, message->VSConcreteSignature(), "something else");
  }
  return message;
}

}  // namespace DEMessages
