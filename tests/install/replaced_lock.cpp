// Checks that the lock monitor observes the sfMutexRW that replace_lock.cmake builds as a vendor's
// lock. Does not compile with the bundled lock, because only the vendor's header declares
// vendorLockCalls.

#include <libsfthread/sfMutexRW.h>
#include <ServerDataManager/LockMonitor.h>
#include <ServerDataManager/serverdatamgr.h>
#include <ServerDataManager/SvrDMInputDataSource.h>
#include <ServerDataManager/SvrDMWriteableDataSource.h>
#include <unistd.h>

#include <cstdio>
#include <latch>
#include <string>
#include <thread>

namespace {

LockReport ReportWithAWait(const ServerDataManager& registry) {
  for (;;) {
    LockReport report = registry.GetLockReport();
    if (!report.waits.empty()) return report;
    std::this_thread::yield();
  }
}

// Prints a lock report while a thread waits to read a dataset that this thread writes.
void PrintReport(ServerDataManager& registry) {
  const LocallyUniqueID id = registry.AddEmpty(/*quiet=*/true);
  std::jthread reads;
  const SvrDMWriteableDataSource writer(registry, id, /*tryOnly=*/false, nullptr, "import");
  reads = std::jthread(
      [&] { const SvrDMInputDataSource reader(registry, id, /*tryOnly=*/false, "means"); });
  std::printf("%s", ReportWithAWait(registry).Text().c_str());
}

// Two threads each write one dataset, then wait to read the dataset of the other thread. The
// handler ends the process.
[[noreturn]] void Deadlock(ServerDataManager& registry) {
  const LocallyUniqueID ids[] = {registry.AddEmpty(true), registry.AddEmpty(true)};
  std::latch bothWrite(2);
  const auto wait = [&](int own) {
    const SvrDMWriteableDataSource writer(registry, ids[own], /*tryOnly=*/false, nullptr);
    bothWrite.arrive_and_wait();
    const SvrDMInputDataSource reader(registry, ids[1 - own], /*tryOnly=*/false);
  };
  std::jthread other(wait, 1);
  wait(0);
  _exit(1);  // no deadlock
}

void PrintAndExit(const LockIncident& incident) {
  std::printf("%s\ncalls of the vendor's lock: %ld\n", incident.Text().c_str(), vendorLockCalls());
  std::fflush(stdout);
  _exit(0);
}

}  // namespace

int main() {
  alarm(60);  // ends the process if nothing is reported
  LockMonitor::SetHandler(PrintAndExit);
  LockMonitor::Start();
  ServerDataManager registry;
  PrintReport(registry);
  Deadlock(registry);
}
