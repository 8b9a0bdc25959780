// ChangeFrame: one pass of change messages, or one whole dictionary, on its way to a client.
//
//   ChangeFrame frame;
//   frame.dataset = id;
//   frame.passNumber = 12;
//   frame.AddMessage(message);
//   proxy.SendMessage(kChangeFrameCommand, &frame);
//   ...
//   ChangeFrame received = ReadChangeFrame(bytes);

#ifndef CLIENT_CHANGEFRAME_H_
#define CLIENT_CHANGEFRAME_H_

#include <client/DictionaryDigest.h>
#include <liborvxdemg/DataSetMsg.h>
#include <ServerDataManager/ErrorMessageGlue.h>
#include <ServerDataManager/Export.h>
#include <ServerDataManager/LocallyUniqueID.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

// The command number under which frames go through a PackageProxy: the next one after that of error
// reports.
inline constexpr int kChangeFrameCommand = 1001;

// A plain value. On the wire, after the signature and the version that every serialised object
// begins with:
//
//   Uint64  checksum: XXH3, 64 bits, of the bytes of the body
//   String  body:
//             Uint8   kind
//             Uint32  dataset identifier
//             Uint64  pass number
//             Uint32  case sequence
//             Uint64  digest, high half
//             Uint64  digest, low half
//             String  messages, one after the other, each as it serialises itself
//
// Reading throws VStreamError for bytes that are no such frame: one that was cut, or in which a
// byte has changed, is refused before anything in it is looked at.
//
// Threads: one object at a time on one thread, or only read.
class SDM_EXPORT ChangeFrame final : public MessageGlue<ChangeFrame> {
 public:
  enum class Kind : std::uint8_t {
    Pass,      // what changed since the pass before
    Snapshot,  // what makes the whole dictionary out of an empty one
  };

  static const char* VSignature() { return "ServerDataManager::ChangeFrame"; }
  static unsigned int Version() { return 1; }

  // Writes the message behind those that are there. Throws what the message throws, and
  // std::invalid_argument where it cannot serialise itself.
  void AddMessage(DataSetMsg& message);

  // The messages, in order. Throws VStreamError where the bytes are no change messages.
  std::vector<std::unique_ptr<DataSetMsg>> Messages() const;

  void Serialize(VStream& stream);

  Kind kind = Kind::Pass;
  LocallyUniqueID dataset;
  // Of a pass: its number, counted from 1. Of a snapshot: that of the last pass before it.
  std::uint64_t passNumber = 0;
  std::uint32_t caseSequence = 0;
  // Of the dictionary as it is once the messages were applied.
  DictionaryDigest digest;
  // The messages as bytes.
  std::string messageBytes;

 private:
  void SerializeBody(VStream& stream);
};

// The frame that `bytes` are, all of them. Throws VStreamError for any others.
// Threads: any.
SDM_EXPORT ChangeFrame ReadChangeFrame(std::string_view bytes);

#endif  // CLIENT_CHANGEFRAME_H_
