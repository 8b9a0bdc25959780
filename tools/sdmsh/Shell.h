// Shell: what the commands work on: the open datasets, the callers with their locks, and the
// printer.

#ifndef SDMSH_SHELL_H_
#define SDMSH_SHELL_H_

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

// Threads: one, the shell's. Callers' threads run only while it waits for them, or stand in line
// for a lock.
class Shell {
 public:
  // Who gives a command that names no role.
  static constexpr const char* kMainRole = "main";

  // Borrows both. `bound`: see CallerLocks.
  Shell(ServerDataManager& registry, Output& output, Bound bound = std::chrono::seconds(10));
  Shell(const Shell&) = delete;
  Shell& operator=(const Shell&) = delete;
  // Takes the datasets and the filter hook off the registry. Not while IsStuck().
  ~Shell();

  // Carries out a command for the caller of that name. Throws CommandError where it fails, and
  // where something that was to be said could not be; std::bad_alloc where memory runs out. The
  // shell goes on.
  void Execute(const std::string& role, const std::vector<std::string>& words);

  // What happens, in words and as JSON: see Output::Say.
  template <class Words, class Members>
  void Say(const Words& words, const Members& json) {
    output_.Say(words, json);
  }
  void Fail(const std::string& file, int line, const std::string& text) {
    output_.Fail(file, line, text);
  }
  // False as soon as something that was said got lost on its way. Nobody hears more of the shell.
  bool IsHeard() const { return output_.ReachesItsReader(); }

  Output& Out() { return output_; }
  ServerDataManager& Registry() { return registry_; }
  CallerLocks& Locks() { return locks_; }
  RegistryWatch& Watch() { return watch_; }

  // The dataset of the registry with this handle name, without regard to case, or with this
  // identifier in the form domain:serial. Where there is none, one that was closed and that
  // `caller` still holds, the last one that it took. Throws CommandError where there is none of
  // these.
  DatasetPtr Find(const Caller& caller, const std::string& nameOrID) const;
  // Whether it was closed: it lives on for those who hold it.
  bool IsClosed(const OpenDataset& dataset) const;
  // Refuses, with CommandError, a name that no dataset can take: an empty one, one that reads like
  // an identifier, and one that a dataset has already, `renamed` (may be null) left out.
  void RefuseName(const std::string& name, const OpenDataset* renamed) const;
  // In the order of the registry.
  std::vector<DatasetPtr> Datasets() const;

  // A dataset was just registered. Unless Adopt takes it up, it goes when the command fails.
  void NoteNew(LocallyUniqueID id) noexcept { new_ = id; }
  // Takes up a dataset that was just registered, and gives it its handle name.
  DatasetPtr Adopt(LocallyUniqueID id, const std::string& name);
  // Hides variables of these names in what is opened from now on, and no others.
  void Hide(const std::vector<std::string>& names);
  // Deletes the dataset, which is not closed yet, from the registry.
  void Close(const OpenDataset& dataset);

  // After `quit`.
  bool IsOver() const { return over_; }
  void Quit() { over_ = true; }

  // Lets every caller go, in an order in which nobody is left waiting. Says, as Failures of `file`,
  // who waited and what went wrong; false where there was something to say, or nobody hears it.
  bool CloseDown(const std::string& file);
  // Whether a caller waits for somebody outside the shell all the same.
  bool IsStuck() const { return locks_.IsStuck(); }

 private:
  DatasetPtr FindByID(const Caller& caller, LocallyUniqueID id) const;
  DatasetPtr FindByName(const Caller& caller, const std::string& name) const;
  DatasetPtr Known(LocallyUniqueID id) const;
  void Run(const std::string& role, const std::vector<std::string>& words);
  void DropNew();

  ServerDataManager& registry_;
  Output& output_;
  RegistryWatch watch_;
  std::unique_ptr<HiddenVariables> hidden_;  // the registry's filter hook; null for none
  std::vector<DatasetPtr> datasets_;
  std::optional<LocallyUniqueID> new_;  // registered and not adopted yet
  CallerLocks locks_;                   // last: callers go before the datasets that they work on
  bool over_ = false;
};

}  // namespace sdmsh

#endif  // SDMSH_SHELL_H_
