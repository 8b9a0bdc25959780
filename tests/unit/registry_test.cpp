// The registry of datasets: adding, finding and deleting; observers, the filter hook, and saved
// files.
//
// Linked with the library's object files, because DatasetIndex is internal.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <libdatasrc/ORVX_DataSourceFilterHook.h>
#include <liborvxdemg/ErrorMsg.h>
#include <ServerDataManager/DatasetIndex.h>
#include <ServerDataManager/LeafLock.h>
#include <ServerDataManager/serverdatamgr.h>
#include <ServerDataManager/SvrDMWriteableDataSource.h>
#include <tests/support/Dictionary.h>
#include <tests/support/FullMemory.h>
#include <tests/support/Observers.h>

#include <algorithm>
#include <cctype>
#include <functional>
#include <memory>
#include <new>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "saved_files.h"

using namespace sdm_internal;

using support::CountedSource;
using support::Dictionary;
using support::FailsWithMemoryFor;
using support::RecordingRegistryObserver;
using support::Shortage;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

ORVX_DataSource& NewSource() {
  return *Dictionary("A").release();
}

// Formats a notice: `+` for a creation or `-` for a deletion, then the serial of the dataset.
std::string AsWord(const RecordingRegistryObserver::Notice& notice) {
  const char sign = notice.created ? '+' : '-';
  return std::string(1, sign).append(std::to_string(notice.id.Serial()));
}

std::vector<std::string> Words(const RecordingRegistryObserver& observer) {
  std::vector<std::string> words;
  for (const auto& notice : observer.notices) words.push_back(AsWord(notice));
  return words;
}

class RegistryTest : public testing::Test {
 protected:
  LocallyUniqueID Add(const std::string& fileName, bool quiet = false) {
    return registry_.Add(NewSource(), fileName, quiet);
  }
  LocallyUniqueID Add() { return Add(std::string()); }

  // The identifiers of all datasets, in the order of registration.
  std::vector<LocallyUniqueID> Ids() const {
    std::vector<LocallyUniqueID> ids;
    for (const SvrDMDataset& dataset : registry_.GetAllDatasets())
      ids.push_back(dataset.GetDataSetID());
    return ids;
  }
  std::size_t Count() const { return Ids().size(); }

  // Whether a dataset has the file name, so that another dataset cannot get it. `name` must not be
  // empty.
  bool FileNameInUse(const std::string& name) {
    const LocallyUniqueID another(9, 9);
    registry_.Add(nullptr, name, /*quiet=*/true, another, 0);
    const bool inUse = registry_.GetDataSet(another)->SuppressedFileName() == name;
    EXPECT_EQ(registry_.GetDataSet(another)->FileName(), inUse ? "" : name);
    registry_.Delete(another);
    return inUse;
  }

  // Unregisters the observer and registers a new observer at the same address.
  void ReplaceInPlace(std::optional<RecordingRegistryObserver>& observer) {
    registry_.Unregister(*observer);
    observer.emplace();
    registry_.Register(*observer);
  }

  ServerDataManager registry_;
};

// ---------------------------------------------------------------------------------------------
// Identifiers

TEST_F(RegistryTest, IdentifiersStartAtZeroAndAreConsecutive) {
  EXPECT_EQ(registry_.Add(NewSource(), "", false), LocallyUniqueID(0, 0));
  EXPECT_EQ(registry_.AddEmpty(false), LocallyUniqueID(0, 1));
  EXPECT_EQ(registry_.Add(NewSource(), "", "secret", true, false), LocallyUniqueID(0, 2));
  EXPECT_EQ(registry_.Add(NewSource(), "", true), LocallyUniqueID(0, 3));
}

TEST_F(RegistryTest, IdentifiersOfDeletedDatasetsAreNotReused) {
  registry_.Delete(Add());

  EXPECT_EQ(Add(), LocallyUniqueID(0, 1));
}

TEST_F(RegistryTest, AGivenIdentifierDoesNotAdvanceTheGenerator) {
  registry_.Add(NewSource(), "", false, LocallyUniqueID(2, 40), 0);

  EXPECT_EQ(Add(), LocallyUniqueID(0, 0));
}

// An oddity that is kept: the generator does not skip identifiers that callers have chosen.
TEST_F(RegistryTest, AGeneratedIdentifierMayAlreadyBelongToADataset) {
  const LocallyUniqueID id(0, 0);
  registry_.Add(NewSource(), "first", false, id, 0);

  EXPECT_EQ(Add("second"), id);

  EXPECT_EQ(Count(), 2U);
  EXPECT_EQ(registry_.GetDataSet(id)->FileName(), "first");
  registry_.Delete(id);
  EXPECT_EQ(registry_.GetDataSet(id)->FileName(), "second");
}

TEST_F(RegistryTest, AddingWithAnIdentifierReplacesOnlyTheFirstDatasetThatHasIt) {
  const LocallyUniqueID id(0, 0);
  registry_.Add(NewSource(), "first", false, id, 0);
  Add("second");

  registry_.Add(NewSource(), "third", false, id, 0);

  ASSERT_THAT(Ids(), ElementsAre(id, id));
  EXPECT_EQ(registry_.GetDataSet(id)->FileName(), "second");
}

TEST_F(RegistryTest, EachRegistryHasItsOwnIdentifiers) {
  ServerDataManager other;
  Add();

  EXPECT_EQ(other.AddEmpty(true), LocallyUniqueID(0, 0));
  EXPECT_EQ(other.GetAllDatasets().size(), 1U);
}

TEST_F(RegistryTest, GetInstanceAlwaysReturnsTheSameRegistry) {
  EXPECT_EQ(&ServerDataManager::GetInstance(), &ServerDataManager::GetInstance());
}

// ---------------------------------------------------------------------------------------------
// A new dataset

TEST_F(RegistryTest, ANewDatasetHasItsSourceItsRegistryAndNoHandleNameOrPassword) {
  ORVX_DataSource& source = NewSource();

  const SvrDMItemPtr item = registry_.GetDataSet(registry_.Add(source, "a.tsv", false));

  EXPECT_EQ(item->DataSource(), &source);
  EXPECT_EQ(item->Manager(), &registry_);
  EXPECT_EQ(item->FileName(), "a.tsv");
  EXPECT_EQ(item->SuppressedFileName(), "");
  EXPECT_EQ(item->Handle(), "");
  EXPECT_EQ(item->Password(), "");
  EXPECT_FALSE(item->PasswordMangled());
  EXPECT_EQ(item->CaseSequence(), 0U);
  EXPECT_TRUE(item->NotifyDelete());
}

