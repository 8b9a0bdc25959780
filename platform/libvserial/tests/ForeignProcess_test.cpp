// Tests of libvserial: signature and version of an object.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <libvserial/ForeignProcess.h>
#include <libvserial/VStream.h>

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

namespace {

using namespace std::string_view_literals;
using testing::HasSubstr;

constexpr char kSignature[] = "Test::Point";

struct Point {
  std::uint16_t x = 0;
  std::uint16_t y = 0;
  int switched = 0;

  static void Switch(void* object, VStream& stream) {
    auto& point = *static_cast<Point*>(object);
    ++point.switched;
    stream.Uint16(point.x);
    stream.Uint16(point.y);
  }
  bool Process(VStream& stream, unsigned int version = 3, const char* signature = kSignature) {
    return ForeignProcess(this, version, stream, Switch, signature);
  }
};

constexpr auto kBytes =
    "\x0B\x00\x00\x00"
    "Test::Point"
    "\x03\x00\x00\x00"
    "\x01\x00\x02\x00"sv;

// Returns the error text of decoding a point from `bytes`. Decoding must fail before it reads the
// fields.
std::string Complaint(std::string_view bytes) {
  VStream stream(bytes);
  Point point;
  try {
    point.Process(stream);
    return "";
  } catch (const VStreamError& error) {
    EXPECT_EQ(point.switched, 0);
    return error.what();
  }
}

TEST(ForeignProcess, EncodesSignatureVersionAndFields) {
  VStream stream;
  Point point = {1, 2};

  EXPECT_TRUE(point.Process(stream));

  EXPECT_EQ(stream.Bytes(), kBytes);
  EXPECT_EQ(point.switched, 1);
}

TEST(ForeignProcess, DecodesSignatureVersionAndFields) {
  VStream stream(kBytes);
  Point point;

  EXPECT_TRUE(point.Process(stream));

  stream.ExpectEnd();
  EXPECT_EQ(point.x, 1);
  EXPECT_EQ(point.y, 2);
  EXPECT_EQ(point.switched, 1);
}

TEST(ForeignProcess, DecodesConsecutiveObjects) {
  VStream out;
  Point first = {1, 2}, second = {3, 4};
  first.Process(out);
  second.Process(out);
  VStream in(out.Bytes());
  Point back;

  back.Process(in);
  back.Process(in);

  in.ExpectEnd();
  EXPECT_EQ(back.x, 3);
}

TEST(ForeignProcess, RejectsAnotherSignature) {
  EXPECT_EQ(Complaint("\x05\x00\x00\x00Other\x03\x00\x00\x00\x01\x00\x02\x00"sv),
            R"(at byte 0: expected the signature "Test::Point", found "Other")");
}

TEST(ForeignProcess, RejectsAPrefixOrAnExtensionOfTheExpectedSignature) {
  EXPECT_EQ(Complaint("\x04\x00\x00\x00Test\x03\x00\x00\x00"sv),
            R"(at byte 0: expected the signature "Test::Point", found "Test")");
  EXPECT_EQ(Complaint("\x0D\x00\x00\x00Test::Point\x00!\x03\x00\x00\x00"sv),
            R"(at byte 0: expected the signature "Test::Point", found "Test::Point\x00!")");
}

TEST(ForeignProcess, ErrorTextQuotesAndTruncatesAnotherSignature) {
  VStream out;
  std::string foreign = "\x1B[2J" + std::string(1000, 'x') + "\xFF";
  out.String(foreign);

  EXPECT_EQ(Complaint(out.Bytes()),
            R"(at byte 0: expected the signature "Test::Point", found "\x1B[2J)" +
                std::string(60, 'x') + "...\"");
}

TEST(ForeignProcess, RejectsEarlierAndLaterVersions) {
  for (const std::string_view version : {"\x02"sv, "\x04"sv}) {
    std::string bytes(kBytes);
    bytes[15] = version[0];

    EXPECT_EQ(Complaint(bytes),
              R"(at byte 15: expected version 3 of "Test::Point", found version )" +
                  std::to_string(version[0]));
  }
}

TEST(ForeignProcess, RejectsASignatureLengthBeyondTheBytes) {
  EXPECT_EQ(Complaint("\xFF\xFF\xFF\xFFTest::Point"sv),
            "at byte 0: expected a length of at most 11 in what is left, found 4294967295");
}

TEST(ForeignProcess, RejectsAnObjectAtEveryTruncation) {
  for (std::size_t size = 0; size < kBytes.size(); ++size) {
    VStream stream(kBytes.substr(0, size));
    Point point;
    EXPECT_THROW(point.Process(stream), VStreamError) << size << " bytes";
  }
}

TEST(ForeignProcess, ExceptionsOfTheSwitchPropagate) {
  VStream stream;
  const auto fail = [](void*, VStream&) { throw std::runtime_error("from the switch"); };

  EXPECT_THROW(ForeignProcess(nullptr, 1, stream, fail, kSignature), std::runtime_error);
}

TEST(PeekSignature, ReturnsTheSignatureWithoutMoving) {
  VStream stream(kBytes);
  Point point;

  EXPECT_EQ(PeekSignature(stream), kSignature);

  EXPECT_EQ(stream.Position(), 0U);
  EXPECT_TRUE(point.Process(stream));
}

TEST(PeekSignature, ReadsAtTheCurrentPosition) {
  VStream out;
  std::uint16_t before = 7;
  out.Uint16(before);
  Point().Process(out);
  VStream in(out.Bytes());
  in.Uint16(before);

  EXPECT_EQ(PeekSignature(in), kSignature);
  EXPECT_EQ(in.Position(), 2U);
}

TEST(PeekSignature, RejectsBytesWithoutASignature) {
  EXPECT_THROW(PeekSignature(VStream(""sv)), VStreamError);
  EXPECT_THROW(PeekSignature(VStream("\x05\x00\x00\x00Test"sv)), VStreamError);
}

TEST(PeekSignature, RejectsAWritingStream) {
  VStream stream;
  Point().Process(stream);

  EXPECT_THROW(PeekSignature(stream), VStreamError);
}

}  // namespace
