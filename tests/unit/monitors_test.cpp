// Tests each function of Monitors.h for sets, extensions and attributes separately.
//
// Linked with the library's object files, because the monitors are internal.

#include <libdatasrc/DataFreeDataSource.h>
#include <liborvxdemg/ExtensionsMsg.h>
#include <ServerDataManager/Equality.h>
#include <ServerDataManager/Monitors.h>
#include <ServerDataManager/svrdmitem.h>
#include <tests/support/Dictionary.h>
#include <tests/support/FullDictionary.h>
#include <tests/support/Messages.h>

#include <gmock/gmock.h>

#include <functional>
#include <initializer_list>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

using namespace sdm_internal;

namespace {

using support::Attributes;
using support::Extension;
using support::Id;
using testing::IsEmpty;

using Block = RefCountPtr<ORVX_ExtensionImpl>;

static_assert(std::is_integral_v<ORVX_DataSource::ExtensionType>);
static_assert(std::is_integral_v<VarSetsType>);

VariableSetImpl Set(const std::string& name) {
  VariableSetImpl set;
  set.name = name;
  return set;
}

std::string TextOf(const std::vector<std::string>& names) {
  std::string text;
  for (const std::string& name : names) text += name + "\t\t\t0\t0\t0\n";
  return text;
}

Block MakeBlock(int type, const std::string& bytes) {
  return Block(new ORVX_ExtensionImpl(type, 1, static_cast<long>(bytes.size()), bytes.data()));
}

class Monitors : public testing::Test {
 protected:
  const std::vector<DataSetMsg*>& Queue() const { return item.Notifications(); }

  // The block of the ExtensionsMsg at this index in the queue.
  const Block& BlockOf(std::size_t place) {
    return dynamic_cast<const ExtensionsMsg&>(*Queue().at(place)).GetExtension();
  }