TEST_F(RegistryTest, ADatasetAddedWithAPasswordHasThePasswordAndItsFlag) {
  const auto plain = registry_.Add(NewSource(), "a", "open", /*passwordFlag=*/false, true);
  const auto mangled = registry_.Add(NewSource(), "b", "%x1", /*passwordFlag=*/true, true);

  EXPECT_EQ(registry_.GetDataSet(plain)->Password(), "open");
  EXPECT_FALSE(registry_.GetDataSet(plain)->PasswordMangled());
  EXPECT_EQ(registry_.GetDataSet(mangled)->Password(), "%x1");
  EXPECT_TRUE(registry_.GetDataSet(mangled)->PasswordMangled());
}

TEST_F(RegistryTest, ADatasetAddedWithAnIdentifierHasTheGivenCaseSequence) {
  const LocallyUniqueID id(1, 7);

  registry_.Add(NewSource(), "a", false, id, 41);

  EXPECT_EQ(registry_.GetDataSet(id)->CaseSequence(), 41U);
}

TEST_F(RegistryTest, AnEmptyDatasetHasNoSourceAndNoNames) {
  const SvrDMItemPtr item = registry_.GetDataSet(registry_.AddEmpty(/*quiet=*/true));

  EXPECT_EQ(item->DataSource(), nullptr);
  EXPECT_EQ(item->FileName(), "");
  EXPECT_EQ(item->Handle(), "");
  EXPECT_EQ(item->Password(), "");
  EXPECT_FALSE(item->NotifyDelete());
}

// ---------------------------------------------------------------------------------------------
// File names

TEST_F(RegistryTest, ASecondDatasetWithAFileNameKeepsItOnlyAsItsSuppressedName) {
  const SvrDMItemPtr first = registry_.GetDataSet(Add("/data/survey"));
  const SvrDMItemPtr second = registry_.GetDataSet(Add("/DATA/SURVEY"));

  EXPECT_EQ(first->FileName(), "/data/survey");
  EXPECT_EQ(first->SuppressedFileName(), "");
  EXPECT_EQ(second->FileName(), "");
  EXPECT_EQ(second->SuppressedFileName(), "/DATA/SURVEY");
}

TEST_F(RegistryTest, AFileNameIsFreeAfterItsDatasetIsDeleted) {
  const LocallyUniqueID first = Add("survey");
  Add("survey");
  registry_.Delete(first);

  const SvrDMItemPtr third = registry_.GetDataSet(Add("Survey"));

  EXPECT_EQ(third->FileName(), "Survey");
}

TEST_F(RegistryTest, AFileNameIsComparedOnlyWhenADatasetIsAdded) {
  const SvrDMItemPtr first = registry_.GetDataSet(Add("survey"));
  SvrDMItemPtr second = registry_.GetDataSet(Add("other"));

  second->FileName("survey");

  EXPECT_EQ(first->FileName(), "survey");
  EXPECT_EQ(second->FileName(), "survey");
}

TEST_F(RegistryTest, AFileNameIsInUseIgnoringCaseUntilItsDatasetIsDeleted) {
  const LocallyUniqueID id = Add("/data/Größe.tsv");

  EXPECT_TRUE(FileNameInUse("/DATA/GRÖSSE.TSV"));
  EXPECT_FALSE(FileNameInUse("/data/other.tsv"));

  registry_.Delete(id);
  EXPECT_FALSE(FileNameInUse("/data/Größe.tsv"));
}

TEST_F(RegistryTest, AFileNameWithInvalidUtf8IgnoresCaseOnlyInAscii) {
  Add("/data/Gr\xF6\xDFn.tsv");

  EXPECT_TRUE(FileNameInUse("/DATA/GR\xF6\xDFN.TSV"));
  EXPECT_FALSE(FileNameInUse("/data/Gr\xD6\xDFn.tsv"));
  EXPECT_FALSE(FileNameInUse("/data/Größe.tsv"));
}

TEST_F(RegistryTest, FileNamesIgnoreCaseOutsideAscii) {
  Add("/data/δοκιμη.tsv");

  const SvrDMItemPtr second = registry_.GetDataSet(Add("/data/ΔΟΚΙΜΗ.tsv"));

  EXPECT_EQ(second->FileName(), "");
  EXPECT_EQ(second->SuppressedFileName(), "/data/ΔΟΚΙΜΗ.tsv");
}

TEST(DatasetIndex, FindsTheEmptyFileNameLikeAnyOther) {
  SvrDMItemPtr survey(new SvrDMItem(LocallyUniqueID(0, 0), nullptr, nullptr, 0, "survey", false));
  SvrDMItemPtr nameless(new SvrDMItem);
  const std::string empty;
  std::vector<SvrDMItemPtr> items;
  DatasetIndex index(/*registry=*/nullptr, items);
  const FileNameMatch match{empty};
  const LeafLock held;

  EXPECT_EQ(index.First(match), nullptr);
  index.Append(*survey, std::make_unique<IndexEntry>());
  EXPECT_EQ(index.First(match), nullptr);

  index.Append(*nameless, std::make_unique<IndexEntry>());
  EXPECT_EQ(index.First(match), nameless.get());
}

// ---------------------------------------------------------------------------------------------
// Finding

TEST_F(RegistryTest, AnUnknownIdentifierThrowsError2001WithoutAText) {
  try {
    registry_.GetDataSet(LocallyUniqueID(0, 0));
    FAIL() << "nothing was thrown";
  } catch (ErrorMsg& error) {
    EXPECT_EQ(error.GetCode(), 2001U);
    EXPECT_EQ(error.GetText(), "");
  }
}

TEST_F(RegistryTest, ADeletedDatasetIsNotFoundButItsEarlierHandlesStillWork) {
  int deaths = 0;
  const LocallyUniqueID id = registry_.Add(*new CountedSource(deaths), "survey", false);
  {
    SvrDMDataset handle(registry_, id);
    registry_.Delete(id);

    EXPECT_THROW(registry_.GetDataSet(id), ErrorMsg);
    EXPECT_EQ(handle.GetFileName(), "survey");
    EXPECT_TRUE(handle.HasDataSource());
    EXPECT_EQ(deaths, 0);
  }
  EXPECT_EQ(deaths, 1);
}

