// SvrBootstrapSpecs: accessors and Display.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <ServerDataManager/SvrBootstrapSpecs.h>

#include <iomanip>
#include <sstream>
#include <streambuf>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;

using Specs = SvrBootstrapSpecs;

std::string Displayed(const Specs& specs) {
  std::ostringstream stream;
  specs.Display(stream);
  return stream.str();
}

TEST(BootstrapRecord, StartsWithTheseDefaults) {
  const Specs specs;
  EXPECT_EQ(specs.GetSamplingMethod(), Specs::Simple);
  EXPECT_THAT(specs.GetStrataVarList(), IsEmpty());
  EXPECT_THAT(specs.GetDependVarList(), IsEmpty());
  EXPECT_THAT(specs.GetInputVarList(), IsEmpty());
  EXPECT_THAT(specs.GetPredictedVarList(), IsEmpty());
  EXPECT_THAT(specs.GetResidualVarList(), IsEmpty());
  EXPECT_THAT(specs.SplitEnds(), IsEmpty());
  EXPECT_THAT(specs.CaseStats(), IsEmpty());
  EXPECT_EQ(specs.GetCILevelPct(), 95.0);
  EXPECT_EQ(specs.GetCIType(), Specs::Percentile);
  EXPECT_EQ(specs.GetNSamples(), 1000);
  EXPECT_TRUE(specs.GetExcludeUserMiss());
}

TEST(BootstrapRecord, ReturnsTheValueOfEachSetter) {
  Specs specs;
  specs.SetSamplingMethod(Specs::Wild);
  specs.SetStrataVarList({1});
  specs.SetDependVarList({2, 3});
  specs.SetInputVarList({4});
  specs.SetPredictedVarList({5});
  specs.SetResidualVarList({6});
  specs.SetCILevelPct(90.5);
  specs.SetCIType(Specs::BCA);
  specs.SetNSamples(17);
  specs.SetExcludeUserMiss(false);
  EXPECT_EQ(specs.GetSamplingMethod(), Specs::Wild);
  EXPECT_THAT(specs.GetStrataVarList(), ElementsAre(1));
  EXPECT_THAT(specs.GetDependVarList(), ElementsAre(2, 3));
  EXPECT_THAT(specs.GetInputVarList(), ElementsAre(4));
  EXPECT_THAT(specs.GetPredictedVarList(), ElementsAre(5));
  EXPECT_THAT(specs.GetResidualVarList(), ElementsAre(6));
  EXPECT_EQ(specs.GetCILevelPct(), 90.5);
  EXPECT_EQ(specs.GetCIType(), Specs::BCA);
  EXPECT_EQ(specs.GetNSamples(), 17);
  EXPECT_FALSE(specs.GetExcludeUserMiss());
}

TEST(BootstrapRecord, ReplacesAListAndKeepsACopyOfIt) {
  std::vector<int> strata = {3, 7};
  Specs specs;
  specs.SetStrataVarList({1, 2, 3});
  specs.SetStrataVarList(strata);
  strata.clear();
  EXPECT_THAT(specs.GetStrataVarList(), ElementsAre(3, 7));
}

TEST(BootstrapRecord, AcceptsItsOwnLists) {
  Specs specs;
  specs.SetStrataVarList({1});
  specs.SetDependVarList({2, 3});
  specs.SetInputVarList({3, 7});
  specs.SetPredictedVarList({5});
  specs.SetResidualVarList({6, 8});
  specs.SetStrataVarList(specs.GetStrataVarList());
  specs.SetDependVarList(specs.GetDependVarList());
  specs.SetInputVarList(specs.GetInputVarList());
  specs.SetPredictedVarList(specs.GetPredictedVarList());
  specs.SetResidualVarList(specs.GetResidualVarList());
  EXPECT_THAT(specs.GetStrataVarList(), ElementsAre(1));
  EXPECT_THAT(specs.GetDependVarList(), ElementsAre(2, 3));
  EXPECT_THAT(specs.GetInputVarList(), ElementsAre(3, 7));
  EXPECT_THAT(specs.GetPredictedVarList(), ElementsAre(5));
  EXPECT_THAT(specs.GetResidualVarList(), ElementsAre(6, 8));
}

