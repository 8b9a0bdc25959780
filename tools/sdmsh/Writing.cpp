// Changes under the caller's write lock.

#include "Writing.h"

#include "CommandError.h"

namespace sdmsh {

void Write(Caller& caller, const OpenDataset& dataset,
           const std::function<void(SvrDMWriteableDataSource&)>& change) {
  const Hold* const hold = caller.FindWriter(dataset);
  if (hold == nullptr) {
    throw CommandError(caller.Name() + " does not hold the write lock on " + dataset.Name() +
                       "; `write " + dataset.Name() + "` takes it");
  }
  if (caller.IsAcquiring()) {
    throw CommandError(caller.Name() + " waits for " + caller.AskedInWords() +
                       " and cannot write until it has it");
  }
  caller.Do([&] { change(hold->Writer()); });
}

ORVX_DataSource& SourceOf(SvrDMWriteableDataSource& writer, const OpenDataset& dataset) {
  if (*writer == nullptr) {
    throw CommandError(dataset.Name() + " has no data source; `source` gives it one");
  }
  return **writer;
}

void EditSource(Caller& caller, const OpenDataset& dataset,
                const std::function<void(ORVX_DataSource&)>& edit) {
  Write(caller, dataset,
        [&](SvrDMWriteableDataSource& writer) { edit(SourceOf(writer, dataset)); });
}

}  // namespace sdmsh
