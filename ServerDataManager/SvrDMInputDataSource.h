// SvrDMInputDataSource: the reader handle. Holds the dataset's read lock for its lifetime.
//
//   SvrDMInputDataSource reader(id, /*tryOnly=*/false);
//   for (int i = 0; i < reader->ColumnCount(); ++i) Use(std::as_const(**reader).GetVariable(i));

#ifndef SERVERDATAMANAGER_SVRDMINPUTDATASOURCE_H_
#define SERVERDATAMANAGER_SVRDMINPUTDATASOURCE_H_

#include <ServerDataManager/Export.h>
#include <ServerDataManager/SvrDMDataset.h>

#include <chrono>
#include <optional>

class ORVX_DataSource;

// Counts as a reader of the dataset from construction to destruction. Cannot be copied.
//
// Threads: may be constructed on one thread and destroyed on another. A waiting writer never blocks
// a new reader forever (see libsfthread/sfMutexRW.h). So a thread with a reader may create another
// reader of the same dataset, and may wait for other threads that create readers of the dataset. A
// thread that holds a writer of the dataset and creates a reader deadlocks.
class SDM_EXPORT SvrDMInputDataSource : public SvrDMDataset {
 protected:
  // A tag for TryRead and TryWrite, which construct the handle after acquiring the lock.
  struct Acquired {};

 public:
  // The dataset is given by identifier in the given registry, by identifier in the registry of the
  // process, or as an item, which must not be empty. Always waits for the read lock; `tryOnly` is
  // ignored. Throws ErrorMsg, code 2001, if the registry has no such dataset.
  SvrDMInputDataSource(ServerDataManager& registry, LocallyUniqueID id, bool tryOnly);
  SvrDMInputDataSource(LocallyUniqueID id, bool tryOnly);
  SvrDMInputDataSource(SvrDMItemPtr& item, bool tryOnly);

  // Like the constructors above, with a label for LockMonitor; null for no label. LockMonitor
  // copies the label and truncates the copy to 31 bytes.
  SvrDMInputDataSource(ServerDataManager& registry, LocallyUniqueID id, bool tryOnly,
                       const char* label);
  SvrDMInputDataSource(LocallyUniqueID id, bool tryOnly, const char* label);
  SvrDMInputDataSource(SvrDMItemPtr& item, bool tryOnly, const char* label);

  // Returns a reader, or nothing if it cannot acquire the lock within `longest`. Does not wait if
  // `longest` is zero or less. The other arguments and the exceptions are those of the
  // constructors. A failed try has no side effects. Allocates nothing while LockMonitor is off.
  //
  //   if (auto reader = SvrDMInputDataSource::TryRead(id, std::chrono::milliseconds(50))) {
  //     Use(**reader);
  //   }
  //
  // TryRead retries with pauses of up to 5 ms and does not queue: threads that begin to wait later
  // may get the lock first. TryRead fails on a thread that holds a writer of the dataset.
  static std::optional<SvrDMInputDataSource> TryRead(SvrDMItemPtr& item,
                                                     std::chrono::milliseconds longest,
                                                     const char* label = nullptr);
  static std::optional<SvrDMInputDataSource> TryRead(ServerDataManager& registry,
                                                     LocallyUniqueID id,
                                                     std::chrono::milliseconds longest,
                                                     const char* label = nullptr);
  static std::optional<SvrDMInputDataSource> TryRead(LocallyUniqueID id,
                                                     std::chrono::milliseconds longest,
                                                     const char* label = nullptr);

  SvrDMInputDataSource(const SvrDMInputDataSource&) = delete;
  SvrDMInputDataSource& operator=(const SvrDMInputDataSource&) = delete;

  // Releases the lock. An exception ends the process.
  ~SvrDMInputDataSource() override;

  // The data source of the dataset, null for none. Borrowed until the handle is destroyed. Do not
  // change the data source: other readers use it concurrently.
  ORVX_DataSource* operator->() const;
  ORVX_DataSource* operator*() const;

  // Internal: see Acquired.
  SvrDMInputDataSource(Acquired, SvrDMItemPtr& item, const char* label);

 protected:
  // For the writer handle: acquires no lock and counts a writer, not a reader. `name` is ignored.
  SvrDMInputDataSource(char const* name, SvrDMItemPtr const& item);

 private:
  SDM_HIDDEN void AcquireReadLock(bool tryOnly, const char* label);
};

#endif  // SERVERDATAMANAGER_SVRDMINPUTDATASOURCE_H_
