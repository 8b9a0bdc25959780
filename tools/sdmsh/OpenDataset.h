// OpenDataset: a dataset that the shell opened, with its observers, its client, and a mirror of its
// dictionary.

#ifndef SDMSH_OPENDATASET_H_
#define SDMSH_OPENDATASET_H_

#include "Output.h"

#include <client/server/ChangeLog.h>
#include <ServerDataManager/SvrDMDataset.h>
#include <ServerDataManager/SvrDMDataSetObserver.h>
#include <ServerDataManager/SvrDMItemPtr.h>

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace sdmsh {

// Shares ownership of the dataset's item, so that a closed dataset exists as long as callers hold
// its lock.
//
// Threads: one at a time; the shell waits while a caller's thread works on the dataset.
class OpenDataset {
 public:
  // The dataset must not have been through a notification pass. Borrows the output, and adds to it
  // the notices about what observers and clients receive.
  OpenDataset(SvrDMItemPtr item, Output& output);
  OpenDataset(const OpenDataset&) = delete;
  OpenDataset& operator=(const OpenDataset&) = delete;
  // Unregisters its observers and its client.
  ~OpenDataset();

  LocallyUniqueID ID() const { return handle_.GetDataSetID(); }
  // The handle name, or the identifier if the handle name is empty.
  std::string Name() const;
  SvrDMDataset& Handle() { return handle_; }
  SvrDMItemPtr& Item() { return item_; }
  const SvrDMItemPtr& Item() const { return item_; }

  // The observer of a caller, whether or not it is registered. Created by the first call.
  SvrDMDataSetObserver& ObserverOf(const std::string& caller);
  void Observe(const std::string& caller);
  void Unobserve(const std::string& caller);
  // The callers whose observers are registered, one entry for each registration.
  const std::vector<std::string>& Observers() const { return observers_; }
  bool IsObservedBy(const std::string& caller) const;

  // Stores the delimiter with which the shell opened or saved a file for the dataset; 0 if the name
  // of the file determines it.
  void SetDelimiter(const std::string& file, char delimiter) { delimiters_[file] = delimiter; }
  // Returns the delimiter that was stored last for the file; 0 if there is none.
  char DelimiterOf(const std::string& file) const {
    const auto found = delimiters_.find(file);
    return found != delimiters_.end() ? found->second : '\0';
  }

  // Makes the caller the client that receives error reports, in place of the previous client. An
  // empty name removes the client.
  // Threads: the thread of the caller that holds the write lock.
  void BindClient(const std::string& caller);
  // The name of the caller that is the client; empty if there is no client.
  std::string Client() const;
  // How many reports clients have received.
  int ReportCount() const { return reportCount_; }

  // The changes of the dataset, in the format of the output.
  const ChangeLog& Changes() const { return changes_; }

 private:
  class CallerObserver;
  class ClientChannel;

  Output& output_;
  SvrDMItemPtr item_;
  SvrDMDataset handle_;
  ChangeLog changes_;  // the first observer, so that the others find the messages in it
  std::map<std::string, std::unique_ptr<CallerObserver>> observerOf_;  // by name of the caller
  std::vector<std::string> observers_;
  std::unique_ptr<ClientChannel> client_;  // null if there is no client
  int reportCount_ = 0;
  std::map<std::string, char> delimiters_;  // by name of the file
};

using DatasetPtr = std::shared_ptr<OpenDataset>;

// Whether the names are equal, ignoring case as the registry does.
bool SameName(const std::string& a, const std::string& b);

}  // namespace sdmsh

#endif  // SDMSH_OPENDATASET_H_