TEST_F(RegistryTest, ADatasetIsFoundByHandleNameIgnoringCase) {
  Add();
  SvrDMItemPtr item = registry_.GetDataSet(Add());
  item->Handle("Survey");

  EXPECT_EQ(registry_.GetDataSet("SURVEY"), item);
}

TEST_F(RegistryTest, HandleNamesIgnoreCaseOutsideAscii) {
  SvrDMItemPtr german = registry_.GetDataSet(Add());
  SvrDMItemPtr greek = registry_.GetDataSet(Add());
  german->Handle("Größe");
  greek->Handle("ΔΟΚΙΜΗ");

  for (const char* name : {"Größe", "größe", "GRÖßE", "GRÖẞE", "GRÖSSE", "grösse"}) {
    EXPECT_EQ(registry_.GetDataSet(name), german) << name;
  }
  for (const char* name : {"ΔΟΚΙΜΗ", "δοκιμη", "Δοκιμη"}) {
    EXPECT_EQ(registry_.GetDataSet(name), greek) << name;
  }
  for (const char* name : {"Grosse", "Grüße", "ΔΟΚΙΜΉ", "Größe "}) {
    EXPECT_FALSE(registry_.GetDataSet(name).IsValid()) << name;
  }
  EXPECT_EQ(german->Handle(), "Größe");
}

TEST_F(RegistryTest, InvalidUtf8InHandleNamesIsComparedByBytes) {
  SvrDMItemPtr item = registry_.GetDataSet(Add());
  item->Handle("Gr\xF6\xDFn");

  EXPECT_EQ(registry_.GetDataSet("GR\xF6\xDFN"), item);
  EXPECT_FALSE(registry_.GetDataSet("Gr\xD6\xDFn").IsValid());
  EXPECT_FALSE(registry_.GetDataSet("Größe").IsValid());
}

TEST_F(RegistryTest, TheFirstDatasetWithAHandleNameIsFound) {
  SvrDMItemPtr first = registry_.GetDataSet(Add());
  SvrDMItemPtr second = registry_.GetDataSet(Add());
  second->Handle("survey");
  first->Handle("survey");

  EXPECT_EQ(registry_.GetDataSet("survey"), first);
}

TEST_F(RegistryTest, AnUnknownHandleNameReturnsAnEmptyPointer) {
  Add();

  EXPECT_FALSE(registry_.GetDataSet("survey").IsValid());
}

TEST_F(RegistryTest, TheEmptyHandleNameFindsTheFirstDatasetWithoutAName) {
  EXPECT_FALSE(registry_.GetDataSet("").IsValid());
  registry_.GetDataSet(Add())->Handle("named");
  const SvrDMItemPtr second = registry_.GetDataSet(Add());
  Add();

  EXPECT_EQ(registry_.GetDataSet(""), second);
}

TEST_F(RegistryTest, AllDatasetsAreListedInTheOrderOfRegistration) {
  registry_.Add(NewSource(), "", false, LocallyUniqueID(9, 9), 0);
  const LocallyUniqueID second = Add();
  const LocallyUniqueID third = registry_.AddEmpty(true);

  EXPECT_THAT(Ids(), ElementsAre(LocallyUniqueID(9, 9), second, third));
}

TEST_F(RegistryTest, HandlesFromGetAllDatasetsKeepTheirDatasetsAlive) {
  int deaths = 0;
  registry_.Add(*new CountedSource(deaths), "", false);
  {
    const std::vector<SvrDMDataset> all = registry_.GetAllDatasets();
    registry_.Clear();
    EXPECT_EQ(deaths, 0);
  }
  EXPECT_EQ(deaths, 1);
}

// ---------------------------------------------------------------------------------------------
// Deleting

TEST_F(RegistryTest, DeletingADatasetWithoutHandlesDeletesItsChain) {
  int deaths = 0;
  auto* const file = new CountedSource(deaths);
  const LocallyUniqueID id = registry_.Add(*new CountedSource(deaths, file), "", false);

  registry_.Delete(id);

  EXPECT_EQ(deaths, 2);
  EXPECT_EQ(Count(), 0U);
}

TEST_F(RegistryTest, DeletingADatasetKeepsTheOrderOfTheOthers) {
  const LocallyUniqueID first = Add();
  const LocallyUniqueID second = Add();
  const LocallyUniqueID third = Add();

  registry_.Delete(second);

  EXPECT_THAT(Ids(), ElementsAre(first, third));
}

TEST_F(RegistryTest, DeletingAnUnknownIdentifierIsIgnored) {
  RecordingRegistryObserver observer;
  registry_.Register(observer);

  registry_.Delete(LocallyUniqueID(0, 99));

  EXPECT_THAT(observer.notices, IsEmpty());
}

TEST_F(RegistryTest, ClearingAnEmptyRegistryDoesNothing) {
  RecordingRegistryObserver observer;
  registry_.Register(observer);

  registry_.Clear();

  EXPECT_THAT(observer.notices, IsEmpty());
}

TEST_F(RegistryTest, ClearingDeletesFromTheLastRegisteredDatasetToTheFirst) {
  RecordingRegistryObserver observer;
  Add();
  Add();
  Add();
  registry_.Register(observer);

  registry_.Clear();

  EXPECT_THAT(Words(observer), ElementsAre("-2", "-1", "-0"));
  EXPECT_EQ(Count(), 0U);
}

TEST(Registry, DestructorReleasesItsDatasetsAndNotifiesNobody) {
  int deaths = 0;
  RecordingRegistryObserver observer;
  std::optional<ServerDataManager> registry(std::in_place);
  registry->Add(*new CountedSource(deaths), "", false);
  const SvrDMItemPtr held =
      registry->GetDataSet(registry->Add(*new CountedSource(deaths), "", false));
  registry->Register(observer);

  registry.reset();

  EXPECT_THAT(observer.notices, IsEmpty());
  EXPECT_EQ(deaths, 1);
  EXPECT_NE(held->DataSource(), nullptr);
}

// ---------------------------------------------------------------------------------------------
// Passwords

TEST_F(RegistryTest, APasswordIsSetOnTheDatasetWithTheIdentifier) {
  const LocallyUniqueID first = Add();
  const LocallyUniqueID second = Add();

  registry_.Password(second, "secret", true);

  EXPECT_EQ(registry_.GetDataSet(second)->Password(), "secret");
  EXPECT_TRUE(registry_.GetDataSet(second)->PasswordMangled());
  EXPECT_EQ(registry_.GetDataSet(first)->Password(), "");
}