TEST(BootstrapRecord, SplitEndsAndCaseStatisticsAreModifiedInPlace) {
  Specs specs;
  specs.SplitEnds().push_back(4000000000U);
  specs.CaseStats().emplace_back(0.5, 2U);
  EXPECT_THAT(std::as_const(specs).SplitEnds(), ElementsAre(4000000000U));
  EXPECT_THAT(std::as_const(specs).CaseStats(), ElementsAre(Pair(0.5, 2U)));
}

TEST(BootstrapRecord, CopiesItsLists) {
  Specs specs;
  specs.SetStrataVarList({3});
  specs.SplitEnds() = {9};
  specs.CaseStats() = {{0.5, 2U}};
  Specs copy(specs);
  Specs assigned;
  assigned = specs;
  specs.SetStrataVarList({});
  specs.SplitEnds().clear();
  specs.CaseStats().clear();
  EXPECT_THAT(copy.GetStrataVarList(), ElementsAre(3));
  EXPECT_THAT(copy.SplitEnds(), ElementsAre(9U));
  EXPECT_THAT(copy.CaseStats(), ElementsAre(Pair(0.5, 2U)));
  EXPECT_THAT(assigned.GetStrataVarList(), ElementsAre(3));
  EXPECT_THAT(assigned.SplitEnds(), ElementsAre(9U));
  EXPECT_THAT(assigned.CaseStats(), ElementsAre(Pair(0.5, 2U)));
}

TEST(BootstrapRecord, KeepsUnknownEnumerators) {
  Specs specs;
  specs.SetSamplingMethod(static_cast<Specs::SampMethods>(-1));
  specs.SetCIType(static_cast<Specs::CITypes>(2));
  specs.SetDependVarList({-1, -2147483647});
  specs.SetNSamples(-20);
  EXPECT_EQ(static_cast<int>(specs.GetSamplingMethod()), -1);
  EXPECT_EQ(static_cast<int>(specs.GetCIType()), 2);
  EXPECT_THAT(specs.GetDependVarList(), ElementsAre(-1, -2147483647));
  EXPECT_EQ(specs.GetNSamples(), -20);
}

// Callers use the enumerators as numbers of type int.
static_assert(std::is_same_v<std::underlying_type_t<Specs::SampMethods>, int>);
static_assert(std::is_same_v<std::underlying_type_t<Specs::CITypes>, int>);
static_assert(std::is_convertible_v<Specs::SampMethods, int>);
static_assert(std::is_convertible_v<Specs::CITypes, int>);

TEST(BootstrapRecord, EnumeratorsHaveTheseValues) {
  EXPECT_EQ(static_cast<int>(Specs::Simple), 0);
  EXPECT_EQ(static_cast<int>(Specs::Stratified), 1);
  EXPECT_EQ(static_cast<int>(Specs::Residual), 2);
  EXPECT_EQ(static_cast<int>(Specs::Wild), 3);
  EXPECT_EQ(static_cast<int>(Specs::Percentile), 0);
  EXPECT_EQ(static_cast<int>(Specs::BCA), 1);
}

TEST(BootstrapDisplay, PrintsTheDefaultsAsTheseLines) {
  EXPECT_EQ(Displayed(Specs()),
            "Start displaying Bootstrap Specifications\n"
            "\n"
            "Sampling Method = Simple\n"
            "Strata Variables = none\n"
            "Dependent Variables = none\n"
            "Input Variables = none\n"
            "Predicted Value Variables = none\n"
            "Residual Value Variables = none\n"
            "Confidence Interval Level as percent = 95\n"
            "Confidence Interval Type = Percentile\n"
            "Number of samples = 1000\n"
            "User-missing variable values are excluded\n"
            "\n"
            "End displaying Bootstrap Specifications\n");
}

