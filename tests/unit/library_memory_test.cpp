// The library when memory runs out: the public operations of ServerDataManager/ that allocate, and
// some that must not. For the notification pass see failed_pass_test, for CloneSource see
// clone_source_memory_test.

#include <libdatasrc/MemoryDataSource.h>
#include <libdatasrc/OBS.h>
#include <libdatasrc/ObsIterator.h>
#include <libdatasrc/ORVX_DataSourceFilterHook.h>
#include <liborvxdemg/ResetUndoMsg.h>
#include <PackageProxy/PackageProxy.h>
#include <ServerDataManager/LockMonitor.h>
#include <ServerDataManager/SaveDataset.h>
#include <ServerDataManager/ServerDataManagerObserver.h>
#include <ServerDataManager/serverdatamgr.h>
#include <ServerDataManager/SvrBootstrapSpecs.h>
#include <ServerDataManager/SvrBootstrapSpecsSerializer.h>
#include <ServerDataManager/SvrDMCloneDataSource.h>
#include <ServerDataManager/SvrDMDataSetObserver.h>
#include <tests/support/BootstrapRecords.h>
#include <tests/support/Datasets.h>
#include <tests/support/FullMemory.h>
#include <tests/support/Observers.h>
#include <tests/support/OutOfMemory.h>
#include <tests/unit/saved_files.h>

#include <pthread.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <limits>
#include <memory>
#include <new>
#include <sstream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

using support::All;
using support::BytesOf;
using support::Changes;
using support::ExpectNoAllocations;
using support::ExpectSafeWithoutMemory;
using support::FullBootstrapSpecs;
using support::kLong;
using support::Operation;
using support::Returns;
using support::Trial;

const std::string kOther = "another " + kLong;

// --- A registry ---

// A source that keeps the number of existing sources of this class in `living`.
class LivingSource : public DataFreeDataSource {
 public:
  explicit LivingSource(int& living, ORVX_DataSource* parent = nullptr)
      : DataFreeDataSource(parent), living_(living) {
    ++living_;
  }
  ~LivingSource() override { --living_; }

 private:
  int& living_;
};

// Returns a source with a variable, a label and a parent.
std::unique_ptr<ORVX_DataSource> Chain(int& living) {
  auto source = std::make_unique<LivingSource>(living);
  source->MakeVariable(support::Var("A"), nullptr);
  source->SetLabel(kLong.c_str());
  source->SetParentSource(std::make_unique<LivingSource>(living).release());
  return source;
}

void DeleteChain(const ORVX_DataSource* source) {
  while (source != nullptr) {
    const std::unique_ptr<const ORVX_DataSource> owned(source);
    source = owned->GetParentSource();
  }
}

class Watcher : public ServerDataManagerObserver {
 public:
  void DataSetCreated(const LocallyUniqueID&, const std::string&) override { ++created; }
  void DataSetDeleted(const LocallyUniqueID&) override { ++deleted; }
  int created = 0;
  int deleted = 0;
};

class Proxy : public PackageProxy {
 public:
  short SendMessage(int, VSerializable*) override { return ++sent; }
  short sent = 0;
};

// While `on` is true, makes every source the parent of a new source.
class Wrapper : public ORVX_DataSourceFilterHook {
 public:
  explicit Wrapper(int& living) : living_(living) {}
  ORVX_DataSource* FilterDataSource(ORVX_DataSource* source) override {
    return on ? wrapped = new LivingSource(living_, source) : source;
  }
  bool on = false;
  ORVX_DataSource* wrapped = nullptr;

 private:
  int& living_;
};

// A registry with an observer and three datasets: the first has a data source and a file name, the
// second has no data source, and the creation notice of the third is pending.
struct World {
  World() {
    registry.Register(watcher);
    registry.RegisterFilter(&wrapper);
    first = registry.Add(Chain(living), kLong, /*quiet=*/false);
    second = registry.AddEmpty(/*quiet=*/false);
    third = registry.AddEmpty(/*quiet=*/false);
    item = registry.GetDataSet(third);
    item->SetDataSet(std::make_unique<LivingSource>(living));
    item = registry.GetDataSet(first);
  }

