// DictionaryMirror: messages about properties.

#include <client/DictionaryDigest.h>
#include <client/DictionaryMirror.h>
#include <libdatasrc/DataFreeDataSource.h>
#include <liborvxdemg/DataSetModifiedMsg.h>
#include <liborvxdemg/DeleteVarsMsg.h>
#include <liborvxdemg/ExtensionsMsg.h>
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
#include <liborvxdemg/TrendsInfoMsg.h>
#include <liborvxdemg/WeightVarMsg.h>
#include <tests/support/Dictionary.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using support::Id;
using support::Labelled;
using support::Names;
using support::Var;
using support::VariablesOf;
using support::Vars;
using testing::ElementsAre;
using testing::HasSubstr;

using Pass = std::vector<std::unique_ptr<DataSetMsg>>;

// A message about the dataset of this test.
template <class Message, class... Arguments>
std::unique_ptr<DataSetMsg> About(const Arguments&... arguments) {
  return std::make_unique<Message>(0, LocallyUniqueID(0, 1), 1, arguments...);
}

std::unique_ptr<DataSetMsg> Inserted(const std::string& names) {
  return About<InsertVarsMsg>(Vars(names), LocallyUniqueID());
}
std::unique_ptr<DataSetMsg> Deleted(const std::string& names) {
  return About<DeleteVarsMsg>(Vars(names));
}
std::unique_ptr<DataSetMsg> Moved(int position, int target) {
  return About<MoveVarsMsg>(std::vector<int>{position}, target);
}
std::unique_ptr<DataSetMsg> WeightedBy(LocallyUniqueID id) {
  return About<WeightVarMsg>(id);
}
std::unique_ptr<DataSetMsg> FilteredBy(LocallyUniqueID id) {
  return About<FilterVarMsg>(id);
}
std::unique_ptr<DataSetMsg> SplitBy(const std::vector<LocallyUniqueID>& ids, bool separate) {
  return About<SplitFileMsg>(static_cast<int>(ids.size()), ids.data(), separate);
}
std::unique_ptr<DataSetMsg> Extension(int type, const std::string& bytes) {
  return About<ExtensionsMsg>(RefCountPtr<ORVX_ExtensionImpl>(
      new ORVX_ExtensionImpl(type, 1, static_cast<long>(bytes.size()), bytes.data())));
}
std::unique_ptr<DataSetMsg> Imputation(long long rows) {
  auto message = std::make_unique<ImputationInfoMsg>();
  message->RowsPerImputation(rows);
  return message;
}

std::string TextOf(const std::vector<VariableSetImpl>& sets, int type) {
  std::vector<VariableSet> list(sets.begin(), sets.end());
  std::string text;
  MakeExtension(list, text, type);
  return text;
}

VariableSetImpl Set(const std::string& name, const std::vector<LocallyUniqueID>& members) {
  VariableSetImpl set;
  set.name = name;
  set.members = members;
  return set;
}

void Apply(DictionaryMirror& mirror, const Pass& pass) {
  mirror.Apply(pass);
}

template <class... Messages>
Pass PassOf(Messages... messages) {
  Pass pass;
  (pass.push_back(std::move(messages)), ...);
  return pass;
}

// A mirror with the variables A to E, weighted by A, filtered by B, split by C and D.
DictionaryMirror MirrorInUse() {
  DictionaryMirror mirror;
  Apply(mirror, PassOf(Inserted("A B C D E"), WeightedBy(Id("A")), FilteredBy(Id("B")),
                       SplitBy({Id("C"), Id("D")}, true)));
  return mirror;
}

std::string NameOf(LocallyUniqueID id) {
  return id.IsNull() ? "none" : support::NameOf(id);
}

// Formats the uses of variables, such as "weight A, filter B, split C D separately".
std::string UsesOf(const DictionaryMirror& mirror) {
  const ORVX_DataSource& dictionary = mirror.Dictionary();
  std::string text = "weight " + NameOf(dictionary.GetWeightVariableID()) + ", filter " +
                     NameOf(dictionary.GetFilterVariableID()) + ", split";
  for (unsigned int i = 0; i < dictionary.GetNSplitVars(); ++i) {
    text += " " + NameOf(dictionary.GetSplitVarID(i));
  }
  return text + (dictionary.GetSplitqSeparate() ? " separately" : "");
}

