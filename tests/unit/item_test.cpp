// One registered dataset: its chain of sources, its lock, its counters and flags, its saved file,
// its creation time and its password.
//
// Linked with the library's object files, because the functions of SourceChain.h are internal.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <libdatasrc/iDMY2Orvx.h>
#include <libdatasrc/SystemFileDataSource.h>
#include <liborvxdemg/ResetUndoMsg.h>
#include <liborvxmsgs/ReportedErrorMsg.h>
#include <PackageProxy/PackageProxy.h>
#include <ServerDataManager/SourceChain.h>
#include <ServerDataManager/SvrBootstrapSpecs.h>
#include <ServerDataManager/SvrDMCloneDataSource.h>
#include <ServerDataManager/SvrDMInputDataSource.h>
#include <ServerDataManager/svrdmitem.h>
#include <ServerDataManager/SvrDMItemPtr.h>
#include <ServerDataManager/SvrDMWriteableDataSource.h>
#include <tests/support/Dictionary.h>
#include <tests/support/FullMemory.h>
#include <tests/support/Messages.h>
#include <tests/support/Observers.h>
#include <tests/support/WatchedThread.h>

#include <array>
#include <atomic>
#include <chrono>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "saved_files.h"

using namespace sdm_internal;

using support::CountedMessage;
using support::CountedSource;
using support::Dictionary;
using support::ResetUndo;
using support::WatchedThread;
using testing::ElementsAre;

// ---------------------------------------------------------------------------------------------
// Replaced functions of the C library

namespace {

// If set, determines the result of localtime_r.
std::function<std::tm*(const std::time_t*)> localtimeAnswer;

int fstatCalls = 0;
int fstatFailsAt = INT_MAX;  // fstat fails in the call with this number and in all later calls

}  // namespace

extern "C" std::tm* localtime_r(const std::time_t* moment, std::tm* out) noexcept {
  const std::tm* const answer = localtimeAnswer ? localtimeAnswer(moment) : localtime(moment);
  return answer != nullptr ? &(*out = *answer) : nullptr;
}

extern "C" int fstat(int file, struct stat* status) noexcept {
  if (++fstatCalls >= fstatFailsAt) return -1;
  return fstatat(file, "", status, AT_EMPTY_PATH);
}

namespace {

const LocallyUniqueID kID(0, 7);

SvrDMItem Item(ORVX_DataSource* source, const std::string& fileName = std::string()) {
  return SvrDMItem(kID, source, nullptr, 0, fileName, /*notifyDelete=*/false);
}

// ---------------------------------------------------------------------------------------------
// Chains of sources

TEST(SourceChain, ASourceIsAChildOfItselfAndOfEveryAncestor) {
  DataFreeDataSource root;
  DataFreeDataSource middle(&root);
  DataFreeDataSource leaf(&middle);

  EXPECT_TRUE(IsChildOf(&leaf, &leaf));
  EXPECT_TRUE(IsChildOf(&leaf, &middle));
  EXPECT_TRUE(IsChildOf(&leaf, &root));
}

TEST(SourceChain, ASourceIsNotAChildOfDescendantsOrUnrelatedSources) {
  DataFreeDataSource root;
  DataFreeDataSource leaf(&root);
  DataFreeDataSource stranger(&root);

  EXPECT_FALSE(IsChildOf(&root, &leaf));
  EXPECT_FALSE(IsChildOf(&leaf, &stranger));
}

TEST(SourceChain, NullIsAChildOnlyOfNull) {
  DataFreeDataSource source;

  EXPECT_TRUE(IsChildOf(nullptr, nullptr));
  EXPECT_FALSE(IsChildOf(nullptr, &source));
  EXPECT_FALSE(IsChildOf(&source, nullptr));
}

// A source that appends its name, a letter, to `deaths` when it is destroyed.
class NamedSource : public DataFreeDataSource {
 public:
  NamedSource(char name, std::string& deaths, ORVX_DataSource* parent)
      : DataFreeDataSource(parent), name_(name), deaths_(deaths) {}
  ~NamedSource() override { deaths_ += name_; }

 private:
  char name_;
  std::string& deaths_;
};

// A chain of three sources: a reads from b, and b from c.
class ChainOfThree : public testing::Test {
 protected:
  NamedSource* Make(char name, ORVX_DataSource* parent) {
    return new NamedSource(name, deaths_, parent);
  }

  std::string deaths_;
  NamedSource* c_ = Make('c', nullptr);
  NamedSource* b_ = Make('b', c_);
  NamedSource* a_ = Make('a', b_);
};

TEST_F(ChainOfThree, IsDeletedUpToTheStopSource) {
  DeleteDataSourceTo(a_, c_);

  EXPECT_EQ(deaths_, "ab");
  DeleteDataSourceTo(c_, nullptr);
}

TEST_F(ChainOfThree, IsDeletedCompletelyWithoutAStopSource) {
  DeleteDataSourceTo(a_, nullptr);

  EXPECT_EQ(deaths_, "abc");
}

TEST_F(ChainOfThree, IsKeptIfTheSourceIsTheStopSource) {
  DeleteDataSourceTo(a_, a_);
  DeleteDataSourceTo(nullptr, nullptr);
  DeleteDataSourceTo(nullptr, a_);

  EXPECT_EQ(deaths_, "");
  DeleteDataSourceTo(a_, nullptr);
}

// A source whose MakeIterator stores in `rests` whether `probed` counts as a saved file, then
// throws.
class Prober : public DataFreeDataSource {
 public:
  explicit Prober(ORVX_DataSource* parent) : DataFreeDataSource(parent) {}
  ObsIterator* MakeIterator(OBS*) const override {
    *rests = SystemFile(probed);
    throw std::runtime_error("no rows today");
  }

