// SvrDMWriteableDataSource: the writer handle. Holds the dataset's write lock for its lifetime, and
// notifies the dataset's observers when it is destroyed.
//
//   {
//     SvrDMWriteableDataSource writer(id, /*tryOnly=*/false, /*originator=*/&myObserver);
//     writer->DeleteVariables(3, 3);
//   }   // every observer but myObserver is notified

#ifndef SERVERDATAMANAGER_SVRDMWRITEABLEDATASOURCE_H_
#define SERVERDATAMANAGER_SVRDMWRITEABLEDATASOURCE_H_

#include <liborvxdemg/DEMessagesFwd.h>
#include <ServerDataManager/Export.h>
#include <ServerDataManager/SvrDMInputDataSource.h>

#include <any>
#include <chrono>
#include <memory>
#include <optional>
#include <vector>

// The dataset counts a writer until just before the writer releases the lock. A constructor adds
// the writer to the count before it waits for the lock, TryWrite after it has acquired the lock.
// Cannot be copied.
//
// Threads: may be constructed on one thread and destroyed on another.
class SDM_EXPORT SvrDMWriteableDataSource : public SvrDMInputDataSource {
 public:
  // The dataset is given by identifier in the given registry, by identifier in the registry of the
  // process, or as an item, which must not be empty. `originator`, which may be null, is the
  // observer that is not notified of this handle's changes. It is borrowed until the handle is
  // destroyed.
  //
  // Waits for the write lock. With `tryOnly`, does not wait but throws the int 55 if the lock is
  // not free. Beware: this failure affects the dataset permanently. The dataset's count of writers
  // stays one too high, its count of readers stays one too low, and its lock is never released
  // again, not even by the current holder. Use TryWrite instead.
  //
  // Throws ErrorMsg, code 2001, if the registry has no such dataset.
  SvrDMWriteableDataSource(ServerDataManager& registry, LocallyUniqueID id, bool tryOnly,
                           SvrDMDataSetObserver* originator);
  SvrDMWriteableDataSource(LocallyUniqueID id, bool tryOnly, SvrDMDataSetObserver* originator);
  SvrDMWriteableDataSource(SvrDMItemPtr& item, bool tryOnly, SvrDMDataSetObserver* originator);

  // Like the constructors above, with a label for LockMonitor; null for no label. LockMonitor
  // copies the label and truncates the copy to 31 bytes.
  SvrDMWriteableDataSource(ServerDataManager& registry, LocallyUniqueID id, bool tryOnly,
                           SvrDMDataSetObserver* originator, const char* label);
  SvrDMWriteableDataSource(LocallyUniqueID id, bool tryOnly, SvrDMDataSetObserver* originator,
                           const char* label);
  SvrDMWriteableDataSource(SvrDMItemPtr& item, bool tryOnly, SvrDMDataSetObserver* originator,
                           const char* label);

  // Returns a writer, or nothing if it cannot acquire the lock within `longest`. Does not wait if
  // `longest` is zero or less. The other arguments and the exceptions are those of the
  // constructors. A failed try has no side effects. TryWrite retries with pauses, like
  // SvrDMInputDataSource::TryRead; overlapping readers may keep it from ever acquiring the lock.
  // The handle counts as a writer only after it has acquired the lock.
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

  // Runs a notification pass under the write lock, then releases the lock. An exception, also from
  // an observer, ends the process.
  ~SvrDMWriteableDataSource() override;

  // The data source of the dataset, null for none; the same as operator-> and operator*. Borrowed
  // until it is replaced or the handle is destroyed.
  ORVX_DataSource* GetDataSource() const;

  // Replaces the data source: see SvrDMItem::SetDataSet.
  void SetDataSet(std::unique_ptr<ORVX_DataSource> ds);
  void SetDataSet(ORVX_DataSource* ds);

  // Both functions add one to the case sequence, which wraps around. UndoIncrementCaseSequence does
  // not subtract, so that clients do not see a case sequence twice.
  void IncrementCaseSequence();
  void UndoIncrementCaseSequence();

  // Stores the number of the client that makes the change: see SvrDMItem::Originator.
  void Originator(unsigned int number);

  // The queue of change messages: see SvrDMItem. AddNotification always owns the message.
  void AddNotification(DataSetMsg* message);
  const std::vector<DataSetMsg*>& GetNotifications() const;
  void ClearNotifications();

  // Storage that the observers of one notification pass share, so that work such as encoding the
  // messages is done once. It is empty for the first observer, and is destroyed after the last
  // observer was called. An observer must not change a value whose type it does not know. Borrowed
  // until OnDataSetChanged returns; null outside OnDataSetChanged for this dataset.
  // Threads: the thread of the pass.
  std::any* PassData() const;

  // Makes the next comparison a bulk replacement, with two messages for the whole variable list:
  // for writers that reorder many variables.
  void BulkVarMoves();

  // Runs a notification pass now; the destructor runs another. An exception, also from an observer,
  // propagates and loses no change: the next pass delivers everything to all observers (see
  // SvrDMItem::Notify).
  void Notify();

  // Internal: see Acquired.
  SvrDMWriteableDataSource(Acquired, SvrDMItemPtr& item, SvrDMDataSetObserver* originator,
                           const char* label);

 private:
  void AcquireWriteLock(bool tryOnly, const char* label);

  SvrDMDataSetObserver* originator_;
};

#endif  // SERVERDATAMANAGER_SVRDMWRITEABLEDATASOURCE_H_
