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

// Operations run under the lock unless they say otherwise. The list of datasets is read and changed
// under the leaf lock as well: at exit it is emptied under that alone.
struct SDM_HIDDEN ServerDataManager::Data {
  // Holds the registry lock for a scope.
  struct Lock : sdm_internal::MonitoredGuard<CriticalSection::Lock> {
    explicit Lock(Data& data)
        : MonitoredGuard({LockReport::Kind::Registry, LockReport::Mode::Exclusive,
                          LocallyUniqueID(), data.owner, data.owner},
                         data.lock) {}
  };

  explicit Data(ServerDataManager* registry) : owner(registry) {}

  // Builds an item on `ds` (null for none), appends it and announces it. Once the source is no
  // longer the caller's, which may be before this throws, `ds` is null.
  void Add(ORVX_DataSource*& ds, const std::string& name, bool hasPassword,
           const std::string& password, bool passwordFlag, bool quiet, LocallyUniqueID id,
           unsigned int caseSequence);

  // The same under the next identifier, which is returned. Takes the lock.
  LocallyUniqueID AddNew(ORVX_DataSource*& ds, const std::string& name, bool hasPassword,
                         const std::string& password, bool passwordFlag, bool quiet);

  // The same in place of the first item with the identifier, which is deleted. Takes the lock.
  void Replace(ORVX_DataSource*& ds, const std::string& name, bool quiet, LocallyUniqueID id,
               unsigned int caseSequence);

  // What the filter hook makes of `ds`; that itself where there is no hook. `ds` is null afterwards
  // where the answer does not stand on it: the hook looks after it then.
  ORVX_DataSource* Filtered(ORVX_DataSource*& ds) const;

  // An item on `ds`, not registered yet; its file name is what the names in use leave of `name`.
  SvrDMItem* NewItem(ORVX_DataSource* ds, const std::string& name, bool quiet, LocallyUniqueID id,
                     unsigned int caseSequence) const;

  // As ServerDataManager::GetDataSet.
  SvrDMItemPtr Find(LocallyUniqueID id) const;
  SvrDMItemPtr Find(const std::string& handle) const;

  // The first item that `match` takes, by position (the number of items where there is none) or
  // itself (empty where there is none).
  template <class Match>
  std::size_t IndexOf(Match match) const;
  template <class Match>
  SvrDMItemPtr First(Match match) const;

  std::size_t Count() const;

  // The item at `index`; empty where there is none.
  SvrDMItemPtr At(std::size_t index) const;

  // Tells the observers, then removes the item at `index`, if there is one. Takes the lock for the
  // telling only.
  void Delete(std::size_t index);

  // Lets go of every item; no observer is told. Needs no lock and does not wait for its holder.
  void LetGo();

  // True when some item has this file name, without regard to case; the empty name is looked up
  // like any other.
  bool FileNameInUse(const std::string& name) const;

  // As ServerDataManager::NotifyCreate. Takes the lock for the telling only.
  void NotifyCreate(SvrDMItem& item);

  // The order of the fields is fixed: other binaries depend on it, and so does destruction.
  std::vector<SvrDMItemPtr> items;                  // in the order of registration
  std::list<ServerDataManagerObserver*> observers;  // borrowed
  LocallyUniqueIDGenerator generator{0, 0};
  CriticalSection lock;
  ORVX_DataSourceFilterHook* filter = nullptr;  // borrowed; under no lock
  ServerDataManager* owner;

  // A notice under way to the observers that are registered when it begins. Observers may register,
  // unregister and delete datasets from inside it; those that leave are not told any more, and what
  // is registered at the same address later hears from the next notice on.
  class Notice {
   public:
    explicit Notice(const Data& data);
    Notice(const Notice&) = delete;
    Notice& operator=(const Notice&) = delete;
    ~Notice() { innermost_ = outer_; }

    // Calls `tell` with each observer.
    template <class Tell>
    void Give(Tell tell) const;

    // The observer leaves: it is told no more in the notices of `data` that are under way.
    static void Forget(const Data& data, const ServerDataManagerObserver& observer);

   private:
    const Data& data_;
    std::vector<ServerDataManagerObserver*> observers_;  // null for those that have left
    Notice* const outer_;

    // Of the notices under way on this thread, of all registries. There are none of this registry
    // on other threads: the lock is held for as long as a notice lasts.
    static inline constinit thread_local Notice* innermost_ = nullptr;
  };

  // Whether the dataset is to be announced as created, by the caller and nobody else from now on.
  // Without the lock.
  static bool TakesOnNotice(SvrDMItem& item);
  static void GiveCreated(const SvrDMItem& item, const Notice& notice);
};

#endif  // SERVERDATAMANAGER_SERVERDATAMANAGERDATA_H_
