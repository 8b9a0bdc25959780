// Opening a data file takes memory and time proportional to the size of the file and its schema.

#include <gtest/gtest.h>
#include <tests/support/FullMemory.h>

#include <algorithm>

#include "Files.h"

namespace {

// Returns {"missingValues": ["v100000", "v100001", ...], "fields": [{"name": "c100000"MORE}, ...]},
// where MORE stands for `more`.
std::string Schema(int missingValues, int fields, const std::string& more = "") {
  std::string text = R"({"missingValues": [)";
  for (int i = 0; i < missingValues; ++i) {
    text += (i > 0 ? ",\"v" : "\"v") + std::to_string(100000 + i) + "\"";
  }
  text += R"(], "fields": [)";
  for (int i = 0; i < fields; ++i) {
    text += (i > 0 ? ",{\"name\":\"c" : "{\"name\":\"c") + std::to_string(100000 + i) + "\"";
    text += more + "}";
  }
  return text + "]}";
}

std::string Header(int columns) {
  std::string text;
  for (int i = 0; i < columns; ++i) text += (i > 0 ? ",c" : "c") + std::to_string(100000 + i);
  return text + "\n";
}

std::size_t BytesToOpen(const std::string& path) {
  const std::size_t before = support::heap.bytes;
  SystemFileDataSource::Open(path);
  return support::heap.bytes - before;
}

// Returns the bytes allocated by opening a file whose schema has `count` missing values and `count`
// fields, with a column for each field.
std::size_t BytesToOpen(int count, const std::string& more = "") {
  const Folder folder;
  folder.Write("data.schema.json", Schema(count, count, more));
  return BytesToOpen(folder.Write("data.csv", Header(count)));
}

TEST(FileMemory, TwiceTheMissingValuesAndFieldsTakeTwiceTheMemory) {
  EXPECT_LT(BytesToOpen(2000), 2.5 * static_cast<double>(BytesToOpen(1000)));
}

TEST(FileMemory, TwiceTheFieldsWithCategoriesTakeTwiceTheMemory) {
  const std::string categories =
      R"(,"categories":[{"value":1,"label":"one"},2],"missingValues":[])";
  EXPECT_LT(BytesToOpen(2000, categories),
            2.5 * static_cast<double>(BytesToOpen(1000, categories)));
}

// A linear search for each cell would compare 160,000,000,000 pairs of texts and take minutes.
TEST(FileMemory, LooksUpMissingValuesByHash) {
  constexpr int kMany = 400000;
  const Folder folder;
  folder.Write("data.schema.json", Schema(kMany, /*fields=*/1, R"(,"type":"string")"));
  std::string text = Header(1);
  for (int i = 0; i < kMany; ++i) text.append("w").append(std::to_string(100000 + i)).append("\n");
  text += "v100000\n";

  const auto source = SystemFileDataSource::Open(folder.Write("data.csv", text));

  EXPECT_EQ(source->RowCount(), kMany + 1);
  std::vector<OBS> area(1);
  const std::unique_ptr<ObsIterator> rows(source->MakeIterator(area.data()));
  for (int i = 0; i < kMany; ++i) ASSERT_TRUE(rows->Next());
  EXPECT_EQ(RowText(*source, area.data()), "[w499999 ]");
  ASSERT_TRUE(rows->Next());
  EXPECT_EQ(RowText(*source, area.data()), "[        ]");
}

// Opens the file five times, because sometimes another thread parses the text, and the allocations
// of that thread are not counted. Returns the most bytes that this thread allocated for one
// opening.
std::size_t MostBytesToOpen(const std::string& path) {
  std::size_t most = 0;
  for (int i = 0; i < 5; ++i) most = std::max(most, BytesToOpen(path));
  return most;
}

// The text of a cell is compared with the missing values without copying it from the record.
TEST(FileMemory, LookingUpACellAllocatesNothing) {
  const Folder folder;
  const std::string text = "c100000\n" + std::string(1 << 20, 'x') + "\n";
  const std::size_t plain = MostBytesToOpen(folder.Write("plain.csv", text));
  folder.Write("data.schema.json", Schema(/*missingValues=*/1, /*fields=*/1));

  EXPECT_LT(MostBytesToOpen(folder.Write("data.csv", text)), plain + (1 << 18));
}

TEST(FileMemory, LookingUpEachOfManyCellsAllocatesNothing) {
  const Folder folder;
  const std::string word(40, 'v');  // longer than the small-string buffer
  folder.Write("data.schema.json",
               R"({"missingValues": [")" + word + R"("], "fields": [{"name": "c"}]})");
  const auto allocationsToOpen = [&](int cells) {
    std::string text = "c\n";
    for (int i = 0; i < cells; ++i) text += word.substr(1) + "x\n";
    const std::string path = folder.Write("data.csv", text);
    const long before = support::heap.taken;
    SystemFileDataSource::Open(path);
    return support::heap.taken - before;
  };

  EXPECT_LT(allocationsToOpen(1500), allocationsToOpen(500) + 100);
}

}  // namespace