TEST_F(RegistryTest, APasswordIsSetOnTheFirstOfTwoDatasetsWithTheIdentifier) {
  const LocallyUniqueID id(0, 0);
  registry_.Add(NewSource(), "", false, id, 0);
  ASSERT_EQ(Add(), id);

  registry_.Password(id, "secret", true);

  const std::vector<SvrDMDataset> both = registry_.GetAllDatasets();
  EXPECT_EQ(both[0].GetPassword(), "secret");
  EXPECT_EQ(both[1].GetPassword(), "");
}

TEST_F(RegistryTest, APasswordForAnUnknownIdentifierIsIgnored) {
  const LocallyUniqueID id = Add();

  registry_.Password(LocallyUniqueID(0, 99), "secret", true);

  EXPECT_EQ(registry_.GetDataSet(id)->Password(), "");
}

// ---------------------------------------------------------------------------------------------
// Notices

TEST_F(RegistryTest, ObserversAreNotifiedOfAnAddedDatasetAndItsFileName) {
  RecordingRegistryObserver observer;
  registry_.Register(observer);

  const LocallyUniqueID id = Add("survey.tsv");

  ASSERT_EQ(observer.notices.size(), 1U);
  EXPECT_TRUE(observer.notices[0].created);
  EXPECT_EQ(observer.notices[0].id, id);
  EXPECT_EQ(observer.notices[0].fileName, "survey.tsv");
}

TEST_F(RegistryTest, ObserversGetNoSuppressedFileName) {
  RecordingRegistryObserver observer;
  Add("survey.tsv");
  registry_.Register(observer);

  Add("SURVEY.TSV");

  ASSERT_EQ(observer.notices.size(), 1U);
  EXPECT_EQ(observer.notices[0].fileName, "");
}

TEST_F(RegistryTest, ObserversFindTheDatasetInBothNotices) {
  RecordingRegistryObserver observer;
  std::vector<bool> found;
  const auto look = [&](LocallyUniqueID id) {
    found.push_back(registry_.GetDataSet(id).IsValid());
  };
  observer.onCreated = look;
  observer.onDeleted = look;
  registry_.Register(observer);

  registry_.Delete(Add());

  EXPECT_THAT(found, ElementsAre(true, true));
}

TEST_F(RegistryTest, ReplacingADatasetReportsADeletionThenACreation) {
  RecordingRegistryObserver observer;
  const LocallyUniqueID id = Add();
  registry_.Register(observer);

  registry_.Add(NewSource(), "", /*quiet=*/false, id, 0);

  EXPECT_THAT(Words(observer), ElementsAre("-0", "+0"));
}

TEST_F(RegistryTest, ReplacingAQuietDatasetReportsOnlyACreation) {
  RecordingRegistryObserver observer;
  const LocallyUniqueID id = Add("", /*quiet=*/true);
  registry_.Register(observer);

  registry_.Add(NewSource(), "", /*quiet=*/false, id, 0);

  EXPECT_THAT(Words(observer), ElementsAre("+0"));
}

TEST_F(RegistryTest, ReplacingADatasetWithAQuietDatasetReportsOnlyADeletion) {
  RecordingRegistryObserver observer;
  const LocallyUniqueID id = Add();
  registry_.Register(observer);

  registry_.Add(NewSource(), "", /*quiet=*/true, id, 0);

  EXPECT_THAT(Words(observer), ElementsAre("-0"));
}

TEST_F(RegistryTest, AQuietDatasetIsNeverReported) {
  RecordingRegistryObserver observer;
  registry_.Register(observer);

  const LocallyUniqueID id = Add("", /*quiet=*/true);
  registry_.NotifyCreate(*registry_.GetDataSet(id));
  registry_.Delete(id);

  EXPECT_THAT(observer.notices, IsEmpty());
}

TEST_F(RegistryTest, AnEmptyDatasetIsReportedAsCreatedWhenItGetsASource) {
  RecordingRegistryObserver observer;
  registry_.Register(observer);
  SvrDMItemPtr item = registry_.GetDataSet(registry_.AddEmpty(/*quiet=*/false));
  registry_.NotifyCreate(*item);
  EXPECT_THAT(observer.notices, IsEmpty());

  item->SetDataSet(&NewSource());
  registry_.NotifyCreate(*item);
  registry_.NotifyCreate(*item);

  EXPECT_THAT(Words(observer), ElementsAre("+0"));
  EXPECT_TRUE(item->NotifiedCreation());
}

// An oddity that is kept: a deletion notice is sent even without a creation notice.
TEST_F(RegistryTest, AnEmptyDatasetIsReportedAsDeletedWithoutACreationNotice) {
  RecordingRegistryObserver observer;
  registry_.Register(observer);

  registry_.Delete(registry_.AddEmpty(/*quiet=*/false));

  EXPECT_THAT(Words(observer), ElementsAre("-0"));
}

TEST_F(RegistryTest, AnObserverRegisteredTwiceIsNotifiedOnce) {
  RecordingRegistryObserver observer;
  const LocallyUniqueID id = Add();
  registry_.Register(observer);
  registry_.Register(observer);

  registry_.Delete(id);

  EXPECT_THAT(Words(observer), ElementsAre("-0"));
}

TEST_F(RegistryTest, AnObserverRegisteredAgainIsNotifiedLast) {
  std::vector<std::string> called;
  RecordingRegistryObserver first;
  RecordingRegistryObserver second;
  first.onCreated = [&](LocallyUniqueID) { called.push_back("first"); };
  second.onCreated = [&](LocallyUniqueID) { called.push_back("second"); };
  registry_.Register(first);
  registry_.Register(second);
  Add();
  registry_.Register(first);

  Add();

  EXPECT_THAT(called, ElementsAre("first", "second", "second", "first"));
}

TEST_F(RegistryTest, AnUnregisteredObserverIsNotNotified) {
  RecordingRegistryObserver observer;
  registry_.Register(observer);
  registry_.Unregister(observer);

  registry_.Delete(Add());

  EXPECT_THAT(observer.notices, IsEmpty());
}

TEST_F(RegistryTest, UnregisteringAnUnknownObserverIsIgnored) {
  RecordingRegistryObserver known;
  RecordingRegistryObserver unknown;
  registry_.Register(known);

  registry_.Unregister(unknown);

  Add();
  EXPECT_THAT(Words(known), ElementsAre("+0"));
}

