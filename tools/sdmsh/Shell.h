// Shell: runs commands on the open datasets, and owns the callers and their locks.

#ifndef SDMSH_SHELL_H_
#define SDMSH_SHELL_H_

#include "Commands.h"
#include "Locks.h"
#include "OpenDataset.h"
#include "Output.h"

#include <libdatasrc/HiddenVariables.h>
#include <ServerDataManager/ServerDataManagerObserver.h>

#include <chrono>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

class ServerDataManager;

namespace sdmsh {

// Threads: the shell's thread, which constructs the shell and calls Execute; and a caller's thread
// while Execute waits for it to run a command. At other times, a caller's thread is idle or waits
// for a lock.
class Shell {
 public:
  // The caller of a command that names no caller.
  static constexpr const char* kMainCaller = "main";

  // Borrows the registry and the output. For `bound` see CallerLocks.
  Shell(ServerDataManager& registry, Output& output, Bound bound = std::chrono::seconds(10));
  Shell(const Shell&) = delete;
  Shell& operator=(const Shell&) = delete;
  // Deletes the datasets from the registry and unregisters the filter hook. Must not run while
  // IsStuck().
  ~Shell();

  // Runs a command for the caller with this name. Throws CommandError if the command fails, and
  // std::bad_alloc if memory runs out or some output was lost. The shell stays usable either way.
  void Execute(const std::string& caller, const std::vector<std::string>& words);

  Output& Out() { return output_; }
  ServerDataManager& Registry() { return registry_; }
  CallerLocks& Locks() { return locks_; }
  // The registry observers of the callers that watch the registry, by the name of the caller. Their
  // destructors unregister them.
  using WatchMap = std::map<std::string, std::unique_ptr<ServerDataManagerObserver>>;
  WatchMap& Watches() { return watches_; }

  // The open dataset with this handle name (ignoring case) or this identifier, written
  // domain:serial. If there is no such open dataset, finds a closed dataset on which `caller` still
  // holds or waits for a lock; if several match, the dataset that `caller` locked last. Throws
  // CommandError if no closed dataset matches either.
  DatasetPtr Find(const Caller& caller, const std::string& nameOrID) const;
  // Throws CommandError if a dataset cannot have this name: if it is empty, reads like an
  // identifier, or belongs to a dataset other than `renamed`, which may be null.
  void RefuseName(const std::string& name, const OpenDataset* renamed) const;
  // The open datasets, in the order of the registry.
  const std::vector<DatasetPtr>& Datasets() const { return datasets_; }

  // Opens a dataset over the source, which may be null. If the running command fails later, the
  // shell deletes the dataset.
  DatasetPtr Open(std::unique_ptr<ORVX_DataSource> source, const std::string& file,
                  const std::string& name, bool quiet);
  // Adds a newly registered dataset to the open datasets, and sets its handle name.
  DatasetPtr Adopt(LocallyUniqueID id, const std::string& name);
  // Hides the variables with these names, and no others, in datasets that are opened later.
  void Hide(const std::vector<std::string>& names);
  // Deletes the dataset from the registry. The object exists as long as callers hold its lock or
  // wait for its lock. Returns false if the dataset was closed already.
  bool Close(const DatasetPtr& dataset);

  // Whether the command `quit` was run.
  bool IsOver() const { return over_; }
  void Quit() { over_ = true; }

  // Releases the locks of all callers, so that every waiting caller gets its lock and releases it.
  // Reports each caller that was waiting, and each error, as a failure of the script `file`.
  // Returns false if anything was reported or the output failed. Throws std::bad_alloc if memory
  // runs out or some output was lost.
  bool CloseDown(const std::string& file);
  // To be called after CloseDown. Returns whether a caller still waits for a lock. No caller can
  // release that lock any more, so the wait never ends.
  bool IsStuck() const { return locks_.IsStuck(); }

 private:
  void Run(const std::string& caller, const std::vector<std::string>& words);
  void DropNew();

  ServerDataManager& registry_;
  Output& output_;
  WatchMap watches_;
  std::unique_ptr<HiddenVariables> hidden_;  // the registry's filter hook; null if there is none
  std::vector<DatasetPtr> datasets_;
  std::optional<LocallyUniqueID> new_;  // registered by the running command
  CallerLocks locks_;                   // destroyed before datasets_, which its threads use
  bool over_ = false;
};

}  // namespace sdmsh

#endif  // SDMSH_SHELL_H_
