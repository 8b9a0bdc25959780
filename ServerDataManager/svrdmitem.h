// SvrDMItem: one registered dataset. It owns the data source and the names, serialises access
// through a reader/writer lock, and notifies its observers of a writer's changes.
//
// Items are made by ServerDataManager and held through SvrDMItemPtr; callers reach them through the
// handles SvrDMDataset, SvrDMInputDataSource and SvrDMWriteableDataSource.
//
// The locks of an item, in the order in which they are acquired:
//
//   lock                 taken by                      held while
//   reader/writer lock   reader and writer handles     the data source is read or written
//   notification mutex   Register, Unregister, Notify  the dataset is compared; observers are
//                                                      called, which may acquire the registry
//                                                      lock, but no lock of this item
//
// A thread that holds the registry lock (serverdatamgr.h) never waits for the reader/writer lock.
//
// If threads lock a second dataset while they have locked one, even inside an observer, the whole
// program must lock datasets in one order, for example by identifier.
//
// Counters and flags have no lock: each is one plain field, accessed atomically by any thread.
// Names are set, and compared by the registry, under the leaf lock (LeafLock.h). The leaf lock does
// not protect a reference to a name, and the password has no lock: do not read through a reference
// while another thread sets the name or password.

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
#include <ServerDataManager/ThreadSafety.h>

#include <any>
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

// Declared for the thread-safety annotations of SvrDMItem: a thread acquires the locks of an item
// before these two locks. anyRegistryLock stands for the lock of any registry.
extern SDM_HIDDEN Mutex leafMutex;                                       // see LeafLock.h
extern SDM_HIDDEN Mutex anyRegistryLock SDM_ACQUIRED_BEFORE(leafMutex);  // never defined
}  // namespace sdm_internal

class SDM_EXPORT SvrDMItem : public ORVX_RefCntObject {
 public:
  // Owns `ds`, which may be null, and its chain of parents, up to and including the first clone; if
  // this constructor throws, the caller still owns them. Borrows `manager`. Opens the file
  // `fileName` (see LockSavFileInUse) and records the creation time. If `notifyDelete` is false,
  // registry observers are never notified of the dataset.
  SvrDMItem(LocallyUniqueID id, ORVX_DataSource* ds, ServerDataManager* manager,
            unsigned int caseSequence, const std::string& fileName, bool notifyDelete);

  // An item with the null identifier and without a name, registry or data source; never made by a
  // registry. Must not be written: a notification pass would call the missing registry.
  SvrDMItem();

  // Stops the process: items are shared, never copied. Declared because RefCountPtr needs it.
  SvrDMItem(const SvrDMItem&);
  SvrDMItem& operator=(const SvrDMItem&) = delete;

  // Closes the saved file and deletes queued messages, the data source with its chain, and the
  // bootstrap specification. An exception from one of their destructors ends the process.
  ~SvrDMItem() override;

  bool operator==(const SvrDMItem& other) const { return id_ == other.id_; }
  bool operator<(const SvrDMItem& other) const { return id_ < other.id_; }

  // --- Identity and names ---

  // Threads: any.
  LocallyUniqueID ID() const { return id_; }
  ServerDataManager* Manager() const { return manager_; }

  // The name by which the registry finds the dataset, ignoring case; initially empty.
  // Threads: any thread may set the name. Do not use the reference while another thread sets the
  // name. The same rules hold for FileName.
  const std::string& Handle() const { return handle_; }
  void Handle(const std::string& handle);

  // The name of the saved file; empty for none. Setting the name neither closes the open file nor
  // opens another: see LockSavFileInUse. A notification pass that queues a
  // FileSpecChangeMsg also sets the name, to the new file specification.
  const std::string& FileName() const { return fileName_; }
  void FileName(const std::string& fileName);
  void FileName(std::string&& fileName) noexcept;

  // The file name that this dataset could not get because another dataset had it; empty for none.
  // Threads: any.
  std::string SuppressedFileName() const;
  void SuppressedFileName(std::string fileName);
  // Whether the suppressed file name equals `fileName` exactly, including case. Allocates nothing.
  bool HasSuppressedFileName(std::string_view fileName) const;

  // --- Data source ---

  // The data source; null for a dataset without a data source. Borrowed until it is replaced or the
  // dataset is destroyed.
  // Threads: any thread may check for null. To use the source, hold the read or the write lock.
  ORVX_DataSource* DataSource() const;

