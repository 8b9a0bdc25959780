// DictionaryComparison: which lines it returns for equal and for different dictionaries.

#include <client/DictionaryComparison.h>
#include <tests/support/Dictionary.h>
#include <tests/support/FullDictionary.h>

#include <gmock/gmock.h>

#include <string>
#include <vector>

namespace {

using support::Dictionary;
using support::FullDictionary;
using testing::ElementsAre;
using testing::IsEmpty;

// The lines that differ, each as "what: source, mirror".
std::vector<std::string> Differences(const ORVX_DataSource& source, const ORVX_DataSource& mirror) {
  std::vector<std::string> differences;
  for (const auto& line : DictionaryComparison::Compare(source, mirror)) {
    if (!line.Differs()) continue;
    differences.push_back(line.what + ": " + line.source + ", " + line.mirror +
                          (line.isSent ? "" : " (not sent)"));
  }
  return differences;
}

TEST(DictionaryComparison, PropertiesAreInPlainEnglish) {
  const auto dictionary = FullDictionary();
  dictionary->SetFilterVar(2);
  dictionary->RowsPerImputation(2);
  std::vector<std::string> properties;
  for (const auto& [name, value, isUsual, isSent] :
       DictionaryComparison::PropertiesOf(*dictionary)) {
    properties.push_back(std::string(name) + ": " + value + (isUsual ? "" : " (unusual)") +
                         (isSent ? "" : " (not sent)"));
  }
  EXPECT_THAT(
      properties,
      ElementsAre(
          R"(label: "label")", "variables: 4", "cases: 7", R"(weight: "A")", R"(filter: "C")",
          R"(split: "C", "D" (separately))", "imputation: 2 rows (unusual) (not sent)",
          R"(trends: by "A", period 12 (unusual))",
          "response sets: \"m\" \"label of m\": \"A\", \"B\", selected value \"1\"; \"n\" \"label "
          "of n\": \"C\", selected value \"1\" (unusual)",
          "variable sets: \"s\" \"label of s\": \"A\", \"B\", selected value \"1\" (unusual)",
          R"(extension: "bytes" (unusual))", R"(attributes: a = "1" "2", b = "3" (unusual))",
          "saved as: none (not sent)", "unsaved: yes"));
}

TEST(DictionaryComparison, UnknownNumberOfCasesIsUnknown) {
  support::SourceWithRows source;
  source.rows = -1;
  EXPECT_THAT(Differences(source, DataFreeDataSource()), ElementsAre("cases: unknown, 0"));
}

TEST(DictionaryComparison, EqualDictionariesHaveALineForEachPropertyAndNoDifference) {
  const auto source = FullDictionary();
  EXPECT_THAT(Differences(*source, *FullDictionary()), IsEmpty());
  EXPECT_GE(DictionaryComparison::Compare(*source, *FullDictionary()).size(), 10u);
}

TEST(DictionaryComparison, UnusualPropertiesThatBothLackHaveNoLine) {
  const DataFreeDataSource empty;
  std::vector<std::string> names;
  for (const auto& line : DictionaryComparison::Compare(empty, empty)) names.push_back(line.what);
  EXPECT_THAT(names, ElementsAre("label", "variables", "cases", "weight", "filter", "split",
                                 "saved as", "unsaved"));
}

TEST(DictionaryComparison, NamesWhatDiffers) {
  const auto source = Dictionary("A B");
  const auto mirror = Dictionary("B C");
  mirror->GetVariable(0).SetLabel("old");
  source->RowsPerImputation(2);
  EXPECT_THAT(Differences(*source, *mirror),
              ElementsAre("imputation: 2 rows, none (not sent)", "\"A\": present, missing",
                          "\"B\" label: none, \"old\"", "\"C\": missing, present"));
}

TEST(DictionaryComparison, OrderDiffersIfTheSameVariablesHaveOtherPositions) {
  EXPECT_THAT(Differences(*Dictionary("A B"), *Dictionary("B A")),
              ElementsAre("order: \"A\", \"B\", \"B\", \"A\""));
}

}  // namespace
