// A role's locks, taken and released on its thread.

#include "Caller.h"

#include "LockWords.h"

#include <ServerDataManager/LockMonitor.h>

#include <algorithm>
#include <utility>

namespace sdmsh {
namespace {

template <class Matches>
const Hold* LastHold(const std::vector<Hold>& holds, Matches matches) {
  const auto last = std::find_if(holds.rbegin(), holds.rend(), matches);
  return last == holds.rend() ? nullptr : &*last;
}

unsigned int NextNumber() {
  static unsigned int last = 0;
  return ++last;
}

}  // namespace

Caller::Caller(std::string name) : name_(std::move(name)) {
  Do([this] { LockMonitor::NameThread(name_.c_str()); });
}

void Caller::Do(std::function<void()> work) {
  if (IsAcquiring()) return RunHere(work);
  worker_.Start(std::move(work));
  worker_.Finish();
}

void Caller::StartAcquiring(const DatasetPtr& dataset, LockMode mode, bool tryOnly) {
  holds_.reserve(holds_.size() + 1);  // so that a lock that it has acquired can be added
  coming_ = Hold{dataset, mode, nullptr, NextNumber()};
  // Found here: a thread that waits for the lock would be finding it while others go on.
  SvrDMDataSetObserver* const originator = &dataset->ObserverOf(name_);
  worker_.Start([this, tryOnly, originator] {
    SvrDMItemPtr& item = coming_.dataset->Item();
    if (coming_.mode == LockMode::Read) {
      coming_.handle = std::make_unique<SvrDMInputDataSource>(item, tryOnly);
    } else {
      coming_.handle = std::make_unique<SvrDMWriteableDataSource>(item, tryOnly, originator);
    }
  });
}

const Hold& Caller::FinishAcquiring() {
  worker_.Finish();
  coming_.number = NextNumber();
  return holds_.emplace_back(std::move(coming_));
}

std::string Caller::AskedInWords() const {
  return LockInWords(coming_.mode, coming_.dataset->Name());
}

const Hold* Caller::FindHold(const OpenDataset& dataset) const {
  return LastHold(holds_, [&](const Hold& hold) { return hold.dataset.get() == &dataset; });
}

const Hold* Caller::FindWriter(const OpenDataset& dataset) const {
  return LastHold(holds_, [&](const Hold& hold) {
    return hold.dataset.get() == &dataset && hold.mode == LockMode::Write;
  });
}

const Hold* Caller::FindHold(const void* handle) const {
  return LastHold(holds_, [=](const Hold& hold) { return hold.handle.get() == handle; });
}

void Caller::Release(const OpenDataset& dataset) {
  const auto index = static_cast<std::size_t>(FindHold(dataset) - holds_.data());
  Do([&] {
    Hold& hold = holds_[index];
    // A pass that fails here leaves the lock held; in the handle's destructor it would end the
    // process.
    if (hold.mode == LockMode::Write) hold.Writer().Notify();
    hold.handle.reset();
  });
  holds_.erase(holds_.begin() + static_cast<std::ptrdiff_t>(index));
}

}  // namespace sdmsh
