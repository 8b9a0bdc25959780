// Saves a dataset of the registry to a file.
//
//   SvrDMWriteableDataSource writer(id, /*tryOnly=*/false, /*originator=*/nullptr);
//   SaveDataset(writer, "survey.tsv");

#ifndef SERVERDATAMANAGER_SAVEDATASET_H_
#define SERVERDATAMANAGER_SAVEDATASET_H_

#include <libdatasrc/SaveDelimited.h>
#include <ServerDataManager/Export.h>

#include <string>

class SvrDMWriteableDataSource;

// Writes the cases and the dictionary of the dataset with SaveDelimited; see there for `options`,
// `progress` and the content of the file. If SaveDelimited succeeds, the dataset belongs to `path`:
// `path` becomes its file name and its file specification, a suppressed file name equal to `path`
// is removed, the new file is held open (LockSavFileInUse), and the dirty flag is cleared. Readers
// of the dataset wait for the whole save, because the writer holds the write lock.
//
// Runs a notification pass before it saves. Otherwise, the pass at the writer's release would find
// the modified variables and mark the saved dataset as dirty. The pass at the release notifies
// observers of the file name and the cleared flag.
//
// To save over a file that another program may have changed, first check
// ServerDataManager::SavFileExternallyChanged.
//
// Throws std::invalid_argument if the dataset has no data source. Throws DataFileError if `path` is
// the file name of another dataset, ignoring case, or another spelling of that name, such as
// "./a.tsv" for "a.tsv". Exceptions of the pass and of SaveDelimited propagate. In all these cases
// the dataset still belongs to its old file, and its dirty flag is not cleared. If memory runs out
// after the file was written, std::bad_alloc propagates: the file is saved, but the dataset is
// still dirty, and may still belong to its old file.
//
// Threads: the thread that holds the writer. Takes the registry lock and the dataset's notification
// mutex.
SDM_EXPORT void SaveDataset(SvrDMWriteableDataSource& writer, const std::string& path,
                            const SaveOptions& options = {}, const Progress& progress = {});

#endif  // SERVERDATAMANAGER_SAVEDATASET_H_
