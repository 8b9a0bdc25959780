// Tests how long GetLockReport waits for its turn. This program has a clock and a sleep of its own:
// time passes only when a test advances the clock or a thread sleeps.

#include <ServerDataManager/LockMonitor.h>
#include <ServerDataManager/serverdatamgr.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <chrono>
#include <ctime>

namespace {

using namespace std::chrono_literals;

std::chrono::nanoseconds monotonicTime = 1h;
std::chrono::nanoseconds slept = 0ns;

}  // namespace

extern "C" int clock_gettime(clockid_t clock, timespec* time) noexcept {
  if (clock != CLOCK_MONOTONIC) return static_cast<int>(syscall(SYS_clock_gettime, clock, time));
  *time = {monotonicTime / 1s, (monotonicTime % 1s).count()};
  return 0;
}

extern "C" int nanosleep(const timespec* time, timespec*) {
  const auto length = std::chrono::seconds(time->tv_sec) + std::chrono::nanoseconds(time->tv_nsec);
  slept += length;
  monotonicTime += length;
  return 0;
}

namespace {

// Makes a report. Returns how long GetLockReport slept.
std::chrono::nanoseconds Report(ServerDataManager& registry) {
  slept = 0ns;
  static_cast<void>(registry.GetLockReport());
  return slept;
}

TEST(LockReportPace, ReportsAreAtLeastAMillisecondApart) {
  ServerDataManager registry;
  ServerDataManager other;
  LockMonitor::Start();
  monotonicTime += 1ms;
  EXPECT_EQ(Report(registry), 0ns);
  EXPECT_EQ(Report(registry), 1ms);
  EXPECT_EQ(Report(other), 1ms);
  monotonicTime += 300us;
  EXPECT_EQ(Report(registry), 700us);
  monotonicTime += 1ms;
  EXPECT_EQ(Report(registry), 0ns);
  LockMonitor::Stop();
}

}  // namespace
