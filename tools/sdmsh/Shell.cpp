// Finds datasets by name, and runs commands.

#include "Shell.h"

#include "Arguments.h"
#include "CommandError.h"

#include <libdatasrc/ORVX_DataSource.h>
#include <ServerDataManager/serverdatamgr.h>

#include <algorithm>
#include <charconv>
#include <new>
#include <string_view>
#include <utility>

namespace sdmsh {
namespace {

// Parses an identifier such as "0:3"; returns nullopt for any other text.
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

// Whether the command takes a dataset as its first argument. An optional dataset is taken if there
// are any arguments.
bool TakesDataset(const Command& command, const Arguments& arguments) {
  const std::string_view usage = command.arguments;
  return usage.starts_with("DATASET") || (usage == "[DATASET]" && !arguments.AtEnd());
}

}  // namespace

Shell::Shell(ServerDataManager& registry, Output& output, Bound bound)
    : registry_(registry), output_(output), locks_(registry, *this, bound) {}

Shell::~Shell() {
  Hide({});
  DropNew();
  for (const DatasetPtr& dataset : datasets_) registry_.Delete(dataset->ID());
}

void Shell::Execute(const std::string& caller, const std::vector<std::string>& words) {
  try {
    // Does what the previous command has left undone if it ran out of memory.
    DropNew();
    locks_.FinishAcquiring();
    Run(caller, words);
  } catch (const std::bad_alloc&) {
    throw;
  } catch (...) {
    throw CommandError(ExceptionText());
  }
  if (output_.TakeLoss()) throw std::bad_alloc();
}

void Shell::Run(const std::string& caller, const std::vector<std::string>& words) {
  const Command& command = CommandNamed(words.front());
  Call call(command, {words.begin() + 1, words.end()}, *this, locks_.CallerNamed(caller));
  try {
    if (TakesDataset(command, call)) call.dataset = Find(call.caller, call.Take("DATASET"));
    if (command.acquiresLock) {
      command.run(call);
    } else {
      call.caller.Do([&] { command.run(call); });
    }
    new_.reset();
    output_.SayNotices();
  } catch (...) {
    output_.TakeLoss();  // the exception is reported instead of the loss
    DropNew();
    throw;
  }
}

DatasetPtr Shell::Find(const Caller& caller, const std::string& nameOrID) const {
  const auto id = ParseID(nameOrID);
  const auto isMeant = [&](const DatasetPtr& dataset) {
    return id ? dataset->ID() == *id : SameName(dataset->Name(), nameOrID);
  };
  const auto open = std::ranges::find_if(datasets_, isMeant);
  if (open != datasets_.end()) return *open;
  const Hold* const hold =
      locks_.FindLast(caller, [&](const Hold& each) { return isMeant(each.dataset); });
  if (hold != nullptr) return hold->dataset;
  const Hold* const asked = locks_.Asked(caller);
  if (asked != nullptr && isMeant(asked->dataset)) return asked->dataset;
  if (id) throw CommandError(id->ToString() + ": no dataset has this identifier (error 2001)");
  std::vector<std::string> names;
  for (const DatasetPtr& dataset : datasets_) names.push_back(dataset->Name());
  throw CommandError("no dataset is called \"" + nameOrID + "\"" + DidYouMean(nameOrID, names));
}

void Shell::RefuseName(const std::string& name, const OpenDataset* renamed) const {
  if (name.empty()) throw CommandError("a dataset cannot have an empty name");
  if (ParseID(name)) {
    throw CommandError("a dataset cannot be called \"" + name +
                       "\": that reads like an identifier");
  }
  for (const DatasetPtr& dataset : datasets_) {
    if (dataset.get() == renamed || !SameName(dataset->Name(), name)) continue;
    throw CommandError("there is a dataset called \"" + dataset->Name() + "\" already");
  }
}

DatasetPtr Shell::Open(std::unique_ptr<ORVX_DataSource> source, const std::string& file,
                       const std::string& name, bool quiet) {
  try {
    new_ = source == nullptr ? registry_.AddEmpty(quiet)
                             : registry_.Add(std::move(source), file, quiet);
  } catch (...) {
    if (hidden_ != nullptr) hidden_->EndAddition(/*isAdded=*/false);
    throw;
  }
  if (hidden_ != nullptr) hidden_->EndAddition(/*isAdded=*/true);
  return Adopt(*new_, name);
}

DatasetPtr Shell::Adopt(LocallyUniqueID id, const std::string& name) {
  const DatasetPtr dataset = std::make_shared<OpenDataset>(registry_.GetDataSet(id), output_);
  dataset->Handle().SetHandle(name);
  datasets_.push_back(dataset);
  return dataset;
}

// Deletes the dataset that a failed command has registered.
void Shell::DropNew() {
  if (!new_) return;
  registry_.Delete(*new_);
  std::erase_if(datasets_, [&](const DatasetPtr& known) { return known->ID() == *new_; });
  new_.reset();
}

void Shell::Hide(const std::vector<std::string>& names) {
  auto hidden = names.empty() ? nullptr : std::make_unique<HiddenVariables>(names);
  registry_.RegisterFilter(hidden.get());
  hidden_ = std::move(hidden);
}

bool Shell::Close(const DatasetPtr& dataset) {
  const auto open = std::ranges::find(datasets_, dataset);
  if (open == datasets_.end()) return false;
  registry_.Delete(dataset->ID());
  datasets_.erase(open);
  return true;
}

bool Shell::CloseDown(const std::string& file) {
  bool good = true;
  locks_.CloseDown([&](const std::string& text) {
    output_.Fail(file, 0, text);
    good = false;
  });
  output_.SayNotices();
  if (output_.TakeLoss()) throw std::bad_alloc();
  return good && output_.ReachesItsReader();
}

}  // namespace sdmsh
