// Tests of change messages: content, visitor and encoding.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <liborvxdemg/DataSetModifiedMsg.h>
#include <liborvxdemg/DataSetMsgVisitor.h>
#include <liborvxdemg/DeleteVarsMsg.h>
#include <liborvxdemg/ExtensionsMsg.h>
#include <liborvxdemg/FileLabelChangeMsg.h>
#include <liborvxdemg/FileSpecChangeMsg.h>
#include <liborvxdemg/FilterVarMsg.h>
#include <liborvxdemg/ImputationInfoMsg.h>
#include <liborvxdemg/InsertVarsMsg.h>
#include <liborvxdemg/ModifyVarMsg.h>
#include <liborvxdemg/MoveVarsMsg.h>
#include <liborvxdemg/ReadDataSetMsg.h>
#include <liborvxdemg/ResetClientDataMsg.h>
#include <liborvxdemg/ResetUndoMsg.h>
#include <liborvxdemg/SplitFileMsg.h>
#include <liborvxdemg/tests/ReadMessages.h>
#include <liborvxdemg/TrendsInfoMsg.h>
#include <liborvxdemg/WeightVarMsg.h>
#include <tests/support/MessageBytes.h>

#include <memory>
#include <string>
#include <type_traits>
#include <vector>

namespace {

using namespace std::string_literals;
using testing::ElementsAre;
using testing::IsEmpty;

const LocallyUniqueID kAge(1, 2);

// A variable with only an identifier, a name and a format.
ORVX_Variable Age() {
  ORVX_Variable age(kAge, "age");
  age.SetFormat({VariableFormat::Kind::Plain, 8, 2});
  return age;
}

// clang-format off
const std::string kAgeBytes =
    "\x21\0\0\0"              // identifier
    "\x03\0\0\0" "age"        // name
    "\0\0\0\0"                // label
    "\0\0\0\0"                // type
    "\0\x08\0\0\0\x02\0\0\0"  // format
    "\0\0\0\0"                // value labels
    "\0\0\0\0"                // missing values
    "\0"                      // measurement level
    "\0\0\0\0"s;              // attributes
// clang-format on

const std::string kInsertBytes =
    "\x19\0\0\0"
    "DEMessages::InsertVarsMsg"
    "\x01\0\0\0"s +
    kCommonBytes + "\x01\0\0\0"s + kAgeBytes + "\x31\0\0\0"s;

const std::string kDeleteBytes =
    "\x19\0\0\0"
    "DEMessages::DeleteVarsMsg"
    "\x01\0\0\0"s +
    kCommonBytes + "\x01\0\0\0"s + kAgeBytes;

const std::string kMoveBytes =
    "\x17\0\0\0"
    "DEMessages::MoveVarsMsg"
    "\x01\0\0\0"s +
    kCommonBytes +
    "\x02\0\0\0"
    "\x05\0\0\0"
    "\x09\0\0\0"
    "\x01\0\0\0"s;

const std::string kModifyBytes =
    "\x18\0\0\0"
    "DEMessages::ModifyVarMsg"
    "\x01\0\0\0"s +
    kCommonBytes + kAgeBytes;

const std::string kResetUndoBytes =
    "\x18\0\0\0"
    "DEMessages::ResetUndoMsg"
    "\x01\0\0\0"
    "\0\0\0\0"
    "\xFF\xFF\xFF\xFF"
    "\0\0\0\0"s;

InsertVarsMsg Insert() {
  return {0, kDataset, 12, {Age()}, LocallyUniqueID(1, 3)};
}
DeleteVarsMsg Delete() {
  return {0, kDataset, 12, {Age()}};
}
MoveVarsMsg Move() {
  return {0, kDataset, 12, {5, 9}, 1};
}
ModifyVarMsg Modify() {
  return {0, kDataset, 12, Age()};
}

// Records which operations of the visitor were called.
class Witness final : public DataSetMsgVisitor {
 public:
  void Visit(const InsertVarsMsg&) override { seen.push_back("insert"); }
  void Visit(const DeleteVarsMsg&) override { seen.push_back("delete"); }
  void Visit(const MoveVarsMsg&) override { seen.push_back("move"); }
  void Visit(const ModifyVarMsg&) override { seen.push_back("modify"); }
  void Visit(const ResetUndoMsg&) override { seen.push_back("reset undo"); }
  void Visit(const ImputationInfoMsg&) override { seen.push_back("imputation"); }
  void Visit(const FileSpecChangeMsg&) override { seen.push_back("file specification"); }
  void Visit(const FileLabelChangeMsg&) override { seen.push_back("label"); }
  void Visit(const WeightVarMsg&) override { seen.push_back("weight"); }
  void Visit(const FilterVarMsg&) override { seen.push_back("filter"); }
  void Visit(const TrendsInfoMsg&) override { seen.push_back("trends"); }
  void Visit(const SplitFileMsg&) override { seen.push_back("split"); }
  void Visit(const ExtensionsMsg&) override { seen.push_back("extension"); }
  void Visit(const ResetClientDataMsg&) override { seen.push_back("reset client data"); }
  void Visit(const DataSetModifiedMsg&) override { seen.push_back("modified"); }

