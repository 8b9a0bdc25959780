// The three error messages and the glue that they share.

#include <gtest/gtest.h>
#include <liborvxdemg/ErrorMsg.h>
#include <liborvxmsgs/ReportedErrorMsg.h>
#include <liborvxmsgs/ReportedErrorMsgResponse.h>
#include <tests/support/MessageBytes.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <type_traits>

#include "virtual_slot.h"

namespace {

using namespace std::string_literals;

ReportedErrorMsg Report() {
  LocallyUniqueID dataset(0, 5);
  return ReportedErrorMsg(dataset, ErrorText("No room left", -3));
}

ReportedErrorMsgResponse Response(bool answer) {
  VStream written;
  written.Bool(answer);
  VStream stream(written.Bytes());
  ReportedErrorMsgResponse response;
  response.Serialize(stream);
  return response;
}

template <class Message>
std::unique_ptr<Message> Clone(const Message& message) {
  return std::unique_ptr<Message>(dynamic_cast<Message*>(message.VSClone()));
}

TEST(ErrorText, HoldsATextAndASeverityOfEightSignedBits) {
  EXPECT_EQ(ErrorText("Why", -128).Severity(), -128);
  EXPECT_EQ(ErrorText("Why", 127).Severity(), 127);
  EXPECT_EQ(ErrorText("Why", 127).Text(), "Why");
}

TEST(ErrorText, IsAnEmptyErrorUnlessToldOtherwise) {
  EXPECT_EQ(ErrorText().Severity(), 1);
  EXPECT_EQ(ErrorText().Text(), "");
}

TEST(ErrorText, IsCopiedWithItsText) {
  const ErrorText text("Why", 2);
  const ErrorText copy(text);
  EXPECT_EQ(copy.Text(), "Why");
  EXPECT_EQ(copy.Severity(), 2);
}

TEST(ErrorMessages, TravelUnderTheseSignatures) {
  EXPECT_STREQ(ReportedErrorMsg::VSignature(), "OrvxMessages::ReportedErrorMsg");
  EXPECT_STREQ(ReportedErrorMsgResponse::VSignature(), "OrvxMessages::ReportedErrorMsgResponse");
  EXPECT_STREQ(ErrorMsg::VSignature(), "DEMessages::ErrorMsg");
}

TEST(ErrorMessages, AreOfVersionOne) {
  EXPECT_EQ(ReportedErrorMsg::Version(), 1U);
  EXPECT_EQ(ReportedErrorMsgResponse::Version(), 1U);
  EXPECT_EQ(ErrorMsg::Version(), 1U);
}

TEST(ErrorMessages, LiveInTheNamespacesOfTheirSignatures) {
  EXPECT_TRUE((std::is_same_v<ReportedErrorMsg, OrvxMessages::ReportedErrorMsg>));
  EXPECT_TRUE((std::is_same_v<ReportedErrorMsgResponse, OrvxMessages::ReportedErrorMsgResponse>));
  EXPECT_TRUE((std::is_same_v<ErrorMsg, DEMessages::ErrorMsg>));
}

TEST(ErrorMessages, KeepTheSignatureInAClone) {
  EXPECT_STREQ(Clone(Report())->VSConcreteSignature(), Report().VSConcreteSignature());
  EXPECT_STREQ(Clone(Response(true))->VSConcreteSignature(), Response(true).VSConcreteSignature());
  EXPECT_STREQ(Clone(ErrorMsg(1, ""))->VSConcreteSignature(),
               ErrorMsg(1, "").VSConcreteSignature());
}

TEST(ErrorMessages, LeaveTheNameBehindWhenCloned) {
  ErrorMsg error(2001, "Gone");
  error.SetName("mine");
  EXPECT_STREQ(Clone(error)->Name(), "");
  EXPECT_STREQ(error.Name(), "mine");
}

TEST(ErrorMessages, ReadThroughTheInterfaceWhatTheyWroteThroughIt) {
  ErrorMsg written(7, "Seven");
  ErrorMsg read;
  VSerializable& asBase = read;
  ReadAll(BytesOf(written), asBase);
  EXPECT_EQ(read.GetCode(), 7U);
  EXPECT_EQ(read.GetText(), "Seven");
}

TEST(ErrorMessages, DoNotReadEachOther) {
  ErrorMsg error(7, "Seven");
  ReportedErrorMsg report;
  EXPECT_THROW(ReadAll(BytesOf(error), report), VStreamError);
}

TEST(ErrorMessages, HaveTheirVirtualOperationsInThisOrder) {
  // The destructors are 0 and 1; a derived class keeps its base's slots.
  EXPECT_EQ(VirtualSlot(&ErrorMsg::SetName), 2);
  EXPECT_EQ(VirtualSlot(&ErrorMsg::VSClone), 3);
  EXPECT_EQ(VirtualSlot(&ErrorMsg::VSInitSerialization), 4);
  EXPECT_EQ(VirtualSlot(&ErrorMsg::VSConcreteSignature), 5);
}

TEST(ReportedErrorMsg, IsClonedWithTextSeverityAndIdentifier) {
  const auto clone = Clone(Report());
  EXPECT_EQ(clone->GetText().Text(), "No room left");
  EXPECT_EQ(clone->GetText().Severity(), -3);
  EXPECT_EQ(clone->GetDataSetID(), LocallyUniqueID(0, 5));
}

TEST(ReportedErrorMsgResponse, IsCopiedWithItsAnswer) {
  const ReportedErrorMsgResponse yes = Response(true);
  const ReportedErrorMsgResponse no = Response(false);
  EXPECT_TRUE(ReportedErrorMsgResponse(yes).GetAnswer());
  EXPECT_FALSE(ReportedErrorMsgResponse(no).GetAnswer());
  EXPECT_TRUE(Clone(yes)->GetAnswer());
}

TEST(ErrorMsg, IsClonedWithCodeAndText) {
  const auto clone = Clone(ErrorMsg(2001, "Gone"));
  EXPECT_EQ(clone->GetCode(), 2001U);
  EXPECT_EQ(clone->GetText(), "Gone");
}

// Counts the storage that its clones take and give back; copying may fail.
class Fragile : public MessageGlue<Fragile> {
 public:
  static const char* VSignature() { return "Test::Fragile"; }
  static unsigned int Version() { return 1; }

