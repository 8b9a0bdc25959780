// Shell: runs commands on the open datasets, and owns the callers and their locks.

#ifndef SDMSH_SHELL_H_
#define SDMSH_SHELL_H_

#include "Commands.h"
#include "Locks.h"
#include "OpenDataset.h"
#include "Output.h"
#include "RegistryWatch.h"
#include "Sources.h"

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

class ServerDataManager;

namespace sdmsh {

// Threads: one, the shell's thread. A caller's thread runs only while the shell waits for it, or
// while it waits for a lock.
class Shell {
 public:
  // The caller of a command that names no caller.
  static constexpr const char* kMainRole = "main";

  // Borrows the registry and the output. For `bound` see CallerLocks.
  Shell(ServerDataManager& registry, Output& output, Bound bound = std::chrono::seconds(10));
  Shell(const Shell&) = delete;
  Shell& operator=(const Shell&) = delete;
  // Deletes the datasets from the registry and unregisters the filter hook. Must not run while
  // IsStuck().
  ~Shell();

  // Runs a command for the caller named `role`. Throws CommandError if the command fails, and
  // std::bad_alloc if memory runs out or some output was lost. The shell stays usable either way.
  void Execute(const std::string& role, const std::vector<std::string>& words);

  // Prints an event, in words or as JSON: see Output::Say.
  template <class Words, class Members>
  void Say(const Words& words, const Members& json) {
    output_.Say(words, json);
  }
  void Fail(const std::string& file, int line, const std::string& text) {
    output_.Fail(file, line, text);
  }
  // False after a write to the output failed. Stays false from then on.
  bool IsHeard() const { return output_.ReachesItsReader(); }

  Output& Out() { return output_; }
  ServerDataManager& Registry() { return registry_; }
  CallerLocks& Locks() { return locks_; }
  RegistryWatch& Watch() { return watch_; }

  // The dataset in the registry with this handle name (ignoring case) or this identifier, written
  // domain:serial. If the registry has no such dataset, finds a closed one on which `caller` still
  // holds a lock; if several match, the one that `caller` locked last. Throws CommandError if there
  // is no such dataset.
  DatasetPtr Find(const Caller& caller, const std::string& nameOrID) const;
  // Whether the dataset was closed. A closed dataset exists while callers hold its lock or wait for
  // it.
  bool IsClosed(const OpenDataset& dataset) const;
  // Throws CommandError if a dataset cannot have this name: if it is empty, reads like an
  // identifier, or belongs to a dataset other than `renamed`, which may be null.
  void RefuseName(const std::string& name, const OpenDataset* renamed) const;
  // In the order of the registry.
  std::vector<DatasetPtr> Datasets() const;

  // Call this after registering a dataset. If the command then fails before Adopt, the shell
  // deletes the dataset.
  void NoteNew(LocallyUniqueID id) noexcept { new_ = id; }
  // Adds a dataset that was just registered to the open datasets, and sets its handle name.
  DatasetPtr Adopt(LocallyUniqueID id, const std::string& name);
  // Hides the variables with these names, and no others, in datasets that are opened later.
  void Hide(const std::vector<std::string>& names);
  // Deletes the dataset from the registry. The dataset must not be closed already.
  void Close(const OpenDataset& dataset);

  // After `quit`.
  bool IsOver() const { return over_; }
  void Quit() { over_ = true; }

  // Releases the locks of all callers, so that every waiting caller gets its lock and releases it.
  // Reports callers that were waiting, and failures, as failures of the script `file`. Returns
  // false if anything was reported or the output failed.
  bool CloseDown(const std::string& file);
  // After CloseDown: whether a caller still waits for a lock, which no caller can release.
  bool IsStuck() const { return locks_.IsStuck(); }

 private:
  DatasetPtr FindByID(const Caller& caller, LocallyUniqueID id) const;
  DatasetPtr FindByName(const Caller& caller, const std::string& name) const;
  DatasetPtr Known(LocallyUniqueID id) const;
  void Run(const std::string& role, const std::vector<std::string>& words);
  void Perform(Call& call, const Action& action);
  void DropNew();

  ServerDataManager& registry_;
  Output& output_;
  RegistryWatch watch_;
  std::unique_ptr<HiddenVariables> hidden_;  // the registry's filter hook; null if there is none
  std::vector<DatasetPtr> datasets_;
  std::optional<LocallyUniqueID> new_;  // registered and not adopted yet
  CallerLocks locks_;                   // destroyed before the datasets that callers work on
  bool over_ = false;
};

}  // namespace sdmsh

#endif  // SDMSH_SHELL_H_
