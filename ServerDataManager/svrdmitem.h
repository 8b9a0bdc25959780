// SvrDMItem: one registered dataset. It owns the data source, knows its names, serialises access
// through a reader/writer lock, and tells its observers what a writer changed.
//
// Items are made by ServerDataManager and held through SvrDMItemPtr; callers reach them through the
// handles SvrDMDataset, SvrDMInputDataSource and SvrDMWriteableDataSource.
//
// Locks of an item, in the order in which they are taken; the registry lock (see serverdatamgr.h)
// is never held while waiting for the first:
//
//   lock                 taken by                      while it is held
//   reader/writer lock   reader and writer handles     the data source is read or written
//   notification mutex   Register, Unregister, Notify  observers are called: they may take the
//                                                      registry lock, but no lock of this item
//
// A thread that has one dataset and takes another, or an observer of one that does, must follow an
// order of datasets that holds in the whole program, by identifier for instance.
//
// Counters and flags have no lock: each is read and written as one plain field, from any thread.
// Names are set, and compared by the registry, under one lock of the library that is held for
// nothing else. References to a name or to the password have no such protection: nobody may read
// through one while another thread sets what it refers to.

#ifndef SERVERDATAMANAGER_SVRDMITEM_H_
#define SERVERDATAMANAGER_SVRDMITEM_H_

#include <libdatastr/ORVX_RefCntObject.h>
#include <liborvxdemg/DEMessagesFwd.h>
#include <libsfthread/sfMutex.h>
#include <libsfthread/sfMutexRW.h>
#include <ServerDataManager/Export.h>
#include <ServerDataManager/InteractiveErrorMonitor.h>
#include <ServerDataManager/LocallyUniqueID.h>
#include <ServerDataManager/ObserverView.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <list>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

class ORVX_DataSource;
class PackageProxy;
class ServerDataManager;
class SvrBootstrapSpecs;
class SvrDMDataSetObserver;
class SvrDMWriteableDataSource;
namespace sdm_internal {
struct LockHolder;
struct LockRequest;
}  // namespace sdm_internal

class SDM_EXPORT SvrDMItem : public ORVX_RefCntObject {
 public:
  // Owns `ds`, which may be null, and its chain of parents from here on, up to the first clone;
  // where this constructor throws, the caller still owns them. Borrows `manager`. Holds the file
  // `fileName` open as in use and stamps the creation time. `notifyDelete` tells whether registry
  // observers hear of the dataset at all.
  SvrDMItem(LocallyUniqueID id, ORVX_DataSource* ds, ServerDataManager* manager,
            unsigned int caseSequence, const std::string& fileName, bool notifyDelete);

  // A nameless item with the null identifier, no registry and no data source. The registry never
  // uses it, and it cannot be written: a notification pass calls the registry.
  SvrDMItem();

  // Stops the process: items are shared, never copied. Here because RefCountPtr names it.
  SvrDMItem(const SvrDMItem&);
  SvrDMItem& operator=(const SvrDMItem&) = delete;

  // Lets go of the saved file and deletes queued messages, the data source with its chain, and the
  // bootstrap specification. An exception from any of them ends the process.
  ~SvrDMItem() override;

  // By identifier.
  bool operator==(const SvrDMItem& other) const { return id_ == other.id_; }
  bool operator<(const SvrDMItem& other) const { return id_ < other.id_; }

  // --- Identity and names ---

  // Threads: any.
  LocallyUniqueID ID() const { return id_; }
  ServerDataManager* Manager() const { return manager_; }

  // The name by which the registry finds the dataset, without regard to case; empty at first.
  // Threads: any may set it. The reference is not safe against a thread that sets it. Likewise the
  // next pair.
  const std::string& Handle() const { return handle_; }
  void Handle(const std::string& handle);

  // The saved file to which the dataset belongs; empty for none. Setting it neither releases the
  // file held open nor opens another: see LockSavFileInUse. A notification pass sets it, too.
  const std::string& FileName() const { return fileName_; }
  void FileName(const std::string& fileName);
  void FileName(std::string&& fileName) noexcept;

  // The file name kept aside because another dataset had it when this one was added.
  // Threads: any.
  std::string SuppressedFileName() const;
  void SuppressedFileName(std::string fileName);
  // Whether it is this one, to the letter. Needs no memory.
  bool HasSuppressedFileName(std::string_view fileName) const;

  // --- Data source ---

  // Borrowed: the item owns it. Null for a dataset without one.
  // Threads: any may ask whether there is one; to use it, hold the read or the write lock.
  ORVX_DataSource* DataSource() const;

