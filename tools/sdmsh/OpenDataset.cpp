#include "OpenDataset.h"

#include "DictionaryJson.h"

#include <liborvxdemg/DataSetMsg.h>
#include <liborvxmsgs/ReportedErrorMsg.h>
#include <libplatdep/mbstricmp.h>
#include <libvserial/VStream.h>
#include <PackageProxy/PackageProxy.h>
#include <ServerDataManager/SvrDMWriteableDataSource.h>

#include <algorithm>
#include <exception>
#include <new>
#include <utility>

namespace sdmsh {

void ChangeInterpreter::OnDataSetChanged(SvrDMWriteableDataSource const* writer) {
  if (!interrupted_) pass_.clear();
  interrupted_ = true;  // until Interpret has succeeded
  try {
    if (failure_.empty()) Interpret(*writer);
  } catch (const std::bad_alloc&) {
    throw;  // the dataset repeats the pass, and Interpret continues where it stopped
  } catch (const std::exception& error) {
    failure_ = error.what();
  }
  interrupted_ = false;
  ++passCount_;
}

void ChangeInterpreter::Interpret(SvrDMWriteableDataSource const& writer) {
  const std::vector<DataSetMsg*>& messages = writer.GetNotifications();
  while (pass_.size() < messages.size()) {
    const DataSetMsg& message = *messages[pass_.size()];
    const ORVX_DataSource& before = mirror_.Dictionary();
    Change& change = pass_.emplace_back();
    try {
      if (output_.IsJson()) {
        change.json = ChangeInJson(message, before);
      } else {
        change.words = OnOneLine(message.ToString(&before));
      }
      mirror_.Apply(message);
    } catch (...) {
      pass_.pop_back();
      throw;
    }
  }
}

// Adds a notice to the output for each message of a pass. The interpreter is notified first and has
// formatted the messages.
class OpenDataset::RoleObserver final : public SvrDMDataSetObserver {
 public:
  RoleObserver(OpenDataset& dataset, std::string role)
      : dataset_(dataset), role_(std::move(role)) {}

  void OnDataSetChanged(SvrDMWriteableDataSource const*) override {
    for (const ChangeInterpreter::Change& change : dataset_.interpreter_.Pass()) {
      dataset_.output_.Notice([&] { return "  " + role_ + ": " + change.words; },
                              [&] { return InJson(change); });
    }
  }

 private:
  Json InJson(const ChangeInterpreter::Change& change) const {
    Json json = {{"event", "told"}, {"role", role_}, {"dataset", dataset_.Name()}};
    json.update(change.json);
    return json;
  }

  OpenDataset& dataset_;
  const std::string role_;
};

// Simulates the channel to a client in another process: encodes a message, and decodes it from the
// bytes.
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
    const char* const kind = text.Severity() == ErrorText::kError ? "error" : "warning";
    const std::string dataset = dataset_.Name();
    ++dataset_.reportCount_;
    dataset_.output_.Notice(
        [&] { return "  " + role_ + ": " + kind + " on " + dataset + ": \"" + text.Text() + "\""; },
        [&]() -> Json {
          return {{"event", "reported"}, {"role", role_},
                  {"dataset", dataset},  {"datasetId", IdentifierInJson(report.GetDataSetID())},
                  {"kind", kind},        {"severity", text.Severity()},
                  {"text", text.Text()}};
        });
  }

  OpenDataset& dataset_;
  const std::string role_;
};

OpenDataset::OpenDataset(SvrDMItemPtr item, Output& output)
    : output_(output), item_(item), handle_(item), interpreter_(output) {
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

bool SameName(const std::string& a, const std::string& b) {
  return _ORVXMBstricmp_A(a.c_str(), b.c_str()) == 0;
}

}  // namespace sdmsh