std::string StateOf(const DictionaryMirror& mirror) {
  const ORVX_DataSource& dictionary = mirror.Dictionary();
  return Names(dictionary) + "; " + UsesOf(mirror) + "; " + dictionary.GetFileSpec() + "; " +
         std::to_string(dictionary.RowsPerImputation()) + "; " +
         std::string(ORVX_DataSource::Extension(dictionary, 3).Impl()->GetBytes()) + "; " +
         DigestOf(dictionary).AsText();
}

// Applies `message`, which the mirror must reject. Returns the error text. Also checks that the
// mirror is unchanged.
std::string Refusal(DictionaryMirror& mirror, std::unique_ptr<DataSetMsg> message) {
  const std::string before = StateOf(mirror);
  try {
    mirror.Apply(*message);
  } catch (const MirrorError& error) {
    EXPECT_EQ(StateOf(mirror), before);
    return error.what();
  }
  return "was applied";
}

TEST(MirroredProperties, InitiallyEqualThePropertiesOfAnEmptyDictionary) {
  const DictionaryMirror mirror;
  const ORVX_DataSource& dictionary = mirror.Dictionary();
  EXPECT_EQ(UsesOf(mirror), "weight none, filter none, split");
  EXPECT_EQ(dictionary.GetLabel(), nullptr);
  EXPECT_STREQ(dictionary.GetFileSpec(), "");
  EXPECT_FALSE(dictionary.IsDirty());
  EXPECT_EQ(dictionary.RowCount(), -1);
  EXPECT_EQ(dictionary.RowsPerImputation(), 0);
}

TEST(MirroredProperties, WeightAndFilterAreSetAndRemoved) {
  DictionaryMirror mirror = MirrorInUse();
  Apply(mirror, PassOf(WeightedBy(Id("E")), FilteredBy(LocallyUniqueID())));
  EXPECT_EQ(UsesOf(mirror), "weight E, filter none, split C D separately");
  EXPECT_EQ(mirror.Dictionary().GetWeightVarIndex(), 4);
  Apply(mirror, PassOf(WeightedBy(LocallyUniqueID()), FilteredBy(Id("A"))));
  EXPECT_EQ(UsesOf(mirror), "weight none, filter A, split C D separately");
}

TEST(MirroredProperties, ASplitIsReplacedAsAWhole) {
  DictionaryMirror mirror = MirrorInUse();
  Apply(mirror, PassOf(SplitBy({Id("E"), Id("C"), Id("A")}, false)));
  EXPECT_EQ(UsesOf(mirror), "weight A, filter B, split E C A");
  Apply(mirror, PassOf(SplitBy({}, false)));
  EXPECT_EQ(UsesOf(mirror), "weight A, filter B, split");
}

TEST(MirroredProperties, ADeletedVariableLosesItsUses) {
  DictionaryMirror mirror = MirrorInUse();
  Apply(mirror, PassOf(Deleted("A C")));
  EXPECT_EQ(UsesOf(mirror), "weight none, filter B, split D separately");
  Apply(mirror, PassOf(Deleted("B D")));
  EXPECT_EQ(UsesOf(mirror), "weight none, filter none, split");
}

TEST(MirroredProperties, AMovedVariableLosesItsUses) {
  DictionaryMirror mirror = MirrorInUse();
  Apply(mirror, PassOf(Moved(1, 4), Moved(2, 0)));
  EXPECT_EQ(Names(mirror.Dictionary()), "D A C E B");
  EXPECT_EQ(UsesOf(mirror), "weight A, filter none, split C separately");
}

TEST(MirroredProperties, VariablesKeepTheirUsesIfOtherVariablesAreMovedPastThem) {
  DictionaryMirror mirror = MirrorInUse();
  Apply(mirror, PassOf(Moved(4, 0), Inserted("F")));
  EXPECT_EQ(UsesOf(mirror), "weight A, filter B, split C D separately");
  EXPECT_EQ(mirror.Dictionary().GetWeightVarIndex(), 1);
}

