// Change messages by kind, and as text.

#include <gtest/gtest.h>
#include <libdatasrc/DataFreeDataSource.h>
#include <liborvxdemg/DataSetModifiedMsg.h>
#include <liborvxdemg/DeleteVarsMsg.h>
#include <liborvxdemg/ExtensionsMsg.h>
#include <liborvxdemg/ExtensionTypes.h>
#include <liborvxdemg/FileLabelChangeMsg.h>
#include <liborvxdemg/FileSpecChangeMsg.h>
#include <liborvxdemg/FilterVarMsg.h>
#include <liborvxdemg/ImputationInfoMsg.h>
#include <liborvxdemg/InsertVarsMsg.h>
#include <liborvxdemg/ModifyVarMsg.h>
#include <liborvxdemg/MoveVarsMsg.h>
#include <liborvxdemg/ResetClientDataMsg.h>
#include <liborvxdemg/ResetUndoMsg.h>
#include <liborvxdemg/SplitFileMsg.h>
#include <liborvxdemg/tests/ReadMessages.h>
#include <liborvxdemg/TrendsInfoMsg.h>
#include <liborvxdemg/WeightVarMsg.h>

#include <cstring>
#include <string>
#include <vector>

namespace {

using Kind = DataSetMsg::Kind;
using namespace DEMessages;

const LocallyUniqueID kPopulID(1, 1);
const LocallyUniqueID kNewsID(1, 2);
const LocallyUniqueID kAgeID(1, 3);

const ORVX_Variable kPopul(kPopulID, "popul");
const ORVX_Variable kNews(kNewsID, "TVnews");

class KnownDictionary : public DataFreeDataSource {
 public:
  KnownDictionary() {
    MakeVariable(kPopul, nullptr);
    MakeVariable(kNews, nullptr);
    MakeVariable(ORVX_Variable(kAgeID, "age"), nullptr);
  }
};

const KnownDictionary& Before() {
  static const KnownDictionary before;
  return before;
}

template <class Message, class... Arguments>
Message About(const Arguments&... arguments) {
  return Message(0, kDataset, kSequence, arguments...);
}

// Returns the text of a message, with names from a dictionary of "popul", "TVnews" and "age".
std::string Named(const DataSetMsg& message) {
  return message.ToString(&Before());
}

ExtensionsMsg BlockMessage(int type, const std::string& bytes) {
  return About<ExtensionsMsg>(TextBlock(type, bytes));
}

SplitFileMsg SplitBy(const std::vector<LocallyUniqueID>& ids, bool separate) {
  return SplitFileMsg(0, kDataset, kSequence, static_cast<int>(ids.size()), ids.data(), separate);
}

// A class of messages for which the visitor has no operation.
class StrangeMsg final : public MessageGlue<StrangeMsg, DataSetMsg> {
 public:
  static const char* VSignature() { return "Test::StrangeMsg"; }
  static unsigned int Version() { return 1; }
  void Accept(DataSetMsgVisitor&) const override {}
  void Serialize(VStream&) {}
};

TEST(KindOfAMessage, MatchesItsClass) {
  EXPECT_EQ(InsertVarsMsg().GetKind(), Kind::InsertVars);
  EXPECT_EQ(DeleteVarsMsg().GetKind(), Kind::DeleteVars);
  EXPECT_EQ(MoveVarsMsg().GetKind(), Kind::MoveVars);
  EXPECT_EQ(ModifyVarMsg().GetKind(), Kind::ModifyVar);
  EXPECT_EQ(ResetUndoMsg().GetKind(), Kind::ResetUndo);
  EXPECT_EQ(ImputationInfoMsg().GetKind(), Kind::ImputationInfo);
  EXPECT_EQ(FileSpecChangeMsg().GetKind(), Kind::FileSpecChange);
  EXPECT_EQ(FileLabelChangeMsg().GetKind(), Kind::FileLabelChange);
  EXPECT_EQ(WeightVarMsg().GetKind(), Kind::WeightVar);
  EXPECT_EQ(FilterVarMsg().GetKind(), Kind::FilterVar);
  EXPECT_EQ(TrendsInfoMsg().GetKind(), Kind::TrendsInfo);
  EXPECT_EQ(SplitFileMsg().GetKind(), Kind::SplitFile);
  EXPECT_EQ(ExtensionsMsg().GetKind(), Kind::Extensions);
  EXPECT_EQ(ResetClientDataMsg().GetKind(), Kind::ResetClientData);
  EXPECT_EQ(DataSetModifiedMsg().GetKind(), Kind::DataSetModified);
  EXPECT_EQ(StrangeMsg().GetKind(), Kind::Other);
}

TEST(TextOfAMessage, NamesInsertedVariablesAndTheirPosition) {
  const std::vector<ORVX_Variable> both{kPopul, kNews};
  EXPECT_EQ(About<InsertVarsMsg>(std::vector{kPopul}, LocallyUniqueID()).ToString(),
            "inserted variable \"popul\" (numeric) at the end");
  EXPECT_EQ(About<InsertVarsMsg>(std::vector{ORVX_Variable(kNewsID, "vote", 8)}, kAgeID).ToString(),
            "inserted variable \"vote\" (string of 8 bytes) before 1:3");
  EXPECT_EQ(Named(About<InsertVarsMsg>(both, kAgeID)),
            "inserted variables \"popul\", \"TVnews\" before \"age\"");
  EXPECT_EQ(InsertVarsMsg().ToString(), "inserted no variables at the end");
}

TEST(TextOfAMessage, NamesDeletedVariables) {
  EXPECT_EQ(About<DeleteVarsMsg>(std::vector{kPopul, kNews}).ToString(),
            "deleted variables \"popul\", \"TVnews\"");
  EXPECT_EQ(About<DeleteVarsMsg>(std::vector{kPopul}).ToString(), "deleted variable \"popul\"");
  EXPECT_EQ(DeleteVarsMsg().ToString(), "deleted no variables");
}

TEST(TextOfAMessage, CountsPositionsFromOne) {
  EXPECT_EQ(Named(About<MoveVarsMsg>(std::vector{2}, 0)),
            "moved variable \"age\" from position 3 to 1");
  EXPECT_EQ(Named(About<MoveVarsMsg>(std::vector{2, 1}, 0)),
            "moved variables \"age\", \"TVnews\" from positions 3, 2 to 1");
  EXPECT_EQ(About<MoveVarsMsg>(std::vector{2}, 0).ToString(),
            "moved variable from position 3 to 1");
  EXPECT_EQ(Named(About<MoveVarsMsg>(std::vector{2, 3}, 0)),
            "moved variables from positions 3, 4 to 1");
  EXPECT_EQ(Named(About<MoveVarsMsg>(std::vector{-1}, 0)), "moved variable from position 0 to 1");
}

TEST(TextOfAMessage, NamesAModifiedVariable) {
  EXPECT_EQ(About<ModifyVarMsg>(kPopul).ToString(), "modified variable \"popul\"");
  EXPECT_EQ(Named(About<ModifyVarMsg>(ORVX_Variable(LocallyUniqueID(1, 7), "x"))),
            "modified variable \"x\"");
}

TEST(TextOfAMessage, ListsTheChangesOfAModifiedVariable) {
  ORVX_Variable after(kAgeID, "years");
  after.SetLabel("Age in years");
  EXPECT_EQ(Named(About<ModifyVarMsg>(after)),
            "modified variable \"age\": name \"age\" -> \"years\"; label none -> \"Age in years\"");
}

TEST(TextOfAMessage, NamesTheVariablesOfWeightFilterAndSplit) {
  EXPECT_EQ(About<WeightVarMsg>(kAgeID).ToString(), "weight: 1:3");
  EXPECT_EQ(Named(About<WeightVarMsg>(kAgeID)), "weight: \"age\"");
  EXPECT_EQ(Named(About<WeightVarMsg>(LocallyUniqueID(1, 7))), "weight: 1:7 (no such variable)");
  EXPECT_EQ(About<WeightVarMsg>(LocallyUniqueID()).ToString(), "weight: none");
  EXPECT_EQ(Named(About<FilterVarMsg>(kAgeID)), "filter: \"age\"");
  EXPECT_EQ(About<FilterVarMsg>(LocallyUniqueID()).ToString(), "filter: none");
  EXPECT_EQ(Named(SplitBy({kPopulID, kAgeID}, true)), "split: \"popul\", \"age\" (separately)");
  EXPECT_EQ(Named(SplitBy({kPopulID}, false)), "split: \"popul\" (together)");
  EXPECT_EQ(SplitBy({}, false).ToString(), "split: none");
}

TEST(TextOfAMessage, HasTheValueOfAProperty) {
  EXPECT_EQ(About<FileLabelChangeMsg>("Survey").ToString(), "dataset label: \"Survey\"");
  EXPECT_EQ(About<FileLabelChangeMsg>("").ToString(), "dataset label: none");
  EXPECT_EQ(About<FileSpecChangeMsg>("/a.csv", true).ToString(), "saved file: \"/a.csv\"");
  EXPECT_EQ(About<FileSpecChangeMsg>("", true).ToString(), "saved file: none");
  EXPECT_EQ(About<ResetClientDataMsg>(944).ToString(), "case data reset: 944 rows");
  EXPECT_EQ(About<ResetClientDataMsg>(1).ToString(), "case data reset: 1 row");
  EXPECT_EQ(About<ResetClientDataMsg>(-1).ToString(), "case data reset: unknown number of rows");
  EXPECT_EQ(About<DataSetModifiedMsg>(true).ToString(), "unsaved changes: yes");
  EXPECT_EQ(About<DataSetModifiedMsg>(false).ToString(), "unsaved changes: no");
  EXPECT_EQ(ResetUndoMsg().ToString(), "undo history reset");
  ImputationInfoMsg imputation;
  EXPECT_EQ(imputation.ToString(), "rows per imputation: none");
  imputation.RowsPerImputation(200);
  EXPECT_EQ(imputation.ToString(), "rows per imputation: 200");
}

TEST(TextOfAMessage, ListsTheTimeSeriesProperties) {
  ORVX_TrendsInfo trends;
  EXPECT_EQ(About<TrendsInfoMsg>(&trends).ToString(), "time series: none");
  trends.seasonalPeriod = 12;
  EXPECT_EQ(About<TrendsInfoMsg>(&trends).ToString(), "time series: period 12");
  trends.timeVariables = {kAgeID, kNewsID};
  EXPECT_EQ(Named(About<TrendsInfoMsg>(&trends)), "time series: by \"age\", \"TVnews\", period 12");
}

TEST(TextOfAMessage, ListsSetsByNameAndSize) {
  const std::string line = "news\t\t\t0\t0\t0\t17\t33\none\t\t\t0\t0\t0\t17\n";
  const std::string sets = "\"news\" (2 variables), \"one\" (1 variable)";
  EXPECT_EQ(BlockMessage(5, line).ToString(), "variable sets: " + sets);
  EXPECT_EQ(BlockMessage(7, line).ToString(), "multiple-response sets: " + sets);
  EXPECT_EQ(BlockMessage(19, line).ToString(), "multiple-response sets (extension 19): " + sets);
  EXPECT_EQ(BlockMessage(5, "").ToString(), "variable sets: none");
}

TEST(TextOfAMessage, ListsAttributesWithTheirValues) {
  EXPECT_EQ(BlockMessage(17, "source\tform\tpage 2\nyear\t1996\n").ToString(),
            "attributes: source = \"form\" \"page 2\", year = \"1996\"");
  EXPECT_EQ(BlockMessage(17, "").ToString(), "attributes: none");
}

TEST(TextOfAMessage, CountsUnreadableBytes) {
  EXPECT_EQ(BlockMessage(5, "no set").ToString(), "variable sets: 6 bytes that cannot be read");
  EXPECT_EQ(BlockMessage(17, "\\").ToString(), "attributes: 1 byte that cannot be read");
}

TEST(TextOfAMessage, QuotesAShortPrintableExtensionAndCountsTheBytesOfOthers) {
  EXPECT_EQ(BlockMessage(0, "page 2").ToString(), "extension of type 0: \"page 2\"");
  EXPECT_EQ(BlockMessage(0, "").ToString(), "extension of type 0: none");
  EXPECT_EQ(BlockMessage(3, "a\x01").ToString(), "extension of type 3: 2 bytes");
  EXPECT_EQ(BlockMessage(3, std::string(61, 'a')).ToString(), "extension of type 3: 61 bytes");
  EXPECT_EQ(BlockMessage(3, "Öl €").ToString(), "extension of type 3: \"Öl €\"");
  for (const char* const notUtf8 : {"a\xFF", "a\xC3", "\xC0\x80", "\xED\xA0\x80"}) {
    EXPECT_EQ(BlockMessage(3, notUtf8).ToString(),
              "extension of type 3: " + std::to_string(std::strlen(notUtf8)) + " bytes");
  }
}

TEST(TextOfAMessage, ForAnUnknownClassIsItsSignature) {
  EXPECT_EQ(StrangeMsg().ToString(), "Test::StrangeMsg");
}

}  // namespace
