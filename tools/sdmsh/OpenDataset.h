// OpenDataset: a dataset that the shell opened, with those who observe it and its client.

#ifndef SDMSH_OPENDATASET_H_
#define SDMSH_OPENDATASET_H_

#include "ChangeInterpreter.h"
#include "Event.h"

#include <ServerDataManager/SvrDMDataset.h>
#include <ServerDataManager/SvrDMItemPtr.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

namespace sdmsh {

// Shares the dataset's item, so that it lives on after it was closed, for those who hold its lock.
//
// Threads: one at a time; while a role's thread works on the dataset, the shell waits for it.
class OpenDataset {
 public:
  // Of a dataset that no pass has told of anything yet.
  explicit OpenDataset(SvrDMItemPtr item);
  OpenDataset(const OpenDataset&) = delete;
  OpenDataset& operator=(const OpenDataset&) = delete;
  // Takes its observers and its client off the dataset.
  ~OpenDataset();

  LocallyUniqueID ID() const { return handle_.GetDataSetID(); }
  // What to call it: the handle name, or the identifier where it has none.
  std::string Name() const;
  SvrDMDataset& Handle() { return handle_; }
  SvrDMItemPtr& Item() { return item_; }
  const SvrDMItemPtr& Item() const { return item_; }

  // The observer of a role, made at the first call; registered or not.
  SvrDMDataSetObserver& ObserverOf(const std::string& role);
  void Observe(const std::string& role);
  void Unobserve(const std::string& role);
  // The roles whose observers are registered, each as often as it is.
  const std::vector<std::string>& Observers() const { return observers_; }
  bool IsObservedBy(const std::string& role) const;

  // Makes the role the client to whom errors are reported, in place of the one before; an empty
  // role: nobody.
  // Threads: that of the role that holds the write lock.
  void BindClient(const std::string& role);
  // The role; empty for none.
  std::string Client() const;
  // What clients received since the last call.
  std::vector<Reported> TakeReported();

  // What observers were told since the last call, in the order in which they were.
  std::vector<Told> TakeTold();
  // Throws std::bad_alloc where they were told something since the last call for which there was no
  // memory.
  void RefuseLoss();
  const ChangeInterpreter& Interpreter() const { return interpreter_; }

 private:
  class RoleObserver;
  class ClientChannel;

  SvrDMItemPtr item_;
  SvrDMDataset handle_;
  ChangeInterpreter interpreter_;
  std::map<std::string, std::unique_ptr<RoleObserver>> roles_;
  std::vector<std::string> observers_;
  std::vector<Told> told_;
  bool lost_ = false;                      // whether some of it is missing
  std::unique_ptr<ClientChannel> client_;  // null for none
  std::vector<Reported> reported_;
};

using DatasetPtr = std::shared_ptr<OpenDataset>;

// Whether the registry takes the two for one name: it has no regard to case.
bool SameName(const std::string& a, const std::string& b);

}  // namespace sdmsh

#endif  // SDMSH_OPENDATASET_H_