  // Replaces the data source and deletes what the new one no longer reaches: when `ds` is an
  // ancestor of the present source, the sources below it; when it is built on the present source,
  // nothing; otherwise the whole present chain. The item owns `ds`, which may be null, from here
  // on. Replacing a source (not null) lets go of the saved file and queues a ResetUndoMsg; a new
  // source takes hold of it again.
  // An exception, std::bad_alloc for one, leaves the new source in place; the message or the hold
  // on the file is missing then. Threads: the thread that holds the write lock.
  void SetDataSet(std::unique_ptr<ORVX_DataSource> ds);
  // For a source that the item owns already: the present one or one of its parents.
  void SetDataSet(ORVX_DataSource* ds);

  // Deletes the data source with its chain and leaves the pointer as it was: only for the
  // destructor and for those who store another source at once.
  // Threads: the thread that holds the write lock.
  void DeleteDataSource();

  // --- Reader/writer lock ---
  // Threads: any; ReleaseLock may be called on another thread than the one that took the lock.

  // Waits for the read lock and returns true. `tryOnly` is ignored: readers always wait.
  bool AcquireReadLock(bool tryOnly);

  // Waits for the write lock and returns true; with `tryOnly`, does not wait but returns false
  // where the lock is not free. A failed try marks the item for good: see ReleaseLock. The TryWrite
  // of SvrDMWriteableDataSource does not.
  bool AcquireWriteLock(bool tryOnly);

  // Ends whichever lock is held. Once a try for the write lock has failed on this item, does
  // nothing, for ever: the lock then held stays held.
  void ReleaseLock();

  // --- Counters: handles at work on the dataset ---
  // No bounds: a count can fall below zero where handles misbehave (see SvrDMWriteableDataSource).
  // Threads: any.
  int ReadersCount() const;
  int WritersCount() const;
  void AddReader();
  void DropReader();
  void AddWriter();
  void DropWriter();

  // The running number that change messages bear.
  // Threads: any for the value; the reference is for the thread that holds the write lock.
  unsigned int CaseSequence() const;
  unsigned int& CaseSequence() { return caseSequence_; }

  // --- Observers and change messages ---

  // Adds the observer at the end of the list; one that is registered twice is told twice. Borrows
  // it until Unregister, which removes it however often it stands there.
  // Threads: any but one that is being told of a change to this dataset. Takes the notification
  // mutex; a thread that holds the registry lock may wait for ever for it where observers of this
  // dataset call the registry while another thread releases a writer.
  void Register(SvrDMDataSetObserver& observer);
  void Unregister(SvrDMDataSetObserver& observer);

  // Queues a message for the observers. Owns it from the call on, also where the queue cannot grow
  // and the call throws. A null pointer is queued as it is.
  // Threads: the thread that holds the write lock; likewise the three below.
  void AddNotification(DataSetMsg* message);

  // The queue, in the order in which messages came. Borrowed until the writer is released.
  const std::vector<DataSetMsg*>& Notifications() const { return notifications_; }

  // Deletes the queued messages.
  void ClearNotifications();

  // Deletes the messages behind the first `count`: for a change that could not be made after all.
  void TakeBackNotifications(std::size_t count);

  // One notification pass: compares the dataset with what observers were last told, queues the
  // differences, announces a dataset never announced to the registry's observers, hands `writer` to
  // every observer but `originator` (which may be null), and empties the queue. The comparison is
  // left out when nobody would hear of it; with an empty queue nothing else happens.
  //
  // An exception passes on: from the data source, from an observer, or because memory runs out.
  // What was queued stays queued, and no change is lost: the next pass compares the rest, announces
  // the dataset if that is still to be done, and delivers everything to every observer. Observers
  // that had been called before one of them threw receive the same messages again.
  // Threads: the thread that holds the write lock. Takes the notification mutex, then, without it,
  // the registry lock, then the notification mutex again.
  void Notify(SvrDMWriteableDataSource const* writer, SvrDMDataSetObserver* originator);

  // The number of the client that made the change under way. Kept in the item's layout for other
  // binaries; nothing in this library reads it.
  // Threads: any.
  void Originator(unsigned int& number);

  // With true, the next comparison replaces the whole variable list by two messages instead of
  // moving variables one by one.
  // Threads: the thread that holds the write lock.
  void BulkVarMoves(bool bulk);

  // Whether registry observers hear of this dataset, and whether its creation has been announced to
  // them. Of several threads that set this flag, one alone is told that it did; who then can
  // announce nothing takes it back.
  // Threads: any.
  bool NotifyDelete() const;
  bool NotifiedCreation();
  bool SetNotifiedCreation();
  void TakeBackNotifiedCreation();

  // --- Window state, kept for the client ---
  // Threads: any.
  bool WindowFront() const;
  void WindowFront(bool front);
  bool WindowMinimized() const;
  void WindowMinimized(bool minimized);
  bool WindowHidden() const;
  void WindowHidden(bool hidden);

  // --- Saved file, password, creation time ---

