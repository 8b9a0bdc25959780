// SvrDMInputDataSource: the reader handle. Holds the dataset's read lock for its life.
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
// Threads: may be built on one thread and destroyed on another. While a writer waits for the
// readers to go, a new reader waits behind it for a short time only (see libsfthread/sfMutexRW.h).
// So a thread that holds a reader may take another on the same dataset, and may wait for threads
// that do. A thread that holds a writer on it waits for ever.
class SDM_EXPORT SvrDMInputDataSource : public SvrDMDataset {
 protected:
  // For handles made in place by TryRead and TryWrite, which have acquired the lock.
  struct Acquired {};

 public:
  // By identifier in the given registry, by identifier in the registry of the process, or on the
  // given item, which must not be empty. Waits until no writer holds the dataset, whatever
  // `tryOnly` says. Throws ErrorMsg, code 2001, where the registry has no such dataset; no count is
  // changed then.
  SvrDMInputDataSource(ServerDataManager& registry, LocallyUniqueID id, bool tryOnly);
  SvrDMInputDataSource(LocallyUniqueID id, bool tryOnly);
  SvrDMInputDataSource(SvrDMItemPtr& item, bool tryOnly);

  // The same with a label for the reports of LockMonitor, which keep 31 bytes of it; null for none.
  SvrDMInputDataSource(LocallyUniqueID id, bool tryOnly, const char* label);
  SvrDMInputDataSource(SvrDMItemPtr& item, bool tryOnly, const char* label);

  // As above, but waits no longer than `longest`, zero or less for not at all; nothing where the
  // lock is not to be had in that time. A failed try leaves no trace: no mark, no count. Made in
  // place, so neither succeeding nor failing needs memory.
  //
  //   if (auto reader = SvrDMInputDataSource::TryRead(id, std::chrono::milliseconds(50))) {
  //     Use(**reader);
  //   }
  //
  // It waits by trying again, with pauses of up to 5 ms, and stands in no line: who comes later and
  // waits may be served first. A thread that holds a writer on the dataset fails.
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

  // The dataset's data source, null where it has none. Borrowed until the handle goes. A reader
  // only reads: what it changes, others read at the same time.
  ORVX_DataSource* operator->() const;
  ORVX_DataSource* operator*() const;

  // Not for callers: see Acquired.
  SvrDMInputDataSource(Acquired, SvrDMItemPtr& item, const char* label);

 protected:
  // For the writer handle: takes no lock and counts a writer. The string is not looked at.
  SvrDMInputDataSource(char const* name, SvrDMItemPtr const& item);

 private:
  void AcquireReadLock(bool tryOnly, const char* label);
};

#endif  // SERVERDATAMANAGER_SVRDMINPUTDATASOURCE_H_
