// The memory that editing and copying cases takes. A source, its copies and its iterators share
// columns. Setting a value in a shared column copies this column once, and no other column.

#include "Files.h"
#include "Variables.h"

#include <gtest/gtest.h>
#include <libdatasrc/MemoryDataSource.h>
#include <libdatasrc/OBS.h>
#include <libdatasrc/ObsIterator.h>
#include <tests/support/FullMemory.h>

#include <cstddef>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace {

using support::AllocationsOf;

constexpr std::size_t kRows = 10000;
constexpr std::size_t kColumnBytes = kRows * sizeof(double);

// Returns a source with ten numeric variables and a string variable.
std::unique_ptr<MemoryDataSource> Filled(std::size_t rows = kRows) {
  auto source = std::make_unique<MemoryDataSource>();
  for (int i = 0; i < 10; ++i) {
    source->InsertVariable(i, Variable("number"), std::vector<double>(rows, i));
  }
  source->InsertVariable(10, Variable("text", 100), std::vector<std::string>(rows, "some text"));
  return source;
}

template <class Work>
std::size_t BytesOf(const Work& work) {
  const std::size_t before = support::heap.bytes;
  work();
  return support::heap.bytes - before;
}

TEST(CaseMemory, SettingAValueOfAnUnsharedColumnAllocatesNothing) {
  const auto source = Filled();
  EXPECT_EQ(AllocationsOf([&] { source->SetValue(5, 3, 1.0); }), 0);
  const DataValue text = "other";
  EXPECT_EQ(AllocationsOf([&] { source->SetValue(5, 10, text); }), 0);
}

TEST(CaseMemory, SettingValuesCopiesASharedColumnOnceAndNoOtherColumn) {
  const auto source = Filled();
  std::vector<OBS> area(static_cast<std::size_t>(source->GetObsAreaSize()));
  const std::unique_ptr<ObsIterator> rows(source->MakeIterator(area.data()));
  const std::size_t first = BytesOf([&] { source->SetValue(5, 3, 1.0); });
  EXPECT_GE(first, kColumnBytes);
  EXPECT_LT(first, kColumnBytes + 1000);
  EXPECT_EQ(AllocationsOf([&] { source->SetValue(6, 3, 2.0); }), 0);
  const std::size_t second = BytesOf([&] { source->SetValue(5, 4, 1.0); });
  EXPECT_GE(second, kColumnBytes);
  EXPECT_LT(second, kColumnBytes + 1000);
}

TEST(CaseMemory, AColumnThatIsNoLongerSharedIsNotCopied) {
  const auto source = Filled();
  MemoryDataSource::CopyOf(*source);
  EXPECT_EQ(AllocationsOf([&] { source->SetValue(5, 3, 1.0); }), 0);
}

TEST(CaseMemory, ACopyTakesNoMoreMemoryForMoreCases) {
  const auto bytesOfCopy = [](const MemoryDataSource& source) {
    return BytesOf([&] { MemoryDataSource::CopyOf(source); });
  };
  const auto few = Filled(10);
  const auto many = Filled(kRows);
  EXPECT_EQ(bytesOfCopy(*many), bytesOfCopy(*few));
}

TEST(CaseMemory, ACopyOfASourceThatPassesOnRowsTakesNoMoreMemoryForMoreCases) {
  const auto bytesOfCopy = [](MemoryDataSource& source) {
    const PassedOn passing(&source);
    return BytesOf([&] { MemoryDataSource::CopyOf(passing); });
  };
  const auto few = Filled(10);
  const auto many = Filled(kRows);
  EXPECT_EQ(bytesOfCopy(*many), bytesOfCopy(*few));
}

TEST(CaseMemory, SettingAWholeColumnDoesNotCopyItsOldValues) {
  const auto source = Filled();
  const auto copy = MemoryDataSource::CopyOf(*source);
  std::vector<double> values(kRows, 7.0);
  EXPECT_LT(BytesOf([&] { source->SetColumn(3, std::move(values)); }), 1000U);
}

TEST(CaseMemory, AppendingCasesTakesMemoryInProportionToTheirNumber) {
  const auto source = Filled(0);
  const std::vector<DataValue> values = [] {
    std::vector<DataValue> row(10, 1.0);
    row.emplace_back("some text");
    return row;
  }();
  const std::size_t bytes = BytesOf([&] {
    for (std::size_t i = 0; i < kRows; ++i) source->AppendCase(values);
  });
  // The values of the 11 columns take about 12 * kColumnBytes. A column grows by doubling, which
  // allocates at most four times its final size in total. Each call of AppendCase also allocates a
  // list of pointers to the columns.
  EXPECT_LT(bytes, 4 * 12 * kColumnBytes + kRows * 11 * sizeof(void*));
}

TEST(CaseMemory, SettingStringsRepeatedlyKeepsThePoolSmall) {
  const auto source = Filled(10);
  support::heap.largest = 0;
  for (std::size_t i = 0; i < 10000; ++i) {
    source->SetValue(static_cast<long long>(i % 10), 10, std::string(i % 100 + 1, 'x'));
  }
  EXPECT_LT(support::heap.largest, 50000U);
}

}  // namespace
