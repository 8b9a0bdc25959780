// Uses several parts of the package: makes a write with an observer that updates a mirror, makes a
// filtered source over a clone, and encodes a bootstrap specification.

#include <cstdio>
#include <memory>
#include <string>
#include <utility>

#include <client/DictionaryMirror.h>
#include <libdatasrc/DataFreeDataSource.h>
#include <libdatasrc/FilteredDataSource.h>
#include <ServerDataManager/serverdatamgr.h>
#include <ServerDataManager/SvrBootstrapSpecs.h>
#include <ServerDataManager/SvrBootstrapSpecsSerializer.h>
#include <ServerDataManager/SvrDMCloneDataSource.h>
#include <ServerDataManager/SvrDMDataSetObserver.h>
#include <ServerDataManager/SvrDMWriteableDataSource.h>

namespace {

struct Client final : SvrDMDataSetObserver {
  void OnDataSetChanged(SvrDMWriteableDataSource const* writer) override {
    messages += writer->GetNotifications().size();
    mirror.Apply(writer->GetNotifications());
  }
  DictionaryMirror mirror;
  std::size_t messages = 0;
};

// Makes a filtered source over a clone with `names` variables, and deletes one variable of the
// filtered source. Returns how many variables remain.
int ShownOf(int names) {
  auto source = std::make_unique<DataFreeDataSource>();
  for (int i = 0; i < names; ++i) {
    source->MakeVariable(ORVX_Variable(ORVX_Variable::NextID(), "v"), nullptr);
  }
  const auto clone = SvrDMCloneDataSource::Adopt(std::move(source));
  FilteredDataSource shown(clone.get());
  shown.DeleteVariables(0, 0);
  return shown.ColumnCount();
}

std::size_t SizeOfDefaultSpecs() {
  std::string bytes;
  SvrBootstrapSpecsSerializer::serializeSpecs(SvrBootstrapSpecs(), bytes);
  return SvrBootstrapSpecsSerializer::checkSpecs(bytes).size;
}

}  // namespace

int main() {
  ServerDataManager& registry = ServerDataManager::GetInstance();
  const LocallyUniqueID id =
      registry.Add(std::make_unique<DataFreeDataSource>(), "", /*quiet=*/false);
  Client client;
  SvrDMDataset(id).Register(client);
  SvrDMWriteableDataSource(id, /*tryOnly=*/false, /*originator=*/nullptr)
      ->InsertVariable(0, ORVX_Variable(ORVX_Variable::NextID(), "age"));
  registry.Delete(id);
  std::printf("%zu messages, %d variable in the mirror, %d shown of 3, %zu bytes\n",
              client.messages, client.mirror.Dictionary().ColumnCount(), ShownOf(3),
              SizeOfDefaultSpecs());
}
