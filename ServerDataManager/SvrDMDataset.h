// SvrDMDataset: the plain handle to a dataset. It keeps the dataset alive and gives access to
// names, counters and window state without the reader/writer lock. It is the base of the reader and
// writer handles.
//
//   SvrDMDataset survey(std::string("survey"));        // by handle name
//   if (survey.IsValid()) survey.WindowFront(true);

#ifndef SERVERDATAMANAGER_SVRDMDATASET_H_
#define SERVERDATAMANAGER_SVRDMDATASET_H_

#include <ServerDataManager/Export.h>
#include <ServerDataManager/LocallyUniqueID.h>
#include <ServerDataManager/SvrDMItemPtr.h>

#include <string>

class InteractiveErrorMonitor;
class PackageProxy;
class ServerDataManager;
class SvrBootstrapSpecs;
class SvrDMDataSetObserver;

// Holds one reference to the dataset's item, or none (an empty handle). All handles to one dataset
// share its state.
//
// Every operation except IsValid and WindowHidden() const requires a handle that is not empty; this
// is not checked.
//
// Threads: a handle belongs to one thread at a time. The thread rules below are about different
// handles to one dataset. Only Register and Unregister take a lock of the dataset.
class SDM_EXPORT SvrDMDataset {
 public:
  // Finds the dataset by identifier, in the given registry or in the registry of the process.
  // Throws ErrorMsg, code 2001, if the registry has no such dataset.
  // Threads: any. Takes the registry lock.
  SvrDMDataset(ServerDataManager& registry, LocallyUniqueID id);
  explicit SvrDMDataset(LocallyUniqueID id);

  // Finds the dataset by handle name, ignoring case, in the registry of the process. The handle is
  // empty if no dataset has that name.
  // Threads: any. Takes the registry lock.
  explicit SvrDMDataset(std::string handle);

  // Shares the given item. The handle is empty if the pointer is empty.
  // Threads: any. Takes no lock.
  explicit SvrDMDataset(SvrDMItemPtr const& item);

  // Copyable but not assignable: assignment through a reference to this base would make a reader or
  // writer release a dataset that it has locked.
  SvrDMDataset(const SvrDMDataset&) = default;
  SvrDMDataset& operator=(const SvrDMDataset&) = delete;

  // Releases the dataset. If the registry has deleted the dataset, its last handle destroys it. An
  // exception ends the process.
  virtual ~SvrDMDataset();

  // Whether the handle is not empty. Check it after construction from a name.
  bool IsValid() const { return item_.IsValid(); }

  // --- Identity ---
  // Threads: any.

  LocallyUniqueID GetDataSetID() const;

  // The case sequence: a number that every change message carries; writers raise it.
  unsigned int GetCaseSequence() const;

  bool HasDataSource() const;

  // The registry that created the dataset. Borrowed; null for an item without a registry.
  ServerDataManager* GetServerDataManager();
  ServerDataManager* GetServerDataManager() const;

  // --- Names ---
  // Each getter returns a copy.
  // Threads: any.

  // The name by which the registry finds the dataset, ignoring case; initially empty. Setting it
  // does not check for another dataset with that name.
  std::string GetHandle() const;
  void SetHandle(std::string handle);

  // The name of the saved file; empty for none. Setting the name neither closes the open file nor
  // opens another: see LockSavFileInUse. A notification pass that queues a
  // FileSpecChangeMsg also sets the name, to the new file specification.
  std::string GetFileName() const;
  void SetFileName(std::string const& fileName);

  // The file name that this dataset could not get because another dataset already had it; empty for
  // none. Observers are not notified of a file specification equal to the suppressed file name.
  std::string SuppressedFileName() const;
  void SuppressedFileName(std::string fileName);

  // The password, and whether it is mangled, that is, obfuscated. The library only stores both.
  // Threads: not safe while another thread sets the password.
  std::string GetPassword() const;
  void SetPassword(std::string const& password, bool mangled);

  // Whether the password is mangled. If the data source or its parent is a saved file, returns the
  // file's value; otherwise the value from SetPassword.
  // Threads: a thread that holds the read or the write lock.
  bool GetPasswordMangled() const;

  // --- Errors and observers ---

  // The monitor that reports errors to the client; borrowed, valid as long as the dataset. It sends
  // nothing before InitializeErrorMonitor sets its channel, `proxy`. The channel is borrowed until
  // it is replaced or the dataset is destroyed; a null channel stops the reports.
  // Threads: the thread that holds the write lock.
  InteractiveErrorMonitor& GetErrorMonitor();
  void InitializeErrorMonitor(PackageProxy* proxy);

  // Adds the observer at the end of the list; an observer that is registered twice is called twice.
  // Borrowed until Unregister, which removes every occurrence and ignores unknown observers. If
  // Register throws std::bad_alloc, nothing was added.
  // Threads: any, but not inside a notice of this dataset. Takes the notification mutex, so it
  // waits for a notification pass in progress. If observers of the dataset call the registry, a
  // call inside a notice of the registry may deadlock with another thread that is releasing a
  // writer of this dataset.
  void Register(SvrDMDataSetObserver& observer);
  void Unregister(SvrDMDataSetObserver& observer);

  // --- Window state, kept for the client ---
  // Setters return the new value. A new dataset is minimized, not in front and not hidden.
  // Threads: any.

  bool WindowFront() const;
  bool WindowFront(bool front);
  bool WindowMinimized() const;
  bool WindowMinimized(bool minimized);
  // True for an empty handle.
  bool WindowHidden() const;
  bool WindowHidden(bool hidden);

  // --- Handles at work on the dataset ---
  // If a constructor of SvrDMWriteableDataSource with `tryOnly` throws because the lock is not
  // free, the count of writers stays one too high and the count of readers one too low. A count
  // below zero is returned as a number near 2^32.
  // Threads: any.

  // Includes writers that still wait for the lock.
  unsigned int WritersCount() const;
  unsigned int ReadersCount() const;

  // --- Saved file and creation time ---

  // LockSavFileInUse closes the dataset's open file if it has another name, then opens the file
  // GetFileName() for reading. Does nothing if that file is already open. Fails silently if the
  // file cannot be opened. Also tries once to acquire an advisory lock against writing; if the lock
  // is refused, the file stays open without the lock. UnlockSavFileInUse closes the file.
  // Threads: the thread that holds the write lock.
  void LockSavFileInUse();
  void UnlockSavFileInUse();

  // When the dataset was added: local time as a date value.
  // Threads: any.
  double getObjCreationTime() const;

  // --- Bootstrap specification ---

  // The bootstrap specification; null for none. Borrowed until it is replaced or the dataset is
  // destroyed.
  // Threads: any thread may check for null. To use it, hold the read or the write lock.
  SvrBootstrapSpecs* GetBootstrapSpecs() const;

  // Replaces the bootstrap specification with `specs`, which may be null; the dataset owns it and
  // deletes the previous one. Setting the same pointer changes nothing.
  // Threads: the thread that holds the write lock.
  void SetBootstrapSpecs(SvrBootstrapSpecs* specs);

 protected:
  SvrDMItem& Item() { return *item_; }
  const SvrDMItem& Item() const { return *item_; }

 private:
  SvrDMItemPtr item_;
};

#endif  // SERVERDATAMANAGER_SVRDMDATASET_H_