  // Uses the registry on another thread, which would wait forever if this thread held the registry
  // lock.
  void ExpectOpenToOtherThreads() {
    pthread_t thread;
    const auto use = [](void* opened) -> void* {
      static_cast<const ServerDataManager*>(opened)->GetAllDatasets();
      return opened;
    };
    ASSERT_EQ(pthread_create(&thread, nullptr, use, &registry), 0);
    void* through = nullptr;
    pthread_join(thread, &through);
    EXPECT_EQ(through, &registry);
  }

  int living = 0;  // existing sources
  Watcher watcher;
  Wrapper wrapper{living};
  support::SilentObserver listener;
  Proxy proxy;
  ServerDataManager registry;
  LocallyUniqueID first, second, third;
  SvrDMItemPtr item{nullptr};  // the first dataset
};

// Formats the datasets without their identifiers, because a failed Add may use up an identifier.
std::string TextOf(const World& world) {
  std::ostringstream text;
  for (const SvrDMDataset& dataset : world.registry.GetAllDatasets()) {
    text << "handle \"" << dataset.GetHandle() << "\" file \"" << dataset.GetFileName()
         << "\" suppressed \"" << dataset.SuppressedFileName() << "\" password \""
         << dataset.GetPassword() << "\" " << dataset.GetPasswordMangled() << " source "
         << dataset.HasDataSource() << " sequence " << dataset.GetCaseSequence() << '\n';
  }
  text << world.living << " sources, " << world.watcher.created << " creations, "
       << world.watcher.deleted << " deletions, " << world.proxy.sent << " reports";
  return text.str();
}

Operation Use(const std::string& name, const std::function<void(World&)>& use) {
  const auto prepare = [=] {
    const auto world = std::make_shared<World>();
    return Trial{[=] { use(*world); }, [=] { return TextOf(*world); },
                 [=] { world->ExpectOpenToOtherThreads(); }};
  };
  return {name, prepare};
}

// Passes new chains to an operation that takes ownership between two of its allocations. If an
// earlier allocation fails, the caller still owns the chain; if a later allocation fails, the
// operation deletes the chain. Expects failures of both kinds.
class Giver {
 public:
  ~Giver() {
    EXPECT_GT(lastKept_, 0);
    EXPECT_EQ(firstDeleted_, lastKept_ + 1);
  }

  // If a hook adds a source in front of the chain, the hook sets `front` to this source. Otherwise
  // `front` stays null.
  void Give(int& living, ORVX_DataSource* const& front,
            const std::function<void(ORVX_DataSource&)>& take) {
    const int before = living;
    ORVX_DataSource* const source = Chain(living).release();
    const long taken = support::heap.taken;
    try {
      take(*source);
    } catch (const std::bad_alloc&) {
      const long failed = support::heap.taken - taken;
      if (living == before) {
        firstDeleted_ = std::min(firstDeleted_, failed);
      } else {
        lastKept_ = std::max(lastKept_, failed);
        DeleteChain(front != nullptr ? front : source);
      }
      throw;
    }
  }

 private:
  // Numbers of failed allocations, from 1: the last failure that left the chain to the caller, and
  // the first failure that deleted the chain.
  long lastKept_ = 0;
  long firstDeleted_ = std::numeric_limits<long>::max();
};

Operation AddByReference(const std::string& name,
                         const std::function<void(World&, ORVX_DataSource&)>& add) {
  return Use("Add by reference" + name, [=, giver = std::make_shared<Giver>()](World& world) {
    world.wrapper.wrapped = nullptr;
    giver->Give(world.living, world.wrapper.wrapped,
                [&](ORVX_DataSource& source) { add(world, source); });
  });
}

const LocallyUniqueID kOwnID(1, 1);

std::vector<Operation> Additions() {
  return {
      Use("Add", [](auto& w) { w.registry.Add(Chain(w.living), kOther, false); }),
      Use("Add with a file name in use",
          [](auto& w) { w.registry.Add(Chain(w.living), kLong, false); }),
      Use("Add with a password",
          [](auto& w) { w.registry.Add(Chain(w.living), "", kLong, true, false); }),
      Use("Add with an identifier",
          [](auto& w) { w.registry.Add(Chain(w.living), kOther, false, kOwnID, 7); }),
      AddByReference("", [](auto& w, auto& s) { w.registry.Add(s, kOther, false); }),
      AddByReference(" with a password",
                     [](auto& w, auto& s) { w.registry.Add(s, kLong, kLong, true, false); }),
      AddByReference(" with an identifier",
                     [](auto& w, auto& s) { w.registry.Add(s, kLong, false, kOwnID, 7); }),
      AddByReference(" with a hook",
                     [](auto& w, auto& s) {
                       w.wrapper.on = true;
                       w.registry.Add(s, kOther, false);
                     }),
      Use("AddEmpty", [](auto& w) { w.registry.AddEmpty(false); }),
  };
}

