// A registry observer for each role that watches.

#include "RegistryWatch.h"

#include <ServerDataManager/ServerDataManagerObserver.h>
#include <ServerDataManager/serverdatamgr.h>

#include <new>
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
    // An exception would leave a dataset registered of which nobody has the identifier.
    try {
      watch_.told_.push_back({role_, id, HandleOf(id), std::move(what)});
    } catch (const std::bad_alloc&) {
      watch_.lost_ = true;
    }
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
  auto observer = std::make_unique<RoleObserver>(*this, role);
  const auto [place, isNew] = observers_.try_emplace(role, std::move(observer));
  try {
    registry_.Register(*place->second);
  } catch (...) {
    if (isNew) observers_.erase(place);
    throw;
  }
}

void RegistryWatch::End(const std::string& role) {
  const auto place = observers_.find(role);
  registry_.Unregister(*place->second);
  observers_.erase(place);
}

std::vector<RegistryTold> RegistryWatch::TakeTold() {
  if (std::exchange(lost_, false)) throw std::bad_alloc();
  return std::exchange(told_, {});
}

}  // namespace sdmsh