TEST(MirroredProperties, AModifiedVariableKeepsItsUses) {
  DictionaryMirror mirror = MirrorInUse();
  Apply(mirror, PassOf(About<ModifyVarMsg>(Labelled(Var("A"), "a")),
                       About<ModifyVarMsg>(Labelled(Var("C"), "c"))));
  EXPECT_EQ(UsesOf(mirror), "weight A, filter B, split C D separately");
}

TEST(MirroredProperties, AListReplacedAsAWholeLosesAllUses) {
  DictionaryMirror mirror = MirrorInUse();
  Apply(mirror, PassOf(Deleted("A B C D E"), Inserted("A B C D E")));
  EXPECT_EQ(UsesOf(mirror), "weight none, filter none, split");
}

TEST(MirroredProperties, AUseSetLaterInThePassIsKept) {
  DictionaryMirror mirror = MirrorInUse();
  Apply(mirror,
        PassOf(Moved(0, 4), Moved(1, 0), WeightedBy(Id("A")), SplitBy({Id("C"), Id("D")}, true)));
  EXPECT_EQ(UsesOf(mirror), "weight A, filter B, split C D separately");
}

TEST(MirroredProperties, AnEmptyLabelRemovesTheLabel) {
  DictionaryMirror mirror;
  Apply(mirror, PassOf(About<FileLabelChangeMsg>("National survey")));
  EXPECT_STREQ(mirror.Dictionary().GetLabel(), "National survey");
  Apply(mirror, PassOf(About<FileLabelChangeMsg>("")));
  EXPECT_EQ(mirror.Dictionary().GetLabel(), nullptr);
}

TEST(MirroredProperties, FileSpecificationRowCountAndDirtyFlagHaveTheLastReportedValues) {
  DictionaryMirror mirror;
  Apply(mirror, PassOf(About<FileSpecChangeMsg>("/data/a.tsv", true),
                       About<ResetClientDataMsg>(1847LL), About<DataSetModifiedMsg>(true)));
  EXPECT_STREQ(mirror.Dictionary().GetFileSpec(), "/data/a.tsv");
  EXPECT_EQ(mirror.Dictionary().RowCount(), 1847);
  EXPECT_TRUE(mirror.Dictionary().IsDirty());
  Apply(mirror, PassOf(About<FileSpecChangeMsg>("", true), About<ResetClientDataMsg>(-1LL),
                       About<DataSetModifiedMsg>(false)));
  EXPECT_STREQ(mirror.Dictionary().GetFileSpec(), "");
  EXPECT_EQ(mirror.Dictionary().RowCount(), -1);
  EXPECT_FALSE(mirror.Dictionary().IsDirty());
}

TEST(MirroredProperties, TrendsInformationIsReplacedAsAWhole) {
  DictionaryMirror mirror;
  ORVX_TrendsInfo trends;
  trends.timeVariables = {Id("year"), Id("month")};
  trends.seasonalPeriod = 12;
  Apply(mirror, PassOf(About<TrendsInfoMsg>(&trends)));
  EXPECT_EQ(*mirror.Dictionary().GetTrendsInfo(), trends);
}

TEST(MirroredProperties, SetsAreReceivedAsExtensions) {
  DictionaryMirror mirror;
  const std::vector<VariableSetImpl> sets{Set("media", {Id("A"), Id("B")}), Set("rest", {})};
  const std::vector<VariableSetImpl> mrSets{Set("read", {Id("C")})};
  Apply(mirror, PassOf(Extension(7, TextOf(mrSets, 7)), Extension(19, TextOf(mrSets, 19)),
                       Extension(5, TextOf(sets, 5))));
  ASSERT_EQ(mirror.Dictionary().GetVariableSets().size(), 2U);
  EXPECT_EQ(mirror.Dictionary().GetVariableSets()[0].name, "media");
  EXPECT_THAT(mirror.Dictionary().GetVariableSets()[0].members, ElementsAre(Id("A"), Id("B")));
  ASSERT_EQ(mirror.Dictionary().GetMRSets().size(), 1U);
  EXPECT_EQ(mirror.Dictionary().GetMRSets()[0].name, "read");
  Apply(mirror, PassOf(Extension(5, ""), Extension(7, ""), Extension(19, "")));
  EXPECT_TRUE(mirror.Dictionary().GetVariableSets().empty());
  EXPECT_TRUE(mirror.Dictionary().GetMRSets().empty());
}

