// The plain handle: finding a dataset, and forwarded operations.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <libdatasrc/ORVX_DataSource.h>
#include <liborvxdemg/ErrorMsg.h>
#include <liborvxmsgs/ReportedErrorMsg.h>
#include <PackageProxy/PackageProxy.h>
#include <ServerDataManager/InteractiveErrorMonitor.h>
#include <ServerDataManager/serverdatamgr.h>
#include <ServerDataManager/SvrBootstrapSpecs.h>
#include <ServerDataManager/SvrDMDataset.h>
#include <ServerDataManager/SvrDMWriteableDataSource.h>
#include <tests/support/Dictionary.h>
#include <tests/support/Messages.h>
#include <tests/support/Observers.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "saved_files.h"

using support::CountedSource;
using support::Dictionary;
using support::RecordingObserver;
using testing::ElementsAre;

namespace {

class DatasetHandle : public testing::Test {
 protected:
  ServerDataManager registry_;
  LocallyUniqueID id_ = registry_.Add(*Dictionary("A").release(), "survey", /*quiet=*/true);
  SvrDMItemPtr item_ = registry_.GetDataSet(id_);
  SvrDMDataset handle_{registry_, id_};
};

// ---------------------------------------------------------------------------------------------
// Finding the dataset

TEST_F(DatasetHandle, SharesTheItemThatTheRegistryHasUnderTheIdentifier) {
  EXPECT_TRUE(handle_.IsValid());
  EXPECT_EQ(handle_.GetDataSetID(), id_);
  EXPECT_EQ(handle_.GetServerDataManager(), &registry_);
  EXPECT_EQ(std::as_const(handle_).GetServerDataManager(), &registry_);
}

TEST_F(DatasetHandle, UnknownIdentifierThrows) {
  try {
    SvrDMDataset handle(registry_, LocallyUniqueID(0, 99));
    FAIL() << "nothing was thrown";
  } catch (ErrorMsg& error) {
    EXPECT_EQ(error.GetCode(), 2001U);
    EXPECT_EQ(error.GetText(), "");
  }
}

TEST_F(DatasetHandle, HoldsOneReferenceForItsLifetime) {
  const unsigned before = std::as_const(item_)->ReferenceCount();
  {
    const SvrDMDataset second(registry_, id_);
    EXPECT_EQ(std::as_const(item_)->ReferenceCount(), before + 1);
    const SvrDMDataset copy(second);
    EXPECT_EQ(std::as_const(item_)->ReferenceCount(), before + 2);
  }
  EXPECT_EQ(std::as_const(item_)->ReferenceCount(), before);
}

TEST_F(DatasetHandle, KeepsADeletedDatasetAlive) {
  int deaths = 0;
  const LocallyUniqueID id = registry_.Add(*new CountedSource(deaths), "", true);
  std::optional<SvrDMDataset> handle(std::in_place, registry_, id);

  registry_.Delete(id);
  EXPECT_EQ(deaths, 0);
  EXPECT_EQ(handle->GetDataSetID(), id);

  handle.reset();
  EXPECT_EQ(deaths, 1);
}

TEST_F(DatasetHandle, SharesAGivenItem) {
  const SvrDMDataset second(item_);

  EXPECT_EQ(second.GetDataSetID(), id_);
}

TEST_F(DatasetHandle, IsEmptyForAnEmptyPointer) {
  const SvrDMDataset empty{SvrDMItemPtr(nullptr)};

  EXPECT_FALSE(empty.IsValid());
  EXPECT_TRUE(empty.WindowHidden());
}

// Datasets in the registry of the process, which is emptied after each test.
class DatasetHandleOfTheProcess : public testing::Test {
 protected:
  ~DatasetHandleOfTheProcess() override { registry_.Clear(); }

