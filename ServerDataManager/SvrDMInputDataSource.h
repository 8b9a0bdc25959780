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
// Threads: may be constructed on one thread and destroyed on another. A new reader waits only
// briefly for a waiting writer (see libsfthread/sfMutexRW.h). So a thread with a reader may create
// another reader of the same dataset, and may wait for threads that do so. A thread that holds a
// writer of the dataset and creates a reader deadlocks.
class SDM_EXPORT SvrDMInputDataSource : public SvrDMDataset {
 protected:
  // For TryRead and TryWrite, which construct the handle after acquiring the lock.
  struct Acquired {};

 public:
  // By identifier in the given registry, by identifier in the registry of the process, or for the
  // given item, which must not be empty. Always waits for the read lock; `tryOnly` is ignored.
  // Throws ErrorMsg, code 2001, if the registry has no such dataset; then no count changes.
  SvrDMInputDataSource(ServerDataManager& registry, LocallyUniqueID id, bool tryOnly);
  SvrDMInputDataSource(LocallyUniqueID id, bool tryOnly);
  SvrDMInputDataSource(SvrDMItemPtr& item, bool tryOnly);

  // The same with a label for LockMonitor, truncated to 31 bytes; null for none.
  SvrDMInputDataSource(ServerDataManager& registry, LocallyUniqueID id, bool tryOnly,
                       const char* label);
  SvrDMInputDataSource(LocallyUniqueID id, bool tryOnly, const char* label);
  SvrDMInputDataSource(SvrDMItemPtr& item, bool tryOnly, const char* label);

  // The same, but waits at most `longest`, and does not wait if that is zero or less. Returns
  // nothing if it cannot acquire the lock in that time. A failed try has no side effects. Allocates
  // nothing.
  //
  //   if (auto reader = SvrDMInputDataSource::TryRead(id, std::chrono::milliseconds(50))) {
  //     Use(**reader);
  //   }
  //
  // It retries with pauses of up to 5 ms and does not queue: later threads that wait may get the
  // lock first. It fails on a thread that holds a writer of the dataset.
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
  // change it: other readers use it concurrently.
  ORVX_DataSource* operator->() const;
  ORVX_DataSource* operator*() const;

  // Not for callers: see Acquired.
  SvrDMInputDataSource(Acquired, SvrDMItemPtr& item, const char* label);

 protected:
  // For the writer handle: acquires no lock and counts a writer, not a reader. `name` is ignored.
  SvrDMInputDataSource(char const* name, SvrDMItemPtr const& item);

 private:
  void AcquireReadLock(bool tryOnly, const char* label);
};

#endif  // SERVERDATAMANAGER_SVRDMINPUTDATASOURCE_H_