  // Replaces the data source with `ds`, which may be null; owns `ds`. If the current source is
  // built on `ds`, deletes the current source and the sources between it and `ds`. If `ds` is built
  // on the current source, deletes nothing. Otherwise deletes the whole current chain, so `ds` must
  // not share a source with that chain.
  //
  // `ds` must not be a source that a clone owns. Replacing a source that is not null closes the
  // saved file and queues a ResetUndoMsg; a new source that is not null opens the saved file. After
  // an exception, such as std::bad_alloc, the new source is in place, but the message may be
  // missing or the file not open.
  // Threads: the thread that holds the write lock.
  void SetDataSet(std::unique_ptr<ORVX_DataSource> ds);
  // Like the overload above, for a source that the item already owns: the current source or one of
  // its parents.
  void SetDataSet(ORVX_DataSource* ds);

  // Deletes the data source with its chain but does not clear the pointer: only for the destructor,
  // and for callers that immediately store another source.
  // Threads: the thread that holds the write lock.
  void DeleteDataSource();

  // --- Reader/writer lock ---
  // Threads: any. A thread may release a lock that another thread acquired.

  // Waits for the read lock and returns true. `tryOnly` is ignored: readers always wait.
  bool AcquireReadLock(bool tryOnly) SDM_EXCLUDES(sdm_internal::anyRegistryLock);

  // Waits for the write lock and returns true. With `tryOnly`, does not wait but returns false if
  // the lock is not free; a failed try disables ReleaseLock permanently.
  // SvrDMWriteableDataSource::TryWrite has no such effect.
  bool AcquireWriteLock(bool tryOnly) SDM_EXCLUDES(sdm_internal::anyRegistryLock);

  // Releases the lock, whether it is held for reading or for writing. Does nothing after any failed
  // AcquireWriteLock(true) on this item: the lock then stays held forever.
  void ReleaseLock();

  // --- Counters: handles at work on the dataset ---
  // The range is not checked. If a constructor of SvrDMWriteableDataSource with `tryOnly` throws
  // because the lock is not free, the count of writers stays one too high, and the count of readers
  // one too low, possibly below zero.
  // Threads: any.
  int ReadersCount() const;
  int WritersCount() const;
  void AddReader();
  void DropReader();
  void AddWriter();
  void DropWriter();

  // The case sequence, which every change message carries.
  // Threads: any thread may read the value. Only the thread that holds the write lock may use the
  // reference.
  unsigned int CaseSequence() const;
  unsigned int& CaseSequence() { return caseSequence_; }

  // --- Observers and change messages ---

  // Adds the observer at the end of the list; an observer that is registered twice is called twice.
  // Borrows it until Unregister, which removes every occurrence.
  // Threads: any, but not inside a notice of this dataset. Takes the notification mutex. If
  // observers of the dataset call the registry, a call while holding the registry lock may deadlock
  // with another thread that is releasing a writer of this dataset.
  void Register(SvrDMDataSetObserver& observer);
  void Unregister(SvrDMDataSetObserver& observer);

  // Queues a message for the observers. Always owns the message: if the queue cannot grow, deletes
  // the message and throws. A null pointer is queued as it is.
  // Threads, also for the next three operations: the thread that holds the write lock.
  void AddNotification(DataSetMsg* message);

  // The queued messages, oldest first. A message is borrowed until a pass, ClearNotifications or
  // TruncateNotifications deletes it.
  const std::vector<DataSetMsg*>& Notifications() const { return notifications_; }

  // Deletes the queued messages.
  void ClearNotifications();

  // Deletes all but the first `count` messages; at least `count` messages must be queued. Used to
  // remove the messages of a change that failed.
  void TruncateNotifications(std::size_t count);

