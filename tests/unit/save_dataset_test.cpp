// Writers that edit cases or save the dataset. The tests check the messages and the dataset's file.

#include <gtest/gtest.h>
#include <libdatasrc/CaseReader.h>
#include <libdatasrc/DataFileError.h>
#include <libdatasrc/SystemFileDataSource.h>
#include <liborvxdemg/ResetClientDataMsg.h>
#include <ServerDataManager/CloneSource.h>
#include <ServerDataManager/EditCases.h>
#include <ServerDataManager/SaveDataset.h>
#include <ServerDataManager/serverdatamgr.h>
#include <ServerDataManager/svrdmitem.h>
#include <ServerDataManager/SvrDMWriteableDataSource.h>
#include <tests/support/Datasets.h>
#include <tests/support/Dictionary.h>
#include <tests/support/Messages.h>
#include <tests/support/Observers.h>
#include <tests/unit/saved_files.h>

#include <filesystem>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

using support::RecordingObserver;
using support::Said;

namespace {

using Texts = std::vector<std::string>;

std::unique_ptr<MemoryDataSource> Ages() {
  auto source = std::make_unique<MemoryDataSource>();
  source->InsertVariable(0, support::Var("age"), {31, 47});
  return source;
}

// A dataset with an observer. The first pass has reported the whole dataset, so later passes report
// only changes.
class Dataset {
 public:
  explicit Dataset(std::unique_ptr<ORVX_DataSource> source, const std::string& file = "")
      : id_(source == nullptr ? registry_.AddEmpty(/*quiet=*/false)
                              : registry_.Add(std::move(source), file, /*quiet=*/false)) {
    registry_.GetDataSet(id_)->Register(observer_);
    Write([](auto&) {});
    observer_.passes.clear();
    observer_.reaction = [this](SvrDMWriteableDataSource const* writer) {
      for (const DataSetMsg* message : writer->GetNotifications()) {
        sequences.push_back(message->GetCaseSequence());
      }
    };
  }
  ~Dataset() { Item()->Unregister(observer_); }
  Dataset(const Dataset&) = delete;
  Dataset& operator=(const Dataset&) = delete;

  ServerDataManager& Registry() { return registry_; }
  SvrDMItemPtr Item() { return registry_.GetDataSet(id_); }
  MemoryDataSource& Cases() { return dynamic_cast<MemoryDataSource&>(*Item()->DataSource()); }
  LocallyUniqueID ID() const { return id_; }

  // Makes a write and returns the messages of its passes.
  Texts Write(const std::function<void(SvrDMWriteableDataSource&)>& change) {
    observer_.passes.clear();
    sequences.clear();
    support::Write(registry_, id_, change);
    Texts texts;
    for (const std::vector<Said>& pass : observer_.passes) {
      for (const Said& said : pass) texts.push_back(AsText(said));
    }
    return texts;
  }

  std::vector<unsigned int> sequences;  // case sequences in the messages of the last write