  Fragile() = default;
  Fragile(const Fragile& other) : MessageGlue(other), copyFails_(other.copyFails_) {
    if (copyFails_) throw std::runtime_error("copy");
  }

  static void* operator new(std::size_t size) {
    ++taken;
    return VUGlobal::operator new(size);
  }
  static void operator delete(void* storage) {
    ++given;
    VUGlobal::operator delete(storage);
  }

  void Serialize(VStream&) {}
  void MakeCopiesFail() { copyFails_ = true; }

  static int taken;
  static int given;

 private:
  bool copyFails_ = false;
};
int Fragile::taken = 0;
int Fragile::given = 0;

class Cloning : public testing::Test {
 protected:
  Cloning() { Fragile::taken = Fragile::given = 0; }
};

TEST_F(Cloning, TakesStorageFromTheClassesAllocatorAndDeletingGivesItBack) {
  VSerializable* clone = Fragile().VSClone();
  EXPECT_EQ(Fragile::taken, 1);
  EXPECT_EQ(Fragile::given, 0);
  delete clone;
  EXPECT_EQ(Fragile::given, 1);
}

TEST_F(Cloning, GivesTheStorageBackWhereTheCopyThrows) {
  Fragile message;
  message.MakeCopiesFail();
  EXPECT_THROW(message.VSClone(), std::runtime_error);
  EXPECT_EQ(Fragile::taken, 1);
  EXPECT_EQ(Fragile::given, 1);
}

}  // namespace
