// Tests which allocator provides the storage of error messages.

#include <gtest/gtest.h>
#include <liborvxdemg/ErrorMsg.h>
#include <liborvxmsgs/ReportedErrorMsg.h>
#include <liborvxmsgs/ReportedErrorMsgResponse.h>
#include <tests/support/FullMemory.h>
#include <tests/support/MessageBytes.h>

#include <string>

using support::messageHeap;

namespace {

const std::string kLongText(100, 't');  // too long for the small-string buffer

class StorageOfErrorMessages : public testing::Test {
 protected:
  StorageOfErrorMessages() { messageHeap = {}; }

  static void ExpectClonedInOnePieceOfStorage(const VSerializable& message) {
    VSerializable* const clone = message.VSClone();
    EXPECT_EQ(messageHeap.taken, 1);
    EXPECT_EQ(messageHeap.freed, 0);
    delete clone;
    EXPECT_EQ(messageHeap.freed, 1);
  }

  LocallyUniqueID dataset_{0, 5};
};

TEST_F(StorageOfErrorMessages, AClonedReportIsOneBlockFromVUGlobal) {
  ExpectClonedInOnePieceOfStorage(ReportedErrorMsg(dataset_, ErrorText(kLongText, 1)));
}

TEST_F(StorageOfErrorMessages, AClonedResponseIsOneBlockFromVUGlobal) {
  ReportedErrorMsgResponse answer;
  ReadAll(std::string("\x26\0\0\0OrvxMessages::ReportedErrorMsgResponse\x01\0\0\0\x01", 47),
          answer);
  ExpectClonedInOnePieceOfStorage(answer);
}

TEST_F(StorageOfErrorMessages, AClonedErrorIsOneBlockFromVUGlobal) {
  ExpectClonedInOnePieceOfStorage(ErrorMsg(2001, kLongText));
}

}  // namespace
