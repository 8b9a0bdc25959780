// One dataset, one observer, one write: the observer is notified when the writer is released.

#include <cstdio>
#include <memory>

#include <libdatasrc/DataFreeDataSource.h>
#include <ServerDataManager/serverdatamgr.h>
#include <ServerDataManager/SvrDMDataSetObserver.h>
#include <ServerDataManager/SvrDMWriteableDataSource.h>

struct Listener final : SvrDMDataSetObserver {
  void OnDataSetChanged(SvrDMWriteableDataSource const* writer) override {
    std::printf("%zu change message(s)\n", writer->GetNotifications().size());
  }
};

int main() {
  ServerDataManager& registry = ServerDataManager::GetInstance();
  LocallyUniqueID id = registry.Add(std::make_unique<DataFreeDataSource>(), "", /*quiet=*/false);
  Listener listener;
  SvrDMDataset(id).Register(listener);
  {
    SvrDMWriteableDataSource writer(id, /*tryOnly=*/false, /*originator=*/nullptr);
    writer->InsertVariable(0, ORVX_Variable(ORVX_Variable::NextID(), "age"));
  }  // the listener is notified of the new variable, and the lock is released
  registry.Delete(id);
}
