// ErrorMsg, ReportedErrorMsg, ReportedErrorMsgResponse, and their base class MessageGlue.

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

TEST(ErrorText, HasATextAndAnEightBitSeverity) {
  EXPECT_EQ(ErrorText("Why", -128).Severity(), -128);
  EXPECT_EQ(ErrorText("Why", 127).Severity(), 127);
  EXPECT_EQ(ErrorText("Why", 127).Text(), "Why");
}

TEST(ErrorText, RejectsASeverityOutsideEightBits) {
  EXPECT_THROW(ErrorText("Why", -129), std::out_of_range);
  EXPECT_THROW(ErrorText("Why", 128), std::out_of_range);
  EXPECT_THROW(ErrorText("Why", 257), std::out_of_range);  // 257 is 1 in eight bits
}

TEST(ErrorText, IsAnEmptyErrorByDefault) {
  EXPECT_EQ(ErrorText().Severity(), 1);
  EXPECT_EQ(ErrorText().Text(), "");
}

TEST(ErrorText, IsCopiedWithItsText) {
  const ErrorText text("Why", 2);
  const ErrorText copy(text);
  EXPECT_EQ(copy.Text(), "Why");
  EXPECT_EQ(copy.Severity(), 2);
}

TEST(ErrorMessages, HaveTheseSignatures) {
  EXPECT_STREQ(ReportedErrorMsg::VSignature(), "OrvxMessages::ReportedErrorMsg");
  EXPECT_STREQ(ReportedErrorMsgResponse::VSignature(), "OrvxMessages::ReportedErrorMsgResponse");
  EXPECT_STREQ(ErrorMsg::VSignature(), "DEMessages::ErrorMsg");
}

TEST(ErrorMessages, HaveVersionOne) {
  EXPECT_EQ(ReportedErrorMsg::Version(), 1U);
  EXPECT_EQ(ReportedErrorMsgResponse::Version(), 1U);
  EXPECT_EQ(ErrorMsg::Version(), 1U);
}