TEST(MirroredProperties, AttributesAreReceivedAsAnExtension) {
  DictionaryMirror mirror;
  DatasourceAttributes attributes;
  attributes.Set("source", {"national survey", "1996"});
  Apply(mirror, PassOf(Extension(17, attributes.MakeString())));
  EXPECT_EQ(mirror.Dictionary().GetAttributes(), attributes);
}

TEST(MirroredProperties, OtherExtensionsShareTheBlockOfTheMessage) {
  DictionaryMirror mirror;
  const auto message = Extension(0, std::string("\0\1bytes", 7));
  mirror.Apply(*message);
  const ORVX_DataSource::Extension kept(mirror.Dictionary(), 0);
  EXPECT_EQ(kept.Impl(), dynamic_cast<const ExtensionsMsg&>(*message).GetExtension());
}

TEST(MirroredProperties, TheEndOfAnImputationIsApplied) {
  DictionaryMirror mirror;
  Apply(mirror, PassOf(Imputation(5)));
  ASSERT_EQ(mirror.Dictionary().RowsPerImputation(), 5);
  Apply(mirror, PassOf(Imputation(0)));
  EXPECT_EQ(mirror.Dictionary().RowsPerImputation(), 0);
}

TEST(MirroredProperties, UsingAnUnknownVariableIsRejected) {
  DictionaryMirror mirror = MirrorInUse();
  const LocallyUniqueID unknown(3, 77);
  EXPECT_EQ(Refusal(mirror, WeightedBy(unknown)),
            "DEMessages::WeightVarMsg: no variable with identifier 3:77 to weight by");
  EXPECT_EQ(Refusal(mirror, FilteredBy(unknown)),
            "DEMessages::FilterVarMsg: no variable with identifier 3:77 to filter by");
  EXPECT_EQ(Refusal(mirror, SplitBy({Id("A"), unknown}, true)),
            "DEMessages::SplitFileMsg: no variable with identifier 3:77 to split by");
  EXPECT_EQ(Refusal(mirror, SplitBy({Id("A"), LocallyUniqueID()}, true)),
            "DEMessages::SplitFileMsg: no variable with the null identifier to split by");
}

// A mirror that is split by the first `count` of its twelve variables.
DictionaryMirror MirrorSplitBy(std::size_t count) {
  std::vector<LocallyUniqueID> ids;
  for (const ORVX_Variable& variable : support::Vars("A B C D E F G H I J K L")) {
    if (ids.size() < count) ids.push_back(variable.GetID());
  }
  DictionaryMirror mirror;
  Apply(mirror, PassOf(Inserted("A B C D E F G H I J K L"), SplitBy(ids, true)));
  return mirror;
}

TEST(MirroredProperties, ASplitByMoreThanEightVariablesIsApplied) {
  DictionaryMirror mirror = MirrorSplitBy(12);
  EXPECT_EQ(UsesOf(mirror), "weight none, filter none, split A B C D E F G H I J K L separately");
  EXPECT_EQ(mirror.Dictionary().GetSplitVarIndex(11), 11);
  Apply(mirror, PassOf(Deleted("B K")));
  EXPECT_EQ(UsesOf(mirror), "weight none, filter none, split A C D E F G H I J L separately");
}

TEST(MirroredProperties, ARejectedPassRestoresTheWholeSplit) {
  for (const std::size_t count : {1U, 7U, 8U, 9U, 12U}) {
    DictionaryMirror mirror = MirrorSplitBy(count);
    const std::string before = UsesOf(mirror);
    EXPECT_THROW(Apply(mirror, PassOf(SplitBy({Id("L")}, false), Deleted("A"), Deleted("A"))),
                 MirrorError);
    EXPECT_EQ(UsesOf(mirror), before);
  }
}

