// Adds datasets with the given variables to a registry, and writes to datasets.
//
// Header-only, because the functions call the library that the test links.

#ifndef TESTS_SUPPORT_DATASETS_H_
#define TESTS_SUPPORT_DATASETS_H_

#include <ServerDataManager/serverdatamgr.h>
#include <ServerDataManager/SvrDMWriteableDataSource.h>
#include <tests/support/Dictionary.h>

#include <functional>
#include <string>

namespace support {

// Adds a dataset with these variables and without a file. If the dataset is `quiet`, registry
// observers are not notified of it.
inline LocallyUniqueID AddDataset(ServerDataManager& registry, const std::string& names,
                                  bool quiet = false) {
  return registry.Add(*Dictionary(names).release(), "", quiet);
}

// Makes one complete write: creates a writer, calls `change`, releases the writer.
inline void Write(ServerDataManager& registry, LocallyUniqueID id,
                  const std::function<void(SvrDMWriteableDataSource&)>& change,
                  SvrDMDataSetObserver* originator = nullptr) {
  SvrDMWriteableDataSource writer(registry, id, /*tryOnly=*/false, originator);
  change(writer);
}

inline void WriteNothing(ServerDataManager& registry, LocallyUniqueID id) {
  const SvrDMWriteableDataSource writer(registry, id, /*tryOnly=*/false, nullptr);
}

}  // namespace support

#endif  // TESTS_SUPPORT_DATASETS_H_