TEST(LibraryMemory, AddRegistersNothingIfItThrows) {
  ExpectSafeWithoutMemory(Additions());
}

TEST(LibraryMemory, OperationsOfTheRegistryChangeNothingIfTheyThrow) {
  ExpectSafeWithoutMemory({
      Use("Password", [](auto& w) { w.registry.Password(w.first, kLong, true); }),
      Use("Register",
          [](auto& w) {
            Watcher another;
            w.registry.Register(another);
            w.registry.Unregister(another);
          }),
      Use("Delete", [](auto& w) { w.registry.Delete(w.second); }),
      Use("GetAllDatasets", [](auto& w) { w.registry.GetAllDatasets(); }),
      Use("ServerDataManager", [](auto&) { ServerDataManager(); }),
      Use("NotifyCreate",
          [](auto& w) {
            SvrDMItemPtr unannounced = w.registry.GetDataSet(w.third);
            w.registry.NotifyCreate(*unannounced);
          }),
  });
}

TEST(LibraryMemory, OperationsOfADatasetChangeNothingIfTheyThrow) {
  ExpectSafeWithoutMemory({
      Use("SetHandle", [](auto& w) { SvrDMDataset(w.item).SetHandle(kLong); }),
      Use("SetFileName", [](auto& w) { SvrDMDataset(w.item).SetFileName(kOther); }),
      Use("SuppressedFileName", [](auto& w) { SvrDMDataset(w.item).SuppressedFileName(kLong); }),
      Use("SetPassword", [](auto& w) { SvrDMDataset(w.item).SetPassword(kLong, true); }),
      Use("Register",
          [](auto& w) {
            SvrDMDataset dataset(w.item);
            dataset.Register(w.listener);
            dataset.Unregister(w.listener);
          }),
      Use("LockSavFileInUse", [](auto& w) { SvrDMDataset(w.item).LockSavFileInUse(); }),
      Use("Report",
          [](auto& w) {
            w.item->InitializeErrorMonitor(&w.proxy);
            w.item->GetErrorMonitor().Report(ErrorText(kLong, ErrorText::kError));
          }),
      Use("SvrDMItem",
          [](auto& w) {
            auto source = std::make_unique<LivingSource>(w.living);
            const SvrDMItem item(kOwnID, source.get(), nullptr, 0, kLong, false);
            static_cast<void>(source.release());
          }),
      Use("SvrDMItem::Handle", [](auto& w) { w.item->Handle(kLong); }),
      Use("SvrDMItem::FileName", [](auto& w) { w.item->FileName(kOther); }),
      Use("SvrDMItem::Password", [](auto& w) { w.item->Password(kLong, true); }),
      Returns(
          "ErrorText", [] { return ErrorText(kLong, 2); },
          [](const ErrorText& text) { return text.Text(); }),
  });
}

TEST(LibraryMemory, NamesAreReturnedOrThrow) {
  World world;
  SvrDMDataset dataset(world.item);
  dataset.SetHandle(kLong);
  dataset.SuppressedFileName(kLong);
  dataset.SetPassword(kLong, false);
  ExpectSafeWithoutMemory({
      Returns("GetHandle", [=] { return dataset.GetHandle(); }),
      Returns("GetFileName", [=] { return dataset.GetFileName(); }),
      Returns("SuppressedFileName", [=] { return dataset.SuppressedFileName(); }),
      Returns("GetPassword", [=] { return dataset.GetPassword(); }),
  });
}

// --- The queue and the data source of a dataset ---

std::string TextOfQueue(const World& world) {
  return std::to_string(world.item->Notifications().size()) + " messages\n" + TextOf(world);
}

