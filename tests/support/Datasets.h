// Datasets for tests: a registry of the test's own, and datasets written as names of variables.
//
// Header-only: it calls the library that the test links.

#ifndef TESTS_SUPPORT_DATASETS_H_
#define TESTS_SUPPORT_DATASETS_H_

#include <ServerDataManager/serverdatamgr.h>
#include <ServerDataManager/SvrDMWriteableDataSource.h>
#include <tests/support/Dictionary.h>

#include <functional>
#include <string>

namespace support {

// A new dataset without a file. Without `quiet`, registry observers are told.
inline LocallyUniqueID AddDataset(ServerDataManager& registry, const std::string& names,
                                  bool quiet = false) {
  return registry.Add(*Dictionary(names).release(), "", quiet);
}

// One whole write: the handle is taken, `change` made, the handle released.
inline void Write(ServerDataManager& registry, LocallyUniqueID id,
                  const std::function<void(SvrDMWriteableDataSource&)>& change,
                  SvrDMDataSetObserver* originator = nullptr) {
  SvrDMWriteableDataSource writer(registry, id, /*tryOnly=*/false, originator);
  change(writer);
}

// A write that changes nothing.
inline void WriteNothing(ServerDataManager& registry, LocallyUniqueID id) {
  const SvrDMWriteableDataSource writer(registry, id, /*tryOnly=*/false, nullptr);
}

}  // namespace support

#endif  // TESTS_SUPPORT_DATASETS_H_
