// What several threads may do concurrently with variables, dictionaries and cases.

#include <gtest/gtest.h>
#include <libdatasrc/DataFreeDataSource.h>
#include <libdatasrc/MemoryDataSource.h>

#include <set>
#include <string>
#include <thread>
#include <vector>

#include "Files.h"

namespace {

TEST(ManyThreads, MakeNewIdentifiersThatDifferAndHaveDomainOne) {
  constexpr int kEach = 1000;
  std::vector<std::vector<LocallyUniqueID>> drawn(4);
  std::vector<std::thread> threads;
  for (auto& ids : drawn) {
    threads.emplace_back([&ids] {
      for (int i = 0; i < kEach; ++i) ids.push_back(ORVX_Variable::NextID());
    });
  }
  for (std::thread& thread : threads) thread.join();

  std::set<LocallyUniqueID> all;
  for (const auto& ids : drawn) all.insert(ids.begin(), ids.end());
  EXPECT_EQ(all.size(), 4U * kEach);
  EXPECT_EQ(all.begin()->Domain(), 1U);
  EXPECT_EQ(all.rbegin()->Domain(), 1U);
}

TEST(ManyThreads, MayChangeCopiesOfOneRecord) {
  const ORVX_Variable shared(LocallyUniqueID(1, 7), "age");
  std::vector<std::string> names(4);
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < names.size(); ++i) {
    threads.emplace_back([&shared, &names, i] {
      for (int round = 0; round < 1000; ++round) {
        ORVX_Variable mine = shared;
        mine.SetName(std::to_string(i));
        const ORVX_Variable again = mine;
        names[i] = again.GetName();
      }
    });
  }
  for (std::thread& thread : threads) thread.join();

  EXPECT_EQ(names, (std::vector<std::string>{"0", "1", "2", "3"}));
  EXPECT_EQ(shared.GetName(), "age");
}

TEST(ManyThreads, ReadADictionaryConcurrently) {
  DataFreeDataSource source;
  for (unsigned int i = 0; i < 3000; ++i)
    source.MakeVariable(ORVX_Variable(LocallyUniqueID(1, i), "v"), nullptr);
  std::vector<int> wrong(4);
  std::vector<std::thread> threads;
  for (int& mine : wrong) {
    threads.emplace_back([&source, &mine] {
      for (int i = 0; i < source.ColumnCount(); ++i) {
        const ORVX_Variable copy = source.GetVariable(i);
        if (source.FindVarIndex(copy.GetID()) != i) ++mine;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();

  EXPECT_EQ(wrong, std::vector<int>(4));
}

TEST(ManyThreads, ReadCasesConcurrently) {
  const Folder folder;
  std::string text = "a,b\n";
  for (int i = 0; i < 500; ++i) text += "1.5,some text\n";
  const auto source = SystemFileDataSource::Open(folder.Write("data.csv", text));
  std::vector<std::vector<std::string>> rows(4);
  std::vector<std::thread> threads;
  for (auto& mine : rows) {
    threads.emplace_back([&source, &mine] { mine = Rows(*source); });
  }
  for (std::thread& thread : threads) thread.join();

  const std::vector<std::string> expected(500, "1.5 [some text       ]");
  EXPECT_EQ(rows, std::vector(4, expected));
}

// Each round makes an iterator and a copy that share the columns, then changes the columns while
// two threads read and destroy the iterator and the copy.
TEST(ManyThreads, ReadSharedCasesWhileTheSourceIsChanged) {
  constexpr int kRows = 200;
  MemoryDataSource source;
  source.InsertVariable(0, ORVX_Variable(ORVX_Variable::NextID(), "a"),
                        std::vector<double>(kRows, 0));
  source.InsertVariable(1, ORVX_Variable(ORVX_Variable::NextID(), "b", 3),
                        std::vector<std::string>(kRows, "0"));
  int wrong = 0;
  for (int round = 0; round < 50; ++round) {
    const std::string expected = std::to_string(round) + " [" + std::to_string(round);
    std::vector<OBS> area(2);
    std::unique_ptr<ObsIterator> rows(source.MakeIterator(area.data()));
    std::unique_ptr<MemoryDataSource> copy = MemoryDataSource::CopyOf(source);
    int wrongRows = 0;
    int wrongCopies = 0;
    std::thread reader([&] {
      while (rows->Next()) {
        if (area[0].number != round) ++wrongRows;
      }
      rows.reset();
    });
    std::thread copyReader([&] {
      for (const std::string& row : Rows(*copy)) {
        if (!row.starts_with(expected)) ++wrongCopies;
      }
      copy.reset();
    });
    for (int row = 0; row < kRows; ++row) {
      source.SetValue(row, 0, static_cast<double>(round + 1));
      source.SetValue(row, 1, std::to_string(round + 1));
    }
    reader.join();
    copyReader.join();
    wrong += wrongRows + wrongCopies;
  }
  EXPECT_EQ(wrong, 0);
}

}  // namespace
