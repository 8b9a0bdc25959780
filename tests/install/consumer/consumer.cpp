// One write, heard by an observer that keeps a client's mirror.

#include <cstdio>

#include <client/DictionaryMirror.h>
#include <libdatasrc/DataFreeDataSource.h>
#include <ServerDataManager/serverdatamgr.h>
#include <ServerDataManager/SvrDMDataSetObserver.h>
#include <ServerDataManager/SvrDMWriteableDataSource.h>

struct Client : SvrDMDataSetObserver {
  void OnDataSetChanged(SvrDMWriteableDataSource const* writer) override {
    messages += writer->GetNotifications().size();
    mirror.Apply(writer->GetNotifications());
  }
  DictionaryMirror mirror;
  std::size_t messages = 0;
};

int main() {
  ServerDataManager& registry = ServerDataManager::GetInstance();
  const LocallyUniqueID id = registry.Add(*new DataFreeDataSource, "", /*quiet=*/false);
  Client client;
  SvrDMDataset(id).Register(client);
  SvrDMWriteableDataSource(id, /*tryOnly=*/false, /*originator=*/nullptr)
      ->InsertVariable(0, ORVX_Variable(ORVX_Variable::NextID(), "age"));
  registry.Delete(id);
  std::printf("%zu messages, %d variable in the mirror\n", client.messages,
              client.mirror.Dictionary().ColumnCount());
}
