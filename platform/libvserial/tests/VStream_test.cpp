// Tests of libvserial: the encoding of values, and the rejection of invalid bytes.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <libvserial/VStream.h>

#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace std::string_view_literals;
using testing::HasSubstr;

// Returns the bytes that `operation` writes for `value`.
template <class Value>
std::string Written(void (VStream::*operation)(Value&), Value value) {
  VStream stream;
  (stream.*operation)(value);
  return std::string(stream.Bytes());
}

template <class Value>
Value ReadBack(void (VStream::*operation)(Value&), std::string_view bytes) {
  VStream stream(bytes);
  Value value = {};
  (stream.*operation)(value);
  stream.ExpectEnd();
  return value;
}

template <class Value>
void ExpectRoundTrip(void (VStream::*operation)(Value&), const std::vector<Value>& values) {
  for (const Value& value : values) {
    EXPECT_EQ(ReadBack(operation, Written(operation, value)), value);
  }
}

template <class Number>
std::vector<Number> Extremes() {
  using Limits = std::numeric_limits<Number>;
  return {Limits::min(), static_cast<Number>(-1), 0, 1, 42, Limits::max()};
}

// Returns the text of the error that `read` throws.
template <class Read>
std::string ComplaintOf(std::string_view bytes, Read read) {
  VStream stream(bytes);
  try {
    read(stream);
  } catch (const VStreamError& error) {
    return error.what();
  }
  return "";
}

TEST(VStreamFormat, NumbersAreLittleEndian) {
  EXPECT_EQ(Written<std::int8_t>(&VStream::Int8, -2), "\xFE"sv);
  EXPECT_EQ(Written<std::uint8_t>(&VStream::Uint8, 0xAB), "\xAB"sv);
  EXPECT_EQ(Written<std::int16_t>(&VStream::Int16, -2), "\xFE\xFF"sv);
  EXPECT_EQ(Written<std::uint16_t>(&VStream::Uint16, 0x0102), "\x02\x01"sv);
  EXPECT_EQ(Written<std::int32_t>(&VStream::Int32, -2), "\xFE\xFF\xFF\xFF"sv);
  EXPECT_EQ(Written<std::uint32_t>(&VStream::Uint32, 0x01020304U), "\x04\x03\x02\x01"sv);
  EXPECT_EQ(Written<std::int64_t>(&VStream::Int64, -2), "\xFE\xFF\xFF\xFF\xFF\xFF\xFF\xFF"sv);
  EXPECT_EQ(Written<std::uint64_t>(&VStream::Uint64, 0x0102030405060708U),
            "\x08\x07\x06\x05\x04\x03\x02\x01"sv);
}

TEST(VStreamFormat, BoolsAreOneByte) {
  EXPECT_EQ(Written<bool>(&VStream::Bool, false), "\x00"sv);
  EXPECT_EQ(Written<bool>(&VStream::Bool, true), "\x01"sv);
}

TEST(VStreamFormat, DoublesAreIeee754Bits) {
  EXPECT_EQ(Written<double>(&VStream::Double, 1.0), "\x00\x00\x00\x00\x00\x00\xF0\x3F"sv);
  EXPECT_EQ(Written<double>(&VStream::Double, -0.0), "\x00\x00\x00\x00\x00\x00\x00\x80"sv);
}

TEST(VStreamFormat, StringsAreLengthAndBytes) {
  EXPECT_EQ(Written<std::string>(&VStream::String, ""), "\x00\x00\x00\x00"sv);
  EXPECT_EQ(Written<std::string>(&VStream::String, "ab"),
            "\x02\x00\x00\x00"
            "ab"sv);
}

TEST(VStreamFormat, CountsAreFourBytes) {
  VStream stream;

  EXPECT_EQ(stream.Count(258, 1), 258U);

  EXPECT_EQ(stream.Bytes(), "\x02\x01\x00\x00"sv);
}

TEST(VStreamRoundTrip, PreservesTheExtremesOfEveryIntegerType) {
  ExpectRoundTrip(&VStream::Int8, Extremes<std::int8_t>());
  ExpectRoundTrip(&VStream::Uint8, Extremes<std::uint8_t>());
  ExpectRoundTrip(&VStream::Int16, Extremes<std::int16_t>());
  ExpectRoundTrip(&VStream::Uint16, Extremes<std::uint16_t>());
  ExpectRoundTrip(&VStream::Int32, Extremes<std::int32_t>());
  ExpectRoundTrip(&VStream::Uint32, Extremes<std::uint32_t>());
  ExpectRoundTrip(&VStream::Int64, Extremes<std::int64_t>());
  ExpectRoundTrip(&VStream::Uint64, Extremes<std::uint64_t>());
  EXPECT_TRUE(ReadBack(&VStream::Bool, Written<bool>(&VStream::Bool, true)));
  EXPECT_FALSE(ReadBack(&VStream::Bool, Written<bool>(&VStream::Bool, false)));
}

