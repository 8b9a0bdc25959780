#include <client/ChangeFrame.h>

#include <liborvxdemg/ReadDataSetMsg.h>
#include <libvserial/VStream.h>

#include <xxhash.h>

#include <cstddef>
#include <stdexcept>

void ChangeFrame::AddMessage(DataSetMsg& message) {
  VStream stream;
  if (!message.VSInitSerialization(stream)) {
    throw std::invalid_argument(std::string(message.VSConcreteSignature()) +
                                " cannot be serialised");
  }
  messageBytes += stream.Bytes();
}

std::vector<std::unique_ptr<DataSetMsg>> ChangeFrame::Messages() const {
  std::vector<std::unique_ptr<DataSetMsg>> messages;
  VStream stream{std::string_view(messageBytes)};
  while (stream.Remaining() > 0) messages.push_back(ReadDataSetMsg(stream));
  return messages;
}

// The body is encoded as one string, so that the checksum can be verified before the body is
// decoded.
void ChangeFrame::Serialize(VStream& stream) {
  std::string body;
  if (stream.Writing()) {
    VStream written;
    SerializeBody(written);
    body = written.Bytes();
  }
  const std::size_t start = stream.Position();
  std::uint64_t checksum = XXH3_64bits(body.data(), body.size());
  stream.Uint64(checksum);
  stream.String(body);
  if (stream.Writing()) return;

  const std::uint64_t expected = XXH3_64bits(body.data(), body.size());
  if (checksum != expected) {
    throw VStreamError(start, "the checksum " + std::to_string(expected) + " of what follows",
                       std::to_string(checksum));
  }
  VStream read{std::string_view(body)};
  SerializeBody(read);
  read.ExpectEnd();
}

void ChangeFrame::SerializeBody(VStream& stream) {
  const std::size_t start = stream.Position();
  auto kindNumber = static_cast<std::uint8_t>(kind);
  stream.Uint8(kindNumber);
  if (kindNumber > static_cast<std::uint8_t>(Kind::Snapshot)) {
    throw VStreamError(start, "a kind of frame, 0 or 1", std::to_string(kindNumber));
  }
  if (!stream.Writing()) kind = static_cast<Kind>(kindNumber);
  SerializeID(stream, dataset);
  stream.Uint64(passNumber);
  stream.Uint32(caseSequence);
  stream.Uint64(digest.high);
  stream.Uint64(digest.low);
  stream.String(messageBytes);
}

ChangeFrame ReadChangeFrame(std::string_view bytes) {
  VStream stream(bytes);
  ChangeFrame frame;
  frame.Process(stream);
  stream.ExpectEnd();
  return frame;
}
