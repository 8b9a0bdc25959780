// ChangeFrame: the messages of one notification pass, or a snapshot of a whole dictionary, encoded
// for a client.
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

// The command number with which a PackageProxy sends frames. Error reports have the number 1000.
inline constexpr int kChangeFrameCommand = 1001;

// A plain value. Its encoded form, after the signature and the version that every serialised object
// has:
//
//   Uint64  checksum: XXH3, 64 bits, of the bytes of the body
//   String  body:
//             Uint8   kind
//             Uint32  dataset identifier
//             Uint64  pass number
//             Uint32  case sequence
//             Uint64  digest, high half
//             Uint64  digest, low half
//             String  the messages, each encoded with VSInitSerialization
//
// Decoding throws VStreamError for invalid bytes. The checksum detects truncated or corrupted
// frames before the body is decoded.
//
// Threads: several threads may read or encode an object, or one thread may change it.
class SDM_EXPORT ChangeFrame final : public MessageGlue<ChangeFrame> {
 public:
  enum class Kind : std::uint8_t {
    Pass,      // the changes since the previous pass
    Snapshot,  // messages that build the whole dictionary from an empty dictionary
  };

  static const char* VSignature() { return "ServerDataManager::ChangeFrame"; }
  static unsigned int Version() { return 2; }

  // Appends a message. Throws std::invalid_argument if the message cannot be serialised. Exceptions
  // that the message throws propagate.
  void AddMessage(DataSetMsg& message);

  // Decodes the messages, in order. Throws VStreamError if messageBytes is invalid.
  std::vector<std::unique_ptr<DataSetMsg>> Messages() const;

  void Serialize(VStream& stream);

  Kind kind = Kind::Pass;
  LocallyUniqueID dataset;
  // For a pass, its number, counted from 1; for a snapshot, the number of the last pass before it.
  std::uint64_t passNumber = 0;
  std::uint32_t caseSequence = 0;
  // The digest of the dictionary after the messages are applied.
  DictionaryDigest digest;
  std::string messageBytes;

 private:
  void SerializeBody(VStream& stream);
};

// Decodes a frame, but not its messages: Messages() does that. Throws VStreamError if `bytes` is
// not exactly one frame.
// Threads: any.
SDM_EXPORT ChangeFrame ReadChangeFrame(std::string_view bytes);

#endif  // CLIENT_CHANGEFRAME_H_
