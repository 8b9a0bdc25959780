// Tests the registry, used by several threads.

#include <libdatasrc/ORVX_DataSourceFilterHook.h>
#include <libdatasrc/SystemFileDataSource.h>
#include <liborvxdemg/ErrorMsg.h>
#include <libplatdep/mbstricmp.h>
#include <ServerDataManager/serverdatamgr.h>
#include <ServerDataManager/SvrDMInputDataSource.h>
#include <ServerDataManager/SvrDMWriteableDataSource.h>
#include <tests/concurrency/MeetingPoint.h>
#include <tests/support/Datasets.h>
#include <tests/support/Observers.h>
#include <tests/support/WatchedThread.h>
#include <tests/unit/saved_files.h>

#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <latch>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace {

using support::AddDataset;
using support::RecordingObserver;
using support::RecordingRegistryObserver;
using support::WatchedThread;
using testing::ElementsAre;
using testing::EndsWith;
using testing::IsEmpty;
using testing::SizeIs;

bool IsKnown(const ServerDataManager& registry, LocallyUniqueID id) {
  try {
    return registry.GetDataSet(id)->ID() == id;
  } catch (const ErrorMsg& error) {
    EXPECT_EQ(error.GetCode(), 2001U);
    return false;
  }
}

// Both threads start every round together. Each thread looks up the last dataset of the other
// thread, which may be deleting it at that moment.
TEST(RegistryThreads, TwoThreadsAddFindAndDelete) {
  constexpr int kRounds = 400;
  ServerDataManager registry;
  RecordingRegistryObserver observer;
  registry.Register(observer);
  MeetingPoint round(2);
  std::atomic<unsigned int> shown[2] = {};
  std::vector<LocallyUniqueID> added[2];

  const auto use = [&](std::size_t self) {
    for (int i = 0; i < kRounds; ++i) {
      round.Meet();
      const LocallyUniqueID id = AddDataset(registry, "A B");
      added[self].push_back(id);
      shown[self] = id.Serial();
      EXPECT_TRUE(IsKnown(registry, id));
      static_cast<void>(IsKnown(registry, LocallyUniqueID(0, shown[1 - self])));
      EXPECT_LE(registry.GetAllDatasets().size(), 2U);
      registry.Delete(id);
      EXPECT_FALSE(IsKnown(registry, id));
    }
  };
  std::thread other([&] { use(1); });
  use(0);
  other.join();

  EXPECT_THAT(registry.GetAllDatasets(), IsEmpty());
  std::set<LocallyUniqueID> all(added[0].begin(), added[0].end());
  all.insert(added[1].begin(), added[1].end());
  EXPECT_THAT(all, SizeIs(2 * kRounds)) << "an identifier was given out twice";
  EXPECT_THAT(observer.Created(), SizeIs(2 * kRounds));
  EXPECT_THAT(observer.Deleted(), SizeIs(2 * kRounds));
  registry.Unregister(observer);
}

// A thread creates a reader. Then the registry deletes the dataset, and then the thread releases
// the reader.
TEST(RegistryThreads, ADatasetWithAReaderOutlivesItsDeletion) {
  int deaths = 0;
  ServerDataManager registry;
  const LocallyUniqueID id = registry.Add(*new support::CountedSource(deaths), "", /*quiet=*/false);
  std::latch reading(1), deleted(1);

  std::thread reader([&] {
    const SvrDMInputDataSource handle(registry, id, false);
    reading.count_down();
    deleted.wait();
    EXPECT_EQ(handle->ColumnCount(), 0);
    EXPECT_EQ(deaths, 0);
  });
  reading.wait();
  registry.Delete(id);
  deleted.count_down();
  reader.join();

  EXPECT_EQ(deaths, 1);
}

