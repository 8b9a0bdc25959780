// Datasets, callers and the way of a command to its function.

#include "Shell.h"

#include "Arguments.h"
#include "Command.h"
#include "CommandError.h"

#include <liborvxdemg/ErrorMsg.h>
#include <ServerDataManager/serverdatamgr.h>

#include <algorithm>
#include <charconv>
#include <optional>

namespace sdmsh {
namespace {

// "0:3"; nothing where the text does not read like that.
std::optional<LocallyUniqueID> ParseID(const std::string& text) {
  unsigned int domain = 0;
  unsigned int serial = 0;
  const char* const end = text.data() + text.size();
  const auto colon = std::from_chars(text.data(), end, domain);
  if (colon.ec != std::errc() || colon.ptr == end || *colon.ptr != ':') return std::nullopt;
  const auto rest = std::from_chars(colon.ptr + 1, end, serial);
  if (rest.ec != std::errc() || rest.ptr != end) return std::nullopt;
  return LocallyUniqueID(domain, serial);
}

// The dataset that matches among those that the caller holds, the last one that it took; null for
// none.
template <class Matches>
DatasetPtr Held(const Caller& caller, Matches matches) {
  const std::vector<Hold>& holds = caller.Holds();
  const auto last = std::find_if(holds.rbegin(), holds.rend(),
                                 [&](const Hold& hold) { return matches(*hold.dataset); });
  return last == holds.rend() ? nullptr : last->dataset;
}

}  // namespace

Shell::Shell(ServerDataManager& registry, Printer& printer, Bound bound)
    : registry_(registry),
      printer_(printer),
      watch_(registry),
      locks_([this](const Event& event) { Say(event); }, bound) {}

Shell::~Shell() {
  Hide({});
  for (const DatasetPtr& dataset : datasets_) registry_.Delete(dataset->ID());
}

void Shell::Execute(const std::string& role, const std::vector<std::string>& words) {
  const Command* const command = FindCommand(words.front());
  if (command == nullptr) {
    throw CommandError("no command \"" + words.front() + "\"; `help` lists them");
  }
  Caller& caller = locks_.CallerNamed(role);
  locks_.RefuseWaiting(caller);
  Arguments arguments(*command, {words.begin() + 1, words.end()});
  command->run(*this, caller, arguments);
  SayWhatWatchersWereTold();
}

void Shell::Say(const Event& event) {
  // A pass announces its dataset to the registry's observers before its own hear of changes.
  if (std::holds_alternative<Told>(event)) SayWhatWatchersWereTold();
  printer_.Print(event);
  SayWhatWatchersWereTold();
}

void Shell::SayWhatWatchersWereTold() {
  for (const RegistryTold& told : watch_.TakeTold()) printer_.Print(told);
}

DatasetPtr Shell::Find(const Caller& caller, const std::string& nameOrID) const {
  const auto id = ParseID(nameOrID);
  return id ? FindByID(caller, *id) : FindByName(caller, nameOrID);
}

DatasetPtr Shell::FindByID(const Caller& caller, LocallyUniqueID id) const {
  try {
    return Known(registry_.GetDataSet(id)->ID());
  } catch (const ErrorMsg&) {  // no dataset of the registry
    const auto matches = [&](const OpenDataset& dataset) { return dataset.ID() == id; };
    if (const DatasetPtr dataset = Held(caller, matches)) return dataset;
    throw CommandError(InWords(id) + ": " + ExceptionInWords());
  }
}

DatasetPtr Shell::FindByName(const Caller& caller, const std::string& name) const {
  if (!name.empty()) {
    const SvrDMItemPtr item = registry_.GetDataSet(name);
    if (item.IsValid()) return Known(item->ID());
    const auto matches = [&](const OpenDataset& dataset) { return SameName(dataset.Name(), name); };
    if (const DatasetPtr dataset = Held(caller, matches)) return dataset;
  }
  throw CommandError("no dataset is called \"" + name + "\"");
}

void Shell::RefuseName(const std::string& name, const OpenDataset* renamed) const {
  if (name.empty()) throw CommandError("a dataset cannot have an empty name");
  if (ParseID(name)) {
    throw CommandError("a dataset cannot be called \"" + name +
                       "\": that reads like an identifier");
  }
  const SvrDMItemPtr item = registry_.GetDataSet(name);
  if (item.IsValid() && (renamed == nullptr || item->ID() != renamed->ID())) {
    throw CommandError("there is a dataset called \"" + item->Handle() + "\" already");
  }
}

std::vector<DatasetPtr> Shell::Datasets() const {
  std::vector<DatasetPtr> datasets;
  for (const SvrDMDataset& handle : registry_.GetAllDatasets()) {
    datasets.push_back(Known(handle.GetDataSetID()));
  }
  return datasets;
}

bool Shell::IsClosed(const OpenDataset& dataset) const {
  return std::none_of(datasets_.begin(), datasets_.end(),
                      [&](const DatasetPtr& known) { return known.get() == &dataset; });
}

DatasetPtr Shell::Known(LocallyUniqueID id) const {
  const auto found = std::find_if(datasets_.begin(), datasets_.end(),
                                  [id](const DatasetPtr& dataset) { return dataset->ID() == id; });
  if (found == datasets_.end()) {
    throw CommandError("dataset " + InWords(id) + " was not opened by this shell");
  }
  return *found;
}

DatasetPtr Shell::Adopt(LocallyUniqueID id, const std::string& name) {
  const DatasetPtr dataset = std::make_shared<OpenDataset>(registry_.GetDataSet(id));
  dataset->Handle().SetHandle(name);
  return datasets_.emplace_back(dataset);
}

void Shell::Hide(const std::vector<std::string>& names) {
  auto hidden = names.empty() ? nullptr : std::make_unique<HiddenVariables>(names);
  registry_.RegisterFilter(hidden.get());
  hidden_ = std::move(hidden);
}

void Shell::Close(const OpenDataset& dataset) {
  registry_.Delete(dataset.ID());
  std::erase_if(datasets_, [&](const DatasetPtr& known) { return known.get() == &dataset; });
}

bool Shell::CloseDown(const std::string& file) {
  bool good = true;
  locks_.CloseDown([&](const std::string& text) {
    Say(Failure{file, 0, text});
    good = false;
  });
  return good;
}

}  // namespace sdmsh
