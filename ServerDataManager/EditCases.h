// Edits the cases of a dataset, and makes its clients read the cases again.
//
//   SvrDMWriteableDataSource writer(id, /*tryOnly=*/false, /*originator=*/nullptr);
//   EditCases(writer, [](MemoryDataSource& cases) { cases.SetValue(0, 2, 44.0); });

#ifndef SERVERDATAMANAGER_EDITCASES_H_
#define SERVERDATAMANAGER_EDITCASES_H_

#include <libdatasrc/MemoryDataSource.h>
#include <ServerDataManager/Export.h>

#include <functional>

class SvrDMWriteableDataSource;

// Calls `edit` with the data source of the dataset. If that source is not a MemoryDataSource, for
// example a clone or a filtered source, calls `edit` with a copy, and replaces the source with the
// copy (SvrDMItem::SetDataSet). Then sets the dirty flag, increments the case sequence, and queues
// a ResetClientDataMsg. Does not queue the message if one is already queued. If the number of cases
// has changed, leaves the message to the notification pass.
//
// Throws std::invalid_argument if the dataset has no data source. If `edit` throws, the exception
// propagates, and the dataset keeps its source; a MemoryDataSource keeps the changes that `edit`
// made before it threw. If memory runs out after `edit`, std::bad_alloc propagates, and the message
// may be missing.
//
// Threads: the thread that holds the writer.
SDM_EXPORT void EditCases(SvrDMWriteableDataSource& writer,
                          const std::function<void(MemoryDataSource&)>& edit);

#endif  // SERVERDATAMANAGER_EDITCASES_H_
