// Observers for tests. Recording observers record their notices, then call a reaction that the test
// may set.
//
//   RecordingObserver observer;
//   observer.reaction = [](SvrDMWriteableDataSource const*) { throw std::runtime_error("no"); };
//
// Header-only, because the observers call the library that the test links.

#ifndef TESTS_SUPPORT_OBSERVERS_H_
#define TESTS_SUPPORT_OBSERVERS_H_

#include <ServerDataManager/ServerDataManagerObserver.h>
#include <ServerDataManager/SvrDMDataSetObserver.h>
#include <ServerDataManager/SvrDMWriteableDataSource.h>
#include <tests/support/Messages.h>

#include <functional>
#include <string>
#include <vector>

namespace support {

class SilentObserver : public SvrDMDataSetObserver {
 public:
  void OnDataSetChanged(SvrDMWriteableDataSource const*) override {}
};

// Records the messages of each pass.
// Threads: the thread that runs the pass.
class RecordingObserver : public SvrDMDataSetObserver {
 public:
  void OnDataSetChanged(SvrDMWriteableDataSource const* writer) override {
    passes.push_back(WhatIsSaidBy(writer->GetNotifications()));
    writers.push_back(writer);
    if (reaction) reaction(writer);
  }

  std::vector<std::vector<Said>> passes;
  std::vector<SvrDMWriteableDataSource const*> writers;  // addresses only; invalid after the pass
  std::function<void(SvrDMWriteableDataSource const*)> reaction;
};

class RecordingRegistryObserver : public ServerDataManagerObserver {
 public:
  struct Notice {
    bool created;  // false: deleted
    LocallyUniqueID id;
    std::string fileName;  // empty for a deletion
  };

  void DataSetCreated(const LocallyUniqueID& id, const std::string& fileName) override {
    notices.push_back({true, id, fileName});
    if (onCreated) onCreated(id);
  }
  void DataSetDeleted(const LocallyUniqueID& id) override {
    notices.push_back({false, id, std::string()});
    if (onDeleted) onDeleted(id);
  }

  std::vector<LocallyUniqueID> Created() const { return Ids(true); }
  std::vector<LocallyUniqueID> Deleted() const { return Ids(false); }

  std::vector<Notice> notices;
  std::function<void(LocallyUniqueID)> onCreated;
  std::function<void(LocallyUniqueID)> onDeleted;

 private:
  std::vector<LocallyUniqueID> Ids(bool created) const {
    std::vector<LocallyUniqueID> ids;
    for (const Notice& notice : notices) {
      if (notice.created == created) ids.push_back(notice.id);
    }
    return ids;
  }
};

}  // namespace support

#endif  // TESTS_SUPPORT_OBSERVERS_H_