// The constructor of a handle holds the registry lock only while it looks up the dataset. Then it
// waits for the dataset's lock.
TEST(RegistryThreads, WaitingForADatasetDoesNotBlockTheRegistry) {
  ServerDataManager registry;
  const LocallyUniqueID id = AddDataset(registry, "A");
  auto writer = std::make_unique<SvrDMWriteableDataSource>(registry, id, false, nullptr);
  WatchedThread reading([&] { const SvrDMInputDataSource handle(registry, id, false); });
  WatchedThread writing(
      [&] { const SvrDMWriteableDataSource handle(registry, id, false, nullptr); });
  EXPECT_TRUE(reading.Waits());
  EXPECT_TRUE(writing.Waits());

  WatchedThread elsewhere([&] {
    const LocallyUniqueID another = AddDataset(registry, "B");
    EXPECT_TRUE(IsKnown(registry, another));
    EXPECT_THAT(registry.GetAllDatasets(), SizeIs(2));
    registry.Delete(another);
  });
  EXPECT_FALSE(elsewhere.Waits());

  writer.reset();
}

struct NamedCall {
  std::string name;
  std::function<void()> call;
};

// The observer blocks the notice until every other thread sleeps waiting for the registry lock.
TEST(RegistryThreads, OtherThreadsWaitWhileRegistryObserversAreNotified) {
  ServerDataManager registry;
  const LocallyUniqueID id = AddDataset(registry, "A", /*quiet=*/true);
  RecordingRegistryObserver observer, another;
  registry.Register(observer);
  const std::vector<NamedCall> calls = {
      {"Add", [&] { AddDataset(registry, "A", /*quiet=*/true); }},
      {"AddEmpty", [&] { registry.AddEmpty(/*quiet=*/true); }},
      {"GetDataSet by identifier", [&] { registry.GetDataSet(id); }},
      {"GetDataSet by handle", [&] { registry.GetDataSet("nobody"); }},
      {"GetAllDatasets", [&] { registry.GetAllDatasets(); }},
      {"SavFileExternallyChanged", [&] { registry.SavFileExternallyChanged("nothing"); }},
      {"Delete", [&] { registry.Delete(LocallyUniqueID()); }},
      {"Password", [&] { registry.Password(LocallyUniqueID(), "secret", false); }},
      {"Register", [&] { registry.Register(another); }},
      {"Unregister", [&] { registry.Unregister(another); }},
  };
  std::vector<std::unique_ptr<WatchedThread>> threads;
  observer.onCreated = [&](auto) {
    for (const NamedCall& operation : calls) {
      threads.push_back(std::make_unique<WatchedThread>(operation.call));
      EXPECT_TRUE(threads.back()->Waits()) << operation.name;
    }
  };

  AddDataset(registry, "B");
  threads.clear();

  EXPECT_THAT(observer.Created(), SizeIs(1));
  EXPECT_THAT(registry.GetAllDatasets(), SizeIs(4));
}

// Each notice is blocked until another thread sleeps waiting for the registry lock.
TEST(RegistryThreads, OtherThreadsWaitDuringTheNoticesOfEveryOperation) {
  ServerDataManager registry;
  const LocallyUniqueID written = registry.AddEmpty(/*quiet=*/false);
  SvrDMItemPtr given = registry.GetDataSet(registry.AddEmpty(/*quiet=*/false));
  given->SetDataSet(support::Dictionary("A").release());
  const LocallyUniqueID chosen(2, 7);
  RecordingRegistryObserver observer;
  registry.Register(observer);
  std::vector<std::unique_ptr<WatchedThread>> threads;
  std::string operation;
  observer.onCreated = observer.onDeleted = [&](auto) {
    threads.push_back(std::make_unique<WatchedThread>([&] { registry.GetAllDatasets(); }));
    EXPECT_TRUE(threads.back()->Waits()) << operation;
  };
  const std::vector<NamedCall> operations = {
      {"release of a writer",
       [&] {
         support::Write(registry, written, [](SvrDMWriteableDataSource& writer) {
           writer.SetDataSet(support::Dictionary("A").release());
         });
       }},
      {"NotifyCreate", [&] { registry.NotifyCreate(*given); }},
      {"Add with an identifier",
       [&] { registry.Add(*support::Dictionary("A").release(), "", false, chosen, 0); }},
      {"Add in place of a dataset",
       [&] { registry.Add(*support::Dictionary("A").release(), "", false, chosen, 0); }},
      {"Clear", [&] { registry.Clear(); }},
  };

  for (const NamedCall& next : operations) {
    operation = next.name;
    next.call();
    threads.clear();
  }

  EXPECT_THAT(observer.Created(), ElementsAre(written, given->ID(), chosen, chosen));
  EXPECT_THAT(observer.Deleted(), ElementsAre(chosen, chosen, given->ID(), written));
}