  // Holds the dataset's file open for reading, with other programs kept from writing where the file
  // system can do that, and remembers when it was last modified. A file of another name held before
  // is let go first, also one that differs by case only; the same name again changes nothing; an
  // empty name holds nothing. A file that cannot be opened is not held, silently, and the next call
  // tries again. Where another program is at work writing, the file is held without keeping that
  // program off, and the next call does not ask again.
  // Threads: the thread that holds the write lock; likewise the two below.
  void LockSavFileInUse();
  void UnlockSavFileInUse();

  // True when the file held open was modified since, in another second than the one remembered, or
  // where no time could be remembered when it was opened; false where none is held or its time
  // cannot be read now. The open file is asked, not the name: a file put in its place by a rename
  // is not seen, nor is that the name is gone or may no longer be read.
  bool SavFileExternallyChanged();

  // Writes the present local time to `out`, as the date value that iDMY2Orvx makes of it; that of 1
  // February 1975, 12:00, where the local time cannot be told.
  // Threads: any.
  static void orvxTimestampNow(double* out);

  // When the item was made, as a date value.
  // Threads: any.
  double getObjCreationTime() const { return creationTime_; }

  // The password and whether it is stored mangled.
  // Threads: not safe against a thread that sets it.
  const std::string& Password() const { return password_; }
  void Password(const std::string& password, bool mangled);

  // Whether the password is mangled: as the saved file at the data source or at its parent says,
  // else as it was said with the password.
  // Threads: a thread that holds the read or the write lock.
  bool PasswordMangled() const;

  // --- Companions ---

  // Reports errors to the client; silent until it is initialised with the channel, which is
  // borrowed.
  // Threads: the thread that holds the write lock.
  InteractiveErrorMonitor& GetErrorMonitor() { return errorMonitor_; }
  void InitializeErrorMonitor(PackageProxy* proxy);

  // The bootstrap specification, owned by the item; null for none. Setting another deletes the
  // present one; setting the same pointer changes nothing.
  // Threads: any may ask whether there is one; otherwise the thread that holds the write lock.
  SvrBootstrapSpecs* GetBootstrapSpecs() const;
  void SetBootstrapSpecs(SvrBootstrapSpecs* specs);

 private:
  friend class SvrDMInputDataSource;
  friend class SvrDMWriteableDataSource;
  class NotificationGuard;

  // As the public ones, for a handle that the lock monitor reports.
  SDM_HIDDEN bool AcquireReadLock(bool tryOnly, const sdm_internal::LockHolder& who);
  SDM_HIDDEN bool AcquireWriteLock(bool tryOnly, const sdm_internal::LockHolder& who);
  void ReleaseLock(const void* handle);
  // Without waiting for longer than that. Where they return false, nothing has changed.
  bool AcquireReadLockWithin(std::chrono::milliseconds longest);
  bool AcquireWriteLockWithin(std::chrono::milliseconds longest);
  SDM_HIDDEN sdm_internal::LockRequest DataLock(bool forWriting) const;

  void UpdateObserverView();
  void CallObservers(SvrDMWriteableDataSource const* writer, SvrDMDataSetObserver* originator);

  // The order of the fields is fixed: other binaries depend on it.

  ServerDataManager* manager_;
  ORVX_DataSource* dataSource_;  // plain; owned, with its chain

  // Names: set and compared under the library's leaf lock.
  std::string handle_;
  std::string fileName_;
  std::string suppressedFileName_;

  std::string password_;  // under no lock
  bool passwordMangled_ = false;

  sfMutexRW lock_;
  sfMutex notificationMutex_;

  std::list<SvrDMDataSetObserver*> observers_;  // under the notification mutex
  std::vector<DataSetMsg*> notifications_;      // owned; under the write lock
  InteractiveErrorMonitor errorMonitor_;

  LocallyUniqueID id_;
  unsigned int caseSequence_;       // plain
  SvrDMObserverView observerView_;  // under the notification mutex and the write lock

  // Plain counters and flags.
  std::int32_t writersCount_ = 0;
  std::int32_t readersCount_ = 0;
  unsigned int originator_ = 0;  // this library only stores it
  bool notifyDelete_;
  bool writeLockFailed_ = false;
  bool windowFront_ = false;
  bool windowMinimized_ = true;
  bool windowHidden_ = false;
  bool notifiedCreation_ = false;

  // The saved file held open; all clear where none is. Under the write lock.
  std::FILE* lockedFile_ = nullptr;
  std::string lockedFileName_;
  std::int64_t lockedFileTime_ = 0;  // last modification, in whole seconds; 0 also where unknown

  SvrBootstrapSpecs* bootstrapSpecs_ = nullptr;  // plain; owned
  double creationTime_ = 0.0;
};

#endif  // SERVERDATAMANAGER_SVRDMITEM_H_
