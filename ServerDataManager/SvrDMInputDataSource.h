// SvrDMInputDataSource: the reader handle. Holds the dataset's read lock for its life.
//
//   SvrDMInputDataSource reader(id, /*tryOnly=*/false);
//   for (int i = 0; i < reader->ColumnCount(); ++i) Use(std::as_const(**reader).GetVariable(i));

#ifndef SERVERDATAMANAGER_SVRDMINPUTDATASOURCE_H_
#define SERVERDATAMANAGER_SVRDMINPUTDATASOURCE_H_

#include <ServerDataManager/Export.h>
#include <ServerDataManager/SvrDMDataset.h>

class ORVX_DataSource;

// Counts as a reader of the dataset from construction to destruction. Cannot be copied.
//
// Threads: may be built on one thread and destroyed on another; a thread that holds a reader may
// take another on the same dataset, also while a writer waits. A thread that holds a writer waits
// for ever.
class SDM_EXPORT SvrDMInputDataSource : public SvrDMDataset {
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

  SvrDMInputDataSource(const SvrDMInputDataSource&) = delete;
  SvrDMInputDataSource& operator=(const SvrDMInputDataSource&) = delete;

  // Releases the lock. An exception ends the process.
  ~SvrDMInputDataSource() override;

  // The dataset's data source, null where it has none. Borrowed until the handle goes. A reader
  // only reads: what it changes, others read at the same time.
  ORVX_DataSource* operator->() const;
  ORVX_DataSource* operator*() const;

 protected:
  // For the writer handle: takes no lock and counts a writer. The string is not looked at.
  SvrDMInputDataSource(char const* name, SvrDMItemPtr const& item);

 private:
  void AcquireReadLock(bool tryOnly, const char* label);
};

#endif  // SERVERDATAMANAGER_SVRDMINPUTDATASOURCE_H_
