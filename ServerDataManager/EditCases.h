// Edits the cases of a dataset, so that its clients read them again.
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
// copy. Then sets the dirty flag, increments the case sequence number, and queues a
// ResetClientDataMsg. Does not queue the message if one is queued already, or if the number of
// cases has changed: then the notification pass queues it.
//
// Throws std::invalid_argument if the dataset has no data source. If `edit` throws, the exception
// propagates, and the dataset keeps its source, with what `edit` has changed in a MemoryDataSource.
// If memory runs out after `edit`, std::bad_alloc propagates, and the message may be missing.
//
// Threads: the thread that holds the writer.
SDM_EXPORT void EditCases(SvrDMWriteableDataSource& writer,
                          const std::function<void(MemoryDataSource&)>& edit);

#endif  // SERVERDATAMANAGER_EDITCASES_H_
