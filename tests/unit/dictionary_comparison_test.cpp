// DictionaryComparison: which lines it returns for equal and for different dictionaries.

#include <client/DictionaryComparison.h>
#include <tests/support/Dictionary.h>
#include <tests/support/FullDictionary.h>

#include <gmock/gmock.h>

#include <string>
#include <vector>

namespace {

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
  DataFreeDataSource source;
  DataFreeDataSource mirror;
  support::Replace(source, support::Vars("A B"));
  support::Replace(mirror, support::Vars("B C"));
  mirror.GetVariable(0).SetLabel("old");
  source.RowsPerImputation(2);
  EXPECT_THAT(Differences(source, mirror),
              ElementsAre("imputation: 2 rows, none (not sent)", "\"A\": present, missing",
                          "\"B\" label: none, \"old\"", "\"C\": missing, present"));
}

TEST(DictionaryComparison, OrderDiffersIfTheSameVariablesHaveOtherPositions) {
  DataFreeDataSource source;
  DataFreeDataSource mirror;
  support::Replace(source, support::Vars("A B"));
  support::Replace(mirror, support::Vars("B A"));
  EXPECT_THAT(Differences(source, mirror), ElementsAre("order: \"A\", \"B\", \"B\", \"A\""));
}

}  // namespace
