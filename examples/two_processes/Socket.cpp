#include "Socket.h"

#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>

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

// Grows with what arrives: a length that somebody made up allocates nothing.
std::optional<std::string> Socket::ReceiveAll(std::size_t size) {
  std::string bytes;
  char part[4096];
  while (bytes.size() < size) {
    const ssize_t received =
        recv(descriptor_, part, std::min(sizeof(part), size - bytes.size()), 0);
    if (received < 0 && errno == EINTR) continue;
    if (received <= 0) return std::nullopt;
    bytes.append(part, static_cast<std::size_t>(received));
  }
  return bytes;
}

int Socket::SendFrame(std::string_view frame) {
  return SendAll(AsBytes(static_cast<std::uint32_t>(frame.size())).append(frame));
}

std::optional<std::string> Socket::ReceiveFrame() {
  const std::optional<std::string> length = ReceiveAll(kLengthSize);
  return length ? ReceiveAll(AsNumber(*length)) : std::nullopt;
}

int Socket::SendAnswer(Answer answer) {
  const char byte = static_cast<char>(answer);
  return SendAll({&byte, 1});
}

std::optional<Answer> Socket::ReceiveAnswer() {
  const std::optional<std::string> byte = ReceiveAll(1);
  return byte ? std::optional(static_cast<Answer>(byte->front())) : std::nullopt;
}
