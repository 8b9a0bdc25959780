// ChangeStreamReader: the client's end of a stream of change frames of one dataset.
//
//   ChangeStreamReader reader(id);
//   for (std::string bytes; Receive(bytes);) {
//     if (reader.Apply(bytes) == ChangeStreamReader::Outcome::SnapshotWanted) RequestSnapshot();
//   }

#ifndef CLIENT_CHANGESTREAMREADER_H_
#define CLIENT_CHANGESTREAMREADER_H_

#include <client/ChangeFrame.h>
#include <client/DictionaryDigest.h>
#include <client/DictionaryMirror.h>
#include <ServerDataManager/Export.h>
#include <ServerDataManager/LocallyUniqueID.h>

#include <cstdint>
#include <string>
#include <string_view>

// Maintains a mirror of the dataset's dictionary from frames, and verifies it: Dictionary() always
// has the digest that the server computed from the data source itself. The reader starts with the
// empty dictionary before pass 1, and has two states:
//
//   following   A pass is applied if it is the next pass, and if the dictionary with its messages
//               has the digest in the frame. After a bad frame, a gap in the pass numbers, messages
//               that cannot be applied, or a wrong digest, the dictionary is unchanged and the
//               reader is wanting.
//   wanting     Passes are skipped until a snapshot arrives. A valid snapshot replaces the
//               dictionary, and the reader continues with the pass after it.
//
// So a client that joins late, loses a frame, or does not receive a pass because it made the change
// itself, requests one snapshot and continues. A snapshot is also applied if it was not requested.
// If the channel may lose the request or the snapshot, repeat the request while WantsSnapshot(). A
// dataset with duplicate or null identifiers of variables cannot be followed; its snapshots are
// also invalid.
//
// Threads: not safe; one thread at a time.
class SDM_EXPORT ChangeStreamReader {
 public:
  enum class Outcome {
    Applied,         // Dictionary() is now as of the frame's pass
    SnapshotWanted,  // the frame could not be applied: request a snapshot
    Skipped,         // the frame is a pass, but a snapshot must come first
    AnotherDataset,  // the frame is for another dataset
  };

  explicit ChangeStreamReader(LocallyUniqueID dataset);

  // Processes the bytes of one frame. Throws only std::bad_alloc; then the dictionary is unchanged
  // and the call may be repeated.
  Outcome Apply(std::string_view frame);

  bool WantsSnapshot() const { return !snapshotReason_.empty(); }
  // Why a snapshot is wanted; empty while following.
  const std::string& SnapshotReason() const { return snapshotReason_; }

  // The dictionary as of pass PassNumber(). The reference is valid until the next Apply.
  const ORVX_DataSource& Dictionary() const { return mirror_.Dictionary(); }
  // The number of the last pass in Dictionary(); 0 before the first pass.
  std::uint64_t PassNumber() const { return passNumber_; }
  // The case sequence as of pass PassNumber(), and the digest of Dictionary().
  std::uint32_t CaseSequence() const { return caseSequence_; }
  const DictionaryDigest& Digest() const { return digest_; }

 private:
  Outcome Want(const std::string& why);
  void Follow(const ChangeFrame& frame);

  const LocallyUniqueID dataset_;
  DictionaryMirror mirror_;
  std::uint64_t passNumber_ = 0;
  std::uint32_t caseSequence_ = 0;
  DictionaryDigest digest_;
  std::string snapshotReason_;
};

#endif  // CLIENT_CHANGESTREAMREADER_H_