// AddNotification owns the message even if it throws. Before the call, the queue has at least
// `messages` messages and no room for another.
Operation Queueing(const std::string& name, std::size_t messages) {
  return Changes(
      name,
      [=] {
        auto world = std::make_unique<World>();
        const auto& queue = world->item->Notifications();
        while (queue.size() < messages || queue.size() < queue.capacity()) {
          world->item->AddNotification(new ResetUndoMsg());
        }
        return world;
      },
      [](auto& world) { world.item->AddNotification(new ResetUndoMsg()); }, TextOfQueue);
}

TEST(LibraryMemory, AMessageIsDeletedIfTheQueueCannotGrow) {
  ExpectSafeWithoutMemory({
      Queueing("AddNotification, empty queue", 0),
      Queueing("AddNotification, full queue", 1),
  });
}

// The item owns the new source even if a later step fails. The dataset has a file name, so
// SetDataSet also tries to open its file, after it has stored the source.
TEST(LibraryMemory, SetDataSetOwnsTheNewSourceEvenIfItThrows) {
  const auto text = [](const World& world) {
    return std::to_string(world.living) + " sources, label " + world.item->DataSource()->GetLabel();
  };
  ExpectSafeWithoutMemory(
      {{"SetDataSet",
        [=] {
          const auto world = std::make_shared<World>();
          const auto source = std::make_shared<std::unique_ptr<ORVX_DataSource>>(
              std::make_unique<LivingSource>(world->living));
          (*source)->SetLabel("new");
          return Trial{[=] { world->item->SetDataSet(std::move(*source)); },
                       [=] { return *source != nullptr ? "not called" : text(*world); },
                       [=] {
                         *source = std::make_unique<LivingSource>(world->living);
                         (*source)->SetLabel("new");
                       }};
        },
        {"2 sources, label new"}}});
}

// --- Saving ---

// A dirty dataset with a modified variable, and the writer that saves it.
struct Saving {
  Saving() {
    auto source = std::make_unique<MemoryDataSource>();
    source->InsertVariable(0, ORVX_Variable(LocallyUniqueID(1, 1), "a"), {1, 2});
    id = registry.Add(std::move(source), kOld, /*quiet=*/false);
    item = registry.GetDataSet(id);
    item->DataSource()->SetFileSpec(kOld.c_str());
    item->Register(observer);
    writer = std::make_unique<SvrDMWriteableDataSource>(registry, id, false, nullptr);
    writer->Notify();
    (*writer)->GetVariable(0).SetLabel(kLong);
    (*writer)->SetDirty(true);
  }
  ~Saving() {
    writer.reset();
    item->Unregister(observer);
  }

  inline static const std::string kOld = "the old file of the dataset, " + kLong;

  TemporaryFolder folder;
  ServerDataManager registry;
  LocallyUniqueID id;
  SvrDMItemPtr item{nullptr};
  support::SilentObserver observer;
  std::unique_ptr<SvrDMWriteableDataSource> writer;
};

std::string StateOfSaving(bool isSaved, bool hasNewSpec, bool hasNewName, bool isDirty) {
  const auto text = [](bool is, const char* what) {
    return (is ? " " : " not ") + std::string(what);
  };
  return text(isSaved, "saved") + text(hasNewSpec, "specified") + text(hasNewName, "named") +
         text(isDirty, "dirty");
}

// Even if the file was written, the dataset stays dirty until all later steps have succeeded.
TEST(LibraryMemory, SavingLeavesTheDatasetDirtyIfItThrows) {
  ExpectSafeWithoutMemory({Changes(
      "SaveDataset", [] { return std::make_unique<Saving>(); },
      [](Saving& saving) { SaveDataset(*saving.writer, saving.folder.Path("new.csv")); },
      [](Saving& saving) {
        const ORVX_DataSource& source = *saving.item->DataSource();
        return StateOfSaving(std::filesystem::exists(saving.folder.Path("new.csv")),
                             source.GetFileSpec() != Saving::kOld,
                             saving.item->FileName() != Saving::kOld, source.IsDirty());
      },
      {StateOfSaving(false, false, false, true), StateOfSaving(true, false, false, true),
       StateOfSaving(true, true, false, true), StateOfSaving(true, true, true, true)})});
}

// --- Clones ---

