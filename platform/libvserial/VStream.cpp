#include <libvserial/VStream.h>

#include <array>
#include <bit>
#include <limits>
#include <type_traits>

namespace {

std::string BytesLeft(std::size_t count) {
  if (count == 0) return "the end";
  return "the end after " + std::to_string(count) + (count == 1 ? " byte" : " bytes");
}

std::string Complaint(std::size_t offset, std::string_view expected, std::string_view found) {
  std::string text = "at byte " + std::to_string(offset) + ": expected ";
  text.append(expected).append(", found ").append(found);
  return text;
}

}  // namespace

VStreamError::VStreamError(std::size_t offset, std::string_view expected, std::string_view found)
    : std::runtime_error(Complaint(offset, expected, found)), offset_(offset) {}

VStream::VStream(std::span<const std::byte> bytes)
    : VStream(std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size())) {}

VStream::VStream(std::string_view bytes) : writing_(false), source_(bytes) {}

void VStream::Bool(bool& value) {
  std::uint8_t byte = value ? 1 : 0;
  Transfer(byte, "a truth value of 1 byte");
  if (byte > 1) {
    throw VStreamError(Position() - 1, "a truth value, 0 or 1", std::to_string(byte));
  }
  if (!writing_) value = byte == 1;
}

void VStream::Int8(std::int8_t& value) {
  Transfer(value, "a signed number of 1 byte");
}
void VStream::Uint8(std::uint8_t& value) {
  Transfer(value, "a number of 1 byte");
}
void VStream::Int16(std::int16_t& value) {
  Transfer(value, "a signed number of 2 bytes");
}
void VStream::Uint16(std::uint16_t& value) {
  Transfer(value, "a number of 2 bytes");
}
void VStream::Int32(std::int32_t& value) {
  Transfer(value, "a signed number of 4 bytes");
}
void VStream::Uint32(std::uint32_t& value) {
  Transfer(value, "a number of 4 bytes");
}
void VStream::Int64(std::int64_t& value) {
  Transfer(value, "a signed number of 8 bytes");
}
void VStream::Uint64(std::uint64_t& value) {
  Transfer(value, "a number of 8 bytes");
}

void VStream::Double(double& value) {
  static_assert(std::numeric_limits<double>::is_iec559 && sizeof(double) == 8);
  auto bits = std::bit_cast<std::uint64_t>(value);
  Transfer(bits, "a floating-point number of 8 bytes");
  if (!writing_) value = std::bit_cast<double>(bits);
}

void VStream::String(std::string& value) {
  const std::uint32_t size = Size(value.size(), 1, "a length", "a length of 4 bytes");
  if (writing_) {
    written_.append(value);
  } else {
    value.assign(Take(size, "a string"));
  }
}

std::uint32_t VStream::Count(std::size_t count, std::size_t smallestElement) {
  return Size(count, smallestElement, "a count", "a count of 4 bytes");
}

void VStream::ExpectEnd() const {
  if (Remaining() == 0) return;
  throw VStreamError(position_, "the end", std::to_string(Remaining()) + " more");
}

std::string_view VStream::Bytes() const noexcept {
  return writing_ ? std::string_view(written_) : source_;
}

std::size_t VStream::Position() const noexcept {
  return writing_ ? written_.size() : position_;
}

std::size_t VStream::Remaining() const noexcept {
  return source_.size() - position_;
}

template <class Number>
void VStream::Transfer(Number& value, std::string_view name) {
  using Bits = std::make_unsigned_t<Number>;
  if (writing_) {
    std::array<char, sizeof(Number)> bytes;
    std::uint64_t bits = static_cast<Bits>(value);
    for (char& byte : bytes) {
      byte = static_cast<char>(bits & 0xFF);
      bits >>= 8;
    }
    written_.append(bytes.data(), bytes.size());
    return;
  }
  const std::string_view bytes = Take(sizeof(Number), name);
  std::uint64_t bits = 0;
  for (std::size_t i = bytes.size(); i-- > 0;) {
    bits = bits << 8 | static_cast<unsigned char>(bytes[i]);
  }
  value = static_cast<Number>(static_cast<Bits>(bits));
}

std::uint32_t VStream::Size(std::size_t size, std::size_t smallestElement, std::string_view name,
                            std::string_view nameWithSize) {
  if (writing_ && size > std::numeric_limits<std::uint32_t>::max()) {
    throw std::length_error("VStream: " + std::string(name) + " of " + std::to_string(size) +
                            " does not fit in 32 bits");
  }
  auto transferred = static_cast<std::uint32_t>(size);
  Transfer(transferred, nameWithSize);
  if (!writing_ && transferred > Remaining() / smallestElement) {
    throw VStreamError(position_ - sizeof(transferred),
                       std::string(name) + " of at most " +
                           std::to_string(Remaining() / smallestElement) + " in what is left",
                       std::to_string(transferred));
  }
  return transferred;
}

std::string_view VStream::Take(std::size_t size, std::string_view expected) {
  if (size > Remaining()) throw VStreamError(position_, expected, BytesLeft(Remaining()));
  const std::string_view taken = source_.substr(position_, size);
  position_ += size;
  return taken;
}
