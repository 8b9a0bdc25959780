// What commands that change a dataset have in common.

#ifndef SDMSH_WRITING_H_
#define SDMSH_WRITING_H_

#include "Locks.h"

#include <functional>

class ORVX_DataSource;

namespace sdmsh {

// Runs `change` on the caller's thread with the caller's writer. Throws CommandError where the
// caller does not hold the write lock.
void Write(Caller& caller, const OpenDataset& dataset,
           const std::function<void(SvrDMWriteableDataSource&)>& change);

// The writer's data source. Throws CommandError where the dataset has none.
ORVX_DataSource& SourceOf(SvrDMWriteableDataSource& writer, const OpenDataset& dataset);

// Write with the data source; CommandError also where the dataset has none.
void EditSource(Caller& caller, const OpenDataset& dataset,
                const std::function<void(ORVX_DataSource&)>& edit);

}  // namespace sdmsh

#endif  // SDMSH_WRITING_H_
