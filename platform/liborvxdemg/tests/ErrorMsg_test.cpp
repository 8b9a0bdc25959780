// Tests of ErrorMsg.

#include <gtest/gtest.h>
#include <liborvxdemg/ErrorMsg.h>
#include <tests/support/MessageBytes.h>

#include <string>

namespace {

using namespace std::string_literals;

const std::string kNotFoundBytes =
    "\x14\0\0\0"
    "DEMessages::ErrorMsg"
    "\x01\0\0\0"
    "\x04\0\0\0"
    "Gone"
    "\xD1\x07\0\0"s;

void Read(std::string_view bytes) {
  ErrorMsg message;
  ReadAll(bytes, message);
}

TEST(ErrorMsg, KeepsItsEncoding) {
  ErrorMsg message(2001, "Gone");
  EXPECT_EQ(BytesOf(message), kNotFoundBytes);
}

TEST(ErrorMsg, DecodesItsFields) {
  ErrorMsg message;
  ReadAll(kNotFoundBytes, message);
  EXPECT_EQ(message.GetCode(), 2001U);
  EXPECT_EQ(message.GetText(), "Gone");
}

TEST(ErrorMsg, KeepsCodeAndTextWhenItIsThrown) {
  try {
    throw ErrorMsg(2001, "");
  } catch (const ErrorMsg& error) {
    EXPECT_EQ(error.GetCode(), 2001U);
    EXPECT_EQ(error.GetText(), "");
  }
}

TEST(ErrorMsg, IsRejectedAtEveryTruncation) {
  ExpectEveryTruncationRefused(kNotFoundBytes, Read);
}

TEST(ErrorMsg, IsRejectedWithAnotherVersionOrSignature) {
  std::string second = kNotFoundBytes;
  second[24] = '\x02';
  EXPECT_THROW(Read(second), VStreamError);
  std::string other = kNotFoundBytes;
  other[4] = 'x';
  EXPECT_THROW(Read(other), VStreamError);
}

TEST(ErrorMsg, RejectsATextLengthBeyondTheBytes) {
  std::string bytes = kNotFoundBytes;
  bytes[31] = '\x7F';  // the highest byte of the text's length
  EXPECT_THROW(Read(bytes), VStreamError);
}

TEST(ErrorMsg, IsDecodedOrRejectedAfterAnyByteChange) {
  ExpectChangedBytesReadOrRefused(kNotFoundBytes, Read);
}

}  // namespace