// A hook that calls `asked` and returns the source unchanged.
class AskedHook : public ORVX_DataSourceFilterHook {
 public:
  ORVX_DataSource* FilterDataSource(ORVX_DataSource* source) override {
    asked();
    return source;
  }

  std::function<void()> asked;
};

// The hook blocks each Add before it adds the new dataset. At that point, Add has already generated
// the identifier of the new dataset. If the caller gave an identifier, Add has instead deleted the
// old dataset with this identifier.
TEST(RegistryThreads, OtherThreadsWaitDuringAdd) {
  ServerDataManager registry;
  AskedHook hook;
  registry.RegisterFilter(&hook);
  std::vector<std::unique_ptr<WatchedThread>> threads;
  std::string operation;
  hook.asked = [&] {
    threads.push_back(std::make_unique<WatchedThread>([&] { registry.GetAllDatasets(); }));
    EXPECT_TRUE(threads.back()->Waits()) << operation;
  };
  ORVX_DataSource* (*const source)() = [] {
    return static_cast<ORVX_DataSource*>(support::Dictionary("A").release());
  };
  const std::vector<NamedCall> operations = {
      {"Add", [&] { registry.Add(*source(), "", true); }},
      {"Add with a password", [&] { registry.Add(*source(), "", "secret", false, true); }},
      {"Add with an identifier",
       [&] { registry.Add(*source(), "", true, LocallyUniqueID(0, 0), 0); }},
  };

  for (const NamedCall& next : operations) {
    operation = next.name;
    next.call();
  }

  EXPECT_THAT(threads, SizeIs(3));
  threads.clear();
}

// Each call is made on its own thread while the hook runs under the registry lock. The calls must
// not wait for that lock.
TEST(RegistryThreads, NeitherNotifyCreateWithoutANoticeNorRegisterFilterTakesTheRegistryLock) {
  ServerDataManager registry;
  AskedHook hook, another;
  RecordingRegistryObserver observer;
  registry.Register(observer);
  SvrDMItemPtr announced = registry.GetDataSet(AddDataset(registry, "A"));
  registry.Delete(announced->ID());
  SvrDMItemPtr quiet = registry.GetDataSet(AddDataset(registry, "A", /*quiet=*/true));
  SvrDMItemPtr empty = registry.GetDataSet(registry.AddEmpty(/*quiet=*/false));
  registry.Delete(empty->ID());
  registry.RegisterFilter(&hook);
  const std::vector<NamedCall> calls = {
      {"NotifyCreate of a quiet dataset", [&] { registry.NotifyCreate(*quiet); }},
      {"NotifyCreate of one that was announced", [&] { registry.NotifyCreate(*announced); }},
      {"NotifyCreate of one without a source", [&] { registry.NotifyCreate(*empty); }},
      {"Clear of quiet datasets", [&] { registry.Clear(); }},
      {"RegisterFilter", [&] { registry.RegisterFilter(&another); }},
  };
  std::vector<std::unique_ptr<WatchedThread>> threads;
  hook.asked = [&] {
    threads.push_back(std::make_unique<WatchedThread>([&] { registry.GetDataSet("nobody"); }));
    EXPECT_TRUE(threads.back()->Waits()) << "the lock is not held";
    for (const NamedCall& operation : calls) {
      threads.push_back(std::make_unique<WatchedThread>(operation.call));
      EXPECT_FALSE(threads.back()->Waits()) << operation.name;
    }
  };

  AddDataset(registry, "B", /*quiet=*/true);

  EXPECT_THAT(threads, SizeIs(calls.size() + 1));
}

