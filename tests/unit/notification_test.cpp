// Dataset observers: which of them are notified, when and how often; and the queue of messages.

#include <liborvxdemg/ResetUndoMsg.h>
#include <ServerDataManager/serverdatamgr.h>
#include <tests/support/Datasets.h>
#include <tests/support/Messages.h>
#include <tests/support/Observers.h>

#include <gmock/gmock.h>

#include <stdexcept>
#include <string>
#include <vector>

namespace {

using support::AddDataset;
using support::CountedMessage;
using support::Deleted;
using support::Inserted;
using support::RecordingObserver;
using support::RecordingRegistryObserver;
using support::ResetUndo;
using support::Said;
using support::Var;
using support::Write;
using support::WriteNothing;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

// A dataset with the variables A and B. Its creation notice has been sent, but it has not been
// through a notification pass.
class Notification : public testing::Test {
 protected:
  SvrDMItemPtr Item() { return registry.GetDataSet(id); }

  // Registers the observer and updates the snapshot, so that only later changes are recorded.
  void Follow(RecordingObserver& observer) {
    Item()->Register(observer);
    WriteNothing(registry, id);
    observer.passes.clear();
    observer.writers.clear();
  }

  void Append(const std::string& name, SvrDMDataSetObserver* originator = nullptr) {
    const auto append = [&](SvrDMWriteableDataSource& writer) {
      writer->MakeVariable(Var(name), nullptr);
    };
    Write(registry, id, append, originator);
  }