// ---------------------------------------------------------------------------------------------
// Observers that call back

TEST_F(RegistryTest, NotifyCreateInsideTheCreationNoticeSendsNoSecondNotice) {
  RecordingRegistryObserver observer;
  observer.onCreated = [&](LocallyUniqueID id) {
    registry_.NotifyCreate(*registry_.GetDataSet(id));
  };
  registry_.Register(observer);

  Add();

  EXPECT_THAT(Words(observer), ElementsAre("+0"));
}

TEST_F(RegistryTest, AnObserverRegisteredInsideANoticeIsCalledFromTheNextNotice) {
  RecordingRegistryObserver first;
  RecordingRegistryObserver late;
  first.onCreated = [&](LocallyUniqueID) { registry_.Register(late); };
  registry_.Register(first);

  Add();
  EXPECT_THAT(late.notices, IsEmpty());

  Add();
  EXPECT_THAT(Words(late), ElementsAre("+1"));
}

TEST_F(RegistryTest, UnregisteringInsideANoticeDoesNotAffectOtherObservers) {
  RecordingRegistryObserver leaving;
  RecordingRegistryObserver staying;
  leaving.onCreated = [&](LocallyUniqueID) { registry_.Unregister(leaving); };
  registry_.Register(leaving);
  registry_.Register(staying);

  Add();
  Add();

  EXPECT_THAT(Words(leaving), ElementsAre("+0"));
  EXPECT_THAT(Words(staying), ElementsAre("+0", "+1"));
}

TEST_F(RegistryTest, AnObserverDestroyedInsideANoticeIsSkipped) {
  RecordingRegistryObserver first;
  auto gone = std::make_unique<RecordingRegistryObserver>();
  RecordingRegistryObserver last;
  first.onDeleted = [&](LocallyUniqueID) {
    if (gone) registry_.Unregister(*gone);
    gone.reset();
  };
  registry_.Register(first);
  registry_.Register(*gone);
  registry_.Register(last);

  registry_.Delete(Add());

  EXPECT_THAT(Words(last), ElementsAre("+0", "-0"));
}

TEST_F(RegistryTest, AnObserverAtAReusedAddressIsCalledFromTheNextNotice) {
  RecordingRegistryObserver first;
  std::optional<RecordingRegistryObserver> second(std::in_place);
  first.onCreated = [&](LocallyUniqueID id) {
    if (id == LocallyUniqueID(0, 0)) ReplaceInPlace(second);
  };
  registry_.Register(first);
  registry_.Register(*second);

  Add();
  EXPECT_THAT(second->notices, IsEmpty());

  Add();
  EXPECT_THAT(Words(*second), ElementsAre("+1"));
}

// `first` adds a second dataset inside the notice of the first dataset.
TEST_F(RegistryTest, UnregisteringInsideAnInnerNoticeAffectsTheOuterNotice) {
  RecordingRegistryObserver first;
  std::optional<RecordingRegistryObserver> second(std::in_place);
  first.onCreated = [&](LocallyUniqueID id) {
    if (id == LocallyUniqueID(0, 0)) {
      Add();
    } else {
      ReplaceInPlace(second);
    }
  };
  registry_.Register(first);
  registry_.Register(*second);

  Add();

  EXPECT_THAT(Words(first), ElementsAre("+0", "+1"));
  EXPECT_THAT(second->notices, IsEmpty());
}

TEST_F(RegistryTest, AnObserverRegisteredAgainInsideANoticeIsNotifiedOnce) {
  RecordingRegistryObserver first;
  RecordingRegistryObserver second;
  first.onCreated = [&](LocallyUniqueID) {
    registry_.Register(first);
    registry_.Register(second);
  };
  registry_.Register(first);
  registry_.Register(second);

  Add();

  EXPECT_THAT(Words(first), ElementsAre("+0"));
  EXPECT_THAT(Words(second), ElementsAre("+0"));
}

TEST_F(RegistryTest, ADatasetDeletedInsideItsCreationNoticeIsDestroyedAfterTheNotice) {
  int deaths = 0;
  int deathsSeenByLast = -1;
  RecordingRegistryObserver deleting;
  RecordingRegistryObserver last;
  deleting.onCreated = [&](LocallyUniqueID id) { registry_.Delete(id); };
  last.onCreated = [&](LocallyUniqueID) { deathsSeenByLast = deaths; };
  registry_.Register(deleting);
  registry_.Register(last);

  registry_.Add(*new CountedSource(deaths), "survey", false);

  EXPECT_THAT(Words(last), ElementsAre("-0", "+0"));
  EXPECT_EQ(last.notices[1].fileName, "survey");
  EXPECT_EQ(deathsSeenByLast, 0);
  EXPECT_EQ(deaths, 1);
  EXPECT_EQ(Count(), 0U);
}

TEST_F(RegistryTest, ADatasetDeletedInsideItsDeletionNoticeIsDeletedOnce) {
  int deaths = 0;
  RecordingRegistryObserver observer;
  const LocallyUniqueID id = registry_.Add(*new CountedSource(deaths), "", false);
  const LocallyUniqueID other = Add();
  observer.onDeleted = [&](LocallyUniqueID) {
    if (observer.notices.size() == 1) registry_.Delete(id);
  };
  registry_.Register(observer);

  registry_.Delete(id);

  EXPECT_THAT(Words(observer), ElementsAre("-0", "-0"));
  EXPECT_EQ(deaths, 1);
  EXPECT_THAT(Ids(), ElementsAre(other));
}

TEST_F(RegistryTest, DeletingAnEarlierDatasetInsideADeletionNoticeDeletesNoOtherDataset) {
  RecordingRegistryObserver observer;
  const LocallyUniqueID first = Add();
  const LocallyUniqueID second = Add();
  const LocallyUniqueID third = Add();
  observer.onDeleted = [&](LocallyUniqueID id) {
    if (id == second) registry_.Delete(first);
  };
  registry_.Register(observer);

  registry_.Delete(second);

  EXPECT_THAT(Words(observer), ElementsAre("-1", "-0"));
  EXPECT_THAT(Ids(), ElementsAre(third));
}