  // One notification pass: compares the dataset with the snapshot, queues messages for the
  // differences, sends the creation notice to registry observers if it is still due, calls every
  // observer but `originator` (which may be null) with `writer`, and empties the queue. Skips the
  // comparison if the dataset has no observer and no creation notice is due. If the queue is empty
  // after the comparison, sends no creation notice and calls no observer.
  //
  // An exception of the data source or an observer, or std::bad_alloc, propagates. No change is
  // lost: queued messages stay queued. The next pass queues messages for the remaining differences,
  // sends the creation notice if it is still due, and delivers all queued messages to every
  // observer but its own originator. Observers that were called before another observer threw
  // receive the same messages again.
  // Threads: the thread that holds the write lock. Takes one lock at a time: the notification mutex
  // for the comparison, the registry lock for the creation notice, and the notification mutex again
  // for the calls.
  void Notify(SvrDMWriteableDataSource const* writer, SvrDMDataSetObserver* originator)
      SDM_EXCLUDES(sdm_internal::anyRegistryLock);

  // Stores the number of the client that makes the current change. Other binaries read the field;
  // this library does not.
  // Threads: any.
  void Originator(unsigned int& number);

  // With true, the next comparison is a bulk replacement: it queues two messages for the whole
  // variable list instead of messages for the changed variables.
  // Threads: the thread that holds the write lock.
  void BulkVarMoves(bool bulk);

  // NotifyDelete: whether registry observers are notified of this dataset. NotifiedCreation:
  // whether they were notified of its creation. SetNotifiedCreation sets this flag, and returns
  // false if it was already set. A thread that gets true notifies the registry observers, or calls
  // ClearNotifiedCreation if it cannot.
  // Threads: any.
  bool NotifyDelete() const;
  bool NotifiedCreation();
  bool SetNotifiedCreation();
  void ClearNotifiedCreation();

  // --- Window state, kept for the client ---
  // Threads: any.
  bool WindowFront() const;
  void WindowFront(bool front);
  bool WindowMinimized() const;
  void WindowMinimized(bool minimized);
  bool WindowHidden() const;
  void WindowHidden(bool hidden);

  // --- Saved file, password, creation time ---

  // Opens the dataset's file for reading, tries to acquire an advisory lock against writing by
  // other programs, and records the modification time. First closes the open file if it has
  // another name, even if only the case differs. Does nothing if the open file has this name;
  // opens nothing for an empty name. If the file cannot be opened, fails silently; the next call
  // tries again. If the lock is refused, the file stays open without the lock; the next call does
  // not try again.
  // Threads, also for the next two operations: the thread that holds the write lock.
  void LockSavFileInUse();
  void UnlockSavFileInUse();

  // True if the modification time of the open file, in whole seconds, is not the time that
  // LockSavFileInUse recorded, or if LockSavFileInUse could not read the time. False if no file is
  // open or its time cannot be read now.
  // Checks the open file, not the name: a rename, a removal or a change of permissions is not
  // detected.
  bool SavFileExternallyChanged();

  // Stores the current local time in `*out` as a date value (iDMY2Orvx); 1 February 1975, 12:00, if
  // the local time is not available.
  // Threads: any.
  static void orvxTimestampNow(double* out);

  // When the item was created, as a date value.
  // Threads: any.
  double getObjCreationTime() const { return creationTime_; }

  // The password, and whether it is mangled, that is, obfuscated. The library only stores both.
  // Threads: not safe while another thread sets the password.
  const std::string& Password() const { return password_; }
  void Password(const std::string& password, bool mangled);

  // Whether the password is mangled. If the data source or its parent is a saved file, returns the
  // file's value; otherwise the value from Password.
  // Threads: a thread that holds the read or the write lock.
  bool PasswordMangled() const;

  // --- Error monitor and bootstrap specification ---

  // The monitor that reports errors to the client. It sends nothing before InitializeErrorMonitor
  // sets its channel, `proxy`. The channel is borrowed until it is replaced or the item is
  // destroyed; a null channel stops the reports.
  // Threads: the thread that holds the write lock.
  InteractiveErrorMonitor& GetErrorMonitor() { return errorMonitor_; }
  void InitializeErrorMonitor(PackageProxy* proxy);

  // The bootstrap specification, owned by the item; null for none. Setting another pointer deletes
  // the current one; setting the same pointer changes nothing.
  // Threads: any thread may check for null. To use it, hold the read or the write lock; to set it,
  // hold the write lock.
  SvrBootstrapSpecs* GetBootstrapSpecs() const;
  void SetBootstrapSpecs(SvrBootstrapSpecs* specs);

 private:
  friend class SvrDMInputDataSource;
  friend class SvrDMWriteableDataSource;
  class NotificationGuard;

