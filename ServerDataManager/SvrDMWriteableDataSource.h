// SvrDMWriteableDataSource: the writer handle. Holds the dataset's write lock for its life; when it
// goes, the dataset's observers are told what changed.
//
//   {
//     SvrDMWriteableDataSource writer(id, /*tryOnly=*/false, /*originator=*/&myObserver);
//     writer->DeleteVariables(3, 3);
//   }   // every observer but myObserver hears of the deletion

#ifndef SERVERDATAMANAGER_SVRDMWRITEABLEDATASOURCE_H_
#define SERVERDATAMANAGER_SVRDMWRITEABLEDATASOURCE_H_

#include <liborvxdemg/DEMessagesFwd.h>
#include <ServerDataManager/Export.h>
#include <ServerDataManager/SvrDMInputDataSource.h>

#include <chrono>
#include <memory>
#include <optional>
#include <vector>

// Counts as a writer of the dataset from before it asks for the lock to just before it releases it.
// Cannot be copied.
//
// Threads: may be built on one thread and destroyed on another. Only one writer, and no reader
// beside it, is past construction at a time.
class SDM_EXPORT SvrDMWriteableDataSource : public SvrDMInputDataSource {
 public:
  // By identifier in the given registry, by identifier in the registry of the process, or on the
  // given item, which must not be empty. `originator`, which may be null, is the observer that is
  // not told of what this handle changes; borrowed until the handle goes.
  //
  // Waits for the write lock. With `tryOnly` it does not wait but throws the int 55 where the lock
  // is not free. Beware: that failure marks the dataset for good. Its writers count stays one
  // higher and its readers count one lower, and no lock on it is released any more, the one now
  // held included. TryWrite has no such trap.
  //
  // Throws ErrorMsg, code 2001, where the registry has no such dataset; no count is changed then.
  SvrDMWriteableDataSource(ServerDataManager& registry, LocallyUniqueID id, bool tryOnly,
                           SvrDMDataSetObserver* originator);
  SvrDMWriteableDataSource(LocallyUniqueID id, bool tryOnly, SvrDMDataSetObserver* originator);
  SvrDMWriteableDataSource(SvrDMItemPtr& item, bool tryOnly, SvrDMDataSetObserver* originator);

  // The same with a label for the reports of LockMonitor, which keep 31 bytes of it; null for none.
  SvrDMWriteableDataSource(LocallyUniqueID id, bool tryOnly, SvrDMDataSetObserver* originator,
                           const char* label);
  SvrDMWriteableDataSource(SvrDMItemPtr& item, bool tryOnly, SvrDMDataSetObserver* originator,
                           const char* label);

  // As above, but waits no longer than `longest`, zero or less for not at all; nothing where the
  // lock is not to be had in that time. A failed try leaves no trace: no mark, no count. See
  // SvrDMInputDataSource::TryRead for how it waits; readers that overlap without end keep it out.
  // Counts as a writer from when it has the lock.
  static std::optional<SvrDMWriteableDataSource> TryWrite(SvrDMItemPtr& item,
                                                          std::chrono::milliseconds longest,
                                                          SvrDMDataSetObserver* originator,
                                                          const char* label = nullptr);
  static std::optional<SvrDMWriteableDataSource> TryWrite(ServerDataManager& registry,
                                                          LocallyUniqueID id,
                                                          std::chrono::milliseconds longest,
                                                          SvrDMDataSetObserver* originator,
                                                          const char* label = nullptr);
  static std::optional<SvrDMWriteableDataSource> TryWrite(LocallyUniqueID id,
                                                          std::chrono::milliseconds longest,
                                                          SvrDMDataSetObserver* originator,
                                                          const char* label = nullptr);

  SvrDMWriteableDataSource(const SvrDMWriteableDataSource&) = delete;
  SvrDMWriteableDataSource& operator=(const SvrDMWriteableDataSource&) = delete;

  // Runs a notification pass under the write lock, then releases the lock. An exception, an
  // observer's included, ends the process.
  ~SvrDMWriteableDataSource() override;

  // The dataset's data source, null where it has none; the same as operator-> and operator*.
  // Borrowed until it is replaced or the handle goes.
  ORVX_DataSource* GetDataSource() const;

  // Replaces the data source: see SvrDMItem::SetDataSet.
  void SetDataSet(std::unique_ptr<ORVX_DataSource> ds);
  void SetDataSet(ORVX_DataSource* ds);

  // Each adds one to the number that change messages bear; it wraps. The second does the same as
  // the first: the number never goes back.
  void IncrementCaseSequence();
  void UndoIncrementCaseSequence();

  // Names the client that makes the change.
  void Originator(unsigned int number);

  // The queue of change messages: see SvrDMItem. AddNotification owns the message from the call on.
  void AddNotification(DataSetMsg* message);
  const std::vector<DataSetMsg*>& GetNotifications() const;
  void ClearNotifications();

  // Asks that the next comparison replace the whole variable list by two messages: for writers that
  // reorder many variables.
  void BulkVarMoves();

  // Runs a notification pass now, as the destructor does again. An exception, an observer's
  // included, passes on and loses no change: the next pass, the destructor's for instance, delivers
  // what was queued and the rest to all observers (see SvrDMItem::Notify).
  void Notify();

  // Not for callers: see Acquired.
  SvrDMWriteableDataSource(Acquired, SvrDMItemPtr& item, SvrDMDataSetObserver* originator,
                           const char* label);

 private:
  void AcquireWriteLock(bool tryOnly, const char* label);

  SvrDMDataSetObserver* originator_;
};

#endif  // SERVERDATAMANAGER_SVRDMWRITEABLEDATASOURCE_H_
