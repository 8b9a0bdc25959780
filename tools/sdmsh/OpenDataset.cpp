// A dataset, its observers and its client.

#include "OpenDataset.h"

#include <liborvxmsgs/ReportedErrorMsg.h>
#include <libplatdep/mbstricmp.h>
#include <libvserial/VStream.h>
#include <PackageProxy/PackageProxy.h>

#include <algorithm>
#include <new>
#include <utility>

namespace sdmsh {

// Tells its role what the interpreter, which stands in front of it, has made of the messages.
class OpenDataset::RoleObserver final : public SvrDMDataSetObserver {
 public:
  RoleObserver(OpenDataset& dataset, std::string role)
      : dataset_(dataset), role_(std::move(role)) {}

  void OnDataSetChanged(SvrDMWriteableDataSource const*) override {
    // An exception would have the pass repeated, for those who have heard of it as well.
    try {
      for (const Change& change : dataset_.interpreter_.Pass()) {
        dataset_.told_.push_back({role_, dataset_.Name(), change});
      }
    } catch (const std::bad_alloc&) {
      dataset_.lost_ = true;
    }
  }

 private:
  OpenDataset& dataset_;
  const std::string role_;
};

// The way to a client in another process, but for the process: what is sent is written into bytes
// and read from them.
class OpenDataset::ClientChannel final : public PackageProxy {
 public:
  ClientChannel(OpenDataset& dataset, std::string role)
      : dataset_(dataset), role_(std::move(role)) {}

  const std::string& Role() const { return role_; }

  short SendMessage(int command, VSerializable* message) override {
    if (command != kErrorReport) return kUnknownCommand;
    VStream sent;
    message->VSInitSerialization(sent);
    Receive(sent.Bytes());
    return 0;
  }

 private:
  static constexpr int kErrorReport = 1000;
  static constexpr short kUnknownCommand = 1;

  void Receive(std::string_view bytes) {
    VStream received(bytes);
    ReportedErrorMsg report;
    report.Process(received);
    received.ExpectEnd();
    const ErrorText& text = report.GetText();
    dataset_.reported_.push_back({role_, dataset_.Name(), report.GetDataSetID(), text.Severity(),
                                  text.Severity() == ErrorText::kError, text.Text()});
  }

  OpenDataset& dataset_;
  const std::string role_;
};

OpenDataset::OpenDataset(SvrDMItemPtr item) : item_(item), handle_(item) {
  handle_.Register(interpreter_);
}

OpenDataset::~OpenDataset() {
  handle_.InitializeErrorMonitor(nullptr);
  handle_.Unregister(interpreter_);
  for (const auto& [role, observer] : roles_) handle_.Unregister(*observer);
}

std::string OpenDataset::Name() const {
  const std::string name = handle_.GetHandle();
  return name.empty() ? ID().ToString() : name;
}

SvrDMDataSetObserver& OpenDataset::ObserverOf(const std::string& role) {
  auto observer = roles_.find(role);
  if (observer == roles_.end()) {
    observer = roles_.emplace(role, std::make_unique<RoleObserver>(*this, role)).first;
  }
  return *observer->second;
}

void OpenDataset::Observe(const std::string& role) {
  SvrDMDataSetObserver& observer = ObserverOf(role);
  observers_.push_back(role);
  try {
    handle_.Register(observer);
  } catch (...) {
    observers_.pop_back();
    throw;
  }
}

void OpenDataset::Unobserve(const std::string& role) {
  handle_.Unregister(ObserverOf(role));
  std::erase(observers_, role);
}

bool OpenDataset::IsObservedBy(const std::string& role) const {
  return std::find(observers_.begin(), observers_.end(), role) != observers_.end();
}

void OpenDataset::BindClient(const std::string& role) {
  auto client = role.empty() ? nullptr : std::make_unique<ClientChannel>(*this, role);
  handle_.InitializeErrorMonitor(client.get());
  client_ = std::move(client);
}

std::string OpenDataset::Client() const {
  return client_ == nullptr ? "" : client_->Role();
}

std::vector<Reported> OpenDataset::TakeReported() {
  return std::exchange(reported_, {});
}

std::vector<Told> OpenDataset::TakeTold() {
  return std::exchange(told_, {});
}

void OpenDataset::RefuseLoss() {
  if (std::exchange(lost_, false)) throw std::bad_alloc();
}

bool SameName(const std::string& a, const std::string& b) {
  return _ORVXMBstricmp_A(a.c_str(), b.c_str()) == 0;
}

}  // namespace sdmsh