TEST_F(RegistryTest, ADatasetAddedInsideADeletionNoticeStaysRegistered) {
  RecordingRegistryObserver observer;
  const LocallyUniqueID id = Add();
  observer.onDeleted = [&](LocallyUniqueID) { Add("replacement"); };
  registry_.Register(observer);

  registry_.Delete(id);

  EXPECT_THAT(Ids(), ElementsAre(LocallyUniqueID(0, 1)));
}

TEST_F(RegistryTest, ARegistryClearedInsideADeletionNoticeIsEmptyAfterwards) {
  int deaths = 0;
  RecordingRegistryObserver observer;
  for (int i = 0; i < 3; ++i) registry_.Add(*new CountedSource(deaths), "", false);
  observer.onDeleted = [&](LocallyUniqueID) {
    if (observer.notices.size() == 1) registry_.Clear();
  };
  registry_.Register(observer);

  registry_.Delete(LocallyUniqueID(0, 1));

  EXPECT_THAT(Words(observer), ElementsAre("-1", "-2", "-1", "-0"));
  EXPECT_EQ(deaths, 3);
  EXPECT_EQ(Count(), 0U);
}

TEST_F(RegistryTest, ClearingContinuesIfAnObserverDeletesOtherDatasets) {
  RecordingRegistryObserver observer;
  for (int i = 0; i < 4; ++i) Add();
  observer.onDeleted = [&](LocallyUniqueID id) {
    if (id == LocallyUniqueID(0, 3)) {
      registry_.Delete(LocallyUniqueID(0, 0));
      registry_.Delete(LocallyUniqueID(0, 2));
    }
  };
  registry_.Register(observer);

  registry_.Clear();

  EXPECT_THAT(Words(observer), ElementsAre("-3", "-0", "-2", "-1"));
  EXPECT_EQ(Count(), 0U);
}

// ---------------------------------------------------------------------------------------------
// Clearing, destruction and exceptions

// Checks that another thread can acquire the registry lock; deadlocks if it cannot.
bool IsOpenToOtherThreads(const ServerDataManager& registry) {
  bool through = false;
  std::thread([&] {
    registry.GetAllDatasets();
    through = true;
  }).join();
  return through;
}

// Clear deletes the dataset at the last position, then at each position before it, even if
// observers have changed the list in between.
TEST_F(RegistryTest, ClearingDeletesByPositionIfAnObserverDeletesAndAddsOthers) {
  RecordingRegistryObserver observer;
  for (int i = 0; i < 4; ++i) Add();
  observer.onDeleted = [&](LocallyUniqueID id) {
    if (id != LocallyUniqueID(0, 3)) return;
    registry_.Delete(LocallyUniqueID(0, 0));
    Add();
    Add();
  };
  registry_.Register(observer);

  registry_.Clear();

  EXPECT_THAT(Words(observer), ElementsAre("-3", "-0", "+4", "+5", "-4", "-2", "-1"));
  EXPECT_THAT(Ids(), ElementsAre(LocallyUniqueID(0, 5)));
}

// A plain handle may outlive its registry, and a new registry may get the same address.
TEST_F(RegistryTest, NamesMayBeSetAfterTheRegistryIsDestroyed) {
  std::optional<ServerDataManager> registry(std::in_place);
  const SvrDMItemPtr old = registry->GetDataSet(registry->AddEmpty(true));
  SvrDMDataset handle(old);

  registry.reset();
  handle.SetHandle("old");
  registry.emplace();
  const LocallyUniqueID id = registry->AddEmpty(true);
  handle.SetHandle("older");
  handle.SetFileName("file");

  EXPECT_EQ(handle.GetHandle(), "older");
  EXPECT_EQ(registry->GetDataSet(id)->Handle(), "");
  EXPECT_FALSE(registry->GetDataSet("older").IsValid());
  EXPECT_EQ(registry->GetDataSet("")->ID(), id);
}

TEST_F(RegistryTest, AnExceptionInACreationNoticeLeavesTheNewDatasetRegistered) {
  RecordingRegistryObserver failing;
  RecordingRegistryObserver later;
  failing.onCreated = [](LocallyUniqueID) { throw std::runtime_error("no"); };
  registry_.Register(failing);
  registry_.Register(later);

  EXPECT_THROW(Add("survey"), std::runtime_error);

  ASSERT_EQ(Count(), 1U);
  EXPECT_EQ(registry_.GetDataSet(LocallyUniqueID(0, 0))->FileName(), "survey");
  EXPECT_THAT(later.notices, IsEmpty());
  EXPECT_TRUE(IsOpenToOtherThreads(registry_));
}

TEST_F(RegistryTest, AnExceptionInADeletionNoticeLeavesTheDatasetRegistered) {
  RecordingRegistryObserver failing;
  failing.onDeleted = [](LocallyUniqueID) { throw std::runtime_error("no"); };
  const LocallyUniqueID id = Add();
  registry_.Register(failing);

  EXPECT_THROW(registry_.Delete(id), std::runtime_error);

  EXPECT_THAT(Ids(), ElementsAre(id));
  EXPECT_TRUE(IsOpenToOtherThreads(registry_));
}

// Each allocation of each Add fails in turn. There are enough datasets to make the lists and hash
// tables of the registry grow several times.
TEST_F(RegistryTest, EveryDatasetIsFoundAfterOtherAddsRanOutOfMemory) {
  for (unsigned int count = 0; count < 40; ++count) {
    const LocallyUniqueID id(1, count);
    const std::string name = "a file name too long for a small string " + std::to_string(count);
    for (long memory = 0;
         FailsWithMemoryFor(memory, [&] { registry_.Add(nullptr, name, true, id, 0); }); ++memory) {
      EXPECT_EQ(Count(), count);
    }
    // The failed calls did not leave the name in use.
    EXPECT_EQ(registry_.GetDataSet(id)->FileName(), name);
    registry_.GetDataSet(id)->Handle(name);

    for (unsigned int i = 0; i <= count; ++i) {
      const SvrDMItemPtr item = registry_.GetDataSet(LocallyUniqueID(1, i));
      EXPECT_EQ(registry_.GetDataSet(item->Handle()), item);
    }
  }
  // Not in the loop above, because FileNameInUse adds datasets, which makes the hash tables grow.
  for (const SvrDMDataset& dataset : registry_.GetAllDatasets()) {
    EXPECT_TRUE(FileNameInUse(dataset.GetFileName()));
  }
}

// ---------------------------------------------------------------------------------------------
// The filter hook

