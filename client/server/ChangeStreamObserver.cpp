#include <client/server/ChangeStreamObserver.h>

#include <client/DictionaryDigest.h>
#include <client/DictionaryMessages.h>
#include <libdatasrc/DataFreeDataSource.h>
#include <liborvxdemg/ErrorMsg.h>
#include <liborvxdemg/FileSpecChangeMsg.h>
#include <PackageProxy/PackageProxy.h>
#include <ServerDataManager/SvrDMWriteableDataSource.h>

#include <any>
#include <cstddef>
#include <stdexcept>
#include <utility>

namespace {

// A dataset without a data source is sent as an empty data source.
const ORVX_DataSource& OrEmpty(const ORVX_DataSource* source) {
  static const DataFreeDataSource empty;
  return source != nullptr ? *source : empty;
}

// Whether clients were notified of the file specification: a pass or SaveDataset that reports a
// file specification also makes it the file name, so the two are then equal.
bool FileSpecIsReported(const ORVX_DataSource& source, const SvrDMDataset& dataset) {
  const std::string fileName = dataset.GetFileName();
  return !fileName.empty() && fileName == source.GetFileSpec();
}

// A pass, encoded once for all streams of the dataset.
struct EncodedPass {
  std::size_t messageCount;
  std::string messageBytes;
  DictionaryDigest digest;
};

EncodedPass Encoded(const SvrDMWriteableDataSource& writer) {
  ChangeFrame frame;
  for (DataSetMsg* message : writer.GetNotifications()) {
    if (message != nullptr) frame.AddMessage(*message);
  }
  return {writer.GetNotifications().size(), std::move(frame.messageBytes),
          DigestOf(OrEmpty(writer.GetDataSource()))};
}

// Fills in messages and digest. Copies them if another stream has already encoded the pass
// (PassData) and no observer has queued a message since; otherwise encodes them.
void FillIn(ChangeFrame& frame, const SvrDMWriteableDataSource& writer) {
  std::any* const shared = writer.PassData();
  const auto* pass = std::any_cast<EncodedPass>(shared);
  std::any own;
  if (pass == nullptr || pass->messageCount != writer.GetNotifications().size()) {
    const bool maySet = shared != nullptr && (pass != nullptr || !shared->has_value());
    pass = &(maySet ? *shared : own).emplace<EncodedPass>(Encoded(writer));
  }
  frame.messageBytes = pass->messageBytes;
  frame.digest = pass->digest;
}

std::string ErrorTextOf(const std::exception_ptr& failure) {
  try {
    std::rethrow_exception(failure);
  } catch (const std::exception& error) {
    return error.what();
  } catch (const ErrorMsg& error) {
    return "error " + std::to_string(error.GetCode()) + " " + error.GetText();
  } catch (...) {
    return "unknown exception";
  }
}

}  // namespace

ChangeStreamObserver::ChangeStreamObserver(PackageProxy& proxy) : proxy_(proxy) {}

ChangeStreamObserver::~ChangeStreamObserver() = default;

template <class Fill>
void ChangeStreamObserver::Send(Fill fill) noexcept {
  const sdm_internal::MutexLock guard(sending_);
  if (lost_) return;
  try {
    ChangeFrame frame;
    fill(frame);
    const short status = proxy_.SendMessage(kChangeFrameCommand, &frame);
    if (status != 0) {
      throw std::runtime_error("the channel returned status " + std::to_string(status));
    }
  } catch (...) {
    why_ = std::current_exception();
    lost_ = true;
  }
}

void ChangeStreamObserver::OnDataSetChanged(SvrDMWriteableDataSource const* writer) {
  Send([&](ChangeFrame& frame) SDM_REQUIRES(sending_) {
    frame.kind = ChangeFrame::Kind::Pass;
    frame.dataset = writer->GetDataSetID();
    frame.passNumber = ++passNumber_;
    frame.caseSequence = writer->GetCaseSequence();
    FillIn(frame, *writer);
  });
}

void ChangeStreamObserver::SendSnapshot(const SvrDMInputDataSource& reader) {
  Send([&](ChangeFrame& frame) SDM_REQUIRES(sending_) {
    const ORVX_DataSource& source = OrEmpty(*reader);
    frame.kind = ChangeFrame::Kind::Snapshot;
    frame.dataset = reader.GetDataSetID();
    frame.passNumber = passNumber_;
    frame.caseSequence = reader.GetCaseSequence();
    for (const auto& message : DictionaryMessages(source, frame.dataset, frame.caseSequence)) {
      frame.AddMessage(*message);
    }
    if (FileSpecIsReported(source, reader)) {
      FileSpecChangeMsg fileSpec(0, frame.dataset, frame.caseSequence, source.GetFileSpec(), true);
      frame.AddMessage(fileSpec);
    }
    frame.digest = DigestOf(source);
  });
}

bool ChangeStreamObserver::IsLost() const {
  return lost_;
}

std::optional<std::string> ChangeStreamObserver::UnregisterIfLost(SvrDMDataset& dataset) {
  if (!lost_ || unregistered_.exchange(true)) return std::nullopt;
  dataset.Unregister(*this);
  return ErrorTextOf(why_);
}
