// Reader and writer handles: locks, counts, and forwarded operations.

#include <liborvxdemg/ErrorMsg.h>
#include <liborvxdemg/ResetUndoMsg.h>
#include <ServerDataManager/serverdatamgr.h>
#include <ServerDataManager/SvrDMInputDataSource.h>
#include <ServerDataManager/SvrDMWriteableDataSource.h>
#include <tests/support/Datasets.h>
#include <tests/support/Messages.h>
#include <tests/support/Observers.h>
#include <tests/support/WatchedThread.h>

#include <gmock/gmock.h>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <type_traits>

namespace {

using support::AddDataset;
using support::RecordingObserver;
using support::Var;
using support::WatchedThread;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr unsigned int kOneBelowZero = 4294967295U;

// A quiet dataset with the variables A and B, in a separate registry.
class Handles : public testing::Test {
 protected:
  SvrDMItemPtr Item() { return registry.GetDataSet(id); }

  std::unique_ptr<SvrDMInputDataSource> Reader(bool tryOnly = false) {
    return std::make_unique<SvrDMInputDataSource>(registry, id, tryOnly);
  }
  std::unique_ptr<SvrDMWriteableDataSource> Writer(bool tryOnly = false) {
    return std::make_unique<SvrDMWriteableDataSource>(registry, id, tryOnly, nullptr);
  }

  void ExpectCounts(unsigned int readers, unsigned int writers) const {
    EXPECT_EQ(handle.ReadersCount(), readers);
    EXPECT_EQ(handle.WritersCount(), writers);
  }