class Hook : public ORVX_DataSourceFilterHook {
 public:
  ORVX_DataSource* FilterDataSource(ORVX_DataSource* source) override {
    given.push_back(source);
    return answer(source);
  }

  std::vector<ORVX_DataSource*> given;
  std::function<ORVX_DataSource*(ORVX_DataSource*)> answer = [](ORVX_DataSource* source) {
    return source;
  };
};

TEST_F(RegistryTest, AHookGetsEachSourceOnceAndItsResultIsRegistered) {
  Hook hook;
  int deaths = 0;
  hook.answer = [&](ORVX_DataSource* source) { return new CountedSource(deaths, source); };
  registry_.RegisterFilter(&hook);
  auto* const source = new CountedSource(deaths);

  const LocallyUniqueID id = registry_.Add(*source, "", false);

  EXPECT_THAT(hook.given, ElementsAre(source));
  EXPECT_EQ(registry_.GetDataSet(id)->DataSource()->GetParentSource(), source);
  registry_.Delete(id);
  EXPECT_EQ(deaths, 2);
}

TEST_F(RegistryTest, AHookGetsSourcesFromEveryOverload) {
  Hook hook;
  registry_.RegisterFilter(&hook);

  registry_.Add(NewSource(), "", false);
  registry_.Add(NewSource(), "", "secret", true, true);
  registry_.Add(NewSource(), "", false, LocallyUniqueID(1, 1), 0);

  EXPECT_EQ(hook.given.size(), 3U);
}

TEST_F(RegistryTest, AHookIsNotCalledWithoutASource) {
  Hook hook;
  registry_.RegisterFilter(&hook);

  registry_.AddEmpty(false);

  EXPECT_THAT(hook.given, IsEmpty());
}

TEST_F(RegistryTest, AHookThatReturnsNullMakesADatasetWithoutASource) {
  Hook hook;
  hook.answer = [](ORVX_DataSource* source) {
    delete source;
    return nullptr;
  };
  registry_.RegisterFilter(&hook);

  EXPECT_EQ(registry_.GetDataSet(Add())->DataSource(), nullptr);
}

// The registry calls the hook before checking whether the file name is in use.
TEST_F(RegistryTest, AHookMayFreeAFileNameByDeletingTheDatasetThatHasIt) {
  Hook hook;
  const LocallyUniqueID first = Add("survey");
  hook.answer = [&](ORVX_DataSource* source) {
    registry_.Delete(first);
    return source;
  };
  registry_.RegisterFilter(&hook);

  const SvrDMItemPtr second = registry_.GetDataSet(Add("survey"));

  EXPECT_EQ(second->FileName(), "survey");
  EXPECT_EQ(second->SuppressedFileName(), "");
}

TEST_F(RegistryTest, AHookThatThrowsRegistersNothingAndLeavesTheSourceToTheCaller) {
  Hook hook;
  hook.answer = [](ORVX_DataSource*) -> ORVX_DataSource* { throw std::runtime_error("no"); };
  registry_.RegisterFilter(&hook);
  const std::unique_ptr<DataFreeDataSource> source = Dictionary("A");

  EXPECT_THROW(registry_.Add(*source, "", false), std::runtime_error);

  EXPECT_EQ(Count(), 0U);
  EXPECT_EQ(source->ColumnCount(), 1);
  EXPECT_TRUE(IsOpenToOtherThreads(registry_));
}

TEST_F(RegistryTest, InstallingAHookReturnsThePreviousHook) {
  Hook first;
  Hook second;

  EXPECT_EQ(registry_.RegisterFilter(&first), nullptr);
  EXPECT_EQ(registry_.RegisterFilter(&second), &first);
  EXPECT_EQ(registry_.RegisterFilter(nullptr), &second);

  Add();
  EXPECT_THAT(first.given, IsEmpty());
  EXPECT_THAT(second.given, IsEmpty());
}

// ---------------------------------------------------------------------------------------------
// Sources passed as std::unique_ptr

class HandedOverSource : public RegistryTest {
 protected:
  // Deletes the sources now, because their destructors use deaths_.
  ~HandedOverSource() override { registry_.Clear(); }

  // Returns a chain of two sources.
  std::unique_ptr<ORVX_DataSource> Chain() {
    deaths_ = 0;
    auto parent = std::make_unique<CountedSource>(deaths_);
    auto source = std::make_unique<CountedSource>(deaths_, parent.get());
    static_cast<void>(parent.release());
    return source;
  }

  int deaths_ = 0;
  RecordingRegistryObserver observer_;
  Hook hook_;
};

using Addition =
    std::function<void(ServerDataManager&, std::unique_ptr<ORVX_DataSource>, const std::string&)>;

// The overloads of Add that take a source.
const std::vector<Addition>& Additions() {
  static const std::vector<Addition> additions = {
      [](auto& registry, auto source, auto& name) { registry.Add(std::move(source), name, false); },
      [](auto& registry, auto source, auto& name) {
        registry.Add(std::move(source), name, name, true, false);
      },
      [](auto& registry, auto source, auto& name) {
        registry.Add(std::move(source), name, false, LocallyUniqueID(1, 1), 0);
      },
  };
  return additions;
}

TEST_F(HandedOverSource, StaysWithTheDatasetIfACreationNoticeThrows) {
  observer_.onCreated = [](LocallyUniqueID) { throw std::runtime_error("no"); };
  registry_.Register(observer_);
  for (const Addition& add : Additions()) {
    EXPECT_THROW(add(registry_, Chain(), "survey"), std::runtime_error);

    EXPECT_EQ(Count(), 1U);
    EXPECT_EQ(deaths_, 0);
    registry_.Clear();
    EXPECT_EQ(deaths_, 2);
  }
}

TEST_F(HandedOverSource, IsDeletedIfTheDeletionNoticeOfTheReplacedDatasetThrows) {
  observer_.onDeleted = [](LocallyUniqueID) { throw std::runtime_error("no"); };
  const LocallyUniqueID id = Add();
  registry_.Register(observer_);

  EXPECT_THROW(registry_.Add(Chain(), "", false, id, 0), std::runtime_error);

  EXPECT_EQ(deaths_, 2);
  EXPECT_THAT(Ids(), ElementsAre(id));
  observer_.onDeleted = nullptr;
}

TEST_F(HandedOverSource, IsDeletedIfTheHookThrows) {
  hook_.answer = [](ORVX_DataSource*) -> ORVX_DataSource* { throw std::runtime_error("no"); };
  registry_.RegisterFilter(&hook_);

  EXPECT_THROW(registry_.Add(Chain(), "", false), std::runtime_error);

  EXPECT_EQ(deaths_, 2);
}