  std::vector<std::string> seen;
};

TEST(DataSetMsg, HasTheThreeCommonFields) {
  const ModifyVarMsg message(4, kDataset, 4000000000U, Age());
  EXPECT_EQ(message.GetLeading(), 4U);
  EXPECT_EQ(message.GetDataSetID(), kDataset);
  EXPECT_EQ(message.GetCaseSequence(), 4000000000U);
}

TEST(DataSetMsg, CannotBeAssignedTo) {
  EXPECT_FALSE(std::is_copy_assignable_v<InsertVarsMsg>);
  EXPECT_FALSE(std::is_copy_assignable_v<ModifyVarMsg>);
}

TEST(DataSetMsg, CopiesItsArguments) {
  std::vector<ORVX_Variable> variables = {Age()};
  const InsertVarsMsg message(0, kDataset, 12, variables, LocallyUniqueID());
  variables[0].SetName("years");
  variables.clear();
  EXPECT_THAT(message.GetVariables(), ElementsAre(Age()));
}

TEST(DataSetMsg, CallsTheVisitorsOperationForItsClass) {
  Witness witness;
  Insert().Accept(witness);
  Delete().Accept(witness);
  Move().Accept(witness);
  Modify().Accept(witness);
  ResetUndoMsg().Accept(witness);
  ImputationInfoMsg().Accept(witness);
  FileSpecChangeMsg().Accept(witness);
  FileLabelChangeMsg().Accept(witness);
  WeightVarMsg().Accept(witness);
  FilterVarMsg().Accept(witness);
  TrendsInfoMsg().Accept(witness);
  SplitFileMsg().Accept(witness);
  ExtensionsMsg().Accept(witness);
  ResetClientDataMsg().Accept(witness);
  DataSetModifiedMsg().Accept(witness);
  EXPECT_THAT(witness.seen,
              ElementsAre("insert", "delete", "move", "modify", "reset undo", "imputation",
                          "file specification", "label", "weight", "filter", "trends", "split",
                          "extension", "reset client data", "modified"));
}

TEST(DataSetMsg, IsClonedCompletely) {
  const std::unique_ptr<VSerializable> clone(Insert().VSClone());
  EXPECT_STREQ(clone->VSConcreteSignature(), "DEMessages::InsertVarsMsg");
  EXPECT_EQ(BytesOf(*clone), kInsertBytes);
}

TEST(DataSetMsg, ACopyHasNoName) {
  InsertVarsMsg message = Insert();
  message.SetName("first");
  const InsertVarsMsg copy(message);
  EXPECT_STREQ(copy.Name(), "");
  ExpectCommonFields(copy);
}

TEST(InsertVarsMsg, KeepsItsEncoding) {
  InsertVarsMsg message = Insert();
  EXPECT_EQ(BytesOf(message), kInsertBytes);
}

TEST(InsertVarsMsg, DecodesItsFields) {
  const auto message = ReadAs<InsertVarsMsg>(kInsertBytes);
  ASSERT_NE(message, nullptr);
  ExpectCommonFields(*message);
  EXPECT_THAT(message->GetVariables(), ElementsAre(Age()));
  EXPECT_EQ(message->GetAnchor(), LocallyUniqueID(1, 3));
}

TEST(DeleteVarsMsg, KeepsItsEncoding) {
  DeleteVarsMsg message = Delete();
  EXPECT_EQ(BytesOf(message), kDeleteBytes);
}

TEST(DeleteVarsMsg, DecodesItsFields) {
  const auto message = ReadAs<DeleteVarsMsg>(kDeleteBytes);
  ASSERT_NE(message, nullptr);
  ExpectCommonFields(*message);
  EXPECT_THAT(message->GetVariables(), ElementsAre(Age()));
}

TEST(DeleteVarsMsg, MayBeEmpty) {
  DeleteVarsMsg message(0, kDataset, 12, {});
  const auto read = ReadAs<DeleteVarsMsg>(BytesOf(message));
  ASSERT_NE(read, nullptr);
  EXPECT_THAT(read->GetVariables(), IsEmpty());
}

TEST(MoveVarsMsg, KeepsItsEncoding) {
  MoveVarsMsg message = Move();
  EXPECT_EQ(BytesOf(message), kMoveBytes);
}

TEST(MoveVarsMsg, DecodesItsFields) {
  const auto message = ReadAs<MoveVarsMsg>(kMoveBytes);
  ASSERT_NE(message, nullptr);
  ExpectCommonFields(*message);
  EXPECT_THAT(message->GetPositions(), ElementsAre(5, 9));
  EXPECT_EQ(message->GetTarget(), 1);
}

TEST(ModifyVarMsg, KeepsItsEncoding) {
  ModifyVarMsg message = Modify();
  EXPECT_EQ(BytesOf(message), kModifyBytes);
}

TEST(ModifyVarMsg, DecodesItsFields) {
  const auto message = ReadAs<ModifyVarMsg>(kModifyBytes);
  ASSERT_NE(message, nullptr);
  ExpectCommonFields(*message);
  EXPECT_EQ(message->GetVariable(), Age());
}

TEST(ResetUndoMsg, KeepsItsEncodingAndSetsNoCommonFields) {
  ResetUndoMsg message;
  EXPECT_EQ(message.GetLeading(), 0U);
  EXPECT_TRUE(message.GetDataSetID().IsNull());
  EXPECT_EQ(message.GetCaseSequence(), 0U);
  EXPECT_EQ(BytesOf(message), kResetUndoBytes);
}

TEST(ResetUndoMsg, IsDecoded) {
  EXPECT_NE(ReadAs<ResetUndoMsg>(kResetUndoBytes), nullptr);
}

class EachMessage : public testing::TestWithParam<std::string> {};

TEST_P(EachMessage, IsRejectedAtEveryTruncation) {
  ExpectEveryTruncationRefused(GetParam(), ReadMessage);
}

TEST_P(EachMessage, IsDecodedOrRejectedAfterAnyByteChange) {
  ExpectChangedBytesReadOrRefused(GetParam(), ReadMessage);
}

TEST_P(EachMessage, IsRejectedInVersionTwo) {
  std::string bytes = GetParam();
  const std::size_t version = 4U + static_cast<unsigned char>(bytes[0]);
  bytes[version] = '\x02';
  EXPECT_THROW(ReadMessage(bytes), VStreamError);
}

INSTANTIATE_TEST_SUITE_P(DataSetMsg, EachMessage,
                         testing::Values(kInsertBytes, kDeleteBytes, kMoveBytes, kModifyBytes,
                                         kResetUndoBytes),
                         [](const auto& test) {
                           // The class name, which begins 16 bytes after the
                           // start: 4 bytes of length, then "DEMessages::".
                           return test.param.substr(16, test.param.find("Msg", 16) - 13);
                         });

TEST(ReadDataSetMsg, DecodesConsecutiveMessages) {
  const std::string bytes = kMoveBytes + kResetUndoBytes;
  VStream stream{std::string_view(bytes)};
  EXPECT_STREQ(ReadDataSetMsg(stream)->VSConcreteSignature(), "DEMessages::MoveVarsMsg");
  EXPECT_STREQ(ReadDataSetMsg(stream)->VSConcreteSignature(), "DEMessages::ResetUndoMsg");
  EXPECT_NO_THROW(stream.ExpectEnd());
}

TEST(ReadDataSetMsg, RejectsAnUnknownSignatureAndReportsItsPosition) {
  const std::string bytes = kMoveBytes +
                            "\x14\0\0\0"
                            "DEMessages::ErrorMsg"
                            "\x01\0\0\0"
                            "\0\0\0\0"
                            "\0\0\0\0"s;
  VStream stream{std::string_view(bytes)};
  ReadDataSetMsg(stream);
  try {
    ReadDataSetMsg(stream);
    FAIL() << "read an ErrorMsg as a change message";
  } catch (const VStreamError& error) {
    EXPECT_EQ(error.Offset(), kMoveBytes.size());
    EXPECT_THAT(error.what(), testing::HasSubstr("DEMessages::ErrorMsg"));
  }
}

TEST(ReadDataSetMsg, QuotesAndTruncatesAnUnknownSignature) {
  VStream out;
  std::string foreign = "\x1B[2J" + std::string(1000, 'x') + "\xFF";
  out.String(foreign);
  VStream stream{out.Bytes()};
  try {
    ReadDataSetMsg(stream);
    FAIL() << "read an unknown signature";
  } catch (const VStreamError& error) {
    EXPECT_STREQ(error.what(),
                 (R"(at byte 0: expected the signature of a change message, found "\x1B[2J)" +
                  std::string(60, 'x') + "...\"")
                     .c_str());
  }
}

TEST(ReadDataSetMsg, RejectsACountOfVariablesBeyondTheBytes) {
  std::string bytes = kInsertBytes;
  const std::size_t count = 33 + kCommonBytes.size();
  ASSERT_EQ(bytes[count], '\x01');
  bytes[count] = '\x03';  // claims three variables, for which the remaining bytes are too few
  try {
    ReadMessage(bytes);
    FAIL() << "believed the count";
  } catch (const VStreamError& error) {
    EXPECT_EQ(error.Offset(), count);
  }
}

}  // namespace