// While an observer blocks the creation notice of another dataset, one thread releases a writer and
// waits for the registry lock. Then another thread calls NotifyCreate, which may wait or return.
TEST(RegistryThreads, AConcurrentPassAndNotifyCreateSendOneCreationNotice) {
  ServerDataManager registry;
  const LocallyUniqueID id = registry.AddEmpty(/*quiet=*/false);
  SvrDMItemPtr item = registry.GetDataSet(id);
  RecordingRegistryObserver observer;
  registry.Register(observer);
  std::unique_ptr<WatchedThread> releasing, calling;
  observer.onCreated = [&](LocallyUniqueID created) {
    if (created == id) return;
    releasing = std::make_unique<WatchedThread>([&] {
      SvrDMWriteableDataSource(item, /*tryOnly=*/false, nullptr)
          .SetDataSet(support::Dictionary("A").release());
    });
    EXPECT_TRUE(releasing->Waits());
    calling = std::make_unique<WatchedThread>([&] { registry.NotifyCreate(*item); });
    calling->Waits();
  };

  const LocallyUniqueID other = AddDataset(registry, "B");
  releasing.reset();
  calling.reset();

  EXPECT_THAT(observer.Created(), ElementsAre(other, id));
}

// For the thread sanitizer. A pass that reports a file specification also sets the file name of the
// dataset.
TEST(RegistryThreads, ANotificationPassSetsAFileNameWhileAnotherThreadComparesIt) {
  constexpr int kRounds = 200;
  ServerDataManager registry;
  const TemporaryFolder folder;
  const LocallyUniqueID id =
      registry.Add(*SystemFileDataSource::Open(folder.Write("survey.tsv")).release(), "survey.tsv",
                   /*quiet=*/true);
  RecordingObserver observer;
  registry.GetDataSet(id)->Register(observer);
  MeetingPoint round(2);

  std::thread adding([&] {
    for (int i = 0; i < kRounds; ++i) {
      round.Meet();
      registry.Delete(AddDataset(registry, "A", /*quiet=*/true));
      registry.SavFileExternallyChanged("survey.tsv");
      EXPECT_THAT(SvrDMDataset(registry, id).GetFileName(), EndsWith("survey.tsv"));
    }
  });
  for (int i = 0; i < kRounds; ++i) {
    round.Meet();
    support::Write(registry, id, [&](SvrDMWriteableDataSource& writer) {
      writer->SetFileSpec((std::to_string(i) + "survey.tsv").c_str());
    });
  }
  adding.join();

  EXPECT_THAT(registry.GetDataSet(id)->FileName(), std::to_string(kRounds - 1) + "survey.tsv");
}

// For the thread sanitizer. Both threads access the handle name under the leaf lock, which guards
// the names of all datasets.
TEST(RegistryThreads, AHandleNameIsSetWhileAnotherThreadFindsDatasetsByHandleName) {
  constexpr int kRounds = 200;
  ServerDataManager registry;
  const LocallyUniqueID id = AddDataset(registry, "A");
  SvrDMDataset handle(registry, id);
  handle.SetHandle("somebody");
  MeetingPoint round(2);

  std::thread finding([&] {
    for (int i = 0; i < kRounds; ++i) {
      round.Meet();
      EXPECT_FALSE(registry.GetDataSet("nobody").IsValid());
      EXPECT_THAT(SvrDMDataset(registry, id).GetHandle(), EndsWith("somebody"));
    }
  });
  for (int i = 0; i < kRounds; ++i) {
    round.Meet();
    handle.SetHandle(std::to_string(i) + "somebody");
  }
  finding.join();

  EXPECT_EQ(registry.GetDataSet("199somebody")->ID(), id);
}