// A clone, the number of existing sources, and a cell for the rows of the clone.
struct Cloning {
  int living = 0;
  std::unique_ptr<SvrDMCloneDataSource> clone;
  OBS cell;
};

std::string TextOf(Cloning& cloning) {
  std::string text = std::to_string(cloning.living) + " sources";
  if (cloning.clone != nullptr) text += " " + support::Names(*cloning.clone);
  return text;
}

std::unique_ptr<Cloning> Cloned() {
  auto cloning = std::make_unique<Cloning>();
  cloning->clone = SvrDMCloneDataSource::Adopt(Chain(cloning->living));
  return cloning;
}

TEST(LibraryMemory, ClonesOwnTheirChainOrDeleteIt) {
  const auto text = [](auto& cloning) { return TextOf(cloning); };
  const auto nothing = [] { return std::make_unique<Cloning>(); };
  ExpectSafeWithoutMemory({
      Changes(
          "SvrDMCloneDataSource", nothing,
          [giver = std::make_shared<Giver>()](auto& cloning) {
            giver->Give(cloning.living, nullptr, [&](auto& source) {
              cloning.clone = std::make_unique<SvrDMCloneDataSource>(&source);
            });
          },
          text),
      Changes(
          "Adopt", nothing,
          [](auto& cloning) { cloning.clone = SvrDMCloneDataSource::Adopt(Chain(cloning.living)); },
          text),
      Changes(
          "copying a clone", Cloned,
          [](auto& cloning) { const SvrDMCloneDataSource copy(*cloning.clone); }, text),
  });
}

// The clone must hide its parent again even if MakeIterator throws.
TEST(LibraryMemory, ACloneHidesItsParentWhenItMakesAnIterator) {
  const auto text = [](auto& cloning) {
    return TextOf(cloning) + (cloning.clone->GetParentSource() == nullptr ? " hidden" : " shown");
  };
  ExpectSafeWithoutMemory({Changes(
      "MakeIterator",
      [] {
        auto cloning = Cloned();
        cloning->clone->ShowParents(true);
        return cloning;
      },
      [](auto& cloning) {
        const std::unique_ptr<ObsIterator> rows(cloning.clone->MakeIterator(&cloning.cell));
      },
      text, {"2 sources A hidden"})});
}

// --- Bootstrap specifications ---

using Specs = SvrBootstrapSpecs;
using Serializer = SvrBootstrapSpecsSerializer;
const std::vector<int> kVariables(20, 3);

Operation SpecsChange(const std::string& name, const std::function<void(Specs&)>& change) {
  return Changes(
      name, [] { return std::make_unique<Specs>(FullBootstrapSpecs()); }, change,
      [](auto& specs) { return All(specs); });
}

TEST(LibraryMemory, BootstrapSpecificationsAreUnchangedIfASetterThrows) {
  const Specs whole = FullBootstrapSpecs();
  const auto text = [](const Specs& specs) { return All(specs); };
  ExpectSafeWithoutMemory({
      SpecsChange("SetStrataVarList", [](auto& s) { s.SetStrataVarList(kVariables); }),
      SpecsChange("SetDependVarList", [](auto& s) { s.SetDependVarList(kVariables); }),
      SpecsChange("SetInputVarList", [](auto& s) { s.SetInputVarList(kVariables); }),
      SpecsChange("SetPredictedVarList", [](auto& s) { s.SetPredictedVarList(kVariables); }),
      SpecsChange("SetResidualVarList", [](auto& s) { s.SetResidualVarList(kVariables); }),
      Returns(
          "copying SvrBootstrapSpecs", [=] { return Specs(whole); }, text),
  });
}

Operation Encoding(const std::string& name, const std::string& before, std::size_t capacity) {
  return Changes(
      name,
      [=] {
        auto output = std::make_unique<std::string>(before);
        output->reserve(capacity);
        return output;
      },
      [specs = FullBootstrapSpecs()](auto& output) { Serializer::serializeSpecs(specs, output); },
      [](auto& output) { return output; });
}

