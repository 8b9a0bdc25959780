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
// checks. Each does what the operation of the same name on SvrDMItem says, with its rules for
// threads and ownership; only what differs is said here.
//
// Threads: one handle belongs to one thread at a time. Takes no lock of the dataset but in Register
// and Unregister.
class SDM_EXPORT SvrDMDataset {
 public:
  // By identifier, in the given registry or in that of the process. Throws ErrorMsg, code 2001,
  // where the registry has no such dataset.
  // Threads: any. Takes the registry lock, as does the next.
  SvrDMDataset(ServerDataManager& registry, LocallyUniqueID id);
  SvrDMDataset(LocallyUniqueID id);

  // By handle name, without regard to case, in the registry of the process. Empty where no dataset
  // has that name.
  SvrDMDataset(std::string handle);

  // Shares the given item; empty for an empty pointer.
  SvrDMDataset(SvrDMItemPtr const& item);

  SvrDMDataset(const SvrDMDataset&) = default;
  SvrDMDataset& operator=(const SvrDMDataset&) = default;

  // Lets go of the dataset, which goes with its last handle once the registry has dropped it. An
  // exception ends the process.
  virtual ~SvrDMDataset();

  // Whether there is a dataset. Ask before anything else on a handle made from a name.
  bool IsValid() const { return item_.IsValid(); }

  // --- Identity and names ---
  LocallyUniqueID GetDataSetID() const;
  unsigned int GetCaseSequence() const;
  std::string GetHandle() const;
  void SetHandle(std::string handle);
  std::string GetFileName() const;
  void SetFileName(std::string const& fileName);
  std::string GetPassword() const;
  void SetPassword(std::string const& password, bool mangled);
  bool GetPasswordMangled() const;

  bool HasDataSource() const;
  // Borrowed; the registry that owns the dataset.
  ServerDataManager* GetServerDataManager();
  ServerDataManager* GetServerDataManager() const;

  // --- Errors and observers ---
  // The monitor lives as long as the dataset; the proxy, which may be null, is borrowed until
  // another is set or the dataset goes; an observer until it is unregistered.
  InteractiveErrorMonitor& GetErrorMonitor();
  void InitializeErrorMonitor(PackageProxy* proxy);
  void Register(SvrDMDataSetObserver& observer);
  void Unregister(SvrDMDataSetObserver& observer);

  // --- Window state ---
  // The setters return the value set.
  bool WindowFront() const;
  bool WindowFront(bool front);
  bool WindowMinimized() const;
  bool WindowMinimized(bool minimized);
  // A dataset that does not exist counts as hidden: true for an empty handle.
  bool WindowHidden() const;
  bool WindowHidden(bool hidden);

  // --- Handles at work ---
  // A count below zero shows as a number near 2^32.
  unsigned int WritersCount() const;
  unsigned int ReadersCount() const;

  // --- Saved file, creation time, bootstrap specification ---
  void LockSavFileInUse();
  void UnlockSavFileInUse();
  double getObjCreationTime() const;
  SvrBootstrapSpecs* GetBootstrapSpecs() const;
  void SetBootstrapSpecs(SvrBootstrapSpecs* specs);

 protected:
  SvrDMItem& Item() { return *item_; }
  const SvrDMItem& Item() const { return *item_; }

 private:
  SvrDMItemPtr item_;
};

#endif  // SERVERDATAMANAGER_SVRDMDATASET_H_