TEST(BootstrapDisplay, ShowsEachSettingInItsOwnLine) {
  Specs specs;
  specs.SetSamplingMethod(Specs::Stratified);
  specs.SetStrataVarList({3, 7});
  specs.SetDependVarList({1});
  specs.SetInputVarList({-2, 2});
  specs.SetPredictedVarList({4});
  specs.SetResidualVarList({5});
  specs.SetCILevelPct(99.5);
  specs.SetCIType(Specs::BCA);
  specs.SetNSamples(-20);
  specs.SetExcludeUserMiss(false);
  EXPECT_EQ(Displayed(specs),
            "Start displaying Bootstrap Specifications\n"
            "\n"
            "Sampling Method = Stratified\n"
            "Strata Variables = 3 7\n"
            "Dependent Variables = 1\n"
            "Input Variables = -2 2\n"
            "Predicted Value Variables = 4\n"
            "Residual Value Variables = 5\n"
            "Confidence Interval Level as percent = 99.5\n"
            "Confidence Interval Type = BCA\n"
            "Number of samples = -20\n"
            "User-missing variable values are included\n"
            "\n"
            "End displaying Bootstrap Specifications\n");
}

TEST(BootstrapDisplay, NamesEverySamplingMethod) {
  const std::pair<int, const char*> words[] = {{0, "Simple"}, {1, "Stratified"}, {2, "Residual"},
                                               {3, "Wild"},   {4, "unknown"},    {-1, "unknown"}};
  for (const auto& [number, word] : words) {
    Specs specs;
    specs.SetSamplingMethod(static_cast<Specs::SampMethods>(number));
    EXPECT_THAT(Displayed(specs), HasSubstr("\nSampling Method = " + std::string(word) + "\n"));
  }
}

TEST(BootstrapDisplay, CallsAnUnknownIntervalTypeUnknown) {
  Specs specs;
  specs.SetCIType(static_cast<Specs::CITypes>(2));
  EXPECT_THAT(Displayed(specs), HasSubstr("\nConfidence Interval Type = unknown\n"));
}

TEST(BootstrapDisplay, ShowsTheLevelWithoutNeedlessDigits) {
  Specs specs;
  specs.SetCILevelPct(90.0);
  EXPECT_THAT(Displayed(specs), HasSubstr("as percent = 90\n"));
  specs.SetCILevelPct(99.5);
  EXPECT_THAT(Displayed(specs), HasSubstr("as percent = 99.5\n"));
}

TEST(BootstrapDisplay, DoesNotShowSplitEndsAndCaseStatistics) {
  Specs specs;
  specs.SplitEnds() = {1, 2, 3};
  specs.CaseStats() = {{0.5, 2U}};
  EXPECT_EQ(Displayed(specs), Displayed(Specs()));
}

TEST(BootstrapDisplay, ReturnsItsStream) {
  std::ostringstream stream;
  EXPECT_EQ(&Specs().Display(stream), &stream);
}

TEST(BootstrapDisplay, UsesAndKeepsTheNumberFormatOfTheStream) {
  Specs specs;
  specs.SetStrataVarList({255});
  std::ostringstream stream;
  stream << std::hex << std::uppercase << std::fixed << std::setprecision(3) << std::setfill('*');
  const std::ios_base::fmtflags flags = stream.flags();

  specs.Display(stream);

  EXPECT_THAT(stream.str(), HasSubstr("\nStrata Variables = FF\n"));
  EXPECT_THAT(stream.str(), HasSubstr("as percent = 95.000\n"));
  EXPECT_THAT(stream.str(), HasSubstr("\nNumber of samples = 3E8\n"));
  EXPECT_EQ(stream.flags(), flags);
  EXPECT_EQ(stream.precision(), 3);
  EXPECT_EQ(stream.fill(), '*');
}

// Records the last line in the stream at each flush.
class FlushRecorder : public std::stringbuf {
 public:
  std::vector<std::string> flushedAfter;

 protected:
  int sync() override {
    std::string text = str();
    text.pop_back();
    flushedAfter.push_back(text.substr(text.rfind('\n') + 1));
    return 0;
  }
};

TEST(BootstrapDisplay, FlushesAfterEachSettingButTheLast) {
  FlushRecorder recorder;
  std::ostream stream(&recorder);
  Specs().Display(stream);
  EXPECT_THAT(recorder.flushedAfter,
              ElementsAre("Sampling Method = Simple", "Strata Variables = none",
                          "Dependent Variables = none", "Input Variables = none",
                          "Predicted Value Variables = none", "Residual Value Variables = none",
                          "Confidence Interval Level as percent = 95",
                          "Confidence Interval Type = Percentile", "Number of samples = 1000"));
}

}  // namespace