  const ORVX_DataSource* probed = nullptr;
  bool* rests = nullptr;
};

// The parent link of `above`, set by ShowParents, belongs to the chain. `below` sets its parent
// link only while it makes an iterator, so this link does not belong to the chain.
TEST(SourceChain, EndsAtACloneThatIsMakingAnIterator) {
  const TemporaryFolder folder;
  auto prober =
      std::make_unique<Prober>(SystemFileDataSource::Open(folder.Write("cases.tsv")).release());
  Prober& probing = *prober;
  auto below = SvrDMCloneDataSource::Adopt(std::move(prober));
  SvrDMCloneDataSource above(below.release());
  above.ShowParents(true);
  bool rests = true;
  probing.probed = &above;
  probing.rests = &rests;

  EXPECT_THROW(static_cast<void>(above.Source()->MakeIterator(nullptr)), std::runtime_error);

  EXPECT_FALSE(rests);
  EXPECT_EQ(above.GetParentSource(), above.Source());
}

// ---------------------------------------------------------------------------------------------
// Replacing the data source

TEST_F(ChainOfThree, ReplacedByItsParentDeletesOnlyTheFirstSource) {
  SvrDMItem item = Item(a_);

  item.SetDataSet(b_);

  EXPECT_EQ(deaths_, "a");
  EXPECT_EQ(item.DataSource(), b_);
  EXPECT_MESSAGES(item.Notifications(), ResetUndo());
}

TEST_F(ChainOfThree, ReplacedByItsRootDeletesAllOtherSources) {
  SvrDMItem item = Item(a_);

  item.SetDataSet(c_);

  EXPECT_EQ(deaths_, "ab");
  EXPECT_EQ(item.DataSource(), c_);
  EXPECT_MESSAGES(item.Notifications(), ResetUndo());
}

TEST_F(ChainOfThree, ReplacedByItselfDeletesNothingButResetsUndo) {
  SvrDMItem item = Item(a_);

  item.SetDataSet(a_);

  EXPECT_EQ(deaths_, "");
  EXPECT_MESSAGES(item.Notifications(), ResetUndo());
}

TEST_F(ChainOfThree, ReplacedByAFilterOnItDeletesNothing) {
  SvrDMItem item = Item(a_);
  NamedSource* const filter = Make('f', a_);

  item.SetDataSet(filter);

  EXPECT_EQ(deaths_, "");
  EXPECT_EQ(item.DataSource(), filter);
  EXPECT_MESSAGES(item.Notifications(), ResetUndo());
}

TEST_F(ChainOfThree, ReplacedByAnUnrelatedSourceIsDeletedCompletely) {
  SvrDMItem item = Item(a_);
  NamedSource* const stranger = Make('s', nullptr);

  item.SetDataSet(stranger);

  EXPECT_EQ(deaths_, "abc");
  EXPECT_EQ(item.DataSource(), stranger);
  EXPECT_MESSAGES(item.Notifications(), ResetUndo());
}

TEST_F(ChainOfThree, ReplacedByNullIsDeletedCompletely) {
  SvrDMItem item = Item(a_);

  item.SetDataSet(nullptr);

  EXPECT_EQ(deaths_, "abc");
  EXPECT_EQ(item.DataSource(), nullptr);
  EXPECT_MESSAGES(item.Notifications(), ResetUndo());
}

TEST_F(ChainOfThree, ReplacedByAUniquePointerIsDeletedAndTheItemOwnsTheNewChain) {
  {
    SvrDMItem item = Item(a_);
    std::unique_ptr<ORVX_DataSource> stranger(Make('s', Make('t', nullptr)));

    item.SetDataSet(std::move(stranger));

    EXPECT_EQ(deaths_, "abc");
    EXPECT_MESSAGES(item.Notifications(), ResetUndo());
  }
  EXPECT_EQ(deaths_, "abcst");
}

TEST_F(ChainOfThree, SetOnAnItemWithoutASourceQueuesNothing) {
  SvrDMItem item = Item(nullptr);

  item.SetDataSet(a_);

  EXPECT_EQ(deaths_, "");
  EXPECT_EQ(item.DataSource(), a_);
  EXPECT_MESSAGES(item.Notifications());
}

TEST_F(ChainOfThree, ReplacedTwiceResetsUndoTwice) {
  SvrDMItem item = Item(a_);

  item.SetDataSet(b_);
  item.SetDataSet(nullptr);

  EXPECT_EQ(deaths_, "abc");
  EXPECT_MESSAGES(item.Notifications(), ResetUndo(), ResetUndo());
}

TEST_F(ChainOfThree, IsDeletedWithTheItem) {
  { SvrDMItem item = Item(a_); }

  EXPECT_EQ(deaths_, "abc");
}

TEST_F(ChainOfThree, DeleteDataSourceDoesNotClearTheItemsPointer) {
  // DeleteDataSource keeps the pointer, and the item's destructor deletes the source again. So the
  // test constructs a second source in the same memory.
  struct InMemoryOfTheTest : NamedSource {
    using NamedSource::NamedSource;
    static void operator delete(void*) {}
  };
  alignas(InMemoryOfTheTest) std::array<unsigned char, sizeof(InMemoryOfTheTest)> memory;
  {
    auto* const first = ::new (memory.data()) InMemoryOfTheTest('f', deaths_, a_);
    SvrDMItem item = Item(first);

    item.DeleteDataSource();

    EXPECT_EQ(deaths_, "fabc");
    EXPECT_EQ(item.DataSource(), first);
    ::new (memory.data()) InMemoryOfTheTest('s', deaths_, nullptr);
  }
  EXPECT_EQ(deaths_, "fabcs");
}

TEST(SvrDMItem, SettingNullWithoutASourceDoesNothing) {
  SvrDMItem item = Item(nullptr);

  item.SetDataSet(nullptr);

  EXPECT_EQ(item.DataSource(), nullptr);
  EXPECT_MESSAGES(item.Notifications());
}

// ---------------------------------------------------------------------------------------------
// Construction, copying, destruction

TEST(SvrDMItem, StartsWithItsArgumentsAndOtherwiseEmpty) {
  DataFreeDataSource* const source = Dictionary("A").release();
  auto* const manager = reinterpret_cast<ServerDataManager*>(&fstatCalls);  // never dereferenced
  SvrDMItem item(kID, source, manager, 12, "nowhere/survey.tsv", true);

  EXPECT_EQ(item.ID(), kID);
  EXPECT_EQ(item.DataSource(), source);
  EXPECT_EQ(item.Manager(), manager);
  EXPECT_EQ(std::as_const(item).CaseSequence(), 12U);
  EXPECT_EQ(item.FileName(), "nowhere/survey.tsv");
  EXPECT_TRUE(item.NotifyDelete());
  EXPECT_EQ(item.Handle(), "");
  EXPECT_EQ(item.SuppressedFileName(), "");
  EXPECT_EQ(item.Password(), "");
  EXPECT_FALSE(item.PasswordMangled());
  EXPECT_TRUE(item.Notifications().empty());
  EXPECT_EQ(item.ReadersCount(), 0);
  EXPECT_EQ(item.WritersCount(), 0);
  EXPECT_FALSE(item.NotifiedCreation());
  EXPECT_EQ(item.GetBootstrapSpecs(), nullptr);
}

// Without observers, a pass of a quiet dataset skips the comparison, which reads the row count.
TEST(SvrDMItem, StartsWithoutObservers) {
  struct ReadSource : DataFreeDataSource {
    explicit ReadSource(bool& read) : wasRead(read) {}
    long long RowCount() const override {
      wasRead = true;
      return 0;
    }
    bool& wasRead;
  };
  bool wasRead = false;
  SvrDMItem item = Item(new ReadSource(wasRead));
  item.AddNotification(new ResetUndoMsg());

  item.Notify(/*writer=*/nullptr, /*originator=*/nullptr);
  EXPECT_FALSE(wasRead);
  EXPECT_MESSAGES(item.Notifications());

  support::SilentObserver observer;
  item.Register(observer);
  item.Notify(/*writer=*/nullptr, /*originator=*/nullptr);
  EXPECT_TRUE(wasRead);
}

TEST(SvrDMItem, StartsMinimizedAndNeitherInFrontNorHidden) {
  const SvrDMItem item = Item(nullptr);

  EXPECT_TRUE(item.WindowMinimized());
  EXPECT_FALSE(item.WindowFront());
  EXPECT_FALSE(item.WindowHidden());
}

// Records the datasets of the reported errors.
class RecordingProxy : public PackageProxy {
 public:
  short SendMessage(int, VSerializable* message) override {
    datasets.push_back(dynamic_cast<ReportedErrorMsg&>(*message).GetDataSetID());
    return 0;
  }

