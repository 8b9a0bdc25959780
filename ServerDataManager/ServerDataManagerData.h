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
  struct Lock : MonitoredGuard<CriticalSection::Lock> {
    explicit Lock(Data& data)
        : MonitoredGuard({LockReport::Kind::Registry, LockReport::Mode::Exclusive,
                          LocallyUniqueID(), data.owner, data.owner},
                         data.lock) {}
  };

  explicit Data(ServerDataManager* registry) : owner(registry) {}

  // Builds an item on `ds` (null for none), appends it and announces it.
  void Add(ORVX_DataSource* ds, const std::string& name, bool hasPassword,
           const std::string& password, bool passwordFlag, bool quiet, LocallyUniqueID id,
           unsigned int caseSequence);

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

 private:
  using Observers = std::vector<ServerDataManagerObserver*>;

  // Calls `notice` with every observer of `present`, a copy of the list, that still stands there
  // when its turn comes: observers may register, unregister and delete datasets from inside a
  // notice.
  template <class Notice>
  void TellObservers(const Observers& present, Notice notice);
};

#endif  // SERVERDATAMANAGER_SERVERDATAMANAGERDATA_H_