// In each round, one thread renames the datasets that existed when the round started, while another
// adds, deletes, finds and renames datasets. After each round, the registry must find the first
// dataset with each name, like a search of the whole list.
TEST(RegistryThreads, NamesAreSetWhileAnotherThreadAddsDeletesAndFinds) {
  constexpr unsigned int kRounds = 100, kDatasets = 40;
  const std::vector<std::string> names = {"", "a", "A", "b", "B", "survey", "SURVEY"};
  ServerDataManager registry;
  for (unsigned int i = 0; i < kDatasets; ++i) registry.AddEmpty(/*quiet=*/true);
  std::vector<SvrDMDataset> atStart;  // of the round
  MeetingPoint round(2);
  const auto rename = [&](std::vector<SvrDMDataset> datasets, unsigned int step) {
    for (std::size_t i = 0; i < datasets.size(); ++i) {
      datasets[i].SetHandle(names[(i * step + step) % names.size()]);
      datasets[i].SetFileName(names[(i + step * step) % names.size()]);
    }
  };
  const auto checkAll = [&] {
    for (const std::string& name : names) {
      const std::vector<SvrDMDataset> all = registry.GetAllDatasets();
      const auto first = std::find_if(all.begin(), all.end(), [&](const SvrDMDataset& each) {
        return _ORVXMBstricmp_A(each.GetHandle().c_str(), name.c_str()) == 0;
      });
      const SvrDMItemPtr found = registry.GetDataSet(name);
      ASSERT_EQ(found.IsValid(), first != all.end()) << name;
      if (found.IsValid()) {
        EXPECT_EQ(found->ID(), first->GetDataSetID()) << name;
      }
    }
  };

  std::thread renaming([&] {
    for (unsigned int i = 0; i < kRounds; ++i) {
      round.Meet();
      rename(atStart, i);
      round.Meet();
    }
  });
  for (unsigned int i = 0; i < kRounds; ++i) {
    atStart = registry.GetAllDatasets();
    round.Meet();
    for (unsigned int next = 0; next < 4; ++next) {
      const LocallyUniqueID id =
          registry.Add(nullptr, names[(i + next) % names.size()], /*quiet=*/true);
      EXPECT_EQ(registry.GetDataSet(id)->ID(), id);
      registry.Delete(LocallyUniqueID(0, 4 * i + next));
      static_cast<void>(registry.GetDataSet(names[next]));
    }
    rename(registry.GetAllDatasets(), i + 1);
    round.Meet();
    checkAll();
  }
  renaming.join();
}

// The observer blocks the pass until the other threads sleep waiting for the notification mutex.
TEST(RegistryThreads, RegisterAndUnregisterWaitWhileObserversAreNotified) {
  ServerDataManager registry;
  const LocallyUniqueID id = AddDataset(registry, "A");
  const auto dataset = [&] { return SvrDMDataset(registry, id); };
  RecordingObserver holding, coming, leaving;
  dataset().Register(holding);
  dataset().Register(leaving);
  std::vector<std::unique_ptr<WatchedThread>> threads;
  holding.reaction = [&](auto) {
    threads.push_back(std::make_unique<WatchedThread>([&] { dataset().Register(coming); }));
    EXPECT_TRUE(threads.back()->Waits());
    threads.push_back(std::make_unique<WatchedThread>([&] { dataset().Unregister(leaving); }));
    EXPECT_TRUE(threads.back()->Waits());
  };

  support::WriteNothing(registry, id);
  threads.clear();
  holding.reaction = nullptr;
  support::Write(registry, id, [](SvrDMWriteableDataSource& writer) {
    writer->GetVariable(0).SetLabel("changed");
  });

  EXPECT_THAT(holding.passes, SizeIs(2));
  EXPECT_THAT(leaving.passes, SizeIs(1));
  EXPECT_THAT(coming.passes, SizeIs(1));
}

// In every round, one thread writes while the other thread repeatedly registers and unregisters an
// observer.
TEST(RegistryThreads, ObserversRegisterAndUnregisterWhileAnotherThreadWrites) {
  constexpr int kRounds = 200;
  ServerDataManager registry;
  const LocallyUniqueID id = AddDataset(registry, "A");
  RecordingObserver steady, fleeting;
  registry.GetDataSet(id)->Register(steady);
  MeetingPoint round(2);

  std::thread registering([&] {
    SvrDMDataset handle(registry, id);
    for (int i = 0; i < kRounds; ++i) {
      round.Meet();
      for (int times = 0; times < 10; ++times) {
        handle.Register(fleeting);
        handle.Register(fleeting);
        handle.Unregister(fleeting);
      }
    }
  });
  for (int i = 0; i < kRounds; ++i) {
    round.Meet();
    support::Write(registry, id, [&](SvrDMWriteableDataSource& writer) {
      writer->GetVariable(0).SetLabel(std::to_string(i));
    });
  }
  registering.join();

  EXPECT_THAT(steady.passes, SizeIs(kRounds));
  EXPECT_LE(fleeting.passes.size(), 2U * kRounds);
}

}  // namespace