  std::vector<LocallyUniqueID> datasets;
};

TEST(SvrDMItem, ReportsErrorsWithItsIdentifierAfterItsErrorMonitorIsInitialized) {
  SvrDMItem item = Item(nullptr);
  RecordingProxy proxy;

  item.GetErrorMonitor().Report(ErrorText("dropped", ErrorText::kError));
  item.InitializeErrorMonitor(&proxy);
  item.GetErrorMonitor().Report(ErrorText("sent", ErrorText::kError));

  EXPECT_THAT(proxy.datasets, ElementsAre(kID));
}

TEST(SvrDMItem, DefaultHasTheNullIdentifierAndCanBeDestroyed) {
  const std::ptrdiff_t descriptors = OpenDescriptors();
  {
    const SvrDMItem item;

    EXPECT_TRUE(item.ID().IsNull());
    EXPECT_TRUE(item.NotifyDelete());
    EXPECT_EQ(item.FileName(), "");
    EXPECT_EQ(item.Handle(), "");
    EXPECT_EQ(OpenDescriptors(), descriptors);
  }
  EXPECT_EQ(OpenDescriptors(), descriptors);
}

TEST(SvrDMItemDeathTest, CopyingStopsTheProcessWithOneLine) {
  const SvrDMItem item = Item(nullptr);

  EXPECT_EXIT(SvrDMItem copy(item), testing::KilledBySignal(SIGABRT),
              testing::MatchesRegex("Assertion failed: 0, function SvrDMItem, source "
                                    "ServerDataManager/svrdmitem, line [0-9]+\n"));
}

TEST(SvrDMItem, ComparesByIdentifier) {
  const SvrDMItem first(LocallyUniqueID(0, 9), nullptr, nullptr, 0, "a", true);
  const SvrDMItem same(LocallyUniqueID(0, 9), nullptr, nullptr, 5, "b", false);
  const SvrDMItem later(LocallyUniqueID(1, 0), nullptr, nullptr, 0, "a", true);

  EXPECT_TRUE(first == same);
  EXPECT_FALSE(first == later);
  EXPECT_TRUE(first < later);
  EXPECT_FALSE(later < first);
  EXPECT_FALSE(first < same);
}

TEST(SvrDMItem, LivesUntilTheLastPointerIsDestroyed) {
  int deaths = 0;
  SvrDMItemPtr first(new SvrDMItem(kID, new CountedSource(deaths), nullptr, 0, "", false));
  {
    const SvrDMItemPtr second(first);
    first = nullptr;
    EXPECT_EQ(deaths, 0);
  }
  EXPECT_EQ(deaths, 1);
}

// A message that calls a function when it is destroyed.
class MessageWithCallback : public CountedMessage {
 public:
  explicit MessageWithCallback(std::function<void()> end)
      : CountedMessage(deaths_), end_(std::move(end)) {}
  ~MessageWithCallback() override { end_(); }

