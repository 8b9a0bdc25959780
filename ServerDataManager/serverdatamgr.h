// ServerDataManager: the registry of every dataset open in the process.
//
//   ServerDataManager& registry = ServerDataManager::GetInstance();
//   LocallyUniqueID id = registry.Add(std::move(source), "/data/survey", /*quiet=*/false);
//   {
//     SvrDMWriteableDataSource writer(id, /*tryOnly=*/false, /*originator=*/nullptr);
//     writer->SetLabel("National survey");
//   }                                          // observers are told here
//   registry.Delete(id);
//
// The registry lock:
//
//   guards          the list of datasets, the registry observers, the generator of identifiers
//   is taken by     every operation of the registry that does not say otherwise; it is recursive
//   may be held     around calls of registry observers
//   comes last      a thread that holds it takes no lock of a dataset (svrdmitem.h): handles take
//                   those after the registry has answered, and the registry waits for nobody's
//
// It does not guard what belongs to a dataset. Names are compared under a lock of their own, which
// the registry takes for a moment after its own lock; passwords are not protected.

#ifndef SERVERDATAMANAGER_SERVERDATAMGR_H_
#define SERVERDATAMANAGER_SERVERDATAMGR_H_

#include <ServerDataManager/Export.h>
#include <ServerDataManager/LocallyUniqueID.h>
#include <ServerDataManager/LockReport.h>
#include <ServerDataManager/SvrDMDataset.h>
#include <ServerDataManager/SvrDMItemPtr.h>

#include <memory>
#include <string>
#include <vector>

class ORVX_DataSource;
class ORVX_DataSourceFilterHook;
class ServerDataManagerObserver;

class SDM_EXPORT ServerDataManager {
 public:
  // The registry of this process, from the loading of the library on. It is never destroyed. At
  // exit it lets go of its datasets, and no observer is told: those that no handle holds go with
  // their data sources. Other threads, exit handlers and destructors of static objects may call it
  // after that; it is then an empty registry. Threads: any. Takes no lock.
  static ServerDataManager& GetInstance();

  // A registry of its own, with its own datasets, identifiers and lock.
  ServerDataManager();
  // Lets go of the datasets; no observer is told. Those that handles still hold live on, but may
  // not be written through them: a notification pass calls the registry. A data source that goes
  // with them must not call it either.
  ~ServerDataManager();
  ServerDataManager(const ServerDataManager&) = delete;
  ServerDataManager& operator=(const ServerDataManager&) = delete;

  // --- Adding ---
  //
  // Registers `ds` as a dataset, which owns the source and its chain of parents.
  //
  // The overloads with a std::unique_ptr own the chain in every outcome: where the call throws
  // before there is a dataset, the chain is deleted. A null pointer makes a dataset without a
  // source. The overloads with a reference own it once the dataset's item is built: where the call
  // throws before, the caller still owns the chain, but cannot tell when it threw.
  //
  // An exception from an observer's DataSetCreated passes on and leaves the dataset registered;
  // after any other, std::bad_alloc included, there is none.
  //
  // `name` is the name of the saved file, or empty. Where another dataset has that file name,
  // without regard to case, the new dataset has none and keeps `name` as its suppressed file name.
  // The rule holds at this moment only: file names set later are not compared.
  //
  // A `quiet` dataset is announced to no registry observer, neither created nor deleted.
  //
  // An installed filter hook is given `ds` first, and what it returns is registered instead (null:
  // a dataset without a source). Where the call throws before the item is built, what the hook has
  // made is the hook's to look after: nothing of it is deleted.
  //
  // Threads: any. Takes the registry lock for the whole call; so do all operations that do not say
  // otherwise.

  // Returns the new identifier.
  LocallyUniqueID Add(std::unique_ptr<ORVX_DataSource> ds, const std::string& name, bool quiet);
  LocallyUniqueID Add(ORVX_DataSource& ds, const std::string& name, bool quiet);