TEST_F(HandedOverSource, StaysWithTheHookIfTheHookReturnsAnotherSource) {
  const std::unique_ptr<DataFreeDataSource> other = Dictionary("A");
  hook_.answer = [&](ORVX_DataSource*) { return other.get(); };
  registry_.RegisterFilter(&hook_);
  std::unique_ptr<ORVX_DataSource> source = Chain();
  ORVX_DataSource* const given = source.get();
  const std::string longName(100, 'n');

  // The allocation for `hook_.given` succeeds; the allocation for a copy of the file name fails.
  EXPECT_TRUE(FailsWithMemoryFor(
      1, [&] { registry_.Add(std::move(source), longName, false); }, Shortage::Passes));

  ASSERT_THAT(hook_.given, ElementsAre(given));
  EXPECT_EQ(deaths_, 0);
  delete given->GetParentSource();
  delete given;
}

TEST_F(HandedOverSource, IsDeletedWithoutTheWrapperOfTheHookIfAddFailsLater) {
  DataFreeDataSource wrapper;
  hook_.answer = [&](ORVX_DataSource* source) {
    wrapper.SetParentSource(source);
    return &wrapper;
  };
  registry_.RegisterFilter(&hook_);
  std::unique_ptr<ORVX_DataSource> source = Chain();
  const std::string longName(100, 'n');

  // The allocation for `hook_.given` succeeds; the allocation for a copy of the file name fails.
  EXPECT_TRUE(FailsWithMemoryFor(
      1, [&] { registry_.Add(std::move(source), longName, false); }, Shortage::Passes));

  EXPECT_EQ(hook_.given.size(), 1U);
  EXPECT_EQ(deaths_, 2);
}

TEST_F(HandedOverSource, MayBeNull) {
  hook_.answer = nullptr;  // the hook must not be called
  registry_.RegisterFilter(&hook_);

  const LocallyUniqueID id = registry_.Add(std::unique_ptr<ORVX_DataSource>(), "survey", false);

  EXPECT_EQ(registry_.GetDataSet(id)->DataSource(), nullptr);
  EXPECT_EQ(registry_.GetDataSet(id)->FileName(), "survey");
}

// ---------------------------------------------------------------------------------------------
// Saved files changed by other programs

class RegistryOfFilesTest : public RegistryTest {
 protected:
  TemporaryFolder folder_;
};

TEST_F(RegistryOfFilesTest, AFileIsUnchangedUntilAnotherProgramWritesIt) {
  const std::string path = folder_.Write("survey.tsv");
  Add(path);
  EXPECT_FALSE(registry_.SavFileExternallyChanged(path));

  ModifyAt(path, 2'000'000'000);

  EXPECT_TRUE(registry_.SavFileExternallyChanged(path));
}

TEST_F(RegistryOfFilesTest, FileNamesIgnoreCase) {
  const std::string path = folder_.Write("survey.tsv");
  Add(path);
  ModifyAt(path, 2'000'000'000);

  std::string shouted = path;
  std::transform(path.begin(), path.end(), shouted.begin(),
                 [](unsigned char letter) { return static_cast<char>(std::toupper(letter)); });

  EXPECT_TRUE(registry_.SavFileExternallyChanged(shouted));
}

TEST_F(RegistryOfFilesTest, FileNamesIgnoreCaseOutsideAsciiAndCompareInvalidBytes) {
  const std::string german = folder_.Write("Größe.tsv");
  const std::string bytes = folder_.Write("gr\xF6\xDFn.tsv");
  Add(german);
  Add(bytes);
  ModifyAt(german, 2'000'000'000);
  ModifyAt(bytes, 2'000'000'000);

  EXPECT_TRUE(registry_.SavFileExternallyChanged(folder_.Path("GRÖSSE.TSV")));
  EXPECT_TRUE(registry_.SavFileExternallyChanged(folder_.Path("GR\xF6\xDFN.TSV")));
  EXPECT_FALSE(registry_.SavFileExternallyChanged(folder_.Path("gr\xD6\xDFn.tsv")));
}

TEST_F(RegistryOfFilesTest, AnUnknownFileIsUnchanged) {
  const std::string path = folder_.Write("survey.tsv");
  Add(path);
  registry_.AddEmpty(true);
  ModifyAt(path, 2'000'000'000);

  EXPECT_FALSE(registry_.SavFileExternallyChanged(folder_.Path("other.tsv")));
}

TEST_F(RegistryOfFilesTest, ADatasetWithoutAFileNameIsIgnoredEvenWithAnOpenFile) {
  const std::string path = folder_.Write("survey.tsv");
  SvrDMItemPtr item = registry_.GetDataSet(Add(path));
  item->FileName("");
  ModifyAt(path, 2'000'000'000);
  ASSERT_TRUE(item->SavFileExternallyChanged());

  EXPECT_FALSE(registry_.SavFileExternallyChanged(""));
}

TEST_F(RegistryOfFilesTest, ADatasetWithASuppressedFileNameIsIgnored) {
  const std::string path = folder_.Write("survey.tsv");
  const LocallyUniqueID first = Add(path);
  Add(path);
  registry_.Delete(first);
  ModifyAt(path, 2'000'000'000);

  EXPECT_FALSE(registry_.SavFileExternallyChanged(path));
}

// An oddity that is kept: every dataset with the name is checked, and the last result is returned.
TEST_F(RegistryOfFilesTest, TheLastRegisteredDatasetWithTheFileNameDecides) {
  const std::string path = folder_.Write("survey.tsv");
  SvrDMItemPtr first = registry_.GetDataSet(Add(path));
  SvrDMItemPtr last = registry_.GetDataSet(Add("elsewhere"));
  last->FileName(path);

  ModifyAt(path, 2'000'000'000);
  last->LockSavFileInUse();
  EXPECT_TRUE(first->SavFileExternallyChanged());
  EXPECT_FALSE(registry_.SavFileExternallyChanged(path));

  ModifyAt(path, 2'000'000'001);
  first->UnlockSavFileInUse();
  first->LockSavFileInUse();
  EXPECT_FALSE(first->SavFileExternallyChanged());
  EXPECT_TRUE(registry_.SavFileExternallyChanged(path));
}

}  // namespace