 private:
  int deaths_ = 0;
  std::function<void()> end_;
};

// A source that calls a function when it is destroyed.
class SourceWithCallback : public DataFreeDataSource {
 public:
  explicit SourceWithCallback(std::function<void()> end) : end_(std::move(end)) {}
  ~SourceWithCallback() override { end_(); }

 private:
  std::function<void()> end_;
};

TEST(SvrDMItem, DestroysFileMessagesSourceAndBootstrapSpecificationInThisOrder) {
  const TemporaryFolder folder;
  const std::string path = folder.Write("survey.tsv");
  std::vector<std::string> events;
  const auto note = [&](const std::string& what) {
    return [&, what] {
      events.push_back(what + (AnotherProcessMayWrite(path) ? ", file free" : ", file held"));
    };
  };
  auto* const specs = new SvrBootstrapSpecs;
  {
    SvrDMItem item = Item(new SourceWithCallback(note("source")), path);
    item.SetBootstrapSpecs(specs);
    support::WhenFreed(specs, note("bootstrap"));
    item.AddNotification(new MessageWithCallback(note("first message")));
    item.AddNotification(nullptr);
    item.AddNotification(new MessageWithCallback(note("second message")));
    ASSERT_FALSE(AnotherProcessMayWrite(path));
  }

  EXPECT_THAT(events, ElementsAre("first message, file free", "second message, file free",
                                  "source, file free", "bootstrap, file free"));
}

// While the old chain is deleted, the item still has the old source, and the file is still open.
TEST(SvrDMItem, StoresANewSourceAndClosesTheFileAfterDeletingTheOldChain) {
  const TemporaryFolder folder;
  const std::string path = folder.Write("survey.tsv");
  const auto SeenByTheSourceOn = [&](ORVX_DataSource* parent, ORVX_DataSource* next) {
    std::string seen;
    SvrDMItem* item = nullptr;
    const ORVX_DataSource* old = nullptr;
    auto* const source = new SourceWithCallback([&] {
      seen += item->DataSource() == old ? "old source" : "new source";
      seen += AnotherProcessMayWrite(path) ? ", file free" : ", file held";
    });
    old = source;
    source->SetParentSource(parent);
    SvrDMItem owner = Item(source, path);
    item = &owner;
    owner.SetDataSet(next);
    return seen;
  };
  auto* const parent = new DataFreeDataSource;

  EXPECT_EQ(SeenByTheSourceOn(parent, parent), "old source, file held");
  EXPECT_EQ(SeenByTheSourceOn(nullptr, new DataFreeDataSource), "old source, file held");
  EXPECT_EQ(SeenByTheSourceOn(nullptr, nullptr), "old source, file held");
}

TEST(SvrDMItem, DestructorIsNoexcept) {
  EXPECT_TRUE(std::is_nothrow_destructible_v<SvrDMItem>);
}

// ---------------------------------------------------------------------------------------------
// The reader/writer lock

TEST(SvrDMItem, MakesAReaderWaitForAWriterEvenWithTryOnly) {
  SvrDMItem item = Item(nullptr);
  ASSERT_TRUE(item.AcquireWriteLock(/*tryOnly=*/false));
  std::atomic<bool> writing{true};
  bool acquired = false;
  bool sawWriter = true;
  WatchedThread reader([&] {
    acquired = item.AcquireReadLock(/*tryOnly=*/true);
    sawWriter = writing;
    item.ReleaseLock();
  });
  EXPECT_TRUE(reader.Waits());

  writing = false;
  item.ReleaseLock();
  reader.Join();

  EXPECT_TRUE(acquired);
  EXPECT_FALSE(sawWriter);
}

TEST(SvrDMItem, AllowsSeveralReaders) {
  SvrDMItem item = Item(nullptr);

  EXPECT_TRUE(item.AcquireReadLock(false));
  EXPECT_TRUE(item.AcquireReadLock(true));

  item.ReleaseLock();
  item.ReleaseLock();
  EXPECT_TRUE(item.AcquireWriteLock(/*tryOnly=*/true));
}

TEST(SvrDMItem, ATryAcquiresAFreeWriteLock) {
  SvrDMItem item = Item(nullptr);

  EXPECT_TRUE(item.AcquireWriteLock(/*tryOnly=*/true));
  item.ReleaseLock();
  EXPECT_TRUE(item.AcquireWriteLock(/*tryOnly=*/true));
  item.ReleaseLock();
  EXPECT_TRUE(item.AcquireReadLock(false));
}

TEST(SvrDMItem, MakesAWriterWaitForAReader) {
  SvrDMItem item = Item(nullptr);
  ASSERT_TRUE(item.AcquireReadLock(false));
  bool acquired = false;
  WatchedThread writer([&] { acquired = item.AcquireWriteLock(/*tryOnly=*/false); });
  EXPECT_TRUE(writer.Waits());

  item.ReleaseLock();
  writer.Join();

  EXPECT_TRUE(acquired);
}

bool IsFreeForReading(SvrDMItemPtr& item) {
  return SvrDMInputDataSource::TryRead(item, std::chrono::milliseconds(0)).has_value();
}
bool IsFreeForWriting(SvrDMItemPtr& item) {
  return SvrDMWriteableDataSource::TryWrite(item, std::chrono::milliseconds(0), nullptr)
      .has_value();
}

// An oddity that is kept: after one failed try, the item never releases its lock.
// release_order_test.cpp checks that unlock() is not called after a failed try.
TEST(SvrDMItem, NeverReleasesItsLockAfterAFailedTryForTheWriteLock) {
  SvrDMItemPtr item(new SvrDMItem(kID, nullptr, nullptr, 0, "", /*notifyDelete=*/false));
  ASSERT_TRUE(item->AcquireWriteLock(/*tryOnly=*/false));

  EXPECT_FALSE(item->AcquireWriteLock(/*tryOnly=*/true));

  item->ReleaseLock();
  EXPECT_FALSE(IsFreeForReading(item));
  item->ReleaseLock();
  EXPECT_FALSE(IsFreeForReading(item));
  EXPECT_FALSE(item->AcquireWriteLock(/*tryOnly=*/true));
}

TEST(SvrDMItem, NeverReleasesALockAcquiredAfterAFailedTry) {
  SvrDMItemPtr item(new SvrDMItem(kID, nullptr, nullptr, 0, "", /*notifyDelete=*/false));
  ASSERT_TRUE(item->AcquireReadLock(false));
  ASSERT_FALSE(item->AcquireWriteLock(/*tryOnly=*/true));

  ASSERT_TRUE(item->AcquireReadLock(false));
  item->ReleaseLock();
  item->ReleaseLock();

  EXPECT_TRUE(IsFreeForReading(item));
  EXPECT_FALSE(IsFreeForWriting(item));
}

// ---------------------------------------------------------------------------------------------
// Counters, names and flags

TEST(SvrDMItem, CountsReadersAndWritersSeparatelyWithoutBounds) {
  SvrDMItem item = Item(nullptr);

  item.AddReader();
  item.AddReader();
  item.AddWriter();
  item.DropReader();
  EXPECT_EQ(item.ReadersCount(), 1);
  EXPECT_EQ(item.WritersCount(), 1);

  item.DropWriter();
  item.DropWriter();
  item.DropReader();
  item.DropReader();
  EXPECT_EQ(item.ReadersCount(), -1);
  EXPECT_EQ(item.WritersCount(), -1);
}

TEST(SvrDMItem, CaseSequenceIsWritable) {
  SvrDMItem item = Item(nullptr);

  item.CaseSequence() = 0xFFFFFFFF;
  ++item.CaseSequence();

  EXPECT_EQ(std::as_const(item).CaseSequence(), 0U);
}

TEST(SvrDMItem, StoresItsNames) {
  SvrDMItem item = Item(nullptr);

  item.Handle("survey");
  item.FileName("survey.tsv");
  item.SuppressedFileName("other.tsv");
  item.Password("secret", true);

  EXPECT_EQ(item.Handle(), "survey");
  EXPECT_EQ(item.FileName(), "survey.tsv");
  EXPECT_EQ(item.SuppressedFileName(), "other.tsv");
  EXPECT_EQ(item.Password(), "secret");
}

TEST(SvrDMItem, StoresEachWindowFlagSeparately) {
  SvrDMItem item = Item(nullptr);

  item.WindowFront(true);
  EXPECT_TRUE(item.WindowFront());
  EXPECT_TRUE(item.WindowMinimized());
  EXPECT_FALSE(item.WindowHidden());

  item.WindowMinimized(false);
  item.WindowHidden(true);
  item.WindowFront(false);
  EXPECT_FALSE(item.WindowFront());
  EXPECT_FALSE(item.WindowMinimized());
  EXPECT_TRUE(item.WindowHidden());
}

TEST(SvrDMItem, StoresNotifiedCreation) {
  SvrDMItem item = Item(nullptr);

  item.SetNotifiedCreation();

  EXPECT_TRUE(item.NotifiedCreation());
}

// ---------------------------------------------------------------------------------------------
// The bootstrap specification

TEST(SvrDMItem, KeepsABootstrapSpecificationSetTwice) {
  SvrDMItem item = Item(nullptr);
  auto* const specs = new SvrBootstrapSpecs;
  int deletions = 0;
  support::WhenFreed(specs, [&] { ++deletions; });

  item.SetBootstrapSpecs(specs);
  item.SetBootstrapSpecs(specs);

  EXPECT_EQ(item.GetBootstrapSpecs(), specs);
  EXPECT_EQ(deletions, 0);
  item.SetBootstrapSpecs(nullptr);
  EXPECT_EQ(deletions, 1);
}

TEST(SvrDMItem, DeletesAReplacedBootstrapSpecification) {
  SvrDMItem item = Item(nullptr);
  int deletions = 0;
  auto* const first = new SvrBootstrapSpecs;
  auto* const second = new SvrBootstrapSpecs;
  item.SetBootstrapSpecs(first);

  support::WhenFreed(first, [&] { ++deletions; });
  item.SetBootstrapSpecs(second);
  EXPECT_EQ(deletions, 1);
  EXPECT_EQ(item.GetBootstrapSpecs(), second);

  support::WhenFreed(second, [&] { ++deletions; });
  item.SetBootstrapSpecs(nullptr);
  EXPECT_EQ(deletions, 2);
  EXPECT_EQ(item.GetBootstrapSpecs(), nullptr);
}

// ---------------------------------------------------------------------------------------------
// The open saved file

class SavedFile : public testing::Test {
 protected:
  void TearDown() override {
    fstatFailsAt = INT_MAX;
    EXPECT_EQ(OpenDescriptors(), descriptorsBefore_);
  }

