// Tests of ReportedErrorMsgResponse.

#include <gtest/gtest.h>
#include <liborvxmsgs/ReportedErrorMsgResponse.h>
#include <tests/support/MessageBytes.h>

#include <cstring>
#include <string>

namespace {

using namespace std::string_literals;

const std::string kYesBytes =
    "\x26\0\0\0"
    "OrvxMessages::ReportedErrorMsgResponse"
    "\x01\0\0\0"
    "\x01"s;

void ReadResponse(std::string_view bytes) {
  ReportedErrorMsgResponse response;
  ReadAll(bytes, response);
}

TEST(ReportedErrorMsgResponse, RoundTrips) {
  ReportedErrorMsgResponse response;
  ReadAll(kYesBytes, response);
  EXPECT_TRUE(response.GetAnswer());
  EXPECT_EQ(BytesOf(response), kYesBytes);
}

TEST(ReportedErrorMsgResponse, DecodesTheAnswerNo) {
  std::string bytes = kYesBytes;
  bytes.back() = '\0';
  ReportedErrorMsgResponse response;
  ReadAll(bytes, response);
  EXPECT_FALSE(response.GetAnswer());
}

TEST(ReportedErrorMsgResponse, HasNoAnswerBeforeDecoding) {
  alignas(ReportedErrorMsgResponse) unsigned char storage[sizeof(ReportedErrorMsgResponse)];
  std::memset(storage, 0xA5, sizeof storage);
  auto* response = new (static_cast<void*>(storage)) ReportedErrorMsgResponse;
  EXPECT_EQ(storage[sizeof(VSerializable)], 0xA5) << "the constructor has set the answer";
  response->~ReportedErrorMsgResponse();
}

TEST(ReportedErrorMsgResponse, IsRejectedWithAnAnswerOtherThan0And1) {
  std::string bytes = kYesBytes;
  bytes.back() = '\x02';
  EXPECT_THROW(ReadResponse(bytes), VStreamError);
}

TEST(ReportedErrorMsgResponse, IsRejectedAtEveryTruncation) {
  ExpectEveryTruncationRefused(kYesBytes, Read);
}

TEST(ReportedErrorMsgResponse, IsRejectedWithAnotherVersionOrSignature) {
  std::string second = kYesBytes;
  second[42] = '\x02';
  EXPECT_THROW(ReadResponse(second), VStreamError);
  std::string other = kYesBytes;
  other[4] = 'x';
  EXPECT_THROW(ReadResponse(other), VStreamError);
}

}  // namespace
