#include <libvserial/ForeignProcess.h>
#include <libvserial/VStream.h>

#include <cstdint>
#include <string_view>

namespace {

void TransferSignature(VStream& stream, const char* signature) {
  const std::size_t start = stream.Position();
  std::string transferred = signature;
  stream.String(transferred);
  if (transferred == signature) return;
  throw VStreamError(start, "the signature " + QuotedSignature(signature),
                     QuotedSignature(transferred));
}

void TransferVersion(VStream& stream, std::uint32_t version, const char* signature) {
  const std::size_t start = stream.Position();
  std::uint32_t transferred = version;
  stream.Uint32(transferred);
  if (transferred == version) return;
  throw VStreamError(start,
                     "version " + std::to_string(version) + " of " + QuotedSignature(signature),
                     "version " + std::to_string(transferred));
}

}  // namespace

bool ForeignProcess(void* object, unsigned int version, VStream& stream,
                    void (*vswitch)(void*, VStream&), const char* signature) {
  TransferSignature(stream, signature);
  TransferVersion(stream, version, signature);
  vswitch(object, stream);
  return true;
}

std::string PeekSignature(const VStream& stream) {
  if (stream.Writing()) {
    throw VStreamError(stream.Position(), "a signature", "a stream that writes");
  }
  VStream ahead = stream;
  std::string signature;
  ahead.String(signature);
  return signature;
}

std::string QuotedSignature(std::string_view signature) {
  constexpr std::size_t kLongest = 64;
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  std::string quoted = "\"";
  for (const char character : signature.substr(0, kLongest)) {
    const auto byte = static_cast<unsigned char>(character);
    if (byte >= 0x20 && byte < 0x7F) {
      quoted += character;
    } else {
      quoted.append("\\x").append(1, kDigits[byte >> 4]).append(1, kDigits[byte & 0xF]);
    }
  }
  return quoted + (signature.size() > kLongest ? "...\"" : "\"");
}