  void ExpectNoFileIsOpen() const { EXPECT_EQ(OpenDescriptors(), descriptorsBefore_); }

  // Expects that a file is open, and that the item recorded FileName() as the name of this file: if
  // the recorded name were different, LockSavFileInUse would close the file and try to open
  // FileName(), which would fail because the file is removed here.
  void ExpectIsOpenUnderItsName(SvrDMItem& item) const {
    EXPECT_EQ(OpenDescriptors(), descriptorsBefore_ + 1);
    std::filesystem::remove(item.FileName());
    item.LockSavFileInUse();
    EXPECT_EQ(OpenDescriptors(), descriptorsBefore_ + 1);
  }

  // Opens the item's file, and makes the fstat call that reads the file's modification time fail.
  // First opens the file with another item, to find the number of this fstat call.
  void LockWithoutATime(SvrDMItem& item) const {
    SvrDMItem other = Item(nullptr);
    other.FileName(item.FileName());
    fstatCalls = 0;
    other.LockSavFileInUse();
    other.UnlockSavFileInUse();
    const int timeIsReadAt = fstatCalls;

    fstatCalls = 0;
    fstatFailsAt = timeIsReadAt;
    item.LockSavFileInUse();
    fstatFailsAt = INT_MAX;
  }

  // Expects that the recorded time of the open file is 0: the file counts as changed until its
  // modification time is set to 0.
  void ExpectTimeZero(SvrDMItem& item) const {
    EXPECT_TRUE(item.SavFileExternallyChanged());
    ModifyAt(path_, 0);
    EXPECT_FALSE(item.SavFileExternallyChanged());
  }

