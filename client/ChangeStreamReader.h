// ChangeStreamReader: the client's end of a stream of change frames about one dataset.
//
//   ChangeStreamReader reader(id);
//   for (std::string bytes; Receive(bytes);) {
//     if (reader.Take(bytes) == ChangeStreamReader::Outcome::SnapshotWanted) AskForSnapshot();
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

// Keeps the dataset's dictionary from frames, and knows that it is right: what Dictionary() shows
// always has the digest that the server took of the data source itself. It begins with the empty
// dictionary before pass 1, and is in one of two states:
//
//   following      a pass is applied when it is the next one and the dictionary has the frame's
//                  digest afterwards. Anything else (a bad frame, a gap in the pass numbers,
//                  messages that do not apply, another digest) leaves the dictionary as it is and
//                  leads to
//   wanting        passes are passed over until a snapshot comes. One that fits replaces the
//                  dictionary, and the reader follows from its pass on.
//
// So a client that joins late, that lost a frame, or that was not told of a pass because the change
// was its own, asks once and goes on. Where the server sends a snapshot unasked, it is taken too.
// Over a channel that may lose the request or the snapshot, ask again while WantsSnapshot(). A
// dataset whose variables share an identifier, or have none, cannot be followed: its snapshots do
// not fit either.
//
// Threads: not safe; one thread at a time.
class SDM_EXPORT ChangeStreamReader {
 public:
  enum class Outcome {
    Applied,         // Dictionary() is that of the frame's pass
    SnapshotWanted,  // the frame could not be followed: the caller asks for a snapshot
    PassedOver,      // a pass, while a snapshot is wanted
    AnotherDataset,  // a frame about a dataset that this reader does not follow
  };

  explicit ChangeStreamReader(LocallyUniqueID dataset);

  // Takes the bytes of one frame. Throws nothing but std::bad_alloc; the dictionary is then as it
  // was and the frame may be given again.
  Outcome Take(std::string_view frame);

  bool WantsSnapshot() const { return !whyWanted_.empty(); }
  // What could not be followed, in words; empty while following.
  const std::string& WhyWanted() const { return whyWanted_; }

  // As of pass PassNumber(). Borrowed until the next Take.
  const ORVX_DataSource& Dictionary() const { return mirror_.Dictionary(); }
  // 0 before the first.
  std::uint64_t PassNumber() const { return passNumber_; }
  // The dataset's case sequence number then, and the digest of Dictionary().
  std::uint32_t CaseSequence() const { return caseSequence_; }
  const DictionaryDigest& Digest() const { return digest_; }

 private:
  Outcome Want(const std::string& why);
  void Follow(const ChangeFrame& frame);

  const LocallyUniqueID dataset_;
  DictionaryMirror mirror_;
  DictionaryDigester digester_;
  std::uint64_t passNumber_ = 0;
  std::uint32_t caseSequence_ = 0;
  DictionaryDigest digest_;
  std::string whyWanted_;
};

#endif  // CLIENT_CHANGESTREAMREADER_H_
