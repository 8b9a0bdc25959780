// Tests of ReportedErrorMsg.

#include <gtest/gtest.h>
#include <liborvxmsgs/ReportedErrorMsg.h>
#include <tests/support/MessageBytes.h>

#include <string>

namespace {

using namespace std::string_literals;

const std::string kWarningBytes =
    "\x1E\0\0\0"
    "OrvxMessages::ReportedErrorMsg"
    "\x01\0\0\0"
    "\x04\0\0\0"
    "Late"
    "\xFE"
    "\x53\x04\0\0"s;

ReportedErrorMsg Warning() {
  LocallyUniqueID dataset(3, 69);
  return ReportedErrorMsg(dataset, ErrorText("Late", -2));
}

void Read(std::string_view bytes) {
  ReportedErrorMsg message;
  ReadAll(bytes, message);
}

TEST(ReportedErrorMsg, CopiesTextAndIdentifier) {
  LocallyUniqueID dataset(3, 69);
  ErrorText text("Late", 2);
  const ReportedErrorMsg message(dataset, text);
  dataset = LocallyUniqueID();
  text = ErrorText();
  EXPECT_EQ(message.GetText().Text(), "Late");
  EXPECT_EQ(message.GetText().Severity(), 2);
  EXPECT_EQ(message.GetDataSetID(), LocallyUniqueID(3, 69));
}

TEST(ReportedErrorMsg, KeepsItsEncoding) {
  ReportedErrorMsg message = Warning();
  EXPECT_EQ(BytesOf(message), kWarningBytes);
}

TEST(ReportedErrorMsg, DecodesItsFields) {
  ReportedErrorMsg message;
  ReadAll(kWarningBytes, message);
  EXPECT_EQ(message.GetText().Text(), "Late");
  EXPECT_EQ(message.GetText().Severity(), -2);
  EXPECT_EQ(message.GetDataSetID(), LocallyUniqueID(3, 69));
}

TEST(ReportedErrorMsg, IsRejectedAtEveryTruncation) {
  ExpectEveryTruncationRefused(kWarningBytes, Read);
}

TEST(ReportedErrorMsg, IsRejectedInVersionTwo) {
  std::string bytes = kWarningBytes;
  bytes[34] = '\x02';
  EXPECT_THROW(Read(bytes), VStreamError);
}

TEST(ReportedErrorMsg, IsRejectedWithAnotherSignature) {
  std::string bytes = kWarningBytes;
  bytes[33] = 'x';
  EXPECT_THROW(Read(bytes), VStreamError);
}

TEST(ReportedErrorMsg, RejectsATextLengthBeyondTheBytes) {
  std::string bytes = kWarningBytes;
  bytes[41] = '\x7F';  // the highest byte of the text's length
  EXPECT_THROW(Read(bytes), VStreamError);
}

TEST(ReportedErrorMsg, IsDecodedOrRejectedAfterAnyByteChange) {
  ExpectChangedBytesReadOrRefused(kWarningBytes, Read);
}

}  // namespace
