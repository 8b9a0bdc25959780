// VStream: values as bytes, in one fixed order.
//
//   void Record::Serialize(VStream& stream) {   // one code path writes and reads
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

// The bytes are not what was to be read: there are too few, or a value cannot be. what() says what
// was expected at which offset, and what was there.
class SDM_EXPORT VStreamError : public std::runtime_error {
 public:
  // what(): "at byte <offset>: expected <expected>, found <found>"
  VStreamError(std::size_t offset, std::string_view expected, std::string_view found);

  // In bytes from the start of the stream, where the offending value begins.
  std::size_t Offset() const noexcept { return offset_; }

 private:
  std::size_t offset_;
};

// A stream in memory that either writes or reads, from one end to the other. Each value operation
// writes its argument, or reads into it.
//
// Form: numbers have the width of the operation's name and stand least significant byte first,
// signed ones in two's complement; a Double is the 64 bits of its IEEE 754 form; a Bool is one
// byte, 0 or 1; a String is the number of its bytes as Uint32, then the bytes.
//
// Reading trusts nothing: a value that is not there or cannot be throws VStreamError, leaves the
// argument as it was, and nothing is allocated for a length that the bytes left could not fill. The
// position is then unspecified: give up the stream, or the copy of it.
//
// A copy of a stream goes on from the same position, independently.
//
// Threads: not safe; one thread at a time.
class SDM_EXPORT VStream {
 public:
  // Writes, starting empty.
  VStream() = default;
  // Reads `bytes`, which it borrows for as long as it is used.
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
  // Any bytes, also zero bytes. Writing more than a Uint32 counts throws std::length_error.
  void String(std::string& value);

  // The number of elements that follow, as Uint32. Writing: writes and returns `count`; throws
  // std::length_error where it does not fit. Reading: ignores `count` and returns the number read,
  // which is refused where that many elements of `smallestElement` bytes (at least 1) would not fit
  // in what is left; so it is safe to reserve for.
  std::uint32_t Count(std::size_t count, std::size_t smallestElement);

  // Reading: throws VStreamError where bytes are left. Writing: nothing.
  void ExpectEnd() const;

  // Writing: all bytes written so far, valid until the next one is written. Reading: all bytes
  // given.
  std::string_view Bytes() const noexcept;
  // Bytes written, or read, so far.
  std::size_t Position() const noexcept;
  // Bytes left to read; 0 when writing.
  std::size_t Remaining() const noexcept;

 private:
  template <class Number>
  void Transfer(Number& value, std::string_view name);
  std::uint32_t Size(std::size_t size, std::size_t smallestElement, std::string_view name);
  std::string_view Take(std::size_t size, std::string_view expected);

  bool writing_ = true;
  std::string written_;
  std::string_view source_;
  std::size_t position_ = 0;  // in source_
};

#endif  // LIBVSERIAL_VSTREAM_H_
