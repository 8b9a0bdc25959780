// SvrDMDataset: the plain handle on a dataset. It keeps the dataset alive and gives its names,
// counters and window state without taking its reader/writer lock; it is the base of the reader and
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

// Holds one reference to the dataset's item, or none (an empty handle). Copies share the dataset;
// what is set through one handle is seen through all.
//
// Every operation but IsValid and WindowHidden() const needs a handle that is not empty, and none
// checks.
//
// Threads: one handle belongs to one thread at a time; each operation says from which threads its
// dataset may be asked. Only Register and Unregister take a lock of the dataset.
class SDM_EXPORT SvrDMDataset {
 public:
  // By identifier, in the given registry or in that of the process. Throws ErrorMsg, code 2001,
  // where the registry has no such dataset.
  // Threads: any. Takes the registry lock, as does the next.
  SvrDMDataset(ServerDataManager& registry, LocallyUniqueID id);
  explicit SvrDMDataset(LocallyUniqueID id);

  // By handle name, without regard to case, in the registry of the process. Empty where no dataset
  // has that name.
  explicit SvrDMDataset(std::string handle);

  // Shares the given item; empty for an empty pointer. Threads: any. Takes no lock.
  explicit SvrDMDataset(SvrDMItemPtr const& item);

  // Copied but never assigned: through a reference to this base, a reader or writer would let go of
  // the dataset that it has locked.
  SvrDMDataset(const SvrDMDataset&) = default;
  SvrDMDataset& operator=(const SvrDMDataset&) = delete;

  // Releases the dataset, which goes with its last handle once the registry has dropped it. An
  // exception ends the process.
  virtual ~SvrDMDataset();

  // Whether there is a dataset. Ask before anything else on a handle made from a name.
  bool IsValid() const { return item_.IsValid(); }

  // --- Identity ---
  // Threads: any.

  LocallyUniqueID GetDataSetID() const;

  // The running number that change messages bear; a writer raises it.
  unsigned int GetCaseSequence() const;

  bool HasDataSource() const;

  // Borrowed; the registry that made the dataset. Null for an item made without one.
  ServerDataManager* GetServerDataManager();
  ServerDataManager* GetServerDataManager() const;

  // --- Names ---
  // Each getter returns a copy.
  // Threads: any.

  // The name by which the registry finds the dataset, without regard to case; empty at first.
  // Setting it does not ask whether another dataset has that name.
  std::string GetHandle() const;
  void SetHandle(std::string handle);

  // The saved file to which the dataset belongs; empty for none. Setting it neither releases the
  // file held open nor opens another: see LockSavFileInUse. A notification pass sets it, too.
  std::string GetFileName() const;
  void SetFileName(std::string const& fileName);

  // The file name kept aside because another dataset had it when this one was added; empty for
  // none. A file specification equal to it is not told to observers.
  std::string SuppressedFileName() const;
  void SuppressedFileName(std::string fileName);

  // The password, and whether `password` is given mangled.
  // Threads: not safe against a thread that sets it.
  std::string GetPassword() const;
  void SetPassword(std::string const& password, bool mangled);

  // Whether the password is mangled: as the saved file at the data source or at its parent says,
  // else as SetPassword was told.
  // Threads: a thread that holds the read or the write lock.
  bool GetPasswordMangled() const;

  // --- Errors and observers ---

  // Reports errors to the client; borrowed, it lives as long as the dataset. It sends nothing
  // before InitializeErrorMonitor was given a channel, which is borrowed until another is given or
  // the dataset goes; null stops the reports. Threads: the thread that holds the write lock.
  InteractiveErrorMonitor& GetErrorMonitor();
  void InitializeErrorMonitor(PackageProxy* proxy);

  // Adds the observer at the end of the list; one that is registered twice is called twice.
  // Borrowed until Unregister, which removes it however often it stands there, and does nothing for
  // one that does not. Register throws std::bad_alloc and adds nothing where memory runs out.
  // Threads: any but one that is inside a notice of this dataset or that holds the registry lock.
  // Takes the dataset's notification mutex: waits for a pass under way.
  void Register(SvrDMDataSetObserver& observer);
  void Unregister(SvrDMDataSetObserver& observer);

  // --- Window state, kept for the client ---
  // The setters return the value set. A fresh dataset is minimized, neither in front nor hidden.
  // Threads: any.

  bool WindowFront() const;
  bool WindowFront(bool front);
  bool WindowMinimized() const;
  bool WindowMinimized(bool minimized);
  // A dataset that does not exist counts as hidden: true for an empty handle.
  bool WindowHidden() const;
  bool WindowHidden(bool hidden);

  // --- Handles at work on the dataset ---
  // A count that a failed try has driven below zero (see SvrDMWriteableDataSource) shows as a
  // number near 2^32. Threads: any.

  // Writers count from before they ask for the lock.
  unsigned int WritersCount() const;
  unsigned int ReadersCount() const;

  // --- Saved file and creation time ---

  // Holds the file named by GetFileName open for reading and keeps other programs from writing it
  // where the file system can do that, or lets go of it. A file held under another name is let go
  // first. A file that cannot be opened is not held, silently.
  // Threads: the thread that holds the write lock.
  void LockSavFileInUse();
  void UnlockSavFileInUse();

  // When the dataset was added: local time as a date value. Threads: any.
  double getObjCreationTime() const;

  // --- Bootstrap specification ---

  // Borrowed until another is set or the dataset goes; null for none.
  // Threads: any may ask whether there is one; to use it, hold the read or the write lock.
  SvrBootstrapSpecs* GetBootstrapSpecs() const;

  // The dataset owns `specs`, which may be null, and deletes the present one; the same pointer
  // again changes nothing. Threads: the thread that holds the write lock.
  void SetBootstrapSpecs(SvrBootstrapSpecs* specs);

 protected:
  SvrDMItem& Item() { return *item_; }
  const SvrDMItem& Item() const { return *item_; }

 private:
  SvrDMItemPtr item_;
};

#endif  // SERVERDATAMANAGER_SVRDMDATASET_H_
