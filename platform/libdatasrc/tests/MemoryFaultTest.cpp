// Memory runs out at each allocation in turn: an operation throws and nothing is changed, or
// succeeds.

#include <gtest/gtest.h>
#include <libdatasrc/DataFreeDataSource.h>

#include <functional>
#include <new>

#include "FailingAllocator.h"
#include "Files.h"

namespace {

// False when memory ran out.
bool Succeeds(long allocations, const std::function<void()>& call) {
  allocationsLeft = allocations;
  try {
    call();
  } catch (const std::bad_alloc&) {
    allocationsLeft = -1;
    return false;
  }
  allocationsLeft = -1;
  return true;
}

LocallyUniqueID Serial(unsigned int serial) {
  return LocallyUniqueID(1, serial);
}

// As many variables as fill blocks to the brim, so that the next edit has to make room.
void Fill(ORVX_DataSource& source) {
  for (unsigned int i = 0; i < 512; ++i) {
    source.MakeVariable(ORVX_Variable(Serial(i), std::to_string(i)), nullptr);
  }
}

struct Edit {
  const char* name;
  std::function<void(ORVX_DataSource&)> apply;
};

void PrintTo(const Edit& edit, std::ostream* out) {
  *out << edit.name;
}

class MemoryFault : public testing::TestWithParam<Edit> {};

TEST_P(MemoryFault, LeavesTheDictionaryAsItWas) {
  int failures = 0;
  for (long allocations = 0;; ++allocations) {
    DataFreeDataSource source;
    Fill(source);
    source.SetWeightVar(7);
    source.SetLabel("a label that is too long to stand inside a string object");
    if (Succeeds(allocations, [&] { GetParam().apply(source); })) break;
    ++failures;
    ASSERT_EQ(source.ColumnCount(), 512);
    for (unsigned int i = 0; i < 512; ++i) {
      ASSERT_EQ(source.GetVariable(static_cast<int>(i)).GetName(), std::to_string(i));
      ASSERT_EQ(source.FindVarIndex(Serial(i)), static_cast<int>(i));
    }
    ASSERT_EQ(source.FindVarIndex(Serial(1000)), -1);
    ASSERT_EQ(source.GetWeightVarIndex(), 7);
    ASSERT_STREQ(source.GetLabel(), "a label that is too long to stand inside a string object");
  }
  EXPECT_GT(failures, 0);
}

void CopyAnother(ORVX_DataSource& source) {
  DataFreeDataSource other;
  other.MakeVariable(ORVX_Variable(Serial(1000), "x"), nullptr);
  other.SetLabel("another label that is too long to stand inside a string object");
  source.CopyDictionary(&other);
}

const ORVX_Variable kShared(Serial(1000), "shared");

INSTANTIATE_TEST_SUITE_P(
    DataSource, MemoryFault,
    testing::Values(Edit{"Insert", [](ORVX_DataSource& s) { s.InsertVariable(100, kShared); }},
                    Edit{"Append", [](ORVX_DataSource& s) { s.MakeVariable(kShared, nullptr); }},
                    Edit{"SetID",
                         [](ORVX_DataSource& s) {
                           const ORVX_Variable holder = s.GetVariable(7);
                           s.GetVariable(7).SetID(Serial(1000));
                         }},
                    Edit{"CopyDictionary", CopyAnother}),
    [](const auto& each) { return each.param.name; });

TEST(MemoryFault, WhileAFileIsOpenedLeavesNothingBehind) {
  const Folder folder;
  const std::string path = folder.Write("data.csv", "a,b\n1,\"x\"\n2,y\n");
  folder.Write("data.schema.json",
               R"({"title": "A title that is too long for the string object itself",
                   "fields": [{"name": "a", "categories": [{"value": 1, "label": "one"}]}]})");
  long failures = 0;
  while (!Succeeds(failures, [&] { SystemFileDataSource::Open(path); })) ++failures;

  EXPECT_GT(failures, 10);
}

}  // namespace