TEST(LibraryMemory, EncodingLeavesTheStringUnchangedIfItThrows) {
  const Specs specs = FullBootstrapSpecs();
  ExpectSafeWithoutMemory({
      Encoding("serializeSpecs", kLong, 0),
      Encoding("serializeSpecs with spare capacity", "before", 5 + BytesOf(specs).size()),
  });
  std::string output = kLong;
  const auto encode = [&] { Serializer::serializeSpecs(specs, output); };
  EXPECT_EQ(support::AllocationsOf(encode), 1) << "all room is made at once";
}

// Returns the states in which a failed decoding of `whole` may leave a new bootstrap specification:
// before the first field, and after each field up to the last case statistic.
std::vector<std::string> StagesOf(const Specs& whole) {
  Specs specs;
  std::vector<std::string> stages;
  const auto add = [&] { stages.push_back(All(specs)); };
  using List = std::vector<int>;
  const auto copy = [&](void (Specs::*set)(const List&), const List& (Specs::*get)() const) {
    (specs.*set)((whole.*get)());
    add();
  };
  add();
  specs.SetSamplingMethod(whole.GetSamplingMethod());
  add();
  copy(&Specs::SetStrataVarList, &Specs::GetStrataVarList);
  copy(&Specs::SetDependVarList, &Specs::GetDependVarList);
  copy(&Specs::SetInputVarList, &Specs::GetInputVarList);
  copy(&Specs::SetPredictedVarList, &Specs::GetPredictedVarList);
  copy(&Specs::SetResidualVarList, &Specs::GetResidualVarList);
  for (const auto& end : whole.SplitEnds()) {
    specs.SplitEnds().push_back(end);
    add();
  }
  for (const auto& stat : whole.CaseStats()) {
    specs.CaseStats().push_back(stat);
    add();
  }
  return stages;
}

TEST(LibraryMemory, DecodingABootstrapSpecificationKeepsTheFieldsDecodedBeforeItThrows) {
  const Specs whole = FullBootstrapSpecs();
  const std::string bytes = BytesOf(whole);
  const auto prepare = [=] {
    const auto specs = std::make_shared<Specs>();
    return Trial{[=] { Serializer::deserializeSpecs(bytes, *specs); }, [=] { return All(*specs); },
                 [=] {
                   specs->SplitEnds().clear();
                   specs->CaseStats().clear();
                 }};
  };
  ExpectSafeWithoutMemory({{"deserializeSpecs", prepare, StagesOf(whole)}});
  Specs specs;
  // The allocations are for five lists, the split ends and the case statistics.
  EXPECT_EQ(support::AllocationsOf([&] { Serializer::deserializeSpecs(bytes, specs); }), 7);
  EXPECT_EQ(All(specs), All(whole));
}

TEST(LibraryMemory, DecodingAnUnknownVersionChangesNothingIfItThrows) {
  const std::string bytes = support::InVersionTwo(BytesOf(Specs()));
  Specs specs = FullBootstrapSpecs();
  const auto decode = [&] { Serializer::deserializeSpecs(bytes, specs); };
  EXPECT_TRUE(support::FailsWithMemoryFor(0, decode));
  EXPECT_EQ(All(specs), All(FullBootstrapSpecs()));
}

// --- The lock monitor ---

struct Monitored {
  Monitored() { LockMonitor::Start(); }
  ~Monitored() {
    LockMonitor::SetHandler({});
    LockMonitor::Stop();
  }
};

TEST(LibraryMemory, TheLockMonitorReportsOrThrows) {
  const Monitored monitored;
  World world;
  LockMonitor::NameThread("a thread with a long name");
  const SvrDMInputDataSource reader(world.item, false, "a reader with a long label");
  const LockReport report = world.registry.GetLockReport();
  ASSERT_TRUE(report.complete);
  LockIncident incident;
  incident.steps = {{report.holds.at(0), report.holds.at(0)}};
  ExpectSafeWithoutMemory({
      Returns(
          "GetLockReport", [&] { return world.registry.GetLockReport(); },
          [](const LockReport& made) { return std::to_string(made.holds.size()); }),
      Returns("LockReport::Text", [=] { return report.Text(); }),
      Returns("LockIncident::Text", [=] { return incident.Text(); }),
      Changes(
          "SetHandler", [] { return std::make_unique<Monitored>(); },
          [](auto&) { LockMonitor::SetHandler([](const LockIncident&) {}); },
          [](auto&) { return std::string(); }),
  });
}

