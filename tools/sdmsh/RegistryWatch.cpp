// A registry observer for each role that watches.

#include "RegistryWatch.h"

#include <ServerDataManager/ServerDataManagerObserver.h>
#include <ServerDataManager/serverdatamgr.h>

#include <utility>

namespace sdmsh {

class RegistryWatch::RoleObserver final : public ServerDataManagerObserver {
 public:
  RoleObserver(RegistryWatch& watch, std::string role) : watch_(watch), role_(std::move(role)) {}

  void DataSetCreated(const LocallyUniqueID& id, const std::string& fileName) override {
    Note(id, DatasetCreated{fileName});
  }

  void DataSetDeleted(const LocallyUniqueID& id) override { Note(id, DatasetDeleted{}); }

 private:
  void Note(LocallyUniqueID id, std::variant<DatasetCreated, DatasetDeleted> what) {
    watch_.told_.push_back({role_, id, HandleOf(id), std::move(what)});
  }

  // Empty also where a pass announces a dataset that has been closed before: the registry, which
  // does not find it then, must not throw into that pass.
  std::string HandleOf(LocallyUniqueID id) const {
    for (const SvrDMDataset& dataset : watch_.registry_.GetAllDatasets()) {
      if (dataset.GetDataSetID() == id) return dataset.GetHandle();
    }
    return "";
  }

  RegistryWatch& watch_;
  const std::string role_;
};

RegistryWatch::RegistryWatch(ServerDataManager& registry) : registry_(registry) {}

RegistryWatch::~RegistryWatch() {
  for (const auto& [role, observer] : observers_) registry_.Unregister(*observer);
}

void RegistryWatch::Begin(const std::string& role) {
  std::unique_ptr<RoleObserver>& observer = observers_[role];
  if (observer == nullptr) observer = std::make_unique<RoleObserver>(*this, role);
  registry_.Register(*observer);
}

void RegistryWatch::End(const std::string& role) {
  const auto place = observers_.find(role);
  registry_.Unregister(*place->second);
  observers_.erase(place);
}

std::vector<RegistryTold> RegistryWatch::TakeTold() {
  return std::exchange(told_, {});
}

}  // namespace sdmsh
