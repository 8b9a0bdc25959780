// ServerDataManager::Data: the state of the registry, and the operations on it. An operation takes
// the registry lock only where its comment says so. Internal.

#ifndef SERVERDATAMANAGER_SERVERDATAMANAGERDATA_H_
#define SERVERDATAMANAGER_SERVERDATAMANAGERDATA_H_

#include <libplatdep/CriticalSection.h>
#include <ServerDataManager/DatasetIndex.h>
#include <ServerDataManager/Export.h>
#include <ServerDataManager/LockRecords.h>
#include <ServerDataManager/serverdatamgr.h>

#include <cstddef>
#include <list>
#include <string>
#include <vector>

// The leaf lock guards the list of items, because at exit the list is emptied under the leaf lock
// alone. Adding an item also needs the registry lock.
struct SDM_HIDDEN ServerDataManager::Data {
  // Holds the registry lock for a scope.
  struct SDM_SCOPED_CAPABILITY Lock : sdm_internal::MonitoredGuard<CriticalSection::Lock> {
    explicit Lock(Data& data) SDM_ACQUIRE(data.lock, sdm_internal::anyRegistryLock)
        : MonitoredGuard({LockReport::Kind::Registry, LockReport::Mode::Exclusive,
                          LocallyUniqueID(), data.owner, data.owner},
                         data.lock) {}
    ~Lock() SDM_RELEASE() {}
  };

  explicit Data(ServerDataManager* registry) : owner(registry) {}

  // Builds an item with `ds` (null for none), appends it and sends the creation notice if one is
  // due. Sets `ds` to null as soon as the item or the filter hook owns it, even if Add throws
  // later.
  void Add(ORVX_DataSource*& ds, const std::string& name, bool hasPassword,
           const std::string& password, bool passwordFlag, bool quiet, LocallyUniqueID id,
           unsigned int caseSequence) SDM_REQUIRES(lock);

  // Calls Add with the next identifier and returns that identifier. Takes the registry lock.
  LocallyUniqueID AddNew(ORVX_DataSource*& ds, const std::string& name, bool hasPassword,
                         const std::string& password, bool passwordFlag, bool quiet);

  // Deletes the first item with the identifier, if any, then adds a new item with this identifier.
  // Takes the registry lock.
  void Replace(ORVX_DataSource*& ds, const std::string& name, bool quiet, LocallyUniqueID id,
               unsigned int caseSequence);

  // Returns the source that the filter hook returns for `ds`, or `ds` if there is no hook. If the
  // returned source is not built on `ds`, the hook has taken ownership of `ds`; Filtered then sets
  // `ds` to null.
  ORVX_DataSource* Filtered(ORVX_DataSource*& ds) const SDM_REQUIRES(lock);

  // Returns a new item with `ds`, not registered yet. If `name` is in use, `name` becomes the
  // suppressed file name.
  SvrDMItem* NewItem(ORVX_DataSource* ds, const std::string& name, bool quiet, LocallyUniqueID id,
                     unsigned int caseSequence) const SDM_REQUIRES(lock);

  // See ServerDataManager::GetDataSet.
  SvrDMItemPtr Find(LocallyUniqueID id) const SDM_REQUIRES(lock);
  SvrDMItemPtr Find(const std::string& handle) const SDM_REQUIRES(lock);

  // The first item that satisfies `match`, or an empty pointer. DatasetIndex.h defines the search
  // conditions.
  template <class Match>
  SvrDMItemPtr First(const Match& match) const;

  std::size_t Count() const;

  // The item at `index`, not counting gaps; an empty pointer if `index` is out of range.
  SvrDMItemPtr At(std::size_t index);

  // Notifies the observers, then removes the item, if it is still registered. Does nothing for an
  // empty pointer. Takes the registry lock while observers are notified.
  void Delete(SvrDMItemPtr item);

  // Releases every item without notifying observers. Takes only the leaf lock, so it never waits
  // for a thread that holds the registry lock.
  void ReleaseItems();

  // Whether an item has this file name, ignoring case. The empty name is in use if an item has no
  // file name.
  bool FileNameInUse(const std::string& name) const;

  // See ServerDataManager::NotifyCreate. Takes the registry lock while observers are notified.
  void NotifyCreate(SvrDMItem& item);

  sdm_internal::DatasetIndex& Index() SDM_REQUIRES(sdm_internal::leafMutex);
  const sdm_internal::DatasetIndex& Index() const SDM_REQUIRES(sdm_internal::leafMutex);

  // The order of the fields is fixed: other binaries and the order of destruction depend on it.
  //
  // The items are in the order of registration. The list may have gaps (empty pointers), which
  // Index().Compact() removes.
  std::vector<SvrDMItemPtr> items SDM_GUARDED_BY(sdm_internal::leafMutex);
  std::list<ServerDataManagerObserver*> observers SDM_GUARDED_BY(lock);  // borrowed
  LocallyUniqueIDGenerator generator SDM_GUARDED_BY(lock){0, 0};
  CriticalSection lock SDM_ACQUIRED_BEFORE(sdm_internal::leafMutex);
  ORVX_DataSourceFilterHook* filter = nullptr;  // borrowed; not guarded
  ServerDataManager* owner;

  // A notice in progress, to the observers that are registered when it begins. Observers may
  // register, unregister and delete datasets during the notice. An unregistered observer is
  // skipped. An observer that is registered during the notice is first called in the next notice,
  // even if it reuses the address of an unregistered observer.
  class Notice {
   public:
    explicit Notice(const Data& data) SDM_REQUIRES(data.lock);
    Notice(const Notice&) = delete;
    Notice& operator=(const Notice&) = delete;
    ~Notice() { innermost_ = outer_; }

    // Calls `notify` with each observer.
    template <class Notify>
    void Send(Notify notify) const;

    // Skips the observer in the notices of `data` that are in progress.
    static void Skip(const Data& data, const ServerDataManagerObserver& observer);

   private:
    const Data& data_;
    std::vector<ServerDataManagerObserver*> observers_;  // null once unregistered
    Notice* const outer_;

    // The innermost notice on this thread; the notices around it may be of other registries. All
    // notices in progress of one registry are on one thread, because a notice holds the registry
    // lock.
    static inline constinit thread_local Notice* innermost_ = nullptr;
  };

  // If a creation notice is due, marks it as sent and returns true; only one of several threads
  // gets true. Needs no lock.
  static bool ClaimAnnouncement(SvrDMItem& item);
  static void Announce(const SvrDMItem& item, const std::string& fileName, const Notice& notice);
};

// The registry's data, followed by the index of its items. The index is not in Data, because the
// order of the fields of Data is fixed.
struct SDM_HIDDEN ServerDataManager::IndexedData : ServerDataManager::Data {
  explicit IndexedData(ServerDataManager* registry) : Data(registry), index(registry, items) {}

  sdm_internal::DatasetIndex index SDM_GUARDED_BY(sdm_internal::leafMutex);
};

#endif  // SERVERDATAMANAGER_SERVERDATAMANAGERDATA_H_
