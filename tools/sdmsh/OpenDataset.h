// OpenDataset: a dataset that the shell opened, with its observers, its client, and the mirror that
// the shell keeps of it.

#ifndef SDMSH_OPENDATASET_H_
#define SDMSH_OPENDATASET_H_

#include "Output.h"

#include <client/DictionaryMirror.h>
#include <ServerDataManager/SvrDMDataset.h>
#include <ServerDataManager/SvrDMDataSetObserver.h>
#include <ServerDataManager/SvrDMItemPtr.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

namespace sdmsh {

// Formats the change messages of a dataset. Messages know most variables by identifier or position
// alone, so the interpreter keeps a mirror of the dictionary from the messages themselves, and
// names variables as the mirror has them before each message.
//
// The first observer of its dataset, so that the others find the pass formatted; never an
// originator, so that it misses none. Registered before the first pass.
//
// Threads: as for the observers of the dataset.
class ChangeInterpreter final : public SvrDMDataSetObserver {
 public:
  // One message, in the form that the output wants.
  struct Change {
    std::string words;
    Json json;
  };

  explicit ChangeInterpreter(const Output& output) : output_(output) {}

  // Throws std::bad_alloc, into a pass that the dataset repeats: release a writer only after its
  // Notify() has succeeded.
  void OnDataSetChanged(SvrDMWriteableDataSource const* writer) override;

  // The changes of the pass under way, or of the last one.
  const std::vector<Change>& Pass() const { return pass_; }
  // How many passes there were with something in them.
  int PassCount() const { return passCount_; }

  // The dictionary according to the messages so far. Borrowed until the next pass.
  const ORVX_DataSource& Mirror() const { return mirror_.Dictionary(); }

  // What is wrong with the messages; empty while they fit the mirror. A pass in which something was
  // wrong ends at the message before it, and so does the mirror, for good.
  const std::string& Failure() const { return failure_; }

 private:
  void Interpret(SvrDMWriteableDataSource const& writer);

  const Output& output_;
  DictionaryMirror mirror_;
  std::vector<Change> pass_;
  bool interrupted_ = false;  // whether it is the beginning of a pass that will be repeated
  int passCount_ = 0;
  std::string failure_;
};

// Shares the dataset's item, so that a closed dataset lives on for the holders of its lock.
//
// Threads: one at a time; while a role's thread works on the dataset, the shell waits for it.
class OpenDataset {
 public:
  // For a dataset that has not been through a notification pass. Borrows the output, to which it
  // gives notices of what observers and clients receive.
  OpenDataset(SvrDMItemPtr item, Output& output);
  OpenDataset(const OpenDataset&) = delete;
  OpenDataset& operator=(const OpenDataset&) = delete;
  // Unregisters its observers and its client.
  ~OpenDataset();

  LocallyUniqueID ID() const { return handle_.GetDataSetID(); }
  // The handle name, or the identifier where it has none.
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

  // Makes the role the client that gets reports of errors, in place of the one before; an empty
  // role: nobody.
  // Threads: that of the role that holds the write lock.
  void BindClient(const std::string& role);
  // The role; empty for none.
  std::string Client() const;
  // How many reports clients have received.
  int ReportCount() const { return reportCount_; }

  const ChangeInterpreter& Interpreter() const { return interpreter_; }

 private:
  class RoleObserver;
  class ClientChannel;

  Output& output_;
  SvrDMItemPtr item_;
  SvrDMDataset handle_;
  ChangeInterpreter interpreter_;
  std::map<std::string, std::unique_ptr<RoleObserver>> roles_;
  std::vector<std::string> observers_;
  std::unique_ptr<ClientChannel> client_;  // null for none
  int reportCount_ = 0;
};

using DatasetPtr = std::shared_ptr<OpenDataset>;

// Whether the registry takes the two for one name: it ignores case.
bool SameName(const std::string& a, const std::string& b);

}  // namespace sdmsh

#endif  // SDMSH_OPENDATASET_H_