  ServerDataManager& registry_ = ServerDataManager::GetInstance();
};

TEST_F(DatasetHandleOfTheProcess, FindsByIdentifierInTheRegistryOfTheProcess) {
  const LocallyUniqueID id = registry_.AddEmpty(true);

  const SvrDMDataset handle(id);

  EXPECT_EQ(handle.GetDataSetID(), id);
  EXPECT_EQ(handle.GetServerDataManager(), &registry_);
}

TEST_F(DatasetHandleOfTheProcess, UnknownIdentifierThrows) {
  ServerDataManager other;
  const LocallyUniqueID id(7, 7);
  other.Add(*Dictionary("A").release(), "", true, id, 0);

  EXPECT_THROW(SvrDMDataset{id}, ErrorMsg);
}

TEST_F(DatasetHandleOfTheProcess, FindsByHandleNameIgnoringCase) {
  const LocallyUniqueID id = registry_.AddEmpty(true);
  SvrDMDataset(id).SetHandle("Survey");

  const SvrDMDataset handle(std::string("SURVEY"));

  ASSERT_TRUE(handle.IsValid());
  EXPECT_EQ(handle.GetDataSetID(), id);
}

TEST_F(DatasetHandleOfTheProcess, IsEmptyAndHiddenForAnUnknownHandleName) {
  const SvrDMDataset handle(std::string("nobody"));

  EXPECT_FALSE(handle.IsValid());
  EXPECT_TRUE(handle.WindowHidden());
}

// ---------------------------------------------------------------------------------------------
// Forwarding

TEST_F(DatasetHandle, ForwardsNamesAndPassword) {
  handle_.SetHandle("survey of 1994");
  handle_.SetFileName("survey.tsv");
  handle_.SuppressedFileName("other.tsv");
  handle_.SetPassword("secret", /*mangled=*/true);

  EXPECT_EQ(std::as_const(item_)->Handle(), "survey of 1994");
  EXPECT_EQ(std::as_const(item_)->FileName(), "survey.tsv");
  EXPECT_EQ(std::as_const(item_)->SuppressedFileName(), "other.tsv");
  EXPECT_EQ(std::as_const(item_)->Password(), "secret");
  EXPECT_EQ(handle_.GetHandle(), "survey of 1994");
  EXPECT_EQ(handle_.GetFileName(), "survey.tsv");
  EXPECT_EQ(handle_.SuppressedFileName(), "other.tsv");
  EXPECT_EQ(handle_.GetPassword(), "secret");
  EXPECT_TRUE(handle_.GetPasswordMangled());

  handle_.SetPassword("plain", /*mangled=*/false);
  EXPECT_FALSE(handle_.GetPasswordMangled());
}

TEST_F(DatasetHandle, ReturnsCopiesOfItsNames) {
  handle_.SetHandle("before");
  const std::string& name = handle_.GetHandle();

  handle_.SetHandle("after");

  EXPECT_EQ(name, "before");
}

TEST_F(DatasetHandle, ForwardsTheCaseSequence) {
  item_->CaseSequence() = 4000000000U;

  EXPECT_EQ(handle_.GetCaseSequence(), 4000000000U);
}

TEST_F(DatasetHandle, HasDataSourceReportsADataSource) {
  EXPECT_TRUE(handle_.HasDataSource());
  EXPECT_FALSE(SvrDMDataset(registry_, registry_.AddEmpty(true)).HasDataSource());
}

TEST_F(DatasetHandle, SetsEachWindowFlagAndReturnsIt) {
  EXPECT_FALSE(handle_.WindowFront());
  EXPECT_TRUE(handle_.WindowMinimized());
  EXPECT_FALSE(handle_.WindowHidden());

  EXPECT_TRUE(handle_.WindowFront(true));
  EXPECT_FALSE(handle_.WindowMinimized(false));
  EXPECT_TRUE(handle_.WindowHidden(true));
  EXPECT_TRUE(std::as_const(item_)->WindowFront());
  EXPECT_FALSE(std::as_const(item_)->WindowMinimized());
  EXPECT_TRUE(std::as_const(item_)->WindowHidden());
  EXPECT_TRUE(handle_.WindowFront());
  EXPECT_FALSE(handle_.WindowMinimized());
  EXPECT_TRUE(handle_.WindowHidden());

  EXPECT_FALSE(handle_.WindowFront(false));
  EXPECT_TRUE(handle_.WindowMinimized(true));
  EXPECT_FALSE(handle_.WindowHidden(false));
  EXPECT_FALSE(handle_.WindowFront());
  EXPECT_TRUE(handle_.WindowMinimized());
  EXPECT_FALSE(handle_.WindowHidden());
}

TEST_F(DatasetHandle, SetsEachWindowFlagIndependently) {
  for (const bool front : {false, true}) {
    for (const bool minimized : {false, true}) {
      for (const bool hidden : {false, true}) {
        item_->WindowFront(front);
        item_->WindowMinimized(minimized);
        item_->WindowHidden(hidden);
        const SvrDMDataset& handle = handle_;
        EXPECT_EQ(handle.WindowFront(), front);
        EXPECT_EQ(handle.WindowMinimized(), minimized);
        EXPECT_EQ(handle.WindowHidden(), hidden);
      }
    }
  }
}

TEST_F(DatasetHandle, ForwardsTheCountsOfReadersAndWriters) {
  item_->AddReader();
  item_->AddReader();
  item_->AddWriter();

  EXPECT_EQ(handle_.ReadersCount(), 2U);
  EXPECT_EQ(handle_.WritersCount(), 1U);
}

TEST_F(DatasetHandle, ReadsANegativeCountAsALargeNumber) {
  item_->DropReader();
  item_->DropWriter();

  EXPECT_EQ(handle_.ReadersCount(), 4294967295U);
  EXPECT_EQ(handle_.WritersCount(), 4294967295U);
}

class RecordingProxy : public PackageProxy {
 public:
  short SendMessage(int, VSerializable* message) override {
    datasets.push_back(dynamic_cast<ReportedErrorMsg&>(*message).GetDataSetID());
    return 0;
  }

