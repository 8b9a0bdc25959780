#include <ServerDataManager/InteractiveErrorMonitor.h>

#include <liborvxmsgs/ReportedErrorMsg.h>
#include <liborvxmsgs/ReportedErrorMsgResponse.h>
#include <PackageProxy/PackageProxy.h>

namespace {

constexpr int kReportedErrorCommand = 1000;

}  // namespace

InteractiveErrorMonitor::InteractiveErrorMonitor(LocallyUniqueID id, PackageProxy* proxy)
    : proxy_(proxy), id_(id) {}

InteractiveErrorMonitor::~InteractiveErrorMonitor() = default;

void InteractiveErrorMonitor::Report(ErrorText text) {
  if (proxy_ == nullptr) return;
  if (text.Severity() != ErrorText::kError && !reportWarnings_) return;
  // No code sets or reads the response. Every report constructs it and destroys it after the
  // message, an oddity that is kept.
  ReportedErrorMsgResponse response;
  ReportedErrorMsg message(id_, text);
  proxy_->SendMessage(kReportedErrorCommand, &message);
}

void InteractiveErrorMonitor::InitializeErrorMonitor(LocallyUniqueID& id, PackageProxy* proxy) {
  id_ = id;
  proxy_ = proxy;
}

void InteractiveErrorMonitor::ReportWarnings() {
  reportWarnings_ = true;
}

void InteractiveErrorMonitor::DoNotReportWarnings() {
  reportWarnings_ = false;
}

bool InteractiveErrorMonitor::GetReportWarnings() const {
  return reportWarnings_;
}