  const TemporaryFolder folder_;
  const std::string path_ = folder_.Write("survey.tsv");
  const std::ptrdiff_t descriptorsBefore_ = OpenDescriptors();
};

TEST_F(SavedFile, IsOpenDuringTheLifetimeOfTheItem) {
  {
    const SvrDMItem item = Item(nullptr, path_);
    EXPECT_EQ(OpenDescriptors(), descriptorsBefore_ + 1);
    EXPECT_FALSE(AnotherProcessMayWrite(path_));
  }
  EXPECT_TRUE(AnotherProcessMayWrite(path_));
}

TEST_F(SavedFile, IsOpenedOnceForRepeatedLocks) {
  SvrDMItem item = Item(nullptr, path_);
  std::filesystem::remove(path_);  // so the file could not be opened again

  item.LockSavFileInUse();
  item.LockSavFileInUse();

  EXPECT_EQ(OpenDescriptors(), descriptorsBefore_ + 1);
}

TEST_F(SavedFile, IsClosedByUnlockAndCanBeLockedAgain) {
  SvrDMItem item = Item(nullptr, path_);

  item.UnlockSavFileInUse();
  EXPECT_TRUE(AnotherProcessMayWrite(path_));
  ExpectNoFileIsOpen();

  item.LockSavFileInUse();
  EXPECT_FALSE(AnotherProcessMayWrite(path_));
}

TEST_F(SavedFile, LosesItsRecordedTimeByUnlock) {
  SvrDMItem item = Item(nullptr, path_);

  item.UnlockSavFileInUse();

  LockWithoutATime(item);
  ExpectTimeZero(item);
}

TEST_F(SavedFile, OfAnotherNameIsOpenedByLockAfterClosingTheOldFile) {
  SvrDMItem item = Item(nullptr, path_);
  const std::string other = folder_.Write("other.tsv");
  const int descriptor = DescriptorOf(path_);
  ASSERT_NE(descriptor, -1);

  item.FileName(other);
  EXPECT_FALSE(AnotherProcessMayWrite(path_));
  item.LockSavFileInUse();

  EXPECT_TRUE(AnotherProcessMayWrite(path_));
  EXPECT_FALSE(AnotherProcessMayWrite(other));
  // An opened file gets the lowest free descriptor: here the descriptor of the old file, which was
  // closed first.
  EXPECT_EQ(DescriptorOf(other), descriptor);
}

TEST_F(SavedFile, WithANameThatDiffersOnlyByCaseIsAnotherFile) {
  SvrDMItem item = Item(nullptr, path_);
  const std::string other = folder_.Write("Survey.tsv");

  item.FileName(other);
  item.LockSavFileInUse();

  EXPECT_TRUE(AnotherProcessMayWrite(path_));
  EXPECT_FALSE(AnotherProcessMayWrite(other));
}

TEST_F(SavedFile, IsClosedForAnEmptyName) {
  SvrDMItem item = Item(nullptr, path_);

  item.FileName("");
  item.LockSavFileInUse();

  ExpectNoFileIsOpen();
  EXPECT_TRUE(AnotherProcessMayWrite(path_));
}

TEST_F(SavedFile, OpeningFailsSilentlyAndIsRetriedIfTheFileDoesNotExist) {
  const std::string late = folder_.Path("late.tsv");
  SvrDMItem item = Item(nullptr, late);
  ExpectNoFileIsOpen();
  EXPECT_FALSE(item.SavFileExternallyChanged());

  folder_.Write("late.tsv");
  item.LockSavFileInUse();

  EXPECT_FALSE(AnotherProcessMayWrite(late));
  ExpectIsOpenUnderItsName(item);
}

TEST_F(SavedFile, IsClosedEvenIfTheNewFileCannotBeOpened) {
  SvrDMItem item = Item(nullptr, path_);

  item.FileName(folder_.Path("missing.tsv"));
  item.LockSavFileInUse();

  ExpectNoFileIsOpen();
  EXPECT_TRUE(AnotherProcessMayWrite(path_));

  item.FileName(path_);
  LockWithoutATime(item);
  EXPECT_FALSE(AnotherProcessMayWrite(path_));
  ExpectTimeZero(item);
}

TEST_F(SavedFile, UnlockWithoutAnOpenFileDoesNothing) {
  SvrDMItem item = Item(nullptr);

  item.UnlockSavFileInUse();

  ExpectNoFileIsOpen();
}

TEST_F(SavedFile, IsClosedWhenTheSourceIsRemoved) {
  SvrDMItem item = Item(Dictionary("A").release(), path_);

  item.SetDataSet(nullptr);

  ExpectNoFileIsOpen();
  EXPECT_TRUE(AnotherProcessMayWrite(path_));
}

TEST_F(SavedFile, IsOpenedWhenASourceIsSet) {
  SvrDMItem item = Item(nullptr);
  item.FileName(path_);

  item.SetDataSet(Dictionary("A").release());

  EXPECT_FALSE(AnotherProcessMayWrite(path_));
}

TEST_F(SavedFile, IsClosedWhenTheSourceStaysNull) {
  SvrDMItem item = Item(nullptr, path_);

  item.SetDataSet(nullptr);

  EXPECT_TRUE(AnotherProcessMayWrite(path_));
}

TEST_F(SavedFile, IsReopenedWhenTheSourceIsReplaced) {
  SvrDMItem item = Item(Dictionary("A").release(), path_);
  ModifyAt(path_, 2'000'000'000);
  ASSERT_TRUE(item.SavFileExternallyChanged());

  item.SetDataSet(Dictionary("B").release());

  EXPECT_FALSE(item.SavFileExternallyChanged());
  EXPECT_FALSE(AnotherProcessMayWrite(path_));
}

TEST_F(SavedFile, IsChangedIfModifiedInAnotherSecond) {
  ModifyAt(path_, 2'000'000'000);
  SvrDMItem item = Item(nullptr, path_);
  EXPECT_FALSE(item.SavFileExternallyChanged());

  ModifyAt(path_, 1'999'999'999);
  EXPECT_TRUE(item.SavFileExternallyChanged());

  ModifyAt(path_, 2'000'000'000);
  EXPECT_FALSE(item.SavFileExternallyChanged());
}

// An oddity that is kept: only the whole seconds of modification times are compared.
TEST_F(SavedFile, IsUnchangedIfModifiedWithinTheSameSecond) {
  ModifyAt(path_, 2'000'000'000, 0);
  SvrDMItem item = Item(nullptr, path_);

  ModifyAt(path_, 2'000'000'000, 999'999'999);

  EXPECT_FALSE(item.SavFileExternallyChanged());
}

TEST_F(SavedFile, IsUnchangedWithoutAnOpenFile) {
  SvrDMItem item = Item(nullptr, path_);
  item.UnlockSavFileInUse();

  ModifyAt(path_, 2'000'000'000);

  EXPECT_FALSE(item.SavFileExternallyChanged());
}

TEST_F(SavedFile, IsUnchangedIfReplacedOnDisk) {
  SvrDMItem item = Item(nullptr, path_);
  const std::string other = folder_.Write("other.tsv");
  ModifyAt(other, 2'000'000'000);

  std::filesystem::rename(other, path_);

  EXPECT_FALSE(item.SavFileExternallyChanged());
}

TEST_F(SavedFile, IsUnchangedIfItsTimeCannotBeRead) {
  SvrDMItem item = Item(nullptr, path_);
  ModifyAt(path_, 2'000'000'000);

  fstatFailsAt = 0;

  EXPECT_FALSE(item.SavFileExternallyChanged());
}

TEST_F(SavedFile, IsOpenedWithTimeZeroIfItsTimeCannotBeRead) {
  SvrDMItem item = Item(nullptr);
  item.FileName(path_);

  LockWithoutATime(item);

  EXPECT_FALSE(AnotherProcessMayWrite(path_));
  ExpectTimeZero(item);
  ExpectIsOpenUnderItsName(item);
}

// ---------------------------------------------------------------------------------------------
// The creation time

// Returns the date value of this date and time.
double DateValue(long day, long month, long year, long hour, long minute, double second) {
  double value = 0;
  EXPECT_EQ(iDMY2Orvx(day, month, year, hour, minute, second, &value), 0);
  return value;
}

class CreationTime : public testing::Test {
 protected:
  ~CreationTime() override { localtimeAnswer = nullptr; }

  // Sets the local time to 2 January 2020, 03:04:05, and returns it as a date value.
  double SetClock() {
    local_.tm_mday = 2;
    local_.tm_mon = 0;
    local_.tm_year = 120;
    local_.tm_hour = 3;
    local_.tm_min = 4;
    local_.tm_sec = 5;
    localtimeAnswer = [this](const std::time_t* moment) {
      asked_ = *moment;
      return &local_;
    };
    return DateValue(2, 1, 2020, 3, 4, 5);
  }

  // Makes localtime_r fail.
  void BreakClock() {
    localtimeAnswer = [](const std::time_t*) { return nullptr; };
  }

  std::tm local_ = {};
  std::time_t asked_ = 0;
};

TEST_F(CreationTime, IsTheLocalTimeOfCreationAsADateValue) {
  const double stamp = SetClock();
  const std::time_t before = std::time(nullptr);
  const SvrDMItem item = Item(nullptr);

  EXPECT_EQ(item.getObjCreationTime(), stamp);
  EXPECT_GE(asked_, before);
  EXPECT_LE(asked_, std::time(nullptr));
}

TEST_F(CreationTime, IsNoonOf1February1975WithoutALocalTime) {
  BreakClock();
  const SvrDMItem item = Item(nullptr);

  EXPECT_EQ(item.getObjCreationTime(), DateValue(1, 2, 1975, 12, 0, 0));
}

// The std::tm of localtime() is shared by all threads.
TEST_F(CreationTime, DoesNotUseTheSharedLocaltimeBuffer) {
  SetClock();
  const std::time_t longAgo = 0;
  const std::tm* const shared = localtime(&longAgo);
  const int year = shared->tm_year;

  Item(nullptr);

  EXPECT_EQ(shared->tm_year, year);
}

TEST_F(CreationTime, NeverChanges) {
  const double stamp = SetClock();
  SvrDMItem item = Item(nullptr);
  BreakClock();

  item.SetDataSet(Dictionary("A").release());
  item.LockSavFileInUse();

  EXPECT_EQ(item.getObjCreationTime(), stamp);
}

TEST_F(CreationTime, OrvxTimestampNowReturnsTheLocalTimeOrNoonOf1February1975) {
  double stamp = 0;
  const double expected = SetClock();

  SvrDMItem::orvxTimestampNow(&stamp);
  EXPECT_EQ(stamp, expected);

  BreakClock();
  SvrDMItem::orvxTimestampNow(&stamp);
  EXPECT_EQ(stamp, DateValue(1, 2, 1975, 12, 0, 0));
}

TEST_F(CreationTime, OrvxTimestampNowKeepsTheOutputForAnInvalidDate) {
  SetClock();
  local_.tm_mon = 12;
  double stamp = 3.5;

  SvrDMItem::orvxTimestampNow(&stamp);

  EXPECT_EQ(stamp, 3.5);
}

TEST_F(CreationTime, IsZeroForAnInvalidDate) {
  SetClock();
  local_.tm_mon = 12;

  EXPECT_EQ(Item(nullptr).getObjCreationTime(), 0.0);
}

// ---------------------------------------------------------------------------------------------
// Whether the password is mangled

class MangledPassword : public testing::Test {
 protected:
  SystemFileDataSource* File(bool mangled) {
    std::unique_ptr<SystemFileDataSource> file = SystemFileDataSource::Open(path_);
    file->SetPasswordMangled(mangled);
    return file.release();
  }

  const TemporaryFolder folder_;
  const std::string path_ = folder_.Write("survey.tsv");
};

TEST_F(MangledPassword, WithoutASavedFileIsTheValueSetWithThePassword) {
  SvrDMItem empty = Item(nullptr);
  SvrDMItem dictionary = Item(Dictionary("A").release());
  EXPECT_FALSE(empty.PasswordMangled());

  empty.Password("secret", true);
  dictionary.Password("secret", true);

  EXPECT_TRUE(empty.PasswordMangled());
  EXPECT_TRUE(dictionary.PasswordMangled());

  empty.Password("secret", false);
  EXPECT_FALSE(empty.PasswordMangled());
}

TEST_F(MangledPassword, IsTheFlagOfASavedSource) {
  SvrDMItem mangled = Item(File(true));
  SvrDMItem plain = Item(File(false));
  plain.Password("secret", true);

  EXPECT_TRUE(mangled.PasswordMangled());
  EXPECT_FALSE(plain.PasswordMangled());
}

TEST_F(MangledPassword, IsTheFlagOfASavedParent) {
  SvrDMItem mangled = Item(new DataFreeDataSource(File(true)));
  SvrDMItem plain = Item(new DataFreeDataSource(File(false)));
  plain.Password("secret", true);

  EXPECT_TRUE(mangled.PasswordMangled());
  EXPECT_FALSE(plain.PasswordMangled());
}

TEST_F(MangledPassword, IgnoresASavedFileTwoLevelsUp) {
  SvrDMItem item = Item(new DataFreeDataSource(new DataFreeDataSource(File(true))));

  EXPECT_FALSE(item.PasswordMangled());
}

TEST_F(MangledPassword, PrefersTheSourceToItsParent) {
  SystemFileDataSource* const source = File(false);
  source->SetParentSource(File(true));
  SvrDMItem item = Item(source);

  EXPECT_FALSE(item.PasswordMangled());
}

}  // namespace
