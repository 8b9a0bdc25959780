// Tests of CaseReader: reading cases as values.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <libdatasrc/CaseReader.h>
#include <libdatasrc/MemoryDataSource.h>

#include <cstdint>
#include <stdexcept>
#include <utility>
#include <vector>

#include "Files.h"

namespace {

using testing::ElementsAre;
using testing::IsNan;
using testing::Pair;
using testing::VariantWith;

class CaseReaderOnAFile : public testing::Test {
 protected:
  // The variables are the number n and the string s.
  const Folder folder;
  std::unique_ptr<SystemFileDataSource> file =
      SystemFileDataSource::Open(folder.Write("data.csv", "n,s\n1.5,\" two  words\"\n,\n"));
};

TEST_F(CaseReaderOnAFile, GivesNumbersAndStringsWithoutTrailingBlanks) {
  CaseReader cases(*file);

  ASSERT_TRUE(cases.Next());
  EXPECT_THAT(cases.Values(), ElementsAre(DataValue(1.5), DataValue(" two  words")));
  ASSERT_TRUE(cases.Next());
  EXPECT_THAT(cases.Values(), ElementsAre(VariantWith<double>(IsNan()), DataValue("")));
  EXPECT_FALSE(cases.Next());
  EXPECT_FALSE(cases.Next());
}

TEST_F(CaseReaderOnAFile, ConvertsRowsToTheSourcesOwnDictionary) {
  PassedOn edited(file.get());
  edited.DeleteVariables(0, 0);
  edited.GetVariable(0).SetType(4);
  edited.InsertVariable(0, ORVX_Variable(ORVX_Variable::NextID(), "new"));
  CaseReader cases(edited);

  ASSERT_TRUE(cases.Next());
  EXPECT_THAT(cases.Values(), ElementsAre(VariantWith<double>(IsNan()), DataValue(" two")));
}

TEST_F(CaseReaderOnAFile, DoesNotUseTheSourceAfterConstruction) {
  CaseReader cases(*file);

  file->DeleteVariables(0, 0);
  file.reset();

  ASSERT_TRUE(cases.Next());
  EXPECT_THAT(cases.Values(), ElementsAre(DataValue(1.5), DataValue(" two  words")));
}

// Returns 2,500 cases with a number and a string. A case takes 24 bytes: three cells.
std::unique_ptr<MemoryDataSource> ManyCases() {
  auto source = std::make_unique<MemoryDataSource>();
  source->InsertMissingCases(0, 2500);
  source->InsertVariable(0, ORVX_Variable(ORVX_Variable::NextID(), "number"),
                         std::vector<double>(2500, 1.0));
  source->InsertVariable(1, ORVX_Variable(ORVX_Variable::NextID(), "text", 9),
                         std::vector<std::string>(2500, "text"));
  return source;
}

// Reads all cases. Returns the arguments of each call of the progress function: done, total.
std::vector<std::pair<std::uint64_t, std::uint64_t>> CallsFor(const ORVX_DataSource& source) {
  std::vector<std::pair<std::uint64_t, std::uint64_t>> calls;
  CaseReader cases(source, [&](std::uint64_t done, std::uint64_t total) {
    calls.emplace_back(done, total);
    return true;
  });
  while (cases.Next()) continue;
  return calls;
}

TEST(CaseReaderWithProgress, CountsTheBytesOfTheSourcesRows) {
  const auto source = ManyCases();
  EXPECT_THAT(CallsFor(*source),
              ElementsAre(Pair(0, 60000), Pair(24576, 60000), Pair(49152, 60000)));
}

TEST(CaseReaderWithProgress, TheTotalIs0IfTheNumberOfCasesIsUnknown) {
  const auto source = ManyCases();
  PassedOn edited(source.get());
  edited.DeleteVariables(0, 0);  // the rows that `edited` passes on still have both values
  EXPECT_THAT(CallsFor(edited), ElementsAre(Pair(0, 0), Pair(24576, 0), Pair(49152, 0)));
}

TEST(CaseReaderWithProgress, ThrowsGivenUpIfProgressReturnsFalse) {
  const auto source = ManyCases();
  CaseReader cases(*source, [](std::uint64_t done, std::uint64_t) { return done < 24576; });
  for (int i = 0; i < 1024; ++i) EXPECT_TRUE(cases.Next());
  EXPECT_THROW(cases.Next(), GivenUp);
}

// Reports rows that are one cell longer than its row layout.
class TooLong : public PassedOn {
 public:
  using PassedOn::PassedOn;
  long GetObsAreaSize() const override { return PassedOn::GetObsAreaSize() + 1; }
};

TEST_F(CaseReaderOnAFile, RejectsRowsOfAnotherLengthThanTheRowLayout) {
  const TooLong source(file.get());
  EXPECT_THROW(CaseReader{source}, std::invalid_argument);
}

}  // namespace
