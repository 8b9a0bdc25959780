#include <client/ChangeStreamReader.h>

#include <libvserial/VStream.h>

#include <new>
#include <stdexcept>
#include <utility>

namespace {

// Thrown for a valid frame with a wrong pass number or digest.
class CannotFollow : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

std::string Described(const ChangeFrame& frame) {
  return (frame.kind == ChangeFrame::Kind::Snapshot ? "the snapshot after pass " : "pass ") +
         std::to_string(frame.passNumber);
}

}  // namespace

ChangeStreamReader::ChangeStreamReader(LocallyUniqueID dataset)
    : dataset_(dataset), digest_(DigestOf(mirror_.Dictionary())) {}

ChangeStreamReader::Outcome ChangeStreamReader::Apply(std::string_view bytes) {
  ChangeFrame frame;
  try {
    frame = ReadChangeFrame(bytes);
  } catch (const VStreamError& error) {
    return Want(std::string("bad frame: ") + error.what());
  }
  if (frame.dataset != dataset_) return Outcome::AnotherDataset;
  if (WantsSnapshot() && frame.kind == ChangeFrame::Kind::Pass) return Outcome::Skipped;
  try {
    Follow(frame);
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const std::exception& error) {
    return Want(Described(frame) + ": " + error.what());
  }
  snapshotReason_.clear();
  return Outcome::Applied;
}

ChangeStreamReader::Outcome ChangeStreamReader::Want(const std::string& why) {
  snapshotReason_ = why;
  return Outcome::SnapshotWanted;
}

void ChangeStreamReader::Follow(const ChangeFrame& frame) {
  const auto requireDigest = [&](const ORVX_DataSource& dictionary) {
    const DictionaryDigest digest = DigestOf(dictionary);
    if (digest == frame.digest) return;
    throw CannotFollow("the dictionary has the digest " + digest.AsText() + ", the dataset " +
                       frame.digest.AsText());
  };
  if (frame.kind == ChangeFrame::Kind::Snapshot) {
    DictionaryMirror fresh;
    fresh.Apply(frame.Messages(), requireDigest);
    mirror_ = std::move(fresh);
  } else {
    if (frame.passNumber != passNumber_ + 1) {
      throw CannotFollow("does not follow pass " + std::to_string(passNumber_));
    }
    mirror_.Apply(frame.Messages(), requireDigest);
  }
  passNumber_ = frame.passNumber;
  caseSequence_ = frame.caseSequence;
  digest_ = frame.digest;
}
