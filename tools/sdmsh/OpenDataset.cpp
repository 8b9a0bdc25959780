#include "OpenDataset.h"

#include <liborvxmsgs/ReportedErrorMsg.h>
#include <libplatdep/mbstricmp.h>
#include <libvserial/VStream.h>
#include <PackageProxy/PackageProxy.h>

#include <algorithm>
#include <utility>

namespace sdmsh {

// Adds a notice to the output for each message of a pass.
class OpenDataset::CallerObserver final : public SvrDMDataSetObserver {
 public:
  CallerObserver(const OpenDataset& dataset, std::string caller)
      : dataset_(dataset), caller_(std::move(caller)) {}

  void OnDataSetChanged(SvrDMWriteableDataSource const*) override {
    for (const std::string& change : dataset_.changes_.Pass()) {
      dataset_.output_.Notice(
          [&] { return "  " + caller_ + ": " + OnOneLine(change); },
          [&] {
            Json json = {{"event", "notified"}, {"caller", caller_}, {"dataset", dataset_.Name()}};
            json.update(Json::parse(change));
            return json;
          });
    }
  }

 private:
  const OpenDataset& dataset_;
  const std::string caller_;
};

// Simulates the channel to a client in another process: encodes a message, and decodes it from the
// bytes.
class OpenDataset::ClientChannel final : public PackageProxy {
 public:
  ClientChannel(OpenDataset& dataset, std::string caller)
      : dataset_(dataset), caller_(std::move(caller)) {}

  const std::string& CallerName() const { return caller_; }

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
        [&] {
          return "  " + caller_ + ": " + kind + " on " + dataset + ": \"" + text.Text() + "\"";
        },
        [&]() -> Json {
          return {{"event", "reported"}, {"caller", caller_},
                  {"dataset", dataset},  {"datasetId", IdentifierInJson(report.GetDataSetID())},
                  {"kind", kind},        {"severity", text.Severity()},
                  {"text", text.Text()}};
        });
  }

  OpenDataset& dataset_;
  const std::string caller_;
};

OpenDataset::OpenDataset(SvrDMItemPtr item, Output& output)
    : output_(output),
      item_(item),
      handle_(item),
      changes_(output.IsJson() ? ChangeLog::Format::Json : ChangeLog::Format::Words) {
  handle_.Register(changes_);
}

OpenDataset::~OpenDataset() {
  handle_.InitializeErrorMonitor(nullptr);
  handle_.Unregister(changes_);
  for (auto& [caller, observer] : observerOf_) handle_.Unregister(*observer);
}

std::string OpenDataset::Name() const {
  const std::string name = handle_.GetHandle();
  return name.empty() ? ID().ToString() : name;
}

SvrDMDataSetObserver& OpenDataset::ObserverOf(const std::string& caller) {
  const auto known = observerOf_.find(caller);
  if (known != observerOf_.end()) return *known->second;
  return *observerOf_.emplace(caller, std::make_unique<CallerObserver>(*this, caller))
              .first->second;
}

void OpenDataset::Observe(const std::string& caller) {
  SvrDMDataSetObserver& observer = ObserverOf(caller);
  observers_.push_back(caller);
  try {
    handle_.Register(observer);
  } catch (...) {
    observers_.pop_back();
    throw;
  }
}

void OpenDataset::Unobserve(const std::string& caller) {
  handle_.Unregister(ObserverOf(caller));
  std::erase(observers_, caller);
}

bool OpenDataset::IsObservedBy(const std::string& caller) const {
  return std::find(observers_.begin(), observers_.end(), caller) != observers_.end();
}

void OpenDataset::BindClient(const std::string& caller) {
  auto client = caller.empty() ? nullptr : std::make_unique<ClientChannel>(*this, caller);
  handle_.InitializeErrorMonitor(client.get());
  client_ = std::move(client);
}

std::string OpenDataset::Client() const {
  return client_ == nullptr ? "" : client_->CallerName();
}

bool SameName(const std::string& a, const std::string& b) {
  return _ORVXMBstricmp_A(a.c_str(), b.c_str()) == 0;
}

}  // namespace sdmsh
