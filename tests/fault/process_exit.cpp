// A program that exits while the registry of the process is in use. process_exit_test.cpp runs it
// in each mode that main names, and checks its output.

#include <libdatasrc/DataFreeDataSource.h>
#include <libdatasrc/ORVX_Variable.h>
#include <liborvxdemg/ErrorMsg.h>
#include <ServerDataManager/ServerDataManagerObserver.h>
#include <ServerDataManager/serverdatamgr.h>
#include <ServerDataManager/SvrDMInputDataSource.h>
#include <ServerDataManager/SvrDMWriteableDataSource.h>
#include <unistd.h>

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <functional>
#include <latch>
#include <memory>
#include <string>
#include <string_view>
#include <thread>

#include "after_the_libraries.h"

namespace {

// Writes without a stream, because a stream may already be destroyed.
void Say(std::string_view line) {
  if (write(STDOUT_FILENO, line.data(), line.size()) != static_cast<ssize_t>(line.size())) abort();
}

// Does not use support::Dictionary, because its table of names is destroyed at exit.
std::unique_ptr<ORVX_DataSource> Ages() {
  auto source = std::make_unique<DataFreeDataSource>();
  source->MakeVariable(ORVX_Variable(LocallyUniqueID(1, 1), "age", 0), nullptr);
  return source;
}

class SpeakingSource : public DataFreeDataSource {
 public:
  ~SpeakingSource() override { Say("source destroyed\n"); }
};

ServerDataManager& Registry() {
  return ServerDataManager::GetInstance();
}

bool IsKnown(LocallyUniqueID id) {
  try {
    return Registry().GetDataSet(id).IsValid();
  } catch (const ErrorMsg& error) {
    if (error.GetCode() != 2001) abort();
    return false;
  }
}

// The number of repetitions, of all threads of RepeatForEver together.
std::atomic<long> rounds{0};

// Starts `count` threads that repeat `work` until the process exits. Returns after each thread has
// run `work` once.
void RepeatForEver(int count, const std::function<void()>& work) {
  auto* const begun = new std::latch(count);  // never deleted: a count_down may end after wait
  for (int i = 0; i < count; ++i) {
    std::thread([=] {
      work();
      begun->count_down();
      for (;; ++rounds) work();
    }).detach();
  }
  begun->wait();
}

// `item` stays readable after the registry has released it.
void ReadWriteAndFind(SvrDMItemPtr item) {
  {
    const SvrDMInputDataSource reader(item, /*tryOnly=*/false);
    if (reader->ColumnCount() != 1) abort();
    const ORVX_DataSource::Extension extension(**reader, 0);
  }
  IsKnown(item->ID());
  Registry().GetDataSet("nobody");
  for (SvrDMDataset& dataset : Registry().GetAllDatasets()) dataset.GetFileName();
  const LocallyUniqueID own = Registry().Add(*Ages().release(), "", true);
  try {
    SvrDMWriteableDataSource(own, /*tryOnly=*/false, nullptr)->GetVariable(0).SetLabel("x");
  } catch (const ErrorMsg&) {
  }
  Registry().Delete(own);
}

class HoldingObserver : public ServerDataManagerObserver {
 public:
  explicit HoldingObserver(std::latch& holds) : holds_(holds) {}
  void DataSetCreated(const LocallyUniqueID&, const std::string&) override {
    holds_.count_down();
    for (;;) pause();
  }
  void DataSetDeleted(const LocallyUniqueID&) override {}

 private:
  std::latch& holds_;
};

void HoldTheRegistryLockForEver() {
  auto* const holds = new std::latch(1);
  Registry().Register(*new HoldingObserver(*holds));
  std::thread([] { Registry().Add(*Ages().release(), "", false); }).detach();
  holds->wait();
}

// Used by CallTheRegistryOnceMore after the static objects are destroyed.
struct Kept {
  LocallyUniqueID id;
  SvrDMDataset handle;
};
const Kept* kept = nullptr;  // never destroyed

void CallTheRegistryOnceMore() {
  Say(IsKnown(kept->id) ? "known\n" : "unknown\n");
  Say("held: " + kept->handle.GetHandle() + "\n");
  const LocallyUniqueID late = Registry().AddEmpty(/*quiet=*/true);
  Say(IsKnown(late) ? "late: known\n" : "late: unknown\n");
  Registry().Delete(late);
}

void LetTheThreadsGoOn() {
  const long enough = rounds + 200;
  while (rounds < enough) std::this_thread::yield();
}

}  // namespace

int main(int count, char** arguments) {
  alarm(60);  // kills a process that hangs
  const std::string way = count > 1 ? arguments[1] : "";
  const LocallyUniqueID id = Registry().Add(*Ages().release(), "", true);
  if (way == "in use") {
    std::atexit([] { Registry().GetAllDatasets(); });
    RepeatForEver(4, [item = Registry().GetDataSet(id)] { ReadWriteAndFind(item); });
    AfterTheLibraries(LetTheThreadsGoOn);
  } else if (way == "called afterwards") {
    Registry().Add(*new SpeakingSource, "", /*quiet=*/true);
    kept = new Kept{id, SvrDMDataset(id)};
    Registry().GetDataSet(id)->Handle("survey");
    AfterTheLibraries(CallTheRegistryOnceMore);
  } else if (way == "lock held") {
    Registry().Add(*new SpeakingSource, "", /*quiet=*/true);
    HoldTheRegistryLockForEver();
  } else {
    return EXIT_FAILURE;
  }
  return EXIT_SUCCESS;
}
