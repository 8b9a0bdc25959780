// CloneSource if memory runs out. Part of a separate program, which replaces operator new.

#include <libdatasrc/CaseReader.h>
#include <libdatasrc/OBS.h>
#include <libdatasrc/ObsIterator.h>
#include <libdatasrc/ORVX_DataSource.h>
#include <ServerDataManager/CloneSource.h>
#include <ServerDataManager/serverdatamgr.h>
#include <ServerDataManager/SvrDMWriteableDataSource.h>
#include <tests/support/FullMemory.h>

#include <gtest/gtest.h>

#include <memory>
#include <new>
#include <variant>
#include <vector>

namespace {

using support::MemoryFor;

// A source with two variables and three cases. Counts how many sources of this class were deleted.
class Counted final : public ORVX_DataSource {
 public:
  Counted(int& deaths, ORVX_DataSource* parent) : ORVX_DataSource(parent), deaths_(deaths) {
    MakeVariable(ORVX_Variable(ORVX_Variable::NextID(), "x"), nullptr);
    MakeVariable(ORVX_Variable(ORVX_Variable::NextID(), "y"), nullptr);
    SetDirty(true);
  }
  ~Counted() override { ++deaths_; }

  ObsIterator* MakeIterator(OBS* area) const override { return new Rows(area); }
  long long RowCount() const override { return 3; }

 private:
  class Rows final : public ObsIterator {
   public:
    explicit Rows(OBS* area) : area_(area) {}

    bool Next() override {
      if (next_ == 4) return false;
      area_[0].number = next_;
      area_[1].number = 10 * next_++;
      return true;
    }

   private:
    OBS* const area_;
    int next_ = 1;
  };

  int& deaths_;
};

using Table = std::vector<std::vector<double>>;

Table RowsOf(const ORVX_DataSource& source) {
  Table table;
  for (CaseReader rows(source); rows.Next();) {
    std::vector<double>& row = table.emplace_back();
    for (const DataValue& value : rows.Values()) row.push_back(std::get<double>(value));
  }
  return table;
}

// A registry with one dataset, whose data source is a chain of two sources.
class CloneMemory : public testing::Test {
 protected:
  void AddDataset() {
    registry_ = std::make_unique<ServerDataManager>();
    deaths_ = 0;
    auto parent = std::make_unique<Counted>(deaths_, nullptr);
    auto source = std::make_unique<Counted>(deaths_, parent.get());
    id_ = registry_->Add(*source, "", /*quiet=*/true);
    static_cast<void>(parent.release());
    static_cast<void>(source.release());
  }

  void ExpectWhole(const ORVX_DataSource* source) {
    ASSERT_NE(source, nullptr);
    ASSERT_EQ(deaths_, 0);
    EXPECT_EQ(RowsOf(*source), (Table{{1, 10}, {2, 20}, {3, 30}}));
    EXPECT_EQ(source->RowCount(), 3);
    EXPECT_EQ(source->GetVariable(1).GetName(), "y");
    EXPECT_TRUE(source->IsDirty());
  }

  int deaths_ = 0;
  std::unique_ptr<ServerDataManager> registry_;
  LocallyUniqueID id_;
};

// Clones the source while only this many allocations succeed. Returns null if memory runs out.
std::unique_ptr<SvrDMCloneDataSource> CloneWith(long allocations,
                                                SvrDMWriteableDataSource& writer) {
  const MemoryFor some(allocations);
  try {
    return CloneSource(writer);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

TEST_F(CloneMemory, FailedAllocationLeavesTheSourceIntact) {
  int failures = 0;
  for (bool cloned = false; !cloned;) {
    SCOPED_TRACE(failures);
    AddDataset();
    std::unique_ptr<SvrDMCloneDataSource> clone;
    {
      SvrDMWriteableDataSource writer(*registry_, id_, /*tryOnly=*/false, nullptr);
      clone = CloneWith(failures, writer);
      ExpectWhole(*writer);
    }
    cloned = clone != nullptr;
    if (cloned) {
      registry_.reset();
      ExpectWhole(clone.get());
    }
    clone.reset();
    registry_.reset();
    ASSERT_EQ(deaths_, 2);
    if (!cloned) ++failures;
  }
  EXPECT_GT(failures, 10);
}

TEST_F(CloneMemory, FailedCloneOfACloneLeavesTheCloneIntact) {
  AddDataset();
  std::unique_ptr<SvrDMCloneDataSource> second;
  {
    SvrDMWriteableDataSource writer(*registry_, id_, /*tryOnly=*/false, nullptr);
    CloneSource(writer);
    const ORVX_DataSource* const present = *writer;
    for (long allocations = 0; second == nullptr; ++allocations) {
      second = CloneWith(allocations, writer);
      EXPECT_EQ(*writer, present);
      ExpectWhole(*writer);
    }
  }
  registry_.reset();
  ExpectWhole(second.get());
  second.reset();
  EXPECT_EQ(deaths_, 2);
}

}  // namespace