  ServerDataManager registry;
  LocallyUniqueID id = AddDataset(registry, "A B");
};

// --- The list of observers ---

TEST_F(Notification, AnObserverIsNotifiedWhenTheWriterIsReleased) {
  RecordingObserver observer;
  Follow(observer);
  {
    SvrDMWriteableDataSource writer(registry, id, false, nullptr);
    writer->MakeVariable(Var("C"), nullptr);
    EXPECT_THAT(observer.passes, IsEmpty());
  }
  ASSERT_THAT(observer.passes, SizeIs(1));
  EXPECT_VARIABLE_MESSAGES(observer.passes[0], Inserted("C").AtEnd());
}

TEST_F(Notification, ObserversAreNotifiedInTheOrderOfRegistration) {
  std::string order;
  RecordingObserver first, second, third;
  Follow(second);
  Follow(third);
  Follow(first);
  first.reaction = [&](auto) { order += "1"; };
  second.reaction = [&](auto) { order += "2"; };
  third.reaction = [&](auto) { order += "3"; };

  Append("C");

  EXPECT_EQ(order, "231");
}

TEST_F(Notification, EveryObserverGetsTheSameWriter) {
  RecordingObserver first, second;
  Follow(first);
  Follow(second);
  SvrDMWriteableDataSource const* released = nullptr;
  first.writers.clear();
  {
    SvrDMWriteableDataSource writer(registry, id, false, nullptr);
    writer->MakeVariable(Var("C"), nullptr);
    released = &writer;
  }
  EXPECT_THAT(first.writers, ElementsAre(released));
  EXPECT_THAT(second.writers, ElementsAre(released));
}

TEST_F(Notification, AnObserverRegisteredTwiceIsNotifiedTwice) {
  RecordingObserver observer;
  Follow(observer);
  Item()->Register(observer);

  Append("C");

  EXPECT_THAT(observer.passes, SizeIs(2));
}

TEST_F(Notification, UnregisterRemovesAnObserverRegisteredTwice) {
  RecordingObserver twice, other;
  Follow(twice);
  Follow(other);
  Item()->Register(twice);
  twice.passes.clear();

  Item()->Unregister(twice);
  Append("C");

  EXPECT_THAT(twice.passes, IsEmpty());
  EXPECT_THAT(other.passes, SizeIs(1));
}

TEST_F(Notification, UnregisteringAnUnknownObserverDoesNothing) {
  RecordingObserver stranger, observer;
  Follow(observer);

  Item()->Unregister(stranger);
  Append("C");

  EXPECT_THAT(observer.passes, SizeIs(1));
}

TEST_F(Notification, APlainHandleRegistersAndUnregistersObservers) {
  RecordingObserver observer;
  SvrDMDataset handle(registry, id);

  handle.Register(observer);
  Append("C");
  EXPECT_THAT(observer.passes, SizeIs(1));

  handle.Unregister(observer);
  Append("D");
  EXPECT_THAT(observer.passes, SizeIs(1));
}

// --- The originator ---

TEST_F(Notification, TheOriginatorIsNotNotified) {
  RecordingObserver originator, other;
  Follow(originator);
  Follow(other);
  originator.passes.clear();

  Append("C", &originator);

  EXPECT_THAT(originator.passes, IsEmpty());
  EXPECT_THAT(other.passes, SizeIs(1));
}

TEST_F(Notification, AnOriginatorRegisteredTwiceIsSkippedBothTimes) {
  RecordingObserver originator, other;
  Follow(originator);
  Follow(other);
  Item()->Register(originator);
  originator.passes.clear();

  Append("C", &originator);

  EXPECT_THAT(originator.passes, IsEmpty());
  EXPECT_THAT(other.passes, SizeIs(1));
}

TEST_F(Notification, WithAnUnregisteredOriginatorAllObserversAreNotified) {
  RecordingObserver originator, observer;
  Follow(observer);

  Append("C", &originator);

  EXPECT_THAT(originator.passes, IsEmpty());
  EXPECT_THAT(observer.passes, SizeIs(1));
}

TEST_F(Notification, MessagesAreDeletedIfOnlyTheOriginatorIsRegistered) {
  int deaths = 0;
  RecordingObserver originator;
  Follow(originator);
  const auto change = [&](SvrDMWriteableDataSource& writer) {
    writer.AddNotification(new CountedMessage(deaths));
  };

  Write(registry, id, change, &originator);

  EXPECT_EQ(deaths, 1);
  EXPECT_THAT(originator.passes, IsEmpty());
}

// --- Whether the comparison runs ---

TEST_F(Notification, AQuietDatasetWithoutObserversIsNotCompared) {
  id = AddDataset(registry, "A B", /*quiet=*/true);
  Append("C");
  EXPECT_THAT(Item()->Notifications(), IsEmpty());

  // If the first write had been compared, the observer would be notified only of D.
  RecordingObserver observer;
  Item()->Register(observer);
  Append("D");

  ASSERT_THAT(observer.passes, SizeIs(1));
  EXPECT_VARIABLE_MESSAGES(observer.passes[0], Inserted("A").AtEnd(), Inserted("B").AtEnd(),
                           Inserted("C").AtEnd(), Inserted("D").AtEnd());
}

TEST_F(Notification, ADatasetWithoutObserversIsNotComparedAfterItsCreationNotice) {
  ASSERT_TRUE(Item()->NotifiedCreation());
  Append("C");

  RecordingObserver observer;
  Item()->Register(observer);
  WriteNothing(registry, id);

  ASSERT_THAT(observer.passes, SizeIs(1));
  EXPECT_VARIABLE_MESSAGES(observer.passes[0], Inserted("A").AtEnd(), Inserted("B").AtEnd(),
                           Inserted("C").AtEnd());
}

TEST_F(Notification, ADatasetWithAPendingCreationNoticeIsComparedWithoutObservers) {
  id = registry.AddEmpty(/*quiet=*/false);
  Write(registry, id, [](SvrDMWriteableDataSource& writer) {
    writer.SetDataSet(support::Dictionary("A").release());
  });

  // The first write was compared, so the observer is notified only of B.
  RecordingObserver observer;
  Item()->Register(observer);
  Append("B");

  ASSERT_THAT(observer.passes, SizeIs(1));
  EXPECT_VARIABLE_MESSAGES(observer.passes[0], Inserted("B").AtEnd());
}

TEST_F(Notification, AWriteWithoutChangesNotifiesNobody) {
  RecordingObserver observer;
  Follow(observer);

  WriteNothing(registry, id);

  EXPECT_THAT(observer.passes, IsEmpty());
}

// --- Creation notices ---

TEST_F(Notification, AnEmptyDatasetHasOneCreationNoticeAfterAWriterSetASource) {
  RecordingRegistryObserver registryObserver;
  registry.Register(registryObserver);
  id = registry.AddEmpty(/*quiet=*/false);
  EXPECT_THAT(registryObserver.Created(), IsEmpty());

  Write(registry, id, [](SvrDMWriteableDataSource& writer) {
    writer.SetDataSet(support::Dictionary("A").release());
  });
  EXPECT_THAT(registryObserver.Created(), ElementsAre(id));

  Append("B");
  EXPECT_THAT(registryObserver.Created(), ElementsAre(id));
  registry.Unregister(registryObserver);
}

TEST_F(Notification, AQuietDatasetHasNoCreationNotice) {
  RecordingRegistryObserver registryObserver;
  registry.Register(registryObserver);
  id = registry.AddEmpty(/*quiet=*/true);

  Write(registry, id, [](SvrDMWriteableDataSource& writer) {
    writer.SetDataSet(support::Dictionary("A").release());
  });

  EXPECT_FALSE(Item()->NotifyDelete());
  EXPECT_FALSE(Item()->NotifiedCreation());
  EXPECT_THAT(registryObserver.notices, IsEmpty());
  registry.Unregister(registryObserver);
}

TEST_F(Notification, AnEmptyQueueSendsNoCreationNotice) {
  RecordingRegistryObserver registryObserver;
  registry.Register(registryObserver);
  id = registry.AddEmpty(/*quiet=*/false);
  // Updates the view: a missing source is compared as an empty source.
  WriteNothing(registry, id);

  Write(registry, id, [](SvrDMWriteableDataSource& writer) {
    writer.SetDataSet(support::Dictionary("").release());
  });

  EXPECT_FALSE(Item()->NotifiedCreation());
  EXPECT_THAT(registryObserver.notices, IsEmpty());
  registry.Unregister(registryObserver);
}

TEST_F(Notification, QueuedMessagesSendNoCreationNoticeWithoutASource) {
  int deaths = 0;
  id = registry.AddEmpty(/*quiet=*/false);

  Write(registry, id, [&](SvrDMWriteableDataSource& writer) {
    writer.AddNotification(new CountedMessage(deaths));
  });

  EXPECT_FALSE(Item()->NotifiedCreation());
  EXPECT_EQ(deaths, 1);
}

TEST_F(Notification, RegistryObserversAreNotifiedBeforeDatasetObservers) {
  std::string order;
  RecordingRegistryObserver registryObserver;
  registryObserver.onCreated = [&](auto) { order += "created "; };
  registry.Register(registryObserver);
  id = registry.AddEmpty(/*quiet=*/false);
  RecordingObserver observer;
  observer.reaction = [&](auto) { order += "changed "; };
  Item()->Register(observer);

  Write(registry, id, [](SvrDMWriteableDataSource& writer) {
    writer.SetDataSet(support::Dictionary("A").release());
  });

  EXPECT_EQ(order, "created changed ");
  registry.Unregister(registryObserver);
}

// The notification mutex is free while registry observers are notified.
TEST_F(Notification, ARegistryObserverMayRegisterADatasetObserverForTheSamePass) {
  RecordingObserver observer;
  RecordingRegistryObserver registryObserver;
  registryObserver.onCreated = [&](LocallyUniqueID created) {
    registry.GetDataSet(created)->Register(observer);
  };
  registry.Register(registryObserver);
  id = registry.AddEmpty(/*quiet=*/false);

  Write(registry, id, [](SvrDMWriteableDataSource& writer) {
    writer.SetDataSet(support::Dictionary("A").release());
  });

  ASSERT_THAT(observer.passes, SizeIs(1));
  EXPECT_VARIABLE_MESSAGES(observer.passes[0], Inserted("A").AtEnd());
  registry.Unregister(registryObserver);
}

TEST_F(Notification, SettingNotifiedCreationTwiceKeepsItSet) {
  SvrDMItem item(LocallyUniqueID(0, 1), nullptr, &registry, 0, "", /*notifyDelete=*/true);
  EXPECT_TRUE(item.NotifyDelete());
  EXPECT_FALSE(item.NotifiedCreation());

  item.SetNotifiedCreation();
  EXPECT_TRUE(item.NotifiedCreation());

  item.SetNotifiedCreation();
  EXPECT_TRUE(item.NotifiedCreation());
}

// --- The queue ---

TEST_F(Notification, TheQueueKeepsTheOrderAndIsEmptyAfterThePass) {
  int firstDeaths = 0, secondDeaths = 0;
  SvrDMItemPtr item = Item();
  {
    SvrDMWriteableDataSource writer(registry, id, false, nullptr);
    auto* const first = new CountedMessage(firstDeaths);
    auto* const second = new CountedMessage(secondDeaths);
    writer.AddNotification(first);
    writer.AddNotification(second);
    EXPECT_THAT(writer.GetNotifications(), ElementsAre(first, second));
    EXPECT_EQ(&writer.GetNotifications(), &item->Notifications());
    EXPECT_EQ(firstDeaths + secondDeaths, 0);
  }
  EXPECT_THAT(item->Notifications(), IsEmpty());
  EXPECT_EQ(firstDeaths, 1);
  EXPECT_EQ(secondDeaths, 1);
}

TEST_F(Notification, TheWritersMessagesComeFirst) {
  RecordingObserver observer;
  Follow(observer);

  Write(registry, id, [](SvrDMWriteableDataSource& writer) {
    writer->MakeVariable(Var("C"), nullptr);
    writer.AddNotification(new ResetUndoMsg());
  });

  ASSERT_THAT(observer.passes, SizeIs(1));
  ASSERT_GE(observer.passes[0].size(), 2U);
  observer.passes[0].resize(2);
  EXPECT_MESSAGES(observer.passes[0], ResetUndo(), Inserted("C").AtEnd());
}

TEST_F(Notification, AReplacedSourceIsReportedBeforeTheDifferences) {
  RecordingObserver observer;
  Follow(observer);

  Write(registry, id, [](SvrDMWriteableDataSource& writer) {
    writer.SetDataSet(support::Dictionary("A").release());
  });

  ASSERT_THAT(observer.passes, SizeIs(1));
  ASSERT_GE(observer.passes[0].size(), 2U);
  observer.passes[0].resize(2);
  EXPECT_MESSAGES(observer.passes[0], ResetUndo(), Deleted("B"));
}

TEST_F(Notification, TheWritersMessagesAreDeliveredWithoutOtherChanges) {
  RecordingObserver observer;
  Follow(observer);

  Write(registry, id,
        [](SvrDMWriteableDataSource& writer) { writer.AddNotification(new ResetUndoMsg()); });

  ASSERT_THAT(observer.passes, SizeIs(1));
  EXPECT_MESSAGES(observer.passes[0], ResetUndo());
}

TEST_F(Notification, TheWritersMessagesAreDeletedWithoutObservers) {
  int deaths = 0;
  id = AddDataset(registry, "A", /*quiet=*/true);

  Write(registry, id, [&](SvrDMWriteableDataSource& writer) {
    writer.AddNotification(new CountedMessage(deaths));
  });

  EXPECT_EQ(deaths, 1);
}

TEST_F(Notification, ANullMessageIsSkippedWhenTheQueueIsCleared) {
  int deaths = 0;
  SvrDMWriteableDataSource writer(registry, id, false, nullptr);
  writer.AddNotification(new CountedMessage(deaths));
  writer.AddNotification(nullptr);
  writer.AddNotification(new CountedMessage(deaths));
  ASSERT_THAT(writer.GetNotifications(), SizeIs(3));

  writer.ClearNotifications();

  EXPECT_THAT(writer.GetNotifications(), IsEmpty());
  EXPECT_EQ(deaths, 2);
}

TEST_F(Notification, ANullMessageIsDeliveredAsNull) {
  RecordingObserver observer;
  Follow(observer);

  Write(registry, id, [](SvrDMWriteableDataSource& writer) { writer.AddNotification(nullptr); });

  ASSERT_THAT(observer.passes, SizeIs(1));
  EXPECT_MESSAGES(observer.passes[0], support::NullMessage());
}

TEST_F(Notification, MessagesAreDeletedInTheOrderInWhichTheyWereQueued) {
  std::string order;
  struct Signing : CountedMessage {
    Signing(int& deaths, std::string& log, char letter)
        : CountedMessage(deaths), log_(log), letter_(letter) {}
    ~Signing() override { log_ += letter_; }
    std::string& log_;
    char letter_;
  };
  int deaths = 0;
  SvrDMItem item(LocallyUniqueID(0, 1), nullptr, nullptr, 0, "", false);
  for (const char letter : {'a', 'b', 'c'}) {
    item.AddNotification(new Signing(deaths, order, letter));
  }

  item.ClearNotifications();

  EXPECT_EQ(order, "abc");
}

TEST_F(Notification, QueuedMessagesAreDeletedWithTheDataset) {
  int deaths = 0;
  {
    SvrDMItem item(LocallyUniqueID(0, 1), nullptr, nullptr, 0, "", false);
    item.AddNotification(new CountedMessage(deaths));
    item.AddNotification(nullptr);
  }
  EXPECT_EQ(deaths, 1);
}

// --- What observers may do, and what they must not do ---

TEST_F(Notification, AnObserverReadsTheChangedSourceThroughTheWriter) {
  RecordingObserver observer;
  Follow(observer);
  std::string seen;
  observer.reaction = [&](SvrDMWriteableDataSource const* writer) {
    seen = support::Names(*writer->GetDataSource());
  };

  Append("C");

  EXPECT_EQ(seen, "A B C");
}

TEST_F(Notification, AnObserverMayDeleteTheDatasetFromTheRegistry) {
  RecordingObserver deleting, other;
  Follow(deleting);
  Follow(other);
  deleting.reaction = [&](auto) { registry.Delete(id); };

  Append("C");

  EXPECT_THAT(registry.GetAllDatasets(), IsEmpty());
  EXPECT_THAT(other.passes, SizeIs(1));
}

TEST_F(Notification, AnObserverMayAddAndDeleteOtherDatasets) {
  const LocallyUniqueID doomed = AddDataset(registry, "X");
  LocallyUniqueID added;
  RecordingObserver observer;
  Follow(observer);
  observer.reaction = [&](auto) {
    registry.Delete(doomed);
    added = AddDataset(registry, "Y");
  };

  Append("C");

  EXPECT_THAT(registry.GetAllDatasets(), SizeIs(2));
  EXPECT_TRUE(registry.GetDataSet(added).IsValid());
}

TEST_F(Notification, AnObserverMayWriteToAnotherDataset) {
  const LocallyUniqueID copy = AddDataset(registry, "A B");
  RecordingObserver copying, follower;
  Follow(copying);
  registry.GetDataSet(copy)->Register(follower);
  copying.reaction = [&](SvrDMWriteableDataSource const* writer) {
    SvrDMWriteableDataSource other(registry, copy, false, nullptr);
    other->CopyDictionary(**writer);
  };

  Append("C");

  ASSERT_THAT(follower.passes, SizeIs(1));
  EXPECT_EQ(support::Names(*registry.GetDataSet(copy)->DataSource()), "A B C");
}

TEST_F(Notification, AMessageQueuedByAnObserverReachesLaterObservers) {
  int deaths = 0;
  RecordingObserver before, queueing, behind;
  Follow(before);
  Follow(queueing);
  Follow(behind);
  before.passes.clear();
  queueing.reaction = [&](auto) { Item()->AddNotification(new CountedMessage(deaths)); };

  Append("C");

  ASSERT_THAT(before.passes, SizeIs(1));
  ASSERT_THAT(behind.passes, SizeIs(1));
  EXPECT_EQ(behind.passes[0].size(), before.passes[0].size() + 1);
  EXPECT_EQ(deaths, 1);
  EXPECT_THAT(Item()->Notifications(), IsEmpty());
}

TEST_F(Notification, AnObserversExceptionReleasesTheMutexAndKeepsTheQueue) {
  RecordingObserver throwing, behind;
  Follow(throwing);
  Follow(behind);
  throwing.reaction = [](auto) { throw std::runtime_error("observer"); };
  SvrDMItemPtr item = Item();
  SvrDMWriteableDataSource writer(registry, id, false, nullptr);
  writer->MakeVariable(Var("C"), nullptr);

  EXPECT_THROW(writer.Notify(), std::runtime_error);

  EXPECT_THAT(behind.passes, IsEmpty());
  EXPECT_VARIABLE_MESSAGES(item->Notifications(), Inserted("C").AtEnd());
  // This call would deadlock if the notification mutex were still held.
  item->Unregister(throwing);
  writer.Notify();
  EXPECT_THAT(behind.passes, SizeIs(1));
  EXPECT_THAT(item->Notifications(), IsEmpty());
}

TEST_F(Notification, AWriterMayNotifyEarlyAndAgainWhenReleased) {
  RecordingObserver observer;
  Follow(observer);
  {
    SvrDMWriteableDataSource writer(registry, id, false, nullptr);
    writer->MakeVariable(Var("C"), nullptr);
    writer.Notify();
    EXPECT_THAT(observer.passes, SizeIs(1));
    writer->MakeVariable(Var("D"), nullptr);
  }
  ASSERT_THAT(observer.passes, SizeIs(2));
  EXPECT_VARIABLE_MESSAGES(observer.passes[0], Inserted("C").AtEnd());
  EXPECT_VARIABLE_MESSAGES(observer.passes[1], Inserted("D").AtEnd());
}

// --- Bulk replacement ---

TEST_F(Notification, ABulkReplacementCanBeCancelled) {
  RecordingObserver observer;
  Follow(observer);

  Write(registry, id, [&](SvrDMWriteableDataSource& writer) {
    writer.BulkVarMoves();
    Item()->BulkVarMoves(false);
    writer->MakeVariable(Var("C"), nullptr);
  });

  ASSERT_THAT(observer.passes, SizeIs(1));
  EXPECT_VARIABLE_MESSAGES(observer.passes[0], Inserted("C").AtEnd());
}

// --- The end of the process ---

using NotificationDeathTest = Notification;

TEST_F(NotificationDeathTest, AnObserverThatThrowsWhenAWriterIsReleasedEndsTheProcess) {
  RecordingObserver throwing;
  Follow(throwing);
  throwing.reaction = [](auto) { throw std::runtime_error("the observer's fault"); };

  EXPECT_DEATH(Append("C"), "the observer's fault");
}

TEST_F(NotificationDeathTest, ARegistryObserverThatThrowsWhenAWriterIsReleasedEndsTheProcess) {
  RecordingRegistryObserver throwing;
  registry.Register(throwing);
  throwing.onCreated = [](auto) { throw std::runtime_error("the listener's fault"); };
  id = registry.AddEmpty(/*quiet=*/false);
  const auto giveSource = [](SvrDMWriteableDataSource& writer) {
    writer.SetDataSet(support::Dictionary("A").release());
  };

  EXPECT_DEATH(Write(registry, id, giveSource), "the listener's fault");
  registry.Unregister(throwing);
}

}  // namespace
