// VStream: encodes and decodes values as bytes, in one fixed byte order.
//
//   void Record::Serialize(VStream& stream) {   // encodes and decodes
//     stream.Uint32(code_);
//     stream.String(text_);
//   }
//   VStream out;                 record.Serialize(out);   // out.Bytes()
//   VStream in(out.Bytes());     copy.Serialize(in);      in.ExpectEnd();

#ifndef LIBVSERIAL_VSTREAM_H_
#define LIBVSERIAL_VSTREAM_H_

#include <ServerDataManager/Export.h>
#include <cstddef>
#include <cstdint>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>

// Thrown if the bytes are truncated or have an invalid value. what() gives the offset, the expected
// and the actual value.
class SDM_EXPORT VStreamError : public std::runtime_error {
 public:
  // what(): "at byte <offset>: expected <expected>, found <found>"
  VStreamError(std::size_t offset, std::string_view expected, std::string_view found);

  // The start of the invalid value, in bytes from the start of the stream.
  std::size_t Offset() const noexcept { return offset_; }

 private:
  std::size_t offset_;
};

// A sequential stream in memory that either writes or reads. A value operation such as Bool()
// writes its argument without changing it, or reads a value into it.
//
// Format: integers have the width in the operation's name, least significant byte first, and signed
// integers are in two's complement; a Double is 64 bits of IEEE 754; a Bool is one byte, 0 or 1; a
// String is its length in bytes as Uint32, then the bytes.
//
// Reading validates everything: a truncated or invalid value throws VStreamError and leaves the
// argument unchanged, and a length that exceeds the remaining bytes allocates nothing. After an
// exception the position is unspecified: do not use this stream object again.
//
// A copy of a stream continues from the same position, independently.
//
// Threads: not safe; one thread at a time.
class SDM_EXPORT VStream {
 public:
  // An empty stream that writes.
  VStream() = default;
  // A stream that reads `bytes`, which are borrowed as long as the stream is used.
  explicit VStream(std::span<const std::byte> bytes);
  explicit VStream(std::string_view bytes);

  bool Writing() const noexcept { return writing_; }

  void Bool(bool& value);
  void Int8(std::int8_t& value);
  void Uint8(std::uint8_t& value);
  void Int16(std::int16_t& value);
  void Uint16(std::uint16_t& value);
  void Int32(std::int32_t& value);
  void Uint32(std::uint32_t& value);
  void Int64(std::int64_t& value);
  void Uint64(std::uint64_t& value);
  void Double(double& value);
  // Any bytes, including zero bytes. Writing 2^32 bytes or more throws std::length_error.
  void String(std::string& value);

  // The number of elements that follow, as Uint32. Writing: writes and returns `count`; throws
  // std::length_error if `count` exceeds 32 bits. Reading: ignores `count`, reads a number and
  // returns it. Throws VStreamError if the remaining bytes are too few for this number of elements
  // of `smallestElement` bytes (at least 1), so it is safe to reserve memory for the elements.
  std::uint32_t Count(std::size_t count, std::size_t smallestElement);

  // Throws VStreamError if bytes are left to read. Does nothing if the stream writes.
  void ExpectEnd() const;

  // When writing, the bytes written so far, valid until the next write. When reading, all bytes of
  // the stream.
  std::string_view Bytes() const noexcept;
  // The number of bytes written, or read, so far.
  std::size_t Position() const noexcept;
  // The number of bytes left to read; 0 when writing.
  std::size_t Remaining() const noexcept;

 private:
  template <class Number>
  void Transfer(Number& value, std::string_view name);
  // `name` and `nameWithSize` are for error texts: "a length", "a length of 4 bytes".
  std::uint32_t Size(std::size_t size, std::size_t smallestElement, std::string_view name,
                     std::string_view nameWithSize);
  std::string_view Take(std::size_t size, std::string_view expected);

  bool writing_ = true;
  std::string written_;
  std::string_view source_;
  std::size_t position_ = 0;  // the position in source_ of the next byte to read
};

#endif  // LIBVSERIAL_VSTREAM_H_
