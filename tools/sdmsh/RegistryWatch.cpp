#include "RegistryWatch.h"

#include "DictionaryJson.h"

#include <ServerDataManager/ServerDataManagerObserver.h>
#include <ServerDataManager/serverdatamgr.h>

#include <utility>

namespace sdmsh {

// The observer must not throw: after an exception the dataset would stay registered, but its
// identifier would not be returned to anybody.
class RegistryWatch::RoleObserver final : public ServerDataManagerObserver {
 public:
  RoleObserver(RegistryWatch& watch, std::string role) : watch_(watch), role_(std::move(role)) {}

  void DataSetCreated(const LocallyUniqueID& id, const std::string& fileName) override {
    watch_.output_.Notice([&] { return InWords(id) + " created, file " + OrNone(fileName); },
                          [&] {
                            Json json = InJson("created", id);
                            json["file"] = fileName;
                            return json;
                          });
  }

  void DataSetDeleted(const LocallyUniqueID& id) override {
    watch_.output_.Notice([&] { return InWords(id) + " deleted"; },
                          [&] { return InJson("deleted", id); });
  }

 private:
  std::string InWords(LocallyUniqueID id) const {
    const std::string handle = HandleOf(id);
    return "  " + role_ + ": dataset " + id.ToString() +
           (handle.empty() ? "" : " (" + handle + ")");
  }

  Json InJson(const char* event, LocallyUniqueID id) const {
    return {
        {"event", event}, {"role", role_}, {"id", IdentifierInJson(id)}, {"handle", HandleOf(id)}};
  }

  // Empty for a dataset that was just opened, and for a closed dataset whose creation notice comes
  // with a later pass. Looking up a closed dataset in the registry would throw.
  std::string HandleOf(LocallyUniqueID id) const {
    for (const SvrDMDataset& dataset : watch_.registry_.GetAllDatasets()) {
      if (dataset.GetDataSetID() == id) return dataset.GetHandle();
    }
    return "";
  }

  RegistryWatch& watch_;
  const std::string role_;
};

RegistryWatch::RegistryWatch(ServerDataManager& registry, Output& output)
    : registry_(registry), output_(output) {}

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

}  // namespace sdmsh