  std::vector<LocallyUniqueID> datasets;
};

TEST_F(DatasetHandle, InitializesAndReturnsTheErrorMonitor) {
  const LocallyUniqueID other = registry_.AddEmpty(true);
  SvrDMDataset handle(registry_, other);
  RecordingProxy proxy;
  handle.GetErrorMonitor().Report(ErrorText("before", ErrorText::kError));

  handle.InitializeErrorMonitor(&proxy);
  handle.GetErrorMonitor().Report(ErrorText("after", ErrorText::kError));

  EXPECT_THAT(proxy.datasets, ElementsAre(other));
  EXPECT_EQ(&handle.GetErrorMonitor(), &registry_.GetDataSet(other)->GetErrorMonitor());
}

TEST_F(DatasetHandle, RegistersAndUnregistersObservers) {
  RecordingObserver observer;
  handle_.Register(observer);
  { const SvrDMWriteableDataSource writer(item_, /*tryOnly=*/false, nullptr); }
  EXPECT_EQ(observer.passes.size(), 1U);

  handle_.Unregister(observer);
  {
    const SvrDMWriteableDataSource writer(item_, /*tryOnly=*/false, nullptr);
    writer->DeleteVariables(0, 0);
  }
  EXPECT_EQ(observer.passes.size(), 1U);
}

TEST_F(DatasetHandle, OpensAndClosesTheSavedFile) {
  const TemporaryFolder folder;
  const std::string path = folder.Write("survey.tsv");
  handle_.SetFileName(path);
  EXPECT_TRUE(AnotherProcessMayWrite(path)) << "the name alone takes no hold of the file";

  handle_.LockSavFileInUse();
  EXPECT_FALSE(AnotherProcessMayWrite(path));

  handle_.UnlockSavFileInUse();
  EXPECT_TRUE(AnotherProcessMayWrite(path));
}

TEST_F(DatasetHandle, ForwardsTheCreationTime) {
  EXPECT_GT(handle_.getObjCreationTime(), 1577923200.0);  // 2 January 2020
  EXPECT_EQ(handle_.getObjCreationTime(), std::as_const(item_)->getObjCreationTime());
}

TEST_F(DatasetHandle, SetsABootstrapSpecificationAndKeepsTheSamePointer) {
  EXPECT_EQ(handle_.GetBootstrapSpecs(), nullptr);
  auto* const specs = new SvrBootstrapSpecs;
  specs->SetNSamples(250);

  handle_.SetBootstrapSpecs(specs);
  handle_.SetBootstrapSpecs(handle_.GetBootstrapSpecs());

  ASSERT_EQ(handle_.GetBootstrapSpecs(), specs);
  EXPECT_EQ(std::as_const(item_)->GetBootstrapSpecs(), specs);
  EXPECT_EQ(specs->GetNSamples(), 250);

  handle_.SetBootstrapSpecs(nullptr);
  EXPECT_EQ(handle_.GetBootstrapSpecs(), nullptr);
}

TEST_F(DatasetHandle, SharesStateWithOtherHandles) {
  SvrDMDataset second(registry_, id_);

  second.SetHandle("survey");
  second.SetFileName("survey.tsv");
  second.SuppressedFileName("other.tsv");
  second.SetPassword("secret", true);
  second.WindowFront(true);
  second.WindowHidden(true);

  EXPECT_EQ(handle_.GetHandle(), "survey");
  EXPECT_EQ(handle_.GetFileName(), "survey.tsv");
  EXPECT_EQ(handle_.SuppressedFileName(), "other.tsv");
  EXPECT_EQ(handle_.GetPassword(), "secret");
  EXPECT_TRUE(handle_.GetPasswordMangled());
  EXPECT_TRUE(handle_.WindowFront());
  EXPECT_TRUE(handle_.WindowHidden());
}

}  // namespace