// The reader is on a new thread, which has no memory for its table of lock records.
TEST(LibraryMemory, AReaderWithoutARecordMakesReportsIncomplete) {
  const Monitored monitored;
  World world;
  std::thread([&] {
    const support::MemoryFor nothing(0);
    const SvrDMInputDataSource reader(world.item, /*tryOnly=*/false);
  }).join();
  const LockReport report = world.registry.GetLockReport();
  EXPECT_FALSE(report.complete);
  EXPECT_EQ(report.Text(),
            "No lock is held.\nIncomplete: the lock monitor is off or ran out of memory.\n");
  EXPECT_EQ(world.item->ReadersCount(), 0);
}

// --- Operations that allocate nothing ---

TEST(LibraryMemory, IsNotNeededForHandlesAndChecks) {
  using std::chrono::milliseconds;
  using Finding = Serializer::Check::Finding;
  World world;
  SvrDMDataset dataset(world.item);
  Specs specs = FullBootstrapSpecs();
  const std::string whole = BytesOf(specs);
  std::string tooLong = whole;
  tooLong.replace(10, 4, 4, '\xFF');
  const auto check = [](std::string_view bytes, Finding expected) {
    return [=] { EXPECT_EQ(Serializer::checkSpecs(bytes).finding, expected); };
  };
  const std::string unknown = support::InVersionTwo(whole);
  double now = 0;
  char bytes[] = "bytes";
  ExpectNoAllocations({
      {"GetInstance", [] { ServerDataManager::GetInstance(); }},
      {"GetDataSet", [&] { world.registry.GetDataSet(world.first); }},
      {"GetDataSet by name", [&] { world.registry.GetDataSet(kLong); }},
      {"SavFileExternallyChanged", [&] { world.registry.SavFileExternallyChanged(kLong); }},
      {"Register again", [&] { world.registry.Register(world.watcher); }},
      {"Unregister", [&] { world.registry.Unregister(world.watcher); }},
      {"RegisterFilter", [&] { world.registry.RegisterFilter(nullptr); }},
      {"SvrDMDataset", [&] { const SvrDMDataset copy(world.registry, world.first); }},
      {"SvrDMDataset by name", [name = kLong]() mutable { SvrDMDataset(std::move(name)); }},
      {"LocallyUniqueID::ToString", [] { LocallyUniqueID(14, 123456789).ToString(); }},
      {"HasSuppressedFileName", [&] { world.item->HasSuppressedFileName(kLong); }},
      {"GetPasswordMangled", [&] { dataset.GetPasswordMangled(); }},
      {"InitializeErrorMonitor", [&] { dataset.InitializeErrorMonitor(&world.proxy); }},
      {"a window", [&] { dataset.WindowFront(true); }},
      {"UnlockSavFileInUse", [&] { dataset.UnlockSavFileInUse(); }},
      {"SetBootstrapSpecs", [&] { dataset.SetBootstrapSpecs(nullptr); }},
      {"a reader", [&] { SvrDMInputDataSource(world.item, false); }},
      {"TryRead", [&] { SvrDMInputDataSource::TryRead(world.item, milliseconds(0)); }},
      {"a writer", [&] { SvrDMWriteableDataSource(world.item, false, nullptr); }},
      {"TryWrite",
       [&] { SvrDMWriteableDataSource::TryWrite(world.item, milliseconds(0), nullptr); }},
      {"ClearNotifications", [&] { world.item->ClearNotifications(); }},
      {"orvxTimestampNow", [&] { SvrDMItem::orvxTimestampNow(&now); }},
      {"NameThread", [] { LockMonitor::NameThread(kLong.c_str()); }},
      {"moving a list", [&] { specs.SetStrataVarList(std::vector<int>()); }},
      {"checkSpecs", check(whole, Finding::Whole)},
      {"checkSpecs, truncated",
       check(std::string_view(whole).substr(0, whole.size() - 1), Finding::Truncated)},
      {"checkSpecs, unknown version", check(unknown, Finding::UnknownVersion)},
      {"checkSpecs, too long", check(tooLong, Finding::ListTooLong)},
      {"DoSwapBytes", [&] { DoSwapBytes(bytes, 4); }},
      {"Clear", [&] { world.registry.Clear(); }},
  });
}

}  // namespace
