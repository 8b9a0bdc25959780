// How definitions of variables are put into words.

#include <VariableWords.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using sdmsh::Differences;
using sdmsh::NumberInWords;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

std::vector<std::string> Told(const ORVX_Variable& before, const ORVX_Variable& after) {
  std::vector<std::string> words;
  for (const auto& [what, from, to] : Differences(before, after)) {
    words.push_back(what + (": " + from) + " -> " + to);
  }
  return words;
}

class VariableWords : public testing::Test {
 protected:
  const ORVX_Variable before{LocallyUniqueID(1, 7), "vote"};
  ORVX_Variable after = before;
};

TEST_F(VariableWords, NoDifferenceIsNone) {
  EXPECT_THAT(Told(before, after), IsEmpty());
}

TEST_F(VariableWords, TheIdentifierIsNoDifference) {
  after.SetID(LocallyUniqueID(1, 8));
  EXPECT_THAT(Told(before, after), IsEmpty());
}

TEST_F(VariableWords, NameTheFieldsThatDiffer) {
  after.SetName("vote96");
  after.SetLabel("Vote");
  after.SetType(8);
  after.SetMeasurementLevel(MeasurementLevel::Nominal);
  after.SetRole(VariableRole::Target);
  after.SetAlignment(VariableAlignment::Center);
  after.SetDisplayWidth(before.GetDisplayWidth() + 1);
  const std::string width = std::to_string(before.GetDisplayWidth());
  const std::string wider = std::to_string(after.GetDisplayWidth());
  EXPECT_THAT(
      Told(before, after),
      ElementsAre("name: \"vote\" -> \"vote96\"", "label: \"\" -> \"Vote\"",
                  "type: numeric -> string of 8 bytes", "measurement level: unknown -> nominal",
                  "role: input -> target", "alignment: right -> center",
                  "display width: " + width + " -> " + wider));
}

TEST_F(VariableWords, OneFormatForPrintingAndWritingIsNamedOnce) {
  after.SetPrintFormat({'A', 8, 0});
  after.SetWriteFormat({'A', 8, 0});
  EXPECT_THAT(Told(before, after), ElementsAre("format: F8.2 -> A8"));
}

TEST_F(VariableWords, TwoFormatsAreNamedApart) {
  after.SetWriteFormat({'F', 4, 1});
  EXPECT_THAT(Told(before, after), ElementsAre("write format: F8.2 -> F4.1"));
}

TEST_F(VariableWords, ValuesAreShownAsTheyAre) {
  after.SetValueLabels({{1.5, "some"}, {std::string("x"), "other"}});
  after.SetMissingValues({{DataValue(-9.0)}, std::pair(90.0, 99.0)});
  after.SetAttributes({{"source", {"form", "page 2"}}});
  EXPECT_THAT(Told(before, after),
              ElementsAre("value labels: none -> {1.5 = \"some\", \"x\" = \"other\"}",
                          "missing values: none -> {-9, 90 to 99}",
                          "attributes: none -> {source = \"form\" \"page 2\"}"));
}

TEST(NumberInWords, HasNoExponentWhereOneReadsItEasily) {
  EXPECT_EQ(NumberInWords(0), "0");
  EXPECT_EQ(NumberInWords(-0.0), "-0");
  EXPECT_EQ(NumberInWords(100000), "100000");
  EXPECT_EQ(NumberInWords(-2.5), "-2.5");
  EXPECT_EQ(NumberInWords(0.1), "0.1");
  EXPECT_EQ(NumberInWords(0.0001), "0.0001");
  EXPECT_EQ(NumberInWords(0.00001), "1e-05");
  EXPECT_EQ(NumberInWords(999999999999999), "999999999999999");
  EXPECT_EQ(NumberInWords(123456789012345.67), "123456789012345.67");
  EXPECT_EQ(NumberInWords(1e15), "1e+15");
  EXPECT_EQ(NumberInWords(-1e300), "-1e+300");
}

}  // namespace
