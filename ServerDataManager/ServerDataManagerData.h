// ServerDataManager::Data: the registry's state and the unlocked cores of its operations.

#ifndef SERVERDATAMANAGER_SERVERDATAMANAGERDATA_H_
#define SERVERDATAMANAGER_SERVERDATAMANAGERDATA_H_

#include <libplatdep/CriticalSection.h>
#include <ServerDataManager/Export.h>
#include <ServerDataManager/LockRecords.h>
#include <ServerDataManager/serverdatamgr.h>

#include <cstddef>
#include <list>
#include <string>
#include <vector>

// Operations run under the registry lock unless they say otherwise. The list of items is read and
// changed under the leaf lock as well, because at exit it is emptied under the leaf lock alone.
struct SDM_HIDDEN ServerDataManager::Data {
  // Holds the registry lock for a scope.
  struct Lock : sdm_internal::MonitoredGuard<CriticalSection::Lock> {
    explicit Lock(Data& data)
        : MonitoredGuard({LockReport::Kind::Registry, LockReport::Mode::Exclusive,
                          LocallyUniqueID(), data.owner, data.owner},
                         data.lock) {}
  };

  explicit Data(ServerDataManager* registry) : owner(registry) {}

  // Builds an item on `ds` (null for none), appends it and announces it. Sets `ds` to null once the
  // caller no longer owns the source, which may be before this throws.
  void Add(ORVX_DataSource*& ds, const std::string& name, bool hasPassword,
           const std::string& password, bool passwordFlag, bool quiet, LocallyUniqueID id,
           unsigned int caseSequence);

  // The same under the next identifier, which is returned. Takes the lock.
  LocallyUniqueID AddNew(ORVX_DataSource*& ds, const std::string& name, bool hasPassword,
                         const std::string& password, bool passwordFlag, bool quiet);

  // The same under the given identifier, after deleting the first item that has it. Takes the lock.
  void Replace(ORVX_DataSource*& ds, const std::string& name, bool quiet, LocallyUniqueID id,
               unsigned int caseSequence);

  // The filter hook's answer for `ds`, or `ds` where there is no hook. Sets `ds` to null where the
  // answer is not built on it: the hook then owns it.
  ORVX_DataSource* Filtered(ORVX_DataSource*& ds) const;

  // An item on `ds`, not registered yet. Where `name` is in use, it becomes the suppressed file
  // name.
  SvrDMItem* NewItem(ORVX_DataSource* ds, const std::string& name, bool quiet, LocallyUniqueID id,
                     unsigned int caseSequence) const;

  // As ServerDataManager::GetDataSet.
  SvrDMItemPtr Find(LocallyUniqueID id) const;
  SvrDMItemPtr Find(const std::string& handle) const;

  // The first item that satisfies `match`: its position (the number of items where there is none),
  // or the item (empty where there is none).
  template <class Match>
  std::size_t IndexOf(Match match) const;
  template <class Match>
  SvrDMItemPtr First(Match match) const;

  std::size_t Count() const;

  // The item at `index`; empty where there is none.
  SvrDMItemPtr At(std::size_t index) const;

  // Notifies the observers, then removes the item at `index`, if there is one. Takes the lock while
  // observers are notified.
  void Delete(std::size_t index);

  // Releases every item; no observer is notified. Needs no lock, and does not wait for a thread
  // that holds the registry lock.
  void ReleaseItems();

  // True when some item has this file name, without regard to case; the empty name is looked up
  // like any other.
  bool FileNameInUse(const std::string& name) const;

  // As ServerDataManager::NotifyCreate. Takes the lock while observers are notified.
  void NotifyCreate(SvrDMItem& item);

  // The order of the fields is fixed: other binaries depend on it, and so does destruction.
  std::vector<SvrDMItemPtr> items;                  // in the order of registration
  std::list<ServerDataManagerObserver*> observers;  // borrowed
  LocallyUniqueIDGenerator generator{0, 0};
  CriticalSection lock;
  ORVX_DataSourceFilterHook* filter = nullptr;  // borrowed; under no lock
  ServerDataManager* owner;

  // A notice under way to the observers that are registered when it begins. Observers may register,
  // unregister and delete datasets meanwhile. An observer that is unregistered gets no more of the
  // notice; one that is registered at the same address later is notified from the next notice on.
  class Notice {
   public:
    explicit Notice(const Data& data);
    Notice(const Notice&) = delete;
    Notice& operator=(const Notice&) = delete;
    ~Notice() { innermost_ = outer_; }

    // Calls `notify` with each observer.
    template <class Notify>
    void Give(Notify notify) const;

    // Leaves the observer out of the notices of `data` that are under way.
    static void Forget(const Data& data, const ServerDataManagerObserver& observer);

   private:
    const Data& data_;
    std::vector<ServerDataManagerObserver*> observers_;  // null for those that have left
    Notice* const outer_;

    // Of the notices under way on this thread, of all registries. No other thread has one of this
    // registry: the lock is held while a notice lasts.
    static inline constinit thread_local Notice* innermost_ = nullptr;
  };

  // True where the dataset has to be announced as created; the caller alone must do so then. Needs
  // no lock.
  static bool ClaimAnnouncement(SvrDMItem& item);
  static void Announce(const SvrDMItem& item, const Notice& notice);
};

#endif  // SERVERDATAMANAGER_SERVERDATAMANAGERDATA_H_
