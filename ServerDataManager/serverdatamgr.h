// ServerDataManager: the registry of every dataset open in the process.
//
//   ServerDataManager& registry = ServerDataManager::GetInstance();
//   LocallyUniqueID id = registry.Add(std::move(source), "/data/survey", /*quiet=*/false);
//   {
//     SvrDMWriteableDataSource writer(id, /*tryOnly=*/false, /*originator=*/nullptr);
//     writer->SetLabel("National survey");
//   }                                          // observers are notified here
//   registry.Delete(id);
//
// The registry lock:
//
//   guards     the registry observers and the generator of identifiers. While a thread holds the
//              registry lock, no other thread adds a dataset
//   taken by   every operation of the registry unless stated otherwise. A thread that holds the
//              registry lock may acquire it again
//   held       while registry observers are called
//   order      acquired after the locks of a dataset (svrdmitem.h). A thread that holds the
//              registry lock never waits for a reader/writer lock: handles acquire their lock after
//              the registry lock has been released
//
// A thread that holds the registry lock may register and unregister observers of a dataset, which
// takes the dataset's notification mutex. But if observers of the dataset call the registry, the
// registration may deadlock with another thread that is releasing a writer of the dataset.
//
// The registry lock does not guard the state of a dataset. The list of datasets and their names
// have a lock of their own (LeafLock.h), which is acquired last. Passwords have no lock.

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
  // The registry of this process. It exists once the library is loaded, and is never destroyed.
  // At exit it releases its datasets without notifying observers: a dataset without a handle is
  // destroyed, with its data source. Other threads, exit handlers and destructors of static objects
  // may still call the registry after that; it is then empty.
  // Threads: any. Takes no lock.
  static ServerDataManager& GetInstance();

  // A separate registry, with its own datasets, identifiers and lock.
  ServerDataManager();
  // Releases the datasets without notifying observers. Datasets that still have handles survive,
  // but must not be written: a notification pass would call the destroyed registry. The destructors
  // of the data sources must not call the registry.
  ~ServerDataManager();
  ServerDataManager(const ServerDataManager&) = delete;
  ServerDataManager& operator=(const ServerDataManager&) = delete;

  // --- Adding ---
  //
  // Registers `ds` as a dataset, which owns the source and its chain of parents.
  //
  // The overloads with a std::unique_ptr always own the chain: if the call throws before the
  // dataset exists, they delete it. A null pointer makes a dataset without a source. With the
  // overloads that take a reference, the dataset owns the chain as soon as the dataset exists.
  // If such a call throws, the caller cannot tell whether it still owns the chain, so the overloads
  // with a std::unique_ptr are safer.
  //
  // An exception from an observer's DataSetCreated propagates and leaves the dataset registered.
  // After any other exception, std::bad_alloc included, the dataset does not exist.
  //
  // `name` is the name of the saved file, or empty. If another dataset already has that file name,
  // ignoring case, the new dataset has no file name and keeps `name` as its suppressed file name.
  // SvrDMDataset::SetFileName makes no such check.
  //
  // Registry observers are never notified of a `quiet` dataset.
  //
  // If a filter hook is installed, Add registers the source that the hook returns for `ds` (null: a
  // dataset without a source). A hook that throws must delete the sources that it made, and must
  // not have deleted `ds` or any parent of `ds`. If the call throws after the hook has returned but
  // before the item is built, the sources that the hook made are not deleted. The hook does not
  // learn of the failure, so the caller must ensure that these sources are deleted.
  //
  // Threads: any. Takes the registry lock for the whole call, like every operation unless stated
  // otherwise.

  // Returns the new identifier.
  LocallyUniqueID Add(std::unique_ptr<ORVX_DataSource> ds, const std::string& name, bool quiet);
  LocallyUniqueID Add(ORVX_DataSource& ds, const std::string& name, bool quiet);

  // Like the overloads above, with a password; `passwordFlag` is true if the password is mangled
  // (SvrDMDataset::SetPassword).
  LocallyUniqueID Add(std::unique_ptr<ORVX_DataSource> ds, const std::string& name,
                      const std::string& password, bool passwordFlag, bool quiet);
  LocallyUniqueID Add(ORVX_DataSource& ds, const std::string& name, const std::string& password,
                      bool passwordFlag, bool quiet);

  // Registers the dataset under `id`, with `caseSequence` as the start of its case sequence. Before
  // that, deletes the first dataset that has this identifier; if Add throws after the deletion, the
  // deleted dataset is not restored. The generator of identifiers is not adjusted: it may return
  // `id` later, and two datasets then share `id`.
  void Add(std::unique_ptr<ORVX_DataSource> ds, const std::string& name, bool quiet,
           LocallyUniqueID id, unsigned int caseSequence);
  void Add(ORVX_DataSource& ds, const std::string& name, bool quiet, LocallyUniqueID id,
           unsigned int caseSequence);

  // Registers a dataset without a data source, name or password. After a writer has given it a
  // source, the first notification pass with messages sends the creation notice. Returns the new
  // identifier.
  LocallyUniqueID AddEmpty(bool quiet);

  // --- Finding ---

  // The first registered dataset with this identifier. Throws ErrorMsg, code 2001 with an empty
  // text, if there is none.
  SvrDMItemPtr GetDataSet(const LocallyUniqueID& id) const;

  // The first dataset with this handle name, ignoring case; an empty pointer if there is none. The
  // empty name finds the first dataset with an empty handle name; handle names are initially empty.
  SvrDMItemPtr GetDataSet(const std::string& handle) const;

  // A handle to every dataset, in the order of registration.
  std::vector<SvrDMDataset> GetAllDatasets() const;

  // Whether the saved file `name` (ignoring case) was changed on disk by another program since its
  // dataset opened it. If several datasets have that file name, the result is for the last one
  // registered; false if none has it. For undetected changes, see
  // SvrDMItem::SavFileExternallyChanged.
  // Threads: not while another thread writes a dataset with that file name, because the writer may
  // close the file.
  bool SavFileExternallyChanged(const std::string& name) const;

  // The holders and waiters of the locks of this registry and its datasets, at one moment. Includes
  // deleted datasets that still have handles. Empty while the monitor (LockMonitor.h) is off. Waits
  // until a millisecond after the previous report.
  // Threads: any. Takes neither the registry lock nor any lock of a dataset.
  LockReport GetLockReport() const;

  // --- Deleting ---

  // Notifies the registry observers, then removes the first dataset with this identifier; an
  // unknown identifier is ignored. If the dataset has handles, its last handle destroys it;
  // otherwise, Delete destroys it under the registry lock. An exception from an observer propagates
  // and leaves the dataset registered.
  void Delete(const LocallyUniqueID& id);

  // Deletes every dataset, from the last registered to the first.
  // Threads: not safe while other threads call the registry. Takes the registry lock only while
  // observers are notified.
  void Clear();

  // --- Passwords, observers, filter ---

  // Sets the password of the first dataset with this identifier; an unknown identifier is ignored.
  // `flag` is true if the password is mangled (SvrDMDataset::SetPassword).
  void Password(const LocallyUniqueID& id, const std::string& password, bool flag);

  // Adds the observer at the end of the list, or moves it there if it is already registered.
  // Borrows it until Unregister, which ignores unknown observers.
  void Register(ServerDataManagerObserver& observer);
  void Unregister(ServerDataManagerObserver& observer);

  // Installs the hook that may replace every added data source; null removes the hook. Borrows the
  // hook until it is replaced. Returns the previous hook.
  // Threads: not safe; call before datasets are added. Takes no lock.
  ORVX_DataSourceFilterHook* RegisterFilter(ORVX_DataSourceFilterHook* hook);

  // Sends the creation notice of the dataset to registry observers, unless the dataset is quiet,
  // has no data source yet, or has had its creation notice. Called by notification passes; Add
  // sends the notice without calling NotifyCreate. If memory runs out before the first observer is
  // called, std::bad_alloc propagates, and the next call notifies the observers. An exception of an
  // observer propagates, and the notice is not repeated.
  // Threads: the thread that adds the dataset or holds its write lock. Takes the registry lock
  // while observers are notified.
  void NotifyCreate(SvrDMItem& item);

 private:
  struct Data;
  struct IndexedData;
  union RegistryOfTheProcess;
  SDM_HIDDEN static RegistryOfTheProcess instance_;
  std::unique_ptr<IndexedData> data_;
};

#endif  // SERVERDATAMANAGER_SERVERDATAMGR_H_