  ServerDataManager registry;
  LocallyUniqueID id = AddDataset(registry, "A B", /*quiet=*/true);
  SvrDMDataset handle{registry, id};
};

using ReaderHandle = Handles;
using WriterHandle = Handles;

// Returns the code of the ErrorMsg that `call` throws; nullopt if `call` throws no ErrorMsg.
std::optional<unsigned int> ErrorCodeOf(const std::function<void()>& call) {
  try {
    call();
  } catch (const ErrorMsg& error) {
    EXPECT_EQ(error.GetText(), "");
    return error.GetCode();
  }
  return std::nullopt;
}

// --- Readers ---

TEST_F(ReaderHandle, IsCountedFromConstructionToDestruction) {
  ExpectCounts(0, 0);
  {
    const auto first = Reader();
    ExpectCounts(1, 0);
    const auto second = Reader();
    ExpectCounts(2, 0);
  }
  ExpectCounts(0, 0);
}

TEST_F(ReaderHandle, FindsItsDatasetByRegistryAndIdentifier) {
  const SvrDMInputDataSource reader(registry, id, false);
  EXPECT_EQ(reader.GetDataSetID(), id);
  ExpectCounts(1, 0);
}

TEST_F(ReaderHandle, FindsItsDatasetInTheRegistryOfTheProcess) {
  ServerDataManager& process = ServerDataManager::GetInstance();
  const LocallyUniqueID there = AddDataset(process, "P", /*quiet=*/true);
  {
    const SvrDMInputDataSource reader(there, false);
    EXPECT_EQ(support::Names(**reader), "P");
    EXPECT_EQ(reader.ReadersCount(), 1U);
  }
  EXPECT_EQ(SvrDMDataset(there).ReadersCount(), 0U);
  process.Delete(there);
}

TEST_F(ReaderHandle, SharesAGivenItem) {
  SvrDMItemPtr item = Item();
  const SvrDMInputDataSource reader(item, false);
  EXPECT_EQ(reader.GetDataSetID(), id);
  ExpectCounts(1, 0);
}

TEST_F(ReaderHandle, UnknownIdentifierThrowsAndChangesNoCount) {
  const LocallyUniqueID unknown(3, 77);

  EXPECT_EQ(ErrorCodeOf([&] { SvrDMInputDataSource(registry, unknown, false); }), 2001U);
  EXPECT_EQ(ErrorCodeOf([&] { SvrDMInputDataSource(unknown, false); }), 2001U);

  ExpectCounts(0, 0);
}

TEST_F(ReaderHandle, ReturnsTheDataSourceInTwoWays) {
  const auto reader = Reader();
  EXPECT_EQ(**reader, Item()->DataSource());
  EXPECT_EQ(reader->operator->(), Item()->DataSource());
}

TEST_F(ReaderHandle, ReturnsNullWithoutADataSource) {
  id = registry.AddEmpty(/*quiet=*/true);
  const auto reader = Reader();
  EXPECT_EQ(**reader, nullptr);
  EXPECT_EQ(reader->operator->(), nullptr);
}

TEST_F(ReaderHandle, WaitsForAWriterEvenWithTryOnly) {
  auto writer = Writer();
  WatchedThread reading([&] { const auto reader = Reader(/*tryOnly=*/true); });
  EXPECT_TRUE(reading.Waits());
  // The reader is counted only after it has acquired the lock.
  ExpectCounts(0, 1);

  writer.reset();
  reading.Join();
  ExpectCounts(0, 0);
}

TEST_F(ReaderHandle, SharesTheLockWithOtherReaders) {
  const auto first = Reader();
  WatchedThread reading([&] { const auto second = Reader(); });
  EXPECT_FALSE(reading.Waits());
}

TEST_F(ReaderHandle, KeepsADeletedDatasetAlive) {
  int deaths = 0;
  auto* const source = new support::CountedSource(deaths);
  id = registry.Add(*source, "", /*quiet=*/true);
  auto reader = Reader();

  registry.Delete(id);
  EXPECT_EQ(deaths, 0);
  EXPECT_EQ(**reader, source);

  reader.reset();
  EXPECT_EQ(deaths, 1);
}

// --- Writers: lock and counts ---

TEST_F(WriterHandle, IsCountedFromConstructionToDestruction) {
  ExpectCounts(0, 0);
  auto writer = Writer();
  ExpectCounts(0, 1);
  writer.reset();
  ExpectCounts(0, 0);
}

TEST_F(WriterHandle, FindsItsDatasetByRegistryAndIdentifier) {
  const SvrDMWriteableDataSource writer(registry, id, false, nullptr);
  EXPECT_EQ(writer.GetDataSetID(), id);
  ExpectCounts(0, 1);
}

TEST_F(WriterHandle, FindsItsDatasetInTheRegistryOfTheProcess) {
  ServerDataManager& process = ServerDataManager::GetInstance();
  const LocallyUniqueID there = AddDataset(process, "P", /*quiet=*/true);
  {
    const SvrDMWriteableDataSource writer(there, false, nullptr);
    EXPECT_EQ(support::Names(**writer), "P");
    EXPECT_EQ(writer.WritersCount(), 1U);
  }
  EXPECT_EQ(SvrDMDataset(there).WritersCount(), 0U);
  process.Delete(there);
}

TEST_F(WriterHandle, SharesAGivenItem) {
  SvrDMItemPtr item = Item();
  const SvrDMWriteableDataSource writer(item, false, nullptr);
  EXPECT_EQ(writer.GetDataSetID(), id);
  ExpectCounts(0, 1);
}

TEST_F(WriterHandle, UnknownIdentifierThrowsAndChangesNoCount) {
  const LocallyUniqueID unknown(3, 77);

  EXPECT_EQ(ErrorCodeOf([&] { SvrDMWriteableDataSource(registry, unknown, false, nullptr); }),
            2001U);
  EXPECT_EQ(ErrorCodeOf([&] { SvrDMWriteableDataSource(unknown, true, nullptr); }), 2001U);

  ExpectCounts(0, 0);
}

TEST_F(WriterHandle, IsCountedWhileItWaitsForTheLock) {
  auto reader = Reader();
  WatchedThread firstWriting([&] { const auto writer = Writer(); });
  WatchedThread secondWriting([&] { const auto writer = Writer(); });
  EXPECT_TRUE(firstWriting.Waits());
  EXPECT_TRUE(secondWriting.Waits());
  ExpectCounts(1, 2);

  reader.reset();
  firstWriting.Join();
  secondWriting.Join();
  ExpectCounts(0, 0);
}

TEST_F(WriterHandle, MakesOtherReadersAndWritersWait) {
  auto writer = Writer();
  WatchedThread reading([&] { const auto other = Reader(); });
  WatchedThread writing([&] { const auto other = Writer(); });
  EXPECT_TRUE(reading.Waits());
  EXPECT_TRUE(writing.Waits());
  writer.reset();
}

TEST_F(WriterHandle, ATryOnlyWriterAcquiresAFreeLock) {
  auto writer = Writer(/*tryOnly=*/true);
  ExpectCounts(0, 1);
  WatchedThread reading([&] { const auto reader = Reader(); });
  EXPECT_TRUE(reading.Waits());
  writer.reset();
  reading.Join();
  ExpectCounts(0, 0);
}

TEST_F(WriterHandle, NotifiesNoUnregisteredObserverAndRestoresTheCounts) {
  RecordingObserver gone;
  Item()->Register(gone);
  Item()->Unregister(gone);

  Writer().reset();

  ExpectCounts(0, 0);
  EXPECT_THAT(gone.passes, IsEmpty());
}

TEST_F(WriterHandle, HoldsLockAndCountWhileObserversAreNotified) {
  RecordingObserver observer;
  Item()->Register(observer);
  std::unique_ptr<WatchedThread> reading;
  observer.reaction = [&](auto) {
    ExpectCounts(0, 1);
    reading = std::make_unique<WatchedThread>([&] { const auto reader = Reader(); });
    EXPECT_TRUE(reading->Waits());
  };

  Writer().reset();

  EXPECT_THAT(observer.passes, SizeIs(1));
  ASSERT_NE(reading, nullptr);
  reading->Join();
}

TEST_F(WriterHandle, ReleasesItsReferenceAfterRestoringTheCounts) {
  // Records the counts of its dataset when it is destroyed.
  struct LastWitness : DataFreeDataSource {
    ~LastWitness() override {
      *readers = item->ReadersCount();
      *writers = item->WritersCount();
    }
    SvrDMItem* item = nullptr;
    int* readers = nullptr;
    int* writers = nullptr;
  };
  int readers = -1, writers = -1;
  auto* const witness = new LastWitness;
  witness->readers = &readers;
  witness->writers = &writers;
  const LocallyUniqueID last = registry.Add(*witness, "", /*quiet=*/true);
  auto writer = std::make_unique<SvrDMWriteableDataSource>(registry, last, false, nullptr);
  witness->item = registry.GetDataSet(last).get();
  registry.Delete(last);

  writer.reset();

  EXPECT_EQ(readers, 0);
  EXPECT_EQ(writers, 0);
}

// --- Tries without side effects ---

using std::chrono::milliseconds;
using std::chrono::steady_clock;
using TryHandle = Handles;

constexpr milliseconds kNotAtAll(0);
constexpr std::chrono::hours kLong(1);

TEST_F(TryHandle, ReadsAFreeDatasetAndIsCountedUntilDestroyed) {
  SvrDMItemPtr item = Item();
  {
    const auto first = SvrDMInputDataSource::TryRead(registry, id, kNotAtAll);
    const auto second = SvrDMInputDataSource::TryRead(item, kLong);
    ASSERT_TRUE(first && second);
    EXPECT_EQ((*first)->ColumnCount(), 2);
    ExpectCounts(2, 0);
    EXPECT_FALSE(SvrDMWriteableDataSource::TryWrite(item, kNotAtAll, nullptr));
  }
  ExpectCounts(0, 0);
  EXPECT_TRUE(SvrDMWriteableDataSource::TryWrite(item, kNotAtAll, nullptr));
}

TEST_F(TryHandle, WritesAFreeDatasetAndNotifiesAllButTheOriginator) {
  RecordingObserver originator, other;
  handle.Register(originator);
  handle.Register(other);
  {
    auto writer = SvrDMWriteableDataSource::TryWrite(registry, id, kNotAtAll, &originator);
    ASSERT_TRUE(writer);
    ExpectCounts(0, 1);
    (*writer)->GetVariable(0).SetLabel("changed");
    EXPECT_FALSE(SvrDMInputDataSource::TryRead(registry, id, kNotAtAll));
    ExpectCounts(0, 1);
  }
  ExpectCounts(0, 0);
  EXPECT_THAT(other.passes, SizeIs(1));
  EXPECT_THAT(originator.passes, IsEmpty());
}

TEST_F(TryHandle, FindsItsDatasetInTheRegistryOfTheProcess) {
  ServerDataManager& process = ServerDataManager::GetInstance();
  const LocallyUniqueID present = process.AddEmpty(/*quiet=*/true);
  EXPECT_TRUE(SvrDMInputDataSource::TryRead(present, kNotAtAll));
  EXPECT_TRUE(SvrDMWriteableDataSource::TryWrite(present, kNotAtAll, nullptr));
  process.Delete(present);
}

TEST_F(TryHandle, UnknownIdentifierThrows) {
  const LocallyUniqueID unknown(0, 99);
  EXPECT_EQ(ErrorCodeOf([&] { SvrDMInputDataSource::TryRead(registry, unknown, kLong); }), 2001U);
  EXPECT_EQ(
      ErrorCodeOf([&] { SvrDMWriteableDataSource::TryWrite(registry, unknown, kLong, nullptr); }),
      2001U);
}

// Unlike TryWrite, a constructor whose try fails has side effects: see the tests below.
TEST_F(TryHandle, AFailedTryChangesNothing) {
  {
    const auto reader = Reader();
    EXPECT_FALSE(SvrDMWriteableDataSource::TryWrite(registry, id, kNotAtAll, nullptr));
    EXPECT_FALSE(SvrDMWriteableDataSource::TryWrite(registry, id, milliseconds(2), nullptr));
    EXPECT_FALSE(SvrDMWriteableDataSource::TryWrite(registry, id, -kLong, nullptr));
    ExpectCounts(1, 0);
  }
  {
    const auto writer = Writer();
    EXPECT_FALSE(SvrDMInputDataSource::TryRead(registry, id, kNotAtAll));
    EXPECT_FALSE(SvrDMWriteableDataSource::TryWrite(registry, id, kNotAtAll, nullptr));
    ExpectCounts(0, 1);
  }
  ExpectCounts(0, 0);
  // Every lock was released.
  EXPECT_TRUE(SvrDMWriteableDataSource::TryWrite(registry, id, kNotAtAll, nullptr));
}

TEST_F(TryHandle, FailsAfterItsTimeLimitAndNotBefore) {
  const auto holder = Writer();
  constexpr milliseconds kTime(30);

  const auto before = steady_clock::now();
  EXPECT_FALSE(SvrDMInputDataSource::TryRead(registry, id, kTime));
  EXPECT_GE(steady_clock::now() - before, kTime);

  const auto between = steady_clock::now();
  EXPECT_FALSE(SvrDMWriteableDataSource::TryWrite(registry, id, kTime, nullptr));
  EXPECT_GE(steady_clock::now() - between, kTime);
}

TEST_F(TryHandle, AcquiresALockReleasedWithinTheTimeLimit) {
  auto holder = Writer();
  bool read = false, written = false;
  WatchedThread reader(
      [&] { read = SvrDMInputDataSource::TryRead(registry, id, milliseconds::max()).has_value(); });
  WatchedThread writer([&] {
    written = SvrDMWriteableDataSource::TryWrite(registry, id, kLong, nullptr).has_value();
  });
  EXPECT_TRUE(reader.Waits());
  EXPECT_TRUE(writer.Waits());

  holder.reset();
  reader.Join();
  writer.Join();

  EXPECT_TRUE(read);
  EXPECT_TRUE(written);
  ExpectCounts(0, 0);
}

TEST_F(TryHandle, MayBeReleasedOnAnotherThread) {
  auto writer = SvrDMWriteableDataSource::TryWrite(registry, id, kNotAtAll, nullptr);
  WatchedThread([&] { writer.reset(); }).Join();

  ExpectCounts(0, 0);
  EXPECT_TRUE(SvrDMInputDataSource::TryRead(registry, id, kNotAtAll));
}

// --- Writers: the failed try ---

int ThrownBy(const std::function<void()>& call) {
  try {
    call();
  } catch (int thrown) {
    return thrown;
  }
  return 0;
}

TEST_F(WriterHandle, AFailedTryThrows55AndLeavesCountsOffByOne) {
  const auto holder = Writer();

  EXPECT_EQ(ThrownBy([&] { Writer(/*tryOnly=*/true); }), 55);

  ExpectCounts(kOneBelowZero, 2);
  EXPECT_EQ(Item()->ReadersCount(), -1);
  EXPECT_EQ(Item()->WritersCount(), 2);
}

TEST_F(WriterHandle, EachConstructorFailsInTheSameWay) {
  ServerDataManager& process = ServerDataManager::GetInstance();
  const LocallyUniqueID there = AddDataset(process, "P", /*quiet=*/true);
  SvrDMItemPtr item = process.GetDataSet(there);
  const SvrDMInputDataSource holder(item, false);

  EXPECT_EQ(ThrownBy([&] { SvrDMWriteableDataSource(process, there, true, nullptr); }), 55);
  EXPECT_EQ(ThrownBy([&] { SvrDMWriteableDataSource(there, true, nullptr); }), 55);
  EXPECT_EQ(ThrownBy([&] { SvrDMWriteableDataSource(item, true, nullptr); }), 55);

  EXPECT_EQ(item->WritersCount(), 3);
  EXPECT_EQ(item->ReadersCount(), 1 - 3);
  process.Delete(there);
}

TEST_F(WriterHandle, AFailedTryAgainstAReaderLeavesCountsOffByOne) {
  const auto holder = Reader();

  EXPECT_EQ(ThrownBy([&] { Writer(/*tryOnly=*/true); }), 55);

  ExpectCounts(0, 1);
}

// After the constructor of a writer has failed with `tryOnly`, no handle of the dataset releases
// its lock, so a wait for the lock may never end. Therefore the tests of this failure do not wait.

TEST_F(WriterHandle, AFailedTryDoesNotReleaseTheHoldersLock) {
  const auto holder = Writer();

  EXPECT_EQ(ThrownBy([&] { Writer(/*tryOnly=*/true); }), 55);

  EXPECT_FALSE(SvrDMInputDataSource::TryRead(registry, id, kNotAtAll));
}

TEST_F(WriterHandle, AFailedTryLeavesTheLockHeldForever) {
  auto holder = Writer();
  EXPECT_EQ(ThrownBy([&] { Writer(/*tryOnly=*/true); }), 55);

  holder.reset();

  ExpectCounts(kOneBelowZero, 1);
  EXPECT_FALSE(SvrDMInputDataSource::TryRead(registry, id, kNotAtAll));
}

// release_order_test.cpp checks that no handle calls unlock() after a failed try.
TEST_F(WriterHandle, AfterAFailedTryReadersShareTheLockButNeverReleaseIt) {
  auto holder = Reader();
  EXPECT_EQ(ThrownBy([&] { Writer(/*tryOnly=*/true); }), 55);

  holder.reset();
  EXPECT_TRUE(SvrDMInputDataSource::TryRead(registry, id, kNotAtAll));

  EXPECT_FALSE(SvrDMWriteableDataSource::TryWrite(registry, id, kNotAtAll, nullptr));
}

TEST_F(WriterHandle, AFailedTryKeepsNoReferenceToTheDataset) {
  int deaths = 0;
  id = registry.Add(*new support::CountedSource(deaths), "", /*quiet=*/true);
  auto holder = Writer();
  EXPECT_EQ(ThrownBy([&] { Writer(/*tryOnly=*/true); }), 55);

  registry.Delete(id);
  holder.reset();

  EXPECT_EQ(deaths, 1);
}

TEST_F(WriterHandle, AFailedTryNotifiesNobody) {
  RecordingObserver observer;
  Item()->Register(observer);
  auto holder = Writer();
  holder->AddNotification(new ResetUndoMsg());

  EXPECT_EQ(ThrownBy([&] { Writer(/*tryOnly=*/true); }), 55);

  EXPECT_THAT(observer.passes, IsEmpty());
  EXPECT_THAT(holder->GetNotifications(), SizeIs(1));
}

// --- Writers: forwarded operations ---

TEST_F(WriterHandle, ReturnsTheDataSourceInThreeWays) {
  const auto writer = Writer();
  ORVX_DataSource* const source = Item()->DataSource();
  EXPECT_EQ(writer->GetDataSource(), source);
  EXPECT_EQ(**writer, source);
  EXPECT_EQ(writer->operator->(), source);
}

TEST_F(WriterHandle, ReturnsNullWithoutADataSource) {
  id = registry.AddEmpty(/*quiet=*/true);
  const auto writer = Writer();
  EXPECT_EQ(writer->GetDataSource(), nullptr);
  EXPECT_EQ(**writer, nullptr);
  EXPECT_EQ(writer->operator->(), nullptr);
}

TEST_F(WriterHandle, ReplacesTheDataSource) {
  int deaths = 0;
  id = registry.Add(*new support::CountedSource(deaths), "", /*quiet=*/true);
  const auto writer = Writer();
  ORVX_DataSource* const fresh = support::Dictionary("X").release();

  writer->SetDataSet(fresh);

  EXPECT_EQ(writer->GetDataSource(), fresh);
  EXPECT_EQ(deaths, 1);
  EXPECT_MESSAGES(writer->GetNotifications(), support::ResetUndo());
}

TEST_F(WriterHandle, OwnsADataSourceGivenAsUniquePointer) {
  int deaths = 0;
  id = registry.Add(support::Dictionary("A"), "", /*quiet=*/true);
  const auto writer = Writer();
  auto handed = std::make_unique<support::CountedSource>(deaths);
  ORVX_DataSource* const source = handed.get();

  writer->SetDataSet(std::move(handed));
  EXPECT_EQ(writer->GetDataSource(), source);
  EXPECT_EQ(deaths, 0);

  writer->SetDataSet(nullptr);
  EXPECT_EQ(deaths, 1);
}

TEST_F(WriterHandle, UndoIncrementIncrementsTheCaseSequence) {
  const auto writer = Writer();
  const unsigned int before = writer->GetCaseSequence();

  writer->IncrementCaseSequence();
  EXPECT_EQ(writer->GetCaseSequence(), before + 1);
  writer->UndoIncrementCaseSequence();

  EXPECT_EQ(writer->GetCaseSequence(), before + 2);
}

TEST_F(WriterHandle, TheCaseSequenceWrapsAfter32Bits) {
  const LocallyUniqueID last(0, 500);
  registry.Add(*support::Dictionary("A").release(), "", /*quiet=*/true, last, 4294967295U);
  id = last;
  const auto writer = Writer();

  writer->IncrementCaseSequence();

  EXPECT_EQ(writer->GetCaseSequence(), 0U);
}

TEST_F(WriterHandle, QueuesAndClearsMessages) {
  int deaths = 0;
  const auto writer = Writer();
  auto* const message = new support::CountedMessage(deaths);

  writer->AddNotification(message);
  EXPECT_THAT(writer->GetNotifications(), ElementsAre(message));
  EXPECT_THAT(Item()->Notifications(), ElementsAre(message));

  writer->ClearNotifications();
  EXPECT_THAT(writer->GetNotifications(), IsEmpty());
  EXPECT_EQ(deaths, 1);
}

TEST_F(WriterHandle, RequestsABulkReplacementForTheNextPass) {
  RecordingObserver observer;
  Item()->Register(observer);
  Writer().reset();
  observer.passes.clear();

  Writer()->BulkVarMoves();

  ASSERT_THAT(observer.passes, SizeIs(1));
  EXPECT_VARIABLE_MESSAGES(observer.passes[0], support::Deleted("A B"),
                           support::Inserted("A B").AtEnd());
}

TEST_F(WriterHandle, ItsOriginatorIsNeverNotified) {
  RecordingObserver originator;
  Item()->Register(originator);
  {
    SvrDMWriteableDataSource writer(registry, id, false, &originator);
    writer.AddNotification(new ResetUndoMsg());
    writer.Notify();
    writer.AddNotification(new ResetUndoMsg());
  }
  EXPECT_THAT(originator.passes, IsEmpty());
  EXPECT_THAT(Item()->Notifications(), IsEmpty());
}

// --- Types of handles ---

TEST(HandleTypes, ReadersAndWritersCannotBeCopiedButPlainHandlesCan) {
  EXPECT_FALSE(std::is_copy_constructible_v<SvrDMInputDataSource>);
  EXPECT_FALSE(std::is_copy_assignable_v<SvrDMInputDataSource>);
  EXPECT_FALSE(std::is_copy_constructible_v<SvrDMWriteableDataSource>);
  EXPECT_FALSE(std::is_copy_assignable_v<SvrDMWriteableDataSource>);
  EXPECT_TRUE(std::is_copy_constructible_v<SvrDMDataset>);
}

TEST(HandleTypes, WritersAreReadersReadersAreDatasetsAndNoDestructorThrows) {
  EXPECT_TRUE((std::is_base_of_v<SvrDMInputDataSource, SvrDMWriteableDataSource>));
  EXPECT_TRUE((std::is_base_of_v<SvrDMDataset, SvrDMInputDataSource>));
  EXPECT_TRUE(std::is_nothrow_destructible_v<SvrDMInputDataSource>);
  EXPECT_TRUE(std::is_nothrow_destructible_v<SvrDMWriteableDataSource>);
}

}  // namespace
