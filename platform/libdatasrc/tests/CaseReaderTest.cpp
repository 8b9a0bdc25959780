// Cases as values.

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
using testing::VariantWith;

class CaseReaderOnAFile : public testing::Test {
 protected:
  // Number n, and string s.
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

TEST_F(CaseReaderOnAFile, DoesNotUseTheSourceAgain) {
  CaseReader cases(*file);

  file->DeleteVariables(0, 0);
  file.reset();

  ASSERT_TRUE(cases.Next());
  EXPECT_THAT(cases.Values(), ElementsAre(DataValue(1.5), DataValue(" two  words")));
}

TEST(CaseReaderWithProgress, CountsCases) {
  MemoryDataSource source;
  source.InsertMissingCases(0, 2500);
  std::vector<std::pair<std::uint64_t, std::uint64_t>> calls;
  CaseReader cases(source, [&](std::uint64_t done, std::uint64_t total) {
    calls.emplace_back(done, total);
    return true;
  });
  while (cases.Next()) continue;
  EXPECT_THAT(calls, ElementsAre(testing::Pair(0, 2500), testing::Pair(1024, 2500),
                                 testing::Pair(2048, 2500)));
}

TEST(CaseReaderWithProgress, GivesUpOnRequest) {
  MemoryDataSource source;
  source.InsertMissingCases(0, 2500);
  CaseReader cases(source, [](std::uint64_t done, std::uint64_t) { return done < 1024; });
  for (int i = 0; i < 1024; ++i) EXPECT_TRUE(cases.Next());
  EXPECT_THROW(cases.Next(), GivenUp);
}

// Passes on rows that are longer than its dictionary.
class TooLong : public PassedOn {
 public:
  using PassedOn::PassedOn;
  long GetObsAreaSize() const override { return PassedOn::GetObsAreaSize() + 1; }
};

TEST_F(CaseReaderOnAFile, RejectsRowsOfAnotherLengthThanTheDictionary) {
  const TooLong source(file.get());
  EXPECT_THROW(CaseReader{source}, std::invalid_argument);
}

}  // namespace