TEST(MirroredProperties, InvalidTextIsRejected) {
  DictionaryMirror mirror = MirrorInUse();
  for (const int type : {5, 7, 19, 17}) {
    EXPECT_THAT(Refusal(mirror, Extension(type, "no line feed")),
                HasSubstr("DEMessages::ExtensionsMsg: line 1"));
  }
}

// A pass with messages of every kind. The first message inserts F and G into MirrorInUse(). Each
// other message, except the ResetUndoMsg, changes the mirror even if it is applied directly after
// the first message.
Pass EveryChange() {
  ORVX_TrendsInfo trends;
  trends.seasonalPeriod = 12;
  DatasourceAttributes attributes;
  attributes.Set("a", {"b"});
  return PassOf(Inserted("F G"), Deleted("B G"), Moved(3, 0),
                About<ModifyVarMsg>(Labelled(Var("A"), "new")), Imputation(5),
                About<FileSpecChangeMsg>("/data/b.tsv", true), About<FileLabelChangeMsg>("label"),
                WeightedBy(Id("F")), FilteredBy(Id("C")), About<TrendsInfoMsg>(&trends),
                SplitBy({Id("D")}, false), Extension(7, TextOf({Set("s", {})}, 7)),
                Extension(5, TextOf({Set("t", {})}, 5)), Extension(0, "own"), Extension(3, "other"),
                Extension(17, attributes.MakeString()), std::make_unique<ResetUndoMsg>(),
                About<ResetClientDataMsg>(12LL), About<DataSetModifiedMsg>(true));
}

TEST(MirroredProperties, EachMessageOfTheTestPassChangesSomething) {
  const Pass pass = EveryChange();
  for (const auto& message : pass) {
    if (dynamic_cast<const ResetUndoMsg*>(message.get()) != nullptr) continue;
    DictionaryMirror mirror = MirrorInUse();
    Apply(mirror, PassOf(Inserted("F G")));
    if (message == pass.front()) mirror = MirrorInUse();
    const std::string before = StateOf(mirror);

    mirror.Apply(*message);

    EXPECT_NE(StateOf(mirror), before) << message->VSConcreteSignature();
  }
}

TEST(MirroredProperties, APassRejectedAtAnyMessageChangesNothing) {
  const std::size_t size = EveryChange().size();
  for (std::size_t length = 0; length <= size; ++length) {
    Pass pass = EveryChange();
    pass.resize(length);
    pass.push_back(WeightedBy(LocallyUniqueID(3, 77)));
    DictionaryMirror mirror = MirrorInUse();
    Apply(mirror, PassOf(Extension(0, "before"), About<FileLabelChangeMsg>("before")));
    const std::string before = StateOf(mirror);
    const std::vector<ORVX_Variable> variables = VariablesOf(mirror.Dictionary());

    EXPECT_THROW(Apply(mirror, pass), MirrorError);

    EXPECT_EQ(StateOf(mirror), before) << "after " << length << " messages";
    EXPECT_EQ(VariablesOf(mirror.Dictionary()), variables);
  }
}

TEST(MirroredProperties, APassRejectedByTheCheckChangesNothing) {
  DictionaryMirror mirror = MirrorInUse();
  const std::string before = StateOf(mirror);
  const Pass pass = PassOf(Deleted("A B C"));
  const auto check = [](const ORVX_DataSource& dictionary) {
    throw std::runtime_error(Names(dictionary));
  };
  try {
    mirror.Apply(pass, check);
    FAIL() << "was applied";
  } catch (const std::runtime_error& error) {
    EXPECT_STREQ(error.what(), "D E");
  }
  EXPECT_EQ(StateOf(mirror), before);
}

TEST(MirroredProperties, AMirrorCanBeMoved) {
  DictionaryMirror mirror = MirrorInUse();
  const std::string before = StateOf(mirror);
  DictionaryMirror other;
  other = std::move(mirror);
  EXPECT_EQ(StateOf(other), before);
}

}  // namespace
