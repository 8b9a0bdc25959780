// Tests of the messages about properties: content and encoding.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <liborvxdemg/DataSetModifiedMsg.h>
#include <liborvxdemg/ExtensionsMsg.h>
#include <liborvxdemg/FileLabelChangeMsg.h>
#include <liborvxdemg/FileSpecChangeMsg.h>
#include <liborvxdemg/FilterVarMsg.h>
#include <liborvxdemg/ImputationInfoMsg.h>
#include <liborvxdemg/ResetClientDataMsg.h>
#include <liborvxdemg/SplitFileMsg.h>
#include <liborvxdemg/tests/ReadMessages.h>
#include <liborvxdemg/TrendsInfoMsg.h>
#include <liborvxdemg/WeightVarMsg.h>
#include <tests/support/MessageBytes.h>

#include <limits>
#include <memory>
#include <stdexcept>
#include <string>

namespace {

using namespace std::string_literals;
using testing::ElementsAre;
using testing::IsEmpty;

using Block = RefCountPtr<ORVX_ExtensionImpl>;

const LocallyUniqueID kYear(1, 2);
const LocallyUniqueID kMonth(1, 3);
const LocallyUniqueID kBoth[] = {kYear, kMonth};

ORVX_TrendsInfo Monthly() {
  ORVX_TrendsInfo trends;
  trends.timeVariables = {kYear, kMonth};
  trends.seasonalPeriod = 12;
  return trends;
}

Block MakeBlock(int type, int version, const std::string& bytes) {
  return Block(
      new ORVX_ExtensionImpl(type, version, static_cast<long>(bytes.size()), bytes.data()));
}

// --- Encodings ---

const std::string kWeightBytes =
    "\x18\0\0\0"
    "DEMessages::WeightVarMsg"
    "\x01\0\0\0"s +
    kCommonBytes + "\x21\0\0\0"s;

const std::string kFilterBytes =
    "\x18\0\0\0"
    "DEMessages::FilterVarMsg"
    "\x01\0\0\0"s +
    kCommonBytes + "\x31\0\0\0"s;

// clang-format off
const std::string kSplitBytes =
    "\x18\0\0\0"
    "DEMessages::SplitFileMsg"
    "\x01\0\0\0"s +
    kCommonBytes +
    "\x02\0\0\0" "\x21\0\0\0" "\x31\0\0\0"  // identifiers
    "\x01"s;                                  // separate
// clang-format on

const std::string kLabelBytes =
    "\x1E\0\0\0"
    "DEMessages::FileLabelChangeMsg"
    "\x01\0\0\0"s +
    kCommonBytes +
    "\x06\0\0\0"
    "Survey"s;

const std::string kFileSpecBytes =
    "\x1D\0\0\0"
    "DEMessages::FileSpecChangeMsg"
    "\x01\0\0\0"s +
    kCommonBytes +
    "\x06\0\0\0"
    "/a.csv"
    "\x01"s;

const std::string kModifiedBytes =
    "\x1E\0\0\0"
    "DEMessages::DataSetModifiedMsg"
    "\x01\0\0\0"s +
    kCommonBytes + "\x01"s;

// clang-format off
const std::string kTrendsBytes =
    "\x19\0\0\0"
    "DEMessages::TrendsInfoMsg"
    "\x01\0\0\0"s +
    kCommonBytes +
    "\x02\0\0\0" "\x21\0\0\0" "\x31\0\0\0"  // time variables
    "\x0C\0\0\0"s;                            // seasonal period
// clang-format on

const std::string kResetClientDataBytes =
    "\x1E\0\0\0"
    "DEMessages::ResetClientDataMsg"
    "\x01\0\0\0"s +
    kCommonBytes + "\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF"s;

// clang-format off
const std::string kExtensionBytes =
    "\x19\0\0\0"
    "DEMessages::ExtensionsMsg"
    "\x01\0\0\0"s +
    kCommonBytes +
    "\x07\0\0\0"            // type
    "\x03\0\0\0"            // version
    "\x03\0\0\0" "a\0z"s;  // bytes
// clang-format on

// The common fields are not set.
const std::string kImputationBytes =
    "\x1D\0\0\0"
    "DEMessages::ImputationInfoMsg"
    "\x01\0\0\0"
    "\0\0\0\0"
    "\xFF\xFF\xFF\xFF"
    "\0\0\0\0"
    "\x02\0\0\0\0\0\0\0"s;

TEST(WeightVarMsg, KeepsItsEncoding) {
  WeightVarMsg message(0, kDataset, kSequence, kYear);
  EXPECT_EQ(BytesOf(message), kWeightBytes);
}

TEST(WeightVarMsg, DecodesItsFields) {
  const auto message = ReadAs<WeightVarMsg>(kWeightBytes);
  ASSERT_NE(message, nullptr);
  ExpectCommonFields(*message);
  EXPECT_EQ(message->GetVariableID(), kYear);
}

TEST(WeightVarMsg, NullIdentifierMeansNoWeight) {
  WeightVarMsg message(0, kDataset, kSequence, LocallyUniqueID());
  EXPECT_TRUE(ReadAs<WeightVarMsg>(BytesOf(message))->GetVariableID().IsNull());
}

TEST(FilterVarMsg, KeepsItsEncoding) {
  FilterVarMsg message(0, kDataset, kSequence, kMonth);
  EXPECT_EQ(BytesOf(message), kFilterBytes);
}

TEST(FilterVarMsg, DecodesItsFields) {
  const auto message = ReadAs<FilterVarMsg>(kFilterBytes);
  ASSERT_NE(message, nullptr);
  ExpectCommonFields(*message);
  EXPECT_EQ(message->GetVariableID(), kMonth);
}

TEST(FilterVarMsg, NullIdentifierMeansNoFilter) {
  FilterVarMsg message(0, kDataset, kSequence, LocallyUniqueID());
  EXPECT_TRUE(ReadAs<FilterVarMsg>(BytesOf(message))->GetVariableID().IsNull());
}

TEST(SplitFileMsg, KeepsItsEncoding) {
  SplitFileMsg message(0, kDataset, kSequence, 2, kBoth, true);
  EXPECT_EQ(BytesOf(message), kSplitBytes);
}

TEST(SplitFileMsg, DecodesItsFields) {
  const auto message = ReadAs<SplitFileMsg>(kSplitBytes);
  ASSERT_NE(message, nullptr);
  ExpectCommonFields(*message);
  EXPECT_THAT(message->GetVariableIDs(), ElementsAre(kYear, kMonth));
  EXPECT_TRUE(message->GetSeparate());
}

TEST(SplitFileMsg, CopiesExactlyTheGivenNumberOfIdentifiers) {
  const SplitFileMsg message(0, kDataset, kSequence, 1, kBoth, false);
  EXPECT_THAT(message.GetVariableIDs(), ElementsAre(kYear));
  EXPECT_FALSE(message.GetSeparate());
}

TEST(SplitFileMsg, AcceptsMoreThanEightIdentifiers) {
  std::vector<LocallyUniqueID> ids;
  for (unsigned int i = 0; i < 20; ++i) ids.push_back(LocallyUniqueID(1, i));
  SplitFileMsg message(0, kDataset, kSequence, 20, ids.data(), false);
  EXPECT_EQ(ReadAs<SplitFileMsg>(BytesOf(message))->GetVariableIDs(), ids);
}

TEST(SplitFileMsg, CopiesTheIdentifiers) {
  std::vector<LocallyUniqueID> ids = {kYear};
  const SplitFileMsg message(0, kDataset, kSequence, 1, ids.data(), false);
  ids[0] = kMonth;
  EXPECT_THAT(message.GetVariableIDs(), ElementsAre(kYear));
}

TEST(SplitFileMsg, NoIdentifiersMeansNoSplit) {
  SplitFileMsg message(0, kDataset, kSequence, 0, nullptr, false);
  EXPECT_THAT(ReadAs<SplitFileMsg>(BytesOf(message))->GetVariableIDs(), IsEmpty());
}

TEST(SplitFileMsg, RejectsANegativeCount) {
  EXPECT_THROW(SplitFileMsg(0, kDataset, kSequence, -1, kBoth, false), std::invalid_argument);
}

TEST(FileLabelChangeMsg, KeepsItsEncoding) {
  FileLabelChangeMsg message(0, kDataset, kSequence, "Survey");
  EXPECT_EQ(BytesOf(message), kLabelBytes);
}

TEST(FileLabelChangeMsg, DecodesItsFields) {
  const auto message = ReadAs<FileLabelChangeMsg>(kLabelBytes);
  ASSERT_NE(message, nullptr);
  ExpectCommonFields(*message);
  EXPECT_EQ(message->GetLabel(), "Survey");
}

TEST(FileLabelChangeMsg, CopiesTheLabel) {
  std::string label = "before";
  const FileLabelChangeMsg message(0, kDataset, kSequence, label.c_str());
  label = "after!";
  EXPECT_EQ(message.GetLabel(), "before");
}

TEST(FileLabelChangeMsg, NullLabelBecomesEmpty) {
  EXPECT_EQ(FileLabelChangeMsg(0, kDataset, kSequence, nullptr).GetLabel(), "");
}

TEST(FileSpecChangeMsg, KeepsItsEncoding) {
  FileSpecChangeMsg message(0, kDataset, kSequence, "/a.csv", true);
  EXPECT_EQ(BytesOf(message), kFileSpecBytes);
}

TEST(FileSpecChangeMsg, DecodesItsFields) {
  const auto message = ReadAs<FileSpecChangeMsg>(kFileSpecBytes);
  ASSERT_NE(message, nullptr);
  ExpectCommonFields(*message);
  EXPECT_EQ(message->GetFileSpec(), "/a.csv");
  EXPECT_TRUE(message->GetFlag());
}

TEST(FileSpecChangeMsg, RoundTripsAClearFlag) {
  FileSpecChangeMsg message(0, kDataset, kSequence, "/a.csv", false);
  EXPECT_FALSE(ReadAs<FileSpecChangeMsg>(BytesOf(message))->GetFlag());
}

TEST(FileSpecChangeMsg, CopiesTheName) {
  std::string name = "/before";
  const FileSpecChangeMsg message(0, kDataset, kSequence, name.c_str(), true);
  name = "/after!";
  EXPECT_EQ(message.GetFileSpec(), "/before");
}

TEST(FileSpecChangeMsg, NullNameBecomesEmpty) {
  EXPECT_EQ(FileSpecChangeMsg(0, kDataset, kSequence, nullptr, true).GetFileSpec(), "");
}

TEST(DataSetModifiedMsg, KeepsItsEncoding) {
  DataSetModifiedMsg message(0, kDataset, kSequence, true);
  EXPECT_EQ(BytesOf(message), kModifiedBytes);
}

TEST(DataSetModifiedMsg, DecodesItsFields) {
  const auto message = ReadAs<DataSetModifiedMsg>(kModifiedBytes);
  ASSERT_NE(message, nullptr);
  ExpectCommonFields(*message);
  EXPECT_TRUE(message->GetModified());
}

TEST(DataSetModifiedMsg, RoundTripsAClearFlag) {
  DataSetModifiedMsg message(0, kDataset, kSequence, false);
  EXPECT_FALSE(ReadAs<DataSetModifiedMsg>(BytesOf(message))->GetModified());
}

TEST(TrendsInfoMsg, KeepsItsEncoding) {
  const ORVX_TrendsInfo trends = Monthly();
  TrendsInfoMsg message(0, kDataset, kSequence, &trends);
  EXPECT_EQ(BytesOf(message), kTrendsBytes);
}

TEST(TrendsInfoMsg, DecodesItsFields) {
  const auto message = ReadAs<TrendsInfoMsg>(kTrendsBytes);
  ASSERT_NE(message, nullptr);
  ExpectCommonFields(*message);
  EXPECT_EQ(message->GetTrendsInfo(), Monthly());
}

TEST(TrendsInfoMsg, CopiesTheTrendsInformation) {
  ORVX_TrendsInfo trends = Monthly();
  const TrendsInfoMsg message(0, kDataset, kSequence, &trends);
  trends = ORVX_TrendsInfo();
  EXPECT_EQ(message.GetTrendsInfo(), Monthly());
}

TEST(TrendsInfoMsg, DecodingReplacesTheOldContent) {
  const ORVX_TrendsInfo none;
  TrendsInfoMsg ofNone(0, kDataset, kSequence, &none);
  const ORVX_TrendsInfo monthly = Monthly();
  TrendsInfoMsg message(0, kDataset, kSequence, &monthly);
  ReadAll(BytesOf(ofNone), message);
  EXPECT_EQ(message.GetTrendsInfo(), none);
}

TEST(ResetClientDataMsg, KeepsItsEncoding) {
  ResetClientDataMsg message(0, kDataset, kSequence, -1);
  EXPECT_EQ(BytesOf(message), kResetClientDataBytes);
}

TEST(ResetClientDataMsg, DecodesItsFields) {
  const auto message = ReadAs<ResetClientDataMsg>(kResetClientDataBytes);
  ASSERT_NE(message, nullptr);
  ExpectCommonFields(*message);
  EXPECT_EQ(message->GetRowCount(), -1);
}

TEST(ResetClientDataMsg, RoundTripsTheLargestCount) {
  constexpr long long kMost = std::numeric_limits<long long>::max();
  ResetClientDataMsg message(0, kDataset, kSequence, kMost);
  EXPECT_EQ(ReadAs<ResetClientDataMsg>(BytesOf(message))->GetRowCount(), kMost);
}

TEST(ExtensionsMsg, KeepsItsEncoding) {
  ExtensionsMsg message(0, kDataset, kSequence, MakeBlock(7, 3, "a\0z"s));
  EXPECT_EQ(BytesOf(message), kExtensionBytes);
}

TEST(ExtensionsMsg, DecodesItsFields) {
  const auto message = ReadAs<ExtensionsMsg>(kExtensionBytes);
  ASSERT_NE(message, nullptr);
  ExpectCommonFields(*message);
  EXPECT_EQ(message->GetExtension()->GetType(), 7);
  EXPECT_EQ(message->GetExtension()->GetVersion(), 3);
  EXPECT_EQ(message->GetExtension()->GetBytes(), "a\0z"s);
}

TEST(ExtensionsMsg, RoundTripsAnEmptyBlock) {
  ExtensionsMsg message(0, kDataset, kSequence, MakeBlock(0, 1, ""));
  const auto read = ReadAs<ExtensionsMsg>(BytesOf(message));
  EXPECT_EQ(read->GetExtension()->GetLength(), 0);
}

TEST(ExtensionsMsg, SharesTheBlockWithItsCopies) {
  const Block block = MakeBlock(7, 1, "abc");
  const ExtensionsMsg message(0, kDataset, kSequence, block);
  const ExtensionsMsg copy(message);
  EXPECT_EQ(message.GetExtension(), block);
  EXPECT_EQ(copy.GetExtension(), block);
  EXPECT_EQ(block->ReferenceCount(), 3U);
}

TEST(ExtensionsMsg, KeepsTheBlockAlive) {
  Block block = MakeBlock(7, 1, "abc");
  const ExtensionsMsg message(0, kDataset, kSequence, block);
  block = Block(nullptr);
  EXPECT_EQ(message.GetExtension()->GetBytes(), "abc");
}

TEST(ExtensionsMsg, DecodingDoesNotChangeASharedBlock) {
  const Block block = MakeBlock(5, 1, "shared");
  ExtensionsMsg message(0, kDataset, kSequence, block);
  ReadAll(kExtensionBytes, message);
  EXPECT_EQ(message.GetExtension()->GetBytes(), "a\0z"s);
  EXPECT_EQ(block->GetBytes(), "shared");
  EXPECT_EQ(block->GetType(), 5);
}

TEST(ExtensionsMsg, RejectsANullBlock) {
  EXPECT_THROW(ExtensionsMsg(0, kDataset, kSequence, Block(nullptr)), std::invalid_argument);
}

TEST(ExtensionsMsg, IsConstructedWithAnEmptyBlockByDefault) {
  const ExtensionsMsg message;
  ASSERT_TRUE(message.GetExtension().IsValid());
  EXPECT_EQ(message.GetExtension()->GetType(), 0);
  EXPECT_EQ(message.GetExtension()->GetVersion(), 1);
  EXPECT_EQ(message.GetExtension()->GetLength(), 0);
}

TEST(ImputationInfoMsg, KeepsItsEncodingAndSetsNoCommonFields) {
  ImputationInfoMsg message;
  EXPECT_EQ(message.GetLeading(), 0U);
  EXPECT_TRUE(message.GetDataSetID().IsNull());
  EXPECT_EQ(message.GetCaseSequence(), 0U);
  EXPECT_EQ(message.RowsPerImputation(), 0);
  message.RowsPerImputation(2);
  EXPECT_EQ(BytesOf(message), kImputationBytes);
}

TEST(ImputationInfoMsg, DecodesItsFields) {
  const auto message = ReadAs<ImputationInfoMsg>(kImputationBytes);
  ASSERT_NE(message, nullptr);
  EXPECT_EQ(message->RowsPerImputation(), 2);
}

TEST(PropertyMessages, AreClonedCompletely) {
  for (const std::string& bytes :
       {kWeightBytes, kFilterBytes, kSplitBytes, kLabelBytes, kFileSpecBytes, kModifiedBytes,
        kTrendsBytes, kResetClientDataBytes, kExtensionBytes, kImputationBytes}) {
    const std::unique_ptr<DataSetMsg> message = ReadMessage(bytes);
    const std::unique_ptr<VSerializable> clone(message->VSClone());
    EXPECT_STREQ(clone->VSConcreteSignature(), message->VSConcreteSignature());
    EXPECT_EQ(BytesOf(*clone), bytes);
  }
}

// --- Invalid bytes ---

class EachPropertyMessage : public testing::TestWithParam<std::string> {};

TEST_P(EachPropertyMessage, IsRejectedAtEveryTruncation) {
  ExpectEveryTruncationRefused(GetParam(), ReadMessage);
}

TEST_P(EachPropertyMessage, IsDecodedOrRejectedAfterAnyByteChange) {
  ExpectChangedBytesReadOrRefused(GetParam(), ReadMessage);
}

TEST_P(EachPropertyMessage, IsRejectedInVersionTwo) {
  std::string bytes = GetParam();
  bytes[4U + static_cast<unsigned char>(bytes[0])] = '\x02';
  EXPECT_THROW(ReadMessage(bytes), VStreamError);
}

INSTANTIATE_TEST_SUITE_P(PropertyMessages, EachPropertyMessage,
                         testing::Values(kWeightBytes, kFilterBytes, kSplitBytes, kLabelBytes,
                                         kFileSpecBytes, kModifiedBytes, kTrendsBytes,
                                         kResetClientDataBytes, kExtensionBytes, kImputationBytes),
                         [](const auto& test) {
                           // The class name, which begins 16 bytes after the
                           // start: 4 bytes of length, then "DEMessages::".
                           return test.param.substr(16, test.param.find("Msg", 16) - 13);
                         });

// Sets the count, length or flag at `place` to the invalid value `lie`, and checks that the message
// in `bytes` is then rejected at that place.
void ExpectLieRefused(std::string bytes, std::size_t place, char lie) {
  bytes[place] = lie;
  try {
    ReadMessage(bytes);
    ADD_FAILURE() << "believed a count of " << static_cast<int>(lie);
  } catch (const VStreamError& error) {
    EXPECT_EQ(error.Offset(), place);
  }
}

TEST(SplitFileMsg, RejectsACountOfIdentifiersBeyondTheBytes) {
  const std::size_t count = kSplitBytes.size() - 13;
  ASSERT_EQ(kSplitBytes[count], '\x02');
  ExpectLieRefused(kSplitBytes, count, '\x03');
}

TEST(TrendsInfoMsg, RejectsACountOfTimeVariablesBeyondTheBytes) {
  const std::size_t count = kTrendsBytes.size() - 16;
  ASSERT_EQ(kTrendsBytes[count], '\x02');
  ExpectLieRefused(kTrendsBytes, count, '\x04');
}

TEST(ExtensionsMsg, RejectsALengthBeyondTheBytes) {
  const std::size_t length = kExtensionBytes.size() - 7;
  ASSERT_EQ(kExtensionBytes[length], '\x03');
  ExpectLieRefused(kExtensionBytes, length, '\x04');
}

TEST(FileLabelChangeMsg, RejectsALengthBeyondTheBytes) {
  const std::size_t length = kLabelBytes.size() - 10;
  ASSERT_EQ(kLabelBytes[length], '\x06');
  ExpectLieRefused(kLabelBytes, length, '\x07');
}

TEST(SplitFileMsg, RejectsAFlagOtherThan0And1) {
  ExpectLieRefused(kSplitBytes, kSplitBytes.size() - 1, '\x02');
}

TEST(FileSpecChangeMsg, RejectsAFlagOtherThan0And1) {
  ExpectLieRefused(kFileSpecBytes, kFileSpecBytes.size() - 1, '\x02');
}

TEST(DataSetModifiedMsg, RejectsAFlagOtherThan0And1) {
  ExpectLieRefused(kModifiedBytes, kModifiedBytes.size() - 1, '\x02');
}

}  // namespace