  // Like the public functions, with the handle for the lock monitor. Thread-safety analysis skips
  // these functions, because a handle may be constructed on one thread and destroyed on another.
  SDM_HIDDEN bool AcquireReadLock(bool tryOnly, sdm_internal::LockHolder who)
      SDM_EXCLUDES(sdm_internal::anyRegistryLock, notificationMutex_) SDM_UNCHECKED;
  SDM_HIDDEN bool AcquireWriteLock(bool tryOnly, sdm_internal::LockHolder who)
      SDM_EXCLUDES(sdm_internal::anyRegistryLock, notificationMutex_) SDM_UNCHECKED;
  SDM_HIDDEN void AcquireMonitoredReadLock(sdm_internal::LockHolder who) SDM_UNCHECKED;
  SDM_HIDDEN void ReleaseLock(const void* handle) SDM_UNCHECKED;
  // Acquire a lock, waiting at most `longest`. If they return false, nothing has changed. The lock
  // monitor records the wait with `label`, which may be null.
  bool AcquireReadLockWithin(std::chrono::milliseconds longest, const char* label)
      SDM_EXCLUDES(sdm_internal::anyRegistryLock, notificationMutex_);
  bool AcquireWriteLockWithin(std::chrono::milliseconds longest, const char* label)
      SDM_EXCLUDES(sdm_internal::anyRegistryLock, notificationMutex_);
  // Does nothing. Operations whose caller holds the write lock call this function before they use
  // guarded fields, so that the thread-safety analysis knows that lock_ is held.
  void CallerHoldsWriteLock() const SDM_ASSERT_HELD(lock_) {}
  SDM_HIDDEN sdm_internal::LockRequest DataLock(bool forWriting) const;

  void UpdateObserverView() SDM_REQUIRES(lock_);
  void CallObservers(SvrDMWriteableDataSource const* writer, SvrDMDataSetObserver* originator)
      SDM_REQUIRES(lock_);
  SDM_HIDDEN std::any* PassData() const;  // see SvrDMWriteableDataSource

  // The order of the fields is fixed: other binaries depend on it.

  ServerDataManager* manager_;
  ORVX_DataSource* dataSource_;  // owned, with its chain; see PlainField.h

  // Names: set and compared under the library's leaf lock.
  std::string handle_ SDM_GUARDED_BY(sdm_internal::leafMutex);
  std::string fileName_ SDM_GUARDED_BY(sdm_internal::leafMutex);
  std::string suppressedFileName_ SDM_GUARDED_BY(sdm_internal::leafMutex);

  std::string password_;  // not guarded by a lock
  bool passwordMangled_ = false;

  sfMutexRW lock_ SDM_ACQUIRED_BEFORE(notificationMutex_);
  sfMutex notificationMutex_ SDM_ACQUIRED_BEFORE(sdm_internal::anyRegistryLock);

  std::list<SvrDMDataSetObserver*> observers_ SDM_GUARDED_BY(notificationMutex_);
  std::vector<DataSetMsg*> notifications_ SDM_GUARDED_BY(lock_);  // owned
  InteractiveErrorMonitor errorMonitor_ SDM_GUARDED_BY(lock_);

  LocallyUniqueID id_;
  unsigned int caseSequence_;  // see PlainField.h
  SvrDMObserverView observerView_ SDM_GUARDED_BY(lock_);

  // Counters and flags, accessed through PlainField.h.
  std::int32_t writersCount_ = 0;
  std::int32_t readersCount_ = 0;
  unsigned int originator_ = 0;  // this library only stores it
  bool notifyDelete_;
  bool writeLockFailed_ = false;
  bool windowFront_ = false;
  bool windowMinimized_ = true;
  bool windowHidden_ = false;
  bool notifiedCreation_ = false;

  // The open saved file. If no file is open, the fields are null, empty and 0.
  std::FILE* lockedFile_ SDM_GUARDED_BY(lock_) = nullptr;
  std::string lockedFileName_ SDM_GUARDED_BY(lock_);
  // Modification time in whole seconds; 0 if unknown.
  std::int64_t lockedFileTime_ SDM_GUARDED_BY(lock_) = 0;

  SvrBootstrapSpecs* bootstrapSpecs_ = nullptr;  // owned; see PlainField.h
  double creationTime_ = 0.0;
};

#endif  // SERVERDATAMANAGER_SVRDMITEM_H_
