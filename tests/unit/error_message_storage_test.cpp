// Where the storage of error messages comes from and goes to, also when a copy fails.
//
// This program puts an allocator that counts in the place of VUGlobal's.

#include <gtest/gtest.h>
#include <liborvxdemg/ErrorMsg.h>
#include <liborvxmsgs/ReportedErrorMsg.h>
#include <liborvxmsgs/ReportedErrorMsgResponse.h>
#include <tests/support/FullMemory.h>
#include <tests/support/MessageBytes.h>

#include <cstdlib>
#include <new>
#include <string>

using support::MemoryFor;

namespace {

int taken = 0;
int given = 0;

}  // namespace

void* VUGlobal::operator new(std::size_t size) {
  ++taken;
  if (void* const storage = std::malloc(size)) return storage;
  throw std::bad_alloc();
}
void VUGlobal::operator delete(void* storage) noexcept {
  ++given;
  std::free(storage);
}

namespace {

const std::string kLongText(100, 't');  // is copied into memory of its own

class StorageOfErrorMessages : public testing::Test {
 protected:
  StorageOfErrorMessages() { taken = given = 0; }

  static void ExpectClonedInOnePieceOfStorage(const VSerializable& message) {
    VSerializable* const clone = message.VSClone();
    EXPECT_EQ(taken, 1);
    EXPECT_EQ(given, 0);
    delete clone;
    EXPECT_EQ(given, 1);
  }

  static void ExpectGivenBackWhereTheCopyThrows(const VSerializable& message) {
    bool thrown = false;
    try {
      const MemoryFor none(0);
      delete message.VSClone();
    } catch (const std::bad_alloc&) {
      thrown = true;
    }
    EXPECT_TRUE(thrown);
    EXPECT_EQ(taken, 1);
    EXPECT_EQ(given, 1);
  }

  LocallyUniqueID dataset_{0, 5};
};

TEST_F(StorageOfErrorMessages, OfAReportIsTheCommonAllocators) {
  ExpectClonedInOnePieceOfStorage(ReportedErrorMsg(dataset_, ErrorText(kLongText, 1)));
}

TEST_F(StorageOfErrorMessages, OfAnAnswerIsTheCommonAllocators) {
  ReportedErrorMsgResponse answer;
  ReadAll(std::string("\x26\0\0\0OrvxMessages::ReportedErrorMsgResponse\x01\0\0\0\x01", 47),
          answer);
  ExpectClonedInOnePieceOfStorage(answer);
}

TEST_F(StorageOfErrorMessages, OfAnErrorIsTheCommonAllocators) {
  ExpectClonedInOnePieceOfStorage(ErrorMsg(2001, kLongText));
}

TEST_F(StorageOfErrorMessages, OfAReportIsGivenBackWhereItsTextCannotBeCopied) {
  ExpectGivenBackWhereTheCopyThrows(ReportedErrorMsg(dataset_, ErrorText(kLongText, 1)));
}

TEST_F(StorageOfErrorMessages, OfAnErrorIsGivenBackWhereItsTextCannotBeCopied) {
  ExpectGivenBackWhereTheCopyThrows(ErrorMsg(2001, kLongText));
}

}  // namespace
