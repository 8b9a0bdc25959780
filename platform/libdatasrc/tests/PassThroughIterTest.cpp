// The cases of a source's parent, read through the source.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <libdatasrc/DataFreeDataSource.h>
#include <libdatasrc/PassThroughIter.h>

#include <stdexcept>

#include "Files.h"

namespace {

using testing::HasSubstr;
using testing::ThrowsMessage;

class PassThroughIterOnAFile : public testing::Test {
 protected:
  // The variables are the numbers a and b, and the string s.
  const Folder folder;
  std::unique_ptr<SystemFileDataSource> file =
      SystemFileDataSource::Open(folder.Write("data.csv", "a,s,b\n1,x,2\n3,y,4\n"));
  DataFreeDataSource derived{file.get()};
  std::vector<OBS> area = std::vector<OBS>(3);
};

TEST_F(PassThroughIterOnAFile, ReturnsTheParentsRowsUnchangedWithoutAProjector) {
  PassThroughIter rows(&derived, area.data(), nullptr);

  ASSERT_TRUE(rows.Next());
  EXPECT_EQ(RowText(*file, area.data()), "1 [x       ] 2");
  ASSERT_TRUE(rows.Next());
  EXPECT_EQ(RowText(*file, area.data()), "3 [y       ] 4");
  EXPECT_FALSE(rows.Next());
  EXPECT_FALSE(rows.Next());
  EXPECT_EQ(RowText(*file, area.data()), "3 [y       ] 4");
}

TEST_F(PassThroughIterOnAFile, ReturnsProjectedRows) {
  derived.CopyDictionary(file.get());
  derived.DeleteVariables(0, 0);
  PassThroughIter rows(&derived, area.data(), std::make_unique<const ObsProjector>(*file, derived));

  ASSERT_TRUE(rows.Next());
  EXPECT_EQ(RowText(derived, area.data()), "[x       ] 2");
  ASSERT_TRUE(rows.Next());
  EXPECT_EQ(RowText(derived, area.data()), "[y       ] 4");
  EXPECT_FALSE(rows.Next());
  EXPECT_EQ(RowText(derived, area.data()), "[y       ] 4");
}

TEST_F(PassThroughIterOnAFile, ReadsTheFirstParentEvenAfterTheParentIsReplaced) {
  PassThroughIter rows(&derived, area.data(), nullptr);

  derived.SetParentSource(nullptr);
  ASSERT_TRUE(rows.Next());
  const auto other = SystemFileDataSource::Open(folder.Write("other.csv", "a,s,b\n9,z,9\n"));
  derived.SetParentSource(other.get());
  ASSERT_TRUE(rows.Next());

  EXPECT_EQ(RowText(*file, area.data()), "3 [y       ] 4");
}

TEST_F(PassThroughIterOnAFile, OutlivesBothSources) {
  auto shortLived = std::make_unique<DataFreeDataSource>(file.get());
  PassThroughIter rows(shortLived.get(), area.data(), nullptr);

  shortLived.reset();
  ASSERT_TRUE(rows.Next());
  file.reset();
  ASSERT_TRUE(rows.Next());

  EXPECT_EQ(area[0].number, 3);
  EXPECT_EQ(area[2].number, 4);
}

TEST_F(PassThroughIterOnAFile, RejectsAProjectorForRowsOfAnotherLength) {
  DataFreeDataSource narrow;
  narrow.CopyDictionary(file.get());
  narrow.DeleteVariables(1, 1);

  EXPECT_THAT(
      [&] {
        PassThroughIter(&derived, area.data(),
                        std::make_unique<const ObsProjector>(narrow, derived));
      },
      ThrowsMessage<std::invalid_argument>(
          HasSubstr("made for rows of 2 cells, but the source's have 3")));
}

TEST(PassThroughIter, HasNoRowsWithoutAParent) {
  const DataFreeDataSource alone;
  OBS cell;
  cell.number = 7;
  PassThroughIter rows(&alone, &cell, nullptr);

  EXPECT_FALSE(rows.Next());
  EXPECT_EQ(cell.number, 7);
}

// Throws at the third row; the next call continues with the fourth.
class FailingRows : public ObsIterator {
 public:
  explicit FailingRows(OBS* area) : area_(area) {}
  bool Next() override {
    if (++row_ == 3) throw std::runtime_error("disk failure");
    area_->number = row_;
    return true;
  }

 private:
  OBS* const area_;
  int row_ = 0;
};

class FailingSource : public ORVX_DataSource {
 public:
  FailingSource() { MakeVariable(ORVX_Variable(LocallyUniqueID(1, 1), "a"), nullptr); }
  ObsIterator* MakeIterator(OBS* area) const override { return new FailingRows(area); }
};

TEST(PassThroughIter, PropagatesExceptionsOfTheParentsIteratorAndContinues) {
  FailingSource failing;
  const DataFreeDataSource derived(&failing);
  OBS cell;
  PassThroughIter rows(&derived, &cell, std::make_unique<const ObsProjector>(failing, failing));

  ASSERT_TRUE(rows.Next());
  ASSERT_TRUE(rows.Next());
  EXPECT_THAT([&] { rows.Next(); }, ThrowsMessage<std::runtime_error>(HasSubstr("disk")));
  EXPECT_EQ(cell.number, 2);
  ASSERT_TRUE(rows.Next());
  EXPECT_EQ(cell.number, 4);
}

}  // namespace