  DataFreeDataSource view;
  DataFreeDataSource source;
  SvrDMItem item{LocallyUniqueID(0, 12), nullptr, nullptr, 34, "", true};
};

// --- Equality of sets ---

TEST(EqualityOfSets, ComparesEachFieldAndTheOrderOfMembers) {
  VariableSetImpl set = Set("name");
  set.members = {Id("A"), Id("B")};
  EXPECT_TRUE(set == VariableSetImpl(set));
  const std::vector<std::function<void(VariableSetImpl&)>> changes = {
      [](auto& s) { s.kind = 1; },           [](auto& s) { s.firstFlag = true; },
      [](auto& s) { s.secondFlag = true; },  [](auto& s) { s.name = "other"; },
      [](auto& s) { s.label = "other"; },    [](auto& s) { s.selectedValue = "other"; },
      [](auto& s) { s.members.pop_back(); }, [](auto& s) {
        s.members = {Id("B"), Id("A")}; },
  };
  for (std::size_t i = 0; i < changes.size(); ++i) {
    VariableSetImpl changed = set;
    changes[i](changed);
    EXPECT_FALSE(changed == set) << "change " << i;
  }
}

TEST(EqualityOfOthers, NotEqualIsTheNegationOfEqual) {
  const DataFreeDataSource source;
  const ORVX_DataSource::Extension absent(source, 0);
  EXPECT_FALSE(operator!=(absent, absent));
  EXPECT_TRUE(operator!=(absent, ORVX_DataSource::Extension(MakeBlock(0, "a"))));
  EXPECT_FALSE(operator!=(Attributes({"a"}), Attributes({"a"})));
  EXPECT_TRUE(operator!=(Attributes({"a"}), Attributes({"b"})));
  ORVX_TrendsInfo monthly;
  monthly.seasonalPeriod = 12;
  EXPECT_FALSE(operator!=(monthly, monthly));
  EXPECT_TRUE(operator!=(monthly, ORVX_TrendsInfo()));
}

// --- Multiple-response sets ---

TEST_F(Monitors, EqualMultipleResponseSetsAreNotReported) {
  view.SetMRSets({Set("a"), Set("b")});
  source.SetMRSets({Set("a"), Set("b")});
  EXPECT_FALSE(MonitorMRSets(view, source, item));
  EXPECT_MESSAGES(Queue());
}

TEST_F(Monitors, ChangedMultipleResponseSetsAreReportedTwiceTypeSevenFirst) {
  source.SetMRSets({Set("a")});
  EXPECT_TRUE(MonitorMRSets(view, source, item));
  EXPECT_MESSAGES(Queue(), Extension(7, TextOf({"a"})), Extension(19, TextOf({"a"})));
  EXPECT_EQ(view.GetMRSets(), source.GetMRSets());
  EXPECT_FALSE(MonitorMRSets(view, source, item));
}

TEST_F(Monitors, MultipleResponseSetsInAnotherOrderAreReported) {
  view.SetMRSets({Set("a"), Set("b")});
  source.SetMRSets({Set("b"), Set("a")});
  EXPECT_TRUE(MonitorMRSets(view, source, item));
  EXPECT_MESSAGES(Queue(), Extension(7, TextOf({"b", "a"})), Extension(19, TextOf({"b", "a"})));
  EXPECT_EQ(view.GetMRSets(), source.GetMRSets());
}

TEST_F(Monitors, ARemovedMultipleResponseSetIsReported) {
  view.SetMRSets({Set("a"), Set("b")});
  source.SetMRSets({Set("a")});
  EXPECT_TRUE(MonitorMRSets(view, source, item));
  EXPECT_MESSAGES(Queue(), Extension(7, TextOf({"a"})), Extension(19, TextOf({"a"})));
}

TEST_F(Monitors, RemovingAllMultipleResponseSetsIsReportedAsEmptyText) {
  view.SetMRSets({Set("a")});
  EXPECT_TRUE(MonitorMRSets(view, source, item));
  EXPECT_MESSAGES(Queue(), Extension(7, ""), Extension(19, ""));
  EXPECT_THAT(view.GetMRSets(), IsEmpty());
}

TEST_F(Monitors, MultipleResponseSetsAndVariableSetsAreIndependent) {
  view.SetVariableSets({Set("a")});
  source.SetVariableSets({Set("a")});
  source.SetMRSets({Set("a")});
  EXPECT_TRUE(MonitorMRSets(view, source, item));
  EXPECT_FALSE(MonitorVariableSets(view, source, item));
  EXPECT_MESSAGES(Queue(), Extension(7), Extension(19));
}

// --- Variable sets ---

TEST_F(Monitors, EqualVariableSetsAreNotReported) {
  view.SetVariableSets({Set("a")});
  source.SetVariableSets({Set("a")});
  EXPECT_FALSE(MonitorVariableSets(view, source, item));
  EXPECT_MESSAGES(Queue());
}

TEST_F(Monitors, ChangedVariableSetsAreReportedOnce) {
  view.SetVariableSets({Set("a"), Set("b")});
  source.SetVariableSets({Set("b"), Set("a")});
  source.SetMRSets({Set("a")});
  EXPECT_TRUE(MonitorVariableSets(view, source, item));
  EXPECT_MESSAGES(Queue(), Extension(5, TextOf({"b", "a"})));
  EXPECT_EQ(view.GetVariableSets(), source.GetVariableSets());
  EXPECT_THAT(view.GetMRSets(), IsEmpty());
}

// --- Sets as text ---

TEST_F(Monitors, SetsAreSentAsTextOfVersionOneWithoutATerminatingZero) {
  SendSetExtension(7, {VariableSet(Set("a"))}, item);
  ASSERT_EQ(Queue().size(), 1U);
  EXPECT_EQ(BlockOf(0)->GetType(), 7);
  EXPECT_EQ(BlockOf(0)->GetVersion(), 1);
  EXPECT_EQ(BlockOf(0)->GetBytes(), TextOf({"a"}));
  EXPECT_EQ(BlockOf(0)->ReferenceCount(), 1U) << "only the message holds it";
}

TEST_F(Monitors, SetsOfAnInvalidTypeAreNotSent) {
  EXPECT_THROW(SendSetExtension(6, {VariableSet(Set("a"))}, item), std::invalid_argument);
  EXPECT_MESSAGES(Queue());
}

// --- Extension ---

TEST_F(Monitors, AnExtensionMessageSharesTheSourcesBlock) {
  const Block block = MakeBlock(0, "bytes");
  source.SetExtension(ORVX_DataSource::Extension(block));
  EXPECT_TRUE(MonitorExtension(view, source, 0, item));
  EXPECT_MESSAGES(Queue(), Extension(0, "bytes"));
  EXPECT_EQ(BlockOf(0), block);
  EXPECT_EQ(ORVX_DataSource::Extension(view, 0).Impl(), block);
}

TEST_F(Monitors, AnEqualExtensionIsNotReported) {
  const Block blockOfView = MakeBlock(0, "bytes");
  view.SetExtension(ORVX_DataSource::Extension(blockOfView));
  source.SetExtension(ORVX_DataSource::Extension(MakeBlock(0, "bytes")));
  EXPECT_FALSE(MonitorExtension(view, source, 0, item));
  EXPECT_MESSAGES(Queue());
  EXPECT_EQ(ORVX_DataSource::Extension(view, 0).Impl(), blockOfView);
}

TEST_F(Monitors, ARemovedExtensionIsReportedAsAnEmptyBlock) {
  view.SetExtension(ORVX_DataSource::Extension(MakeBlock(0, "bytes")));
  EXPECT_TRUE(MonitorExtension(view, source, 0, item));
  EXPECT_MESSAGES(Queue(), Extension(0, ""));
  EXPECT_FALSE(MonitorExtension(view, source, 0, item));
}

TEST_F(Monitors, AnAbsentExtensionEqualsAnEmptyExtension) {
  source.SetExtension(ORVX_DataSource::Extension(MakeBlock(0, "")));
  EXPECT_FALSE(MonitorExtension(view, source, 0, item));
  EXPECT_MESSAGES(Queue());
}

TEST_F(Monitors, AnExtensionOfAnyTypeIsReported) {
  source.SetExtension(ORVX_DataSource::Extension(MakeBlock(3, "three")));
  EXPECT_FALSE(MonitorExtension(view, source, 0, item));
  EXPECT_TRUE(MonitorExtension(view, source, 3, item));
  EXPECT_MESSAGES(Queue(), Extension(3, "three"));
}

TEST_F(Monitors, ReplacingABlockLaterDoesNotChangeTheMessage) {
  source.SetExtension(ORVX_DataSource::Extension(MakeBlock(0, "told")));
  MonitorExtension(view, source, 0, item);
  source.SetExtension(ORVX_DataSource::Extension(MakeBlock(0, "later")));
  EXPECT_MESSAGES(Queue(), Extension(0, "told"));
}

// --- Attributes ---

TEST_F(Monitors, EqualAttributesAreNotReportedRegardlessOfTheirOrder) {
  view.SetAttributes(Attributes({"a", "b"}));
  source.SetAttributes(Attributes({"b", "a"}));
  EXPECT_FALSE(MonitorAttributes(view, source, item, /*anyChange=*/false));
  EXPECT_FALSE(MonitorAttributes(view, source, item, /*anyChange=*/true));
  EXPECT_MESSAGES(Queue());
}

TEST_F(Monitors, ChangedAttributesAreReported) {
  view.SetAttributes(Attributes({"a"}));
  source.SetAttributes(Attributes({"b"}));
  EXPECT_TRUE(MonitorAttributes(view, source, item, /*anyChange=*/false));
  EXPECT_MESSAGES(Queue(), Extension(17, "b\tvalue\n"));
  EXPECT_EQ(view.GetAttributes(), Attributes({"b"}));
}

TEST_F(Monitors, DashboardInfoIsKeptWithoutOtherChanges) {
  view.SetAttributes(Attributes({"a", "dashboard.x"}));
  source.SetAttributes(Attributes({"a", "dashboard.x"}));
  EXPECT_FALSE(MonitorAttributes(view, source, item, /*anyChange=*/false));
  EXPECT_MESSAGES(Queue());
  EXPECT_EQ(source.GetAttributes(), Attributes({"a", "dashboard.x"}));
}

TEST_F(Monitors, DashboardInfoIsRemovedAndReportedAfterOtherChanges) {
  view.SetAttributes(Attributes({"a", "dashboard.x"}));
  source.SetAttributes(Attributes({"a", "dashboard.x"}));
  EXPECT_TRUE(MonitorAttributes(view, source, item, /*anyChange=*/true));
  EXPECT_MESSAGES(Queue(), Extension(17, "a\tvalue\n"));
  EXPECT_EQ(source.GetAttributes(), Attributes({"a"}));
  EXPECT_EQ(view.GetAttributes(), Attributes({"a"}));
}

TEST_F(Monitors, DashboardInfoIsKeptIfTheAttributesDiffer) {
  source.SetAttributes(Attributes({"a", "dashboard.x"}));
  EXPECT_TRUE(MonitorAttributes(view, source, item, /*anyChange=*/true));
  EXPECT_MESSAGES(Queue(), Extension(17, "a\tvalue\ndashboard.x\tvalue\n"));
  EXPECT_EQ(source.GetAttributes(), Attributes({"a", "dashboard.x"}));
  EXPECT_EQ(view.GetAttributes(), Attributes({"a", "dashboard.x"}));
}

TEST_F(Monitors, RemovingAllAttributesSendsAnEmptyBlock) {
  view.SetAttributes(Attributes({"a"}));
  EXPECT_TRUE(MonitorAttributes(view, source, item, /*anyChange=*/false));
  ASSERT_EQ(Queue().size(), 1U);
  EXPECT_EQ(BlockOf(0)->GetType(), 17);
  EXPECT_EQ(BlockOf(0)->GetVersion(), 1);
  EXPECT_EQ(BlockOf(0)->GetLength(), 0);
  EXPECT_TRUE(view.GetAttributes().IsEmpty());
}

TEST_F(Monitors, RemovingOnlyDashboardInfoSendsAnEmptyBlock) {
  view.SetAttributes(Attributes({"dashboard.x"}));
  source.SetAttributes(Attributes({"dashboard.x"}));
  EXPECT_TRUE(MonitorAttributes(view, source, item, /*anyChange=*/true));
  EXPECT_MESSAGES(Queue(), Extension(17, ""));
  EXPECT_TRUE(source.GetAttributes().IsEmpty());
}

// --- All monitors ---

TEST_F(Monitors, AllMessagesHaveDatasetAndCaseSequence) {
  source.SetMRSets({Set("a")});
  source.SetVariableSets({Set("a")});
  source.SetExtension(ORVX_DataSource::Extension(MakeBlock(0, "bytes")));
  source.SetAttributes(Attributes({"a"}));
  MonitorMRSets(view, source, item);
  MonitorVariableSets(view, source, item);
  MonitorExtension(view, source, 0, item);
  MonitorAttributes(view, source, item, /*anyChange=*/false);

  ASSERT_EQ(Queue().size(), 5U);
  for (const DataSetMsg* message : Queue()) {
    EXPECT_EQ(message->GetLeading(), 0U);
    EXPECT_EQ(message->GetDataSetID(), LocallyUniqueID(0, 12));
    EXPECT_EQ(message->GetCaseSequence(), 34U);
  }
}

}  // namespace
