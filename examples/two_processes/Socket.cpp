#include "Socket.h"

#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <stdexcept>

namespace {

constexpr std::size_t kLengthSize = 4;

std::string AsBytes(std::uint32_t number) {
  std::string bytes;
  for (std::size_t i = 0; i < kLengthSize; ++i) bytes += static_cast<char>(number >> 8 * i & 0xFF);
  return bytes;
}

std::uint32_t AsNumber(const std::string& bytes) {
  std::uint32_t number = 0;
  for (std::size_t i = kLengthSize; i-- > 0;) {
    number = number << 8 | static_cast<unsigned char>(bytes[i]);
  }
  return number;
}

}  // namespace

Socket::~Socket() {
  close(descriptor_);
}

void Socket::GiveUpAfter(int seconds) {
  const timeval time = {seconds, 0};
  setsockopt(descriptor_, SOL_SOCKET, SO_SNDTIMEO, &time, sizeof(time));
  setsockopt(descriptor_, SOL_SOCKET, SO_RCVTIMEO, &time, sizeof(time));
}

int Socket::SendAll(std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t sent = send(descriptor_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (sent < 0 && errno == EINTR) continue;
    if (sent < 0) return errno;
    bytes.remove_prefix(static_cast<std::size_t>(sent));
  }
  return 0;
}

// Returns `size` bytes, or fewer if the stream ends. Throws if the connection fails. Allocates only
// as bytes arrive, so that an invalid length allocates nothing.
std::string Socket::ReceiveUpTo(std::size_t size) {
  std::string bytes;
  char part[4096];
  while (bytes.size() < size) {
    const ssize_t received =
        recv(descriptor_, part, std::min(sizeof(part), size - bytes.size()), 0);
    if (received < 0 && errno == EINTR) continue;
    if (received < 0) {
      throw std::runtime_error(std::string("connection failed: ") + std::strerror(errno));
    }
    if (received == 0) break;
    bytes.append(part, static_cast<std::size_t>(received));
  }
  return bytes;
}

int Socket::SendFrame(std::string_view frame) {
  return SendAll(AsBytes(static_cast<std::uint32_t>(frame.size())).append(frame));
}

std::optional<std::string> Socket::ReceiveFrame() {
  const std::string length = ReceiveUpTo(kLengthSize);
  if (length.empty()) return std::nullopt;
  const std::size_t size = length.size() == kLengthSize ? AsNumber(length) : 0;
  std::string frame = ReceiveUpTo(size);
  if (length.size() < kLengthSize || frame.size() < size) {
    throw std::runtime_error("the stream ended inside a frame");
  }
  return frame;
}

int Socket::SendAnswer(Answer answer) {
  const char byte = static_cast<char>(answer);
  return SendAll({&byte, 1});
}

std::optional<Answer> Socket::ReceiveAnswer() {
  char byte = 0;
  ssize_t received;
  do {
    received = recv(descriptor_, &byte, 1, 0);
  } while (received < 0 && errno == EINTR);
  if (received < 0 && errno == EAGAIN)
    throw std::runtime_error("the client did not answer in time");
  if (received <= 0) return std::nullopt;  // a broken connection counts as the end of the stream
  const auto answer = static_cast<Answer>(byte);
  if (answer != Answer::Taken && answer != Answer::SnapshotWanted) {
    throw std::runtime_error("invalid answer from the client: byte " +
                             std::to_string(static_cast<unsigned char>(byte)));
  }
  return answer;
}
