// The server: writes to a dataset and sends each pass to its standard output: eight bytes with the
// length of the frame, then the frame.
//
//   send_changes | follow_changes

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string_view>

#include <client/server/ChangeStreamObserver.h>
#include <libdatasrc/DataFreeDataSource.h>
#include <libvserial/VSerializable.h>
#include <libvserial/VStream.h>
#include <PackageProxy/PackageProxy.h>
#include <ServerDataManager/serverdatamgr.h>
#include <ServerDataManager/SvrDMWriteableDataSource.h>

namespace {

class StandardOutput final : public PackageProxy {
 public:
  short SendMessage(int /*command*/, VSerializable* message) override {
    VStream stream;
    if (!message->VSInitSerialization(stream)) return -1;
    const std::string_view bytes = stream.Bytes();
    const std::uint64_t size = bytes.size();
    const bool sent = std::fwrite(&size, sizeof size, 1, stdout) == 1 &&
                      std::fwrite(bytes.data(), 1, bytes.size(), stdout) == bytes.size();
    return sent ? 0 : -1;
  }
};

}  // namespace

int main() {
  ServerDataManager& registry = ServerDataManager::GetInstance();
  const LocallyUniqueID dataset =
      registry.Add(std::make_unique<DataFreeDataSource>(), "", /*quiet=*/false);
  StandardOutput output;
  ChangeStreamObserver stream(output);
  SvrDMDataset handle(dataset);
  handle.Register(stream);
  for (const char* const name : {"age", "income", "vote"}) {
    const SvrDMWriteableDataSource writer(dataset, /*tryOnly=*/false, /*originator=*/nullptr);
    writer->MakeVariable(ORVX_Variable(ORVX_Variable::NextID(), name), nullptr);
  }
  handle.Unregister(stream);
  registry.Delete(dataset);
}