 private:
  ServerDataManager registry_;
  RecordingObserver observer_;
  LocallyUniqueID id_;
};

MemoryDataSource& CasesOf(SvrDMWriteableDataSource& writer) {
  return dynamic_cast<MemoryDataSource&>(*writer.GetDataSource());
}

// --- Editing cases under a writer ---

TEST(CasesOfADataset, AppendedCasesResetTheClientsDataUnderANewSequenceNumber) {
  Dataset dataset(Ages());
  const Texts messages = dataset.Write([](SvrDMWriteableDataSource& writer) {
    CasesOf(writer).AppendCase({25.0});
    writer->SetDirty(true);
    writer.IncrementCaseSequence();
  });
  EXPECT_EQ(messages, (Texts{"reset client data, 3 rows", "dirty"}));
  EXPECT_EQ(dataset.sequences, (std::vector<unsigned int>{1, 1}));
}

TEST(CasesOfADataset, SetValuesAreReportedOnlyIfTheWriterAddsAMessage) {
  Dataset dataset(Ages());
  const auto setValue = [](SvrDMWriteableDataSource& writer) {
    CasesOf(writer).SetValue(0, 0, 32.0);
    writer.IncrementCaseSequence();
  };
  EXPECT_EQ(dataset.Write(setValue), Texts());
  EXPECT_FALSE(dataset.Cases().IsDirty());
  const Texts messages = dataset.Write([&](SvrDMWriteableDataSource& writer) {
    setValue(writer);
    writer->SetDirty(true);
    writer.AddNotification(new DEMessages::ResetClientDataMsg(
        0, writer.GetDataSetID(), writer.GetCaseSequence(), writer->RowCount()));
  });
  EXPECT_EQ(messages, (Texts{"reset client data, 2 rows", "dirty"}));
  EXPECT_EQ(dataset.sequences, (std::vector<unsigned int>{2, 2}));
}

TEST(CasesOfADataset, EditedValuesResetTheClientsDataUnderANewSequenceNumber) {
  Dataset dataset(Ages());
  const auto edit = [](SvrDMWriteableDataSource& writer) {
    EditCases(writer, [](MemoryDataSource& cases) { cases.SetValue(0, 0, 32.0); });
  };
  EXPECT_EQ(dataset.Write(edit), (Texts{"reset client data, 2 rows", "dirty"}));
  EXPECT_EQ(dataset.sequences, (std::vector<unsigned int>{1, 1}));
  EXPECT_EQ(dataset.Cases().GetValue(0, 0), DataValue(32.0));
  const Texts twice = dataset.Write([&](SvrDMWriteableDataSource& writer) {
    edit(writer);
    edit(writer);
  });
  EXPECT_EQ(twice, Texts{"reset client data, 2 rows"});
}

TEST(CasesOfADataset, EditedCasesResetTheClientsDataOnceIfTheirNumberChanges) {
  Dataset dataset(Ages());
  const Texts messages = dataset.Write([](SvrDMWriteableDataSource& writer) {
    EditCases(writer, [](MemoryDataSource& cases) { cases.AppendCase({25.0}); });
  });
  EXPECT_EQ(messages, (Texts{"reset client data, 3 rows", "dirty"}));
}

TEST(CasesOfADataset, EditingReplacesASourceThatCannotBeEditedByACopy) {
  Dataset dataset(Ages());
  std::unique_ptr<SvrDMCloneDataSource> other;
  dataset.Write([&](SvrDMWriteableDataSource& writer) { other = CloneSource(writer); });
  dataset.Write([](SvrDMWriteableDataSource& writer) {
    EditCases(writer, [](MemoryDataSource& cases) { cases.SetValue(0, 0, 32.0); });
  });
  EXPECT_EQ(dataset.Cases().GetValue(0, 0), DataValue(32.0));
  CaseReader cases(*other);
  ASSERT_TRUE(cases.Next());
  EXPECT_EQ(cases.Values(), std::vector<DataValue>{31.0});
}

TEST(CasesOfADataset, AnEditThatThrowsQueuesNothing) {
  Dataset dataset(Ages());
  const Texts messages = dataset.Write([](SvrDMWriteableDataSource& writer) {
    const auto edit = [](MemoryDataSource& cases) { cases.SetValue(9, 0, 32.0); };
    EXPECT_THROW(EditCases(writer, edit), std::out_of_range);
    EXPECT_EQ(writer.GetCaseSequence(), 0U);
  });
  EXPECT_EQ(messages, Texts());
  EXPECT_FALSE(dataset.Cases().IsDirty());
}

TEST(CasesOfADataset, EditingNeedsADataSource) {
  Dataset dataset(nullptr);
  dataset.Write([](SvrDMWriteableDataSource& writer) {
    EXPECT_THROW(EditCases(writer, [](MemoryDataSource&) {}), std::invalid_argument);
  });
}

TEST(CasesOfADataset, ARetypedVariableResetsTheClientsDataAndMarksTheDatasetAsDirty) {
  Dataset dataset(Ages());
  const Texts messages =
      dataset.Write([](SvrDMWriteableDataSource& writer) { CasesOf(writer).Retype(0, 8); });
  ASSERT_EQ(messages.size(), 3U);
  EXPECT_EQ(messages[1], "reset client data, 2 rows");
  EXPECT_EQ(messages[2], "dirty");
}

// --- Saving ---

TEST(SaveDataset, ClearsTheDirtyFlagAndHoldsTheNewFile) {
  const TemporaryFolder folder;
  const std::string path = folder.Write("ages.csv");
  Dataset dataset(SystemFileDataSource::Open(path), path);
  ModifyAt(path, 1'500'000'000);
  ASSERT_TRUE(dataset.Item()->SavFileExternallyChanged());

  const Texts messages = dataset.Write([&](SvrDMWriteableDataSource& writer) {
    CasesOf(writer).AppendCase({25.0});
    writer->SetDirty(true);
    SaveDataset(writer, path);
    EXPECT_FALSE(writer->IsDirty());
  });
  EXPECT_EQ(messages, (Texts{"reset client data, 2 rows", "dirty", "clean"}));
  EXPECT_FALSE(dataset.Item()->SavFileExternallyChanged());
  EXPECT_FALSE(dataset.Registry().SavFileExternallyChanged(path));
  ModifyAt(path, 1'500'000'000);
  EXPECT_TRUE(dataset.Registry().SavFileExternallyChanged(path));
  EXPECT_EQ(SystemFileDataSource::Open(path)->RowCount(), 2);
}

TEST(SaveDataset, KeepsOtherProgramsFromWritingTheNewFile) {
  const TemporaryFolder folder;
  const std::string path = folder.Write("ages.csv");
  Dataset dataset(SystemFileDataSource::Open(path), path);
  dataset.Write([&](SvrDMWriteableDataSource& writer) { SaveDataset(writer, path); });
  EXPECT_FALSE(AnotherProcessMayWrite(path));
}

// A pass that finds a modified variable marks the dataset as dirty. So SaveDataset must make this
// pass before it saves.
TEST(SaveDataset, LeavesTheDatasetCleanIfAVariableWasModified) {
  const TemporaryFolder folder;
  Dataset dataset(Ages());
  const Texts messages = dataset.Write([&](SvrDMWriteableDataSource& writer) {
    writer->GetVariable(0).SetLabel("Age");
    SaveDataset(writer, folder.Path("ages.csv"));
  });
  ASSERT_EQ(messages.size(), 4U);
  EXPECT_EQ(messages[1], "dirty");
  EXPECT_EQ(messages[2], "file specification \"" + folder.Path("ages.csv") + "\"");
  EXPECT_EQ(messages[3], "clean");
  EXPECT_FALSE(dataset.Cases().IsDirty());
}

TEST(SaveDataset, LeavesTheDatasetCleanForAnObserverRegisteredLater) {
  const TemporaryFolder folder;
  ServerDataManager registry;
  const LocallyUniqueID id = registry.Add(Ages(), "", /*quiet=*/true);
  RecordingObserver early, late;
  registry.GetDataSet(id)->Register(early);
  support::WriteNothing(registry, id);
  registry.GetDataSet(id)->Unregister(early);
  support::Write(registry, id, [&](SvrDMWriteableDataSource& writer) {
    writer->GetVariable(0).SetLabel("Age");
    SaveDataset(writer, folder.Path("ages.csv"));
  });
  registry.GetDataSet(id)->Register(late);
  support::WriteNothing(registry, id);
  EXPECT_FALSE(registry.GetDataSet(id)->DataSource()->IsDirty());
  registry.GetDataSet(id)->Unregister(late);
}

TEST(SaveDataset, GivesTheDatasetItsNewFile) {
  const TemporaryFolder folder;
  const std::string old = folder.Write("ages.csv");
  const std::string path = folder.Path("new.csv");
  Dataset dataset(SystemFileDataSource::Open(old), old);
  const Texts messages =
      dataset.Write([&](SvrDMWriteableDataSource& writer) { SaveDataset(writer, path); });
  EXPECT_EQ(messages, (Texts{"file specification \"" + path + "\""}));
  EXPECT_EQ(dataset.Item()->FileName(), path);
  EXPECT_STREQ(dataset.Cases().GetFileSpec(), path.c_str());
  ModifyAt(old, 1'500'000'000);
  EXPECT_FALSE(dataset.Item()->SavFileExternallyChanged());
  ModifyAt(path, 1'500'000'000);
  EXPECT_TRUE(dataset.Item()->SavFileExternallyChanged());
}

TEST(SaveDataset, TakesOverASuppressedFileNameThatIsFreeNow) {
  const TemporaryFolder folder;
  const std::string path = folder.Write("ages.csv");
  Dataset dataset(Ages());
  const LocallyUniqueID first = dataset.Registry().Add(Ages(), path, false);
  const LocallyUniqueID second = dataset.Registry().Add(Ages(), path, false);
  const auto save = [&] {
    support::Write(dataset.Registry(), second,
                   [&](SvrDMWriteableDataSource& writer) { SaveDataset(writer, path); });
  };
  EXPECT_THROW(save(), DataFileError);
  dataset.Registry().Delete(first);
  save();
  const SvrDMItemPtr item = dataset.Registry().GetDataSet(second);
  EXPECT_EQ(item->FileName(), path);
  EXPECT_EQ(item->SuppressedFileName(), "");
}

TEST(SaveDataset, RefusesTheFileOfAnotherDatasetIgnoringCase) {
  const TemporaryFolder folder;
  Dataset dataset(Ages());
  dataset.Registry().Add(Ages(), folder.Path("ages.csv"), /*quiet=*/false);
  dataset.Write([&](SvrDMWriteableDataSource& writer) {
    EXPECT_THROW(SaveDataset(writer, folder.Path("Ages.CSV")), DataFileError);
  });
  EXPECT_FALSE(std::filesystem::exists(folder.Path("Ages.CSV")));
  EXPECT_EQ(dataset.Item()->FileName(), "");
}

TEST(SaveDataset, RefusesTheFileOfAnotherDatasetWithTheSameIdentifier) {
  const TemporaryFolder folder;
  const std::string path = folder.Path("ages.csv");
  ServerDataManager registry;
  const LocallyUniqueID next = ServerDataManager().Add(Ages(), "", /*quiet=*/false);
  registry.Add(Ages(), "", /*quiet=*/false, next, 0);
  ASSERT_EQ(registry.Add(Ages(), path, /*quiet=*/false), next);
  support::Write(registry, next, [&](SvrDMWriteableDataSource& writer) {
    EXPECT_THROW(SaveDataset(writer, path), DataFileError);
  });
  EXPECT_FALSE(std::filesystem::exists(path));
}

TEST(SaveDataset, RefusesTheFileOfAnotherDatasetHoweverItsPathIsSpelled) {
  const TemporaryFolder folder;
  Dataset dataset(Ages());
  dataset.Registry().Add(Ages(), folder.Path("ages.csv"), /*quiet=*/false);
  std::filesystem::create_directory(folder.Path("other"));
  std::filesystem::create_directory_symlink(folder.Path(""), folder.Path("link"));
  dataset.Write([&](SvrDMWriteableDataSource& writer) {
    for (const char* const spelling : {"./ages.csv", "other/../ages.csv", "link/ages.csv"}) {
      EXPECT_THROW(SaveDataset(writer, folder.Path(spelling)), DataFileError) << spelling;
    }
    EXPECT_NO_THROW(SaveDataset(writer, folder.Path("other/ages.csv")));
  });
  EXPECT_FALSE(std::filesystem::exists(folder.Path("ages.csv")));
}

TEST(SaveDataset, RefusesTheFileOfAnotherDatasetByANameInTheCurrentFolder) {
  const std::string name = "the_file_of_another_dataset.csv";
  Dataset dataset(Ages());
  dataset.Registry().Add(Ages(), std::filesystem::current_path() / name, /*quiet=*/false);
  dataset.Write([&](SvrDMWriteableDataSource& writer) {
    EXPECT_THROW(SaveDataset(writer, name), DataFileError);
  });
  EXPECT_FALSE(std::filesystem::remove(name));
  // Only a save that was wrongly allowed has written this file.
  std::filesystem::remove("the_file_of_another_dataset.schema.json");
}

TEST(SaveDataset, LeavesADirtyDatasetWithItsOldFileIfItFails) {
  const TemporaryFolder folder;
  const std::string path = folder.Write("ages.csv");
  Dataset dataset(SystemFileDataSource::Open(path), path);
  ModifyAt(path, 1'500'000'000);
  const Texts messages = dataset.Write([&](SvrDMWriteableDataSource& writer) {
    writer->SetDirty(true);
    EXPECT_THROW(SaveDataset(writer, folder.Path("none/ages.csv")), DataFileError);
    EXPECT_THROW(SaveDataset(writer, path, {}, [](auto, auto) { return false; }), GivenUp);
  });
  EXPECT_EQ(messages, (Texts{"dirty"}));
  EXPECT_TRUE(dataset.Cases().IsDirty());
  EXPECT_EQ(dataset.Item()->FileName(), path);
  EXPECT_STREQ(dataset.Cases().GetFileSpec(), path.c_str());
  EXPECT_TRUE(dataset.Item()->SavFileExternallyChanged());
}

TEST(SaveDataset, RefusesADatasetWithoutADataSource) {
  ServerDataManager registry;
  SvrDMWriteableDataSource writer(registry, registry.AddEmpty(true), false, nullptr);
  EXPECT_THROW(SaveDataset(writer, "ages.csv"), std::invalid_argument);
}

}  // namespace