  // The same with a password; `passwordFlag` tells whether it is mangled.
  LocallyUniqueID Add(std::unique_ptr<ORVX_DataSource> ds, const std::string& name,
                      const std::string& password, bool passwordFlag, bool quiet);
  LocallyUniqueID Add(ORVX_DataSource& ds, const std::string& name, const std::string& password,
                      bool passwordFlag, bool quiet);

  // Registers under an identifier of the caller's, with the number at which its case sequence
  // starts. The first dataset that has the identifier is deleted before. The generator of
  // identifiers is not told: an identifier that it produces later may then belong to two datasets.
  void Add(std::unique_ptr<ORVX_DataSource> ds, const std::string& name, bool quiet,
           LocallyUniqueID id, unsigned int caseSequence);
  void Add(ORVX_DataSource& ds, const std::string& name, bool quiet, LocallyUniqueID id,
           unsigned int caseSequence);

  // Registers a dataset without a data source, name or password. It is announced as created once a
  // writer gives it a source and is released. Returns the new identifier.
  LocallyUniqueID AddEmpty(bool quiet);

  // --- Finding ---

  // The dataset with this identifier; of several, the one registered first. Throws ErrorMsg, code
  // 2001 with an empty text, where there is none.
  SvrDMItemPtr GetDataSet(const LocallyUniqueID& id) const;

  // The first dataset with this handle name, without regard to case; an empty pointer where there
  // is none. Datasets whose handle was never set answer to the empty name.
  SvrDMItemPtr GetDataSet(const std::string& handle) const;

  // A handle on every dataset, in the order of registration.
  std::vector<SvrDMDataset> GetAllDatasets() const;

  // Whether the saved file `name`, compared without regard to case, was changed on disk by somebody
  // else since its dataset took hold of it. Where several datasets have that file name, the answer
  // of the one registered last; false where none has it. What is not seen of a change: see
  // SvrDMItem::SavFileExternallyChanged.
  // Threads: not beside a writer of a dataset with that file name, which may let go of the file.
  bool SavFileExternallyChanged(const std::string& name) const;

  // Who holds and who waits for the locks of this registry and its datasets, at one moment; of a
  // dataset that only handles keep alive too. Empty while the monitor (LockMonitor.h) is off.
  // Threads: any. Takes no lock for longer than it takes to copy the records.
  LockReport GetLockReport() const;

  // --- Deleting ---

  // Removes the first dataset with this identifier, after its registry observers were told; an
  // unknown identifier is ignored. The dataset itself goes with the last handle on it. An exception
  // from an observer passes on and leaves the dataset registered. The last reference may go here,
  // and with it the data source, under the registry lock.
  void Delete(const LocallyUniqueID& id);

  // Deletes every dataset, from the last registered to the first.
  // Threads: not safe against other calls. Takes the registry lock only while observers are told.
  void Clear();

  // --- Passwords, observers, filter ---

  // Sets the password of the first dataset with this identifier; an unknown one is ignored. `flag`
  // tells whether the password is mangled.
  void Password(const LocallyUniqueID& id, const std::string& password, bool flag);

  // Adds the observer at the end of the list; one that is registered already moves there. Borrows
  // it until Unregister, which ignores an observer that it does not know.
  void Register(ServerDataManagerObserver& observer);
  void Unregister(ServerDataManagerObserver& observer);

  // Installs the hook that may replace every data source being added; null removes it. Borrows it.
  // Returns the hook installed before.
  // Threads: not safe; call before datasets are added. Takes no lock.
  ORVX_DataSourceFilterHook* RegisterFilter(ORVX_DataSourceFilterHook* hook);

  // Tells registry observers that the dataset was created: once in its life, once it has a data
  // source, and never for a quiet one. Called when a dataset is added and by its notification
  // passes. Throws std::bad_alloc where there is no memory to begin; the next call then tells them.
  // Threads: the thread that adds the dataset or holds its write lock. Takes the registry lock
  // while observers are told.
  void NotifyCreate(SvrDMItem& item);

 private:
  friend union RegistryOfTheProcess;
  struct Data;
  std::unique_ptr<Data> data_;
};

#endif  // SERVERDATAMANAGER_SERVERDATAMGR_H_