TEST(ErrorMessages, AreInTheNamespacesOfTheirSignatures) {
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

TEST(ErrorMessages, DoNotCopyTheNameWhenCloned) {
  ErrorMsg error(2001, "Gone");
  error.SetName("mine");
  EXPECT_STREQ(Clone(error)->Name(), "");
  EXPECT_STREQ(error.Name(), "mine");
}

TEST(ErrorMessages, RoundTripThroughTheBaseClass) {
  ErrorMsg written(7, "Seven");
  ErrorMsg read;
  VSerializable& asBase = read;
  ReadAll(BytesOf(written), asBase);
  EXPECT_EQ(read.GetCode(), 7U);
  EXPECT_EQ(read.GetText(), "Seven");
}

TEST(ErrorMessages, RejectEachOthersBytes) {
  ErrorMsg error(7, "Seven");
  ReportedErrorMsg report;
  EXPECT_THROW(ReadAll(BytesOf(error), report), VStreamError);
}

// Decodes `bytes` as a Message. Returns the error text; "" if decoding succeeds.
template <class Message>
std::string Complaint(const std::string& bytes) {
  Message message;
  try {
    ReadAll(bytes, message);
  } catch (const VStreamError& error) {
    return error.what();
  }
  return "";
}

std::string Changed(std::string bytes, std::size_t place, char byte) {
  bytes[place] = byte;
  return bytes;
}

std::string WithoutTheLast(const std::string& bytes) {
  return bytes.substr(0, bytes.size() - 1);
}

TEST(ErrorMessages, DecodingADamagedReportSaysWhatIsWrongAndWhere) {
  ReportedErrorMsg report = Report();
  const std::string bytes = BytesOf(report);
  EXPECT_EQ(Complaint<ReportedErrorMsg>(Changed(bytes, 34, 2)),
            R"(at byte 34: expected version 1 of "OrvxMessages::ReportedErrorMsg", )"
            "found version 2");
  EXPECT_EQ(Complaint<ReportedErrorMsg>(Changed(bytes, 4, 'X')),
            R"(at byte 0: expected the signature "OrvxMessages::ReportedErrorMsg", )"
            R"(found "XrvxMessages::ReportedErrorMsg")");
  EXPECT_EQ(Complaint<ReportedErrorMsg>(WithoutTheLast(bytes)),
            "at byte 55: expected a number of 4 bytes, found the end after 3 bytes");
  EXPECT_EQ(Complaint<ReportedErrorMsg>(Changed(bytes, 41, 0x7F)),
            "at byte 38: expected a length of at most 17 in what is left, found 2130706444");
}

TEST(ErrorMessages, DecodingADamagedResponseSaysWhatIsWrongAndWhere) {
  ReportedErrorMsgResponse answer = Response(true);
  const std::string bytes = BytesOf(answer);
  EXPECT_EQ(Complaint<ReportedErrorMsgResponse>(Changed(bytes, 42, 2)),
            R"(at byte 42: expected version 1 of "OrvxMessages::ReportedErrorMsgResponse", )"
            "found version 2");
  EXPECT_EQ(Complaint<ReportedErrorMsgResponse>(Changed(bytes, 4, 'X')),
            R"(at byte 0: expected the signature "OrvxMessages::ReportedErrorMsgResponse", )"
            R"(found "XrvxMessages::ReportedErrorMsgResponse")");
  EXPECT_EQ(Complaint<ReportedErrorMsgResponse>(WithoutTheLast(bytes)),
            "at byte 46: expected a truth value of 1 byte, found the end");
  EXPECT_EQ(Complaint<ReportedErrorMsgResponse>(Changed(bytes, 3, 0x7F)),
            "at byte 0: expected a length of at most 43 in what is left, found 2130706470");
}

TEST(ErrorMessages, DecodingADamagedErrorMsgSaysWhatIsWrongAndWhere) {
  ErrorMsg error(7, "Seven");
  const std::string bytes = BytesOf(error);
  EXPECT_EQ(Complaint<ErrorMsg>(Changed(bytes, 24, 2)),
            R"(at byte 24: expected version 1 of "DEMessages::ErrorMsg", found version 2)");
  EXPECT_EQ(Complaint<ErrorMsg>(Changed(bytes, 4, 'X')),
            R"(at byte 0: expected the signature "DEMessages::ErrorMsg", )"
            R"(found "XEMessages::ErrorMsg")");
  EXPECT_EQ(Complaint<ErrorMsg>(WithoutTheLast(bytes)),
            "at byte 37: expected a number of 4 bytes, found the end after 3 bytes");
  EXPECT_EQ(Complaint<ErrorMsg>(Changed(bytes, 31, 0x7F)),
            "at byte 28: expected a length of at most 9 in what is left, found 2130706437");
}

TEST(ErrorMessages, HaveTheirVirtualOperationsInThisOrder) {
  // The destructors have slots 0 and 1 of the virtual table; a derived class keeps the slots of its
  // base.
  EXPECT_EQ(VirtualSlot(&ErrorMsg::SetName), 2);
  EXPECT_EQ(VirtualSlot(&ErrorMsg::VSClone), 3);
  EXPECT_EQ(VirtualSlot(&ErrorMsg::VSInitSerialization), 4);
  EXPECT_EQ(VirtualSlot(&ErrorMsg::VSConcreteSignature), 5);
}

TEST(ErrorMessages, AReportIsClonedCompletely) {
  const auto clone = Clone(Report());
  EXPECT_EQ(clone->GetText().Text(), "No room left");
  EXPECT_EQ(clone->GetText().Severity(), -3);
  EXPECT_EQ(clone->GetDataSetID(), LocallyUniqueID(0, 5));
}

TEST(ErrorMessages, AResponseIsCopiedWithItsAnswer) {
  const ReportedErrorMsgResponse yes = Response(true);
  const ReportedErrorMsgResponse no = Response(false);
  EXPECT_TRUE(ReportedErrorMsgResponse(yes).GetAnswer());
  EXPECT_FALSE(ReportedErrorMsgResponse(no).GetAnswer());
  EXPECT_TRUE(Clone(yes)->GetAnswer());
}

TEST(ErrorMessages, AnErrorIsClonedWithCodeAndText) {
  const auto clone = Clone(ErrorMsg(2001, "Gone"));
  EXPECT_EQ(clone->GetCode(), 2001U);
  EXPECT_EQ(clone->GetText(), "Gone");
}

// A message that counts the calls of its class allocator. After MakeCopiesFail(), copying the
// message throws.
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

class CloningAMessage : public testing::Test {
 protected:
  CloningAMessage() { Fragile::taken = Fragile::given = 0; }
};

TEST_F(CloningAMessage, AllocatesAndFreesWithTheClassAllocator) {
  VSerializable* clone = Fragile().VSClone();
  EXPECT_EQ(Fragile::taken, 1);
  EXPECT_EQ(Fragile::given, 0);
  delete clone;
  EXPECT_EQ(Fragile::given, 1);
}

TEST_F(CloningAMessage, FreesTheMemoryIfCopyingThrows) {
  Fragile message;
  message.MakeCopiesFail();
  EXPECT_THROW(message.VSClone(), std::runtime_error);
  EXPECT_EQ(Fragile::taken, 1);
  EXPECT_EQ(Fragile::given, 1);
}

}  // namespace