TEST(VStreamRoundTrip, PreservesEveryBitOfADouble) {
  using Limits = std::numeric_limits<double>;
  const auto oddNan = std::bit_cast<double>(std::uint64_t{0x7FF8000000001234});

  for (const double value : {0.0, -0.0, 3.25, -Limits::max(), Limits::denorm_min(),
                             Limits::infinity(), -Limits::infinity(), oddNan}) {
    const double back = ReadBack(&VStream::Double, Written<double>(&VStream::Double, value));
    EXPECT_EQ(std::bit_cast<std::uint64_t>(back), std::bit_cast<std::uint64_t>(value));
  }
}

TEST(VStreamRoundTrip, PreservesStringsOfAnyBytes) {
  ExpectRoundTrip<std::string>(&VStream::String, {"", "name", "Größe", std::string("a\0b\xFF", 4),
                                                  std::string(100'000, 'x')});
}

// One field for each type of value that VStream encodes. Serialize both encodes and decodes the
// fields.
struct Everything {
  bool truth = false;
  std::int8_t int8 = 0;
  std::uint8_t uint8 = 0;
  std::int16_t int16 = 0;
  std::uint16_t uint16 = 0;
  std::int32_t int32 = 0;
  std::uint32_t uint32 = 0;
  std::int64_t int64 = 0;
  std::uint64_t uint64 = 0;
  double number = 0;
  std::string text;
  std::vector<std::uint16_t> list;

  void Serialize(VStream& stream) {
    stream.Bool(truth);
    stream.Int8(int8);
    stream.Uint8(uint8);
    stream.Int16(int16);
    stream.Uint16(uint16);
    stream.Int32(int32);
    stream.Uint32(uint32);
    stream.Int64(int64);
    stream.Uint64(uint64);
    stream.Double(number);
    stream.String(text);
    list.resize(stream.Count(list.size(), sizeof(std::uint16_t)));
    for (std::uint16_t& element : list) stream.Uint16(element);
  }

  bool operator==(const Everything&) const = default;
};

Everything Sample() {
  return {true, -1, 2, -3, 4, -5, 6, -7, 8, 9.5, "ten", {11, 12}};
}

std::string SampleBytes() {
  VStream stream;
  Sample().Serialize(stream);
  return std::string(stream.Bytes());
}

TEST(VStreamRoundTrip, OneFunctionWritesAndReadsARecord) {
  const std::string bytes = SampleBytes();
  VStream stream(bytes);
  Everything back;

  back.Serialize(stream);

  stream.ExpectEnd();
  EXPECT_EQ(back, Sample());
}

TEST(VStreamFormat, ARecordIsItsValuesWithoutPadding) {
  EXPECT_EQ(SampleBytes(),
            "\x01"
            "\xFF"
            "\x02"
            "\xFD\xFF"
            "\x04\x00"
            "\xFB\xFF\xFF\xFF"
            "\x06\x00\x00\x00"
            "\xF9\xFF\xFF\xFF\xFF\xFF\xFF\xFF"
            "\x08\x00\x00\x00\x00\x00\x00\x00"
            "\x00\x00\x00\x00\x00\x00\x23\x40"
            "\x03\x00\x00\x00ten"
            "\x02\x00\x00\x00\x0B\x00\x0C\x00"sv);
}

TEST(VStreamReading, ARecordIsRejectedAtEveryTruncation) {
  const std::string bytes = SampleBytes();

  for (std::size_t size = 0; size < bytes.size(); ++size) {
    // A copy in an exact allocation, so that the address sanitizer detects a read past the end.
    const std::vector<char> cut(bytes.data(), bytes.data() + size);
    VStream stream(std::string_view(cut.data(), cut.size()));
    Everything back;
    try {
      back.Serialize(stream);
      ADD_FAILURE() << "read in full from " << size << " bytes";
    } catch (const VStreamError& error) {
      EXPECT_LE(error.Offset(), size);
      EXPECT_THAT(error.what(), HasSubstr("at byte " + std::to_string(error.Offset()) + ": "));
    }
  }
}

TEST(VStreamReading, ErrorTextHasOffsetExpectedAndActualValue) {
  std::uint32_t number = 0;
  std::uint8_t byte = 0;

  EXPECT_EQ(ComplaintOf("\x01\x02\x03"sv,
                        [&](VStream& stream) {
                          stream.Uint8(byte);
                          stream.Uint32(number);
                        }),
            "at byte 1: expected a number of 4 bytes, found the end after 2 bytes");
  EXPECT_EQ(ComplaintOf("", [&](VStream& stream) { stream.Uint8(byte); }),
            "at byte 0: expected a number of 1 byte, found the end");
}

TEST(VStreamReading, AFailedReadLeavesTheValueUnchanged) {
  std::uint32_t number = 7;
  bool truth = true;
  std::string text = "before";
  double real = 1.5;

  EXPECT_NE(ComplaintOf("\x01", [&](VStream& stream) { stream.Uint32(number); }), "");
  EXPECT_NE(ComplaintOf("\x02", [&](VStream& stream) { stream.Bool(truth); }), "");
  EXPECT_NE(ComplaintOf("\x04\x00\x00\x00to"sv, [&](VStream& stream) { stream.String(text); }), "");
  EXPECT_NE(ComplaintOf("\x01", [&](VStream& stream) { stream.Double(real); }), "");

  EXPECT_EQ(number, 7U);
  EXPECT_TRUE(truth);
  EXPECT_EQ(text, "before");
  EXPECT_EQ(real, 1.5);
}

TEST(VStreamReading, ABoolOtherThan0And1IsRejected) {
  bool truth = false;

  EXPECT_EQ(ComplaintOf("\x02", [&](VStream& stream) { stream.Bool(truth); }),
            "at byte 0: expected a truth value, 0 or 1, found 2");
}

TEST(VStreamReading, AStringLengthBeyondTheBytesIsRejected) {
  std::string text;

  EXPECT_EQ(ComplaintOf("\xFF\xFF\xFF\xFFxyz"sv, [&](VStream& stream) { stream.String(text); }),
            "at byte 0: expected a length of at most 3 in what is left, found 4294967295");
  EXPECT_EQ(ComplaintOf("\x04\x00\x00\x00xyz"sv, [&](VStream& stream) { stream.String(text); }),
            "at byte 0: expected a length of at most 3 in what is left, found 4");
  EXPECT_EQ(text.capacity(), std::string().capacity());
}

TEST(VStreamReading, ACountBeyondTheBytesIsRejected) {
  const auto count = [](std::size_t smallest) {
    return [=](VStream& stream) { EXPECT_EQ(stream.Count(99, smallest), 3U); };
  };
  const auto bytes = "\x03\x00\x00\x00sevenup"sv;

  EXPECT_EQ(ComplaintOf(bytes, count(1)), "");
  EXPECT_EQ(ComplaintOf(bytes, count(2)), "");
  EXPECT_EQ(ComplaintOf(bytes, count(3)),
            "at byte 0: expected a count of at most 2 in what is left, found 3");
  EXPECT_EQ(ComplaintOf(bytes, count(std::numeric_limits<std::size_t>::max())),
            "at byte 0: expected a count of at most 0 in what is left, found 3");
}

TEST(VStreamReading, ExpectEndRejectsRemainingBytes) {
  std::uint8_t byte = 0;

  EXPECT_EQ(ComplaintOf("\x01\x02\x03",
                        [&](VStream& stream) {
                          stream.Uint8(byte);
                          stream.ExpectEnd();
                        }),
            "at byte 1: expected the end, found 2 more");
}

TEST(VStreamReading, TracksItsPosition) {
  VStream stream("\x01\x02\x03\x04\x05"sv);
  std::uint32_t number = 0;
  EXPECT_FALSE(stream.Writing());
  EXPECT_EQ(stream.Position(), 0U);
  EXPECT_EQ(stream.Remaining(), 5U);

  stream.Uint32(number);

  EXPECT_EQ(stream.Position(), 4U);
  EXPECT_EQ(stream.Remaining(), 1U);
  EXPECT_EQ(stream.Bytes(), "\x01\x02\x03\x04\x05"sv);
}

TEST(VStreamReading, AcceptsASpanOfBytes) {
  const std::array bytes = {std::byte{0x34}, std::byte{0x12}};
  VStream stream((std::span<const std::byte>(bytes)));
  std::uint16_t number = 0;

  stream.Uint16(number);

  EXPECT_EQ(number, 0x1234);
}

TEST(VStreamReading, ACopyContinuesIndependently) {
  VStream stream("\x01\x02\x03"sv);
  std::uint8_t byte = 0;
  stream.Uint8(byte);

  VStream copy = stream;
  copy.Uint8(byte);

  EXPECT_EQ(byte, 2);
  EXPECT_EQ(copy.Position(), 2U);
  EXPECT_EQ(stream.Position(), 1U);
}

TEST(VStreamWriting, TracksItsPosition) {
  VStream stream;
  std::uint16_t number = 7;
  EXPECT_TRUE(stream.Writing());

  stream.Uint16(number);

  EXPECT_EQ(stream.Position(), 2U);
  EXPECT_EQ(stream.Remaining(), 0U);
  EXPECT_EQ(number, 7U);
  stream.ExpectEnd();
}

TEST(VStreamWriting, ACountBeyond32BitsIsRejected) {
  VStream stream;

  EXPECT_THROW(stream.Count(std::size_t{1} << 32, 1), std::length_error);
  EXPECT_EQ(stream.Position(), 0U);
  EXPECT_EQ(stream.Count((std::size_t{1} << 32) - 1, 1), 0xFFFFFFFFU);
}

}  // namespace
