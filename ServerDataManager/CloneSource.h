// Clones the data source of a dataset.
//
//   SvrDMWriteableDataSource writer(id, /*tryOnly=*/false, /*originator=*/nullptr);
//   registry.Add(CloneSource(writer), "", /*quiet=*/false);  // a dataset with the same cases

#ifndef SERVERDATAMANAGER_CLONESOURCE_H_
#define SERVERDATAMANAGER_CLONESOURCE_H_

#include <ServerDataManager/Export.h>
#include <ServerDataManager/SvrDMCloneDataSource.h>

#include <memory>

class SvrDMWriteableDataSource;

// Returns a clone of the writer's data source, which must not be null: the same dictionary,
// including unsaved changes, and the same cases. If the source is not a clone yet, a second clone
// replaces the source in the dataset, and two ResetUndoMsg are queued. The clone in the dataset and
// the returned clone then share ownership of the former source.
//
// After an exception, the dataset has its former source, a filtered source over the former source,
// or a clone that owns the former source.
//
// Threads: the thread that holds the writer.
SDM_EXPORT std::unique_ptr<SvrDMCloneDataSource> CloneSource(SvrDMWriteableDataSource& writer);

#endif  // SERVERDATAMANAGER_CLONESOURCE_H_
