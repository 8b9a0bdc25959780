// WatchedThread: a thread that runs a job. A test can detect that the job waits.
//
//   WatchedThread reader([&] { SvrDMInputDataSource handle(id, /*tryOnly=*/false); });
//   EXPECT_TRUE(reader.Waits());   // the writer still holds the lock
//   writer.reset();
//   reader.Join();
//
// Reads the thread's state from the kernel, so tests need no sleeps.

#ifndef TESTS_SUPPORT_WATCHEDTHREAD_H_
#define TESTS_SUPPORT_WATCHEDTHREAD_H_

#include <sys/types.h>

#include <atomic>
#include <functional>
#include <thread>

namespace support {

// Threads: used by the thread that created it.
class WatchedThread {
 public:
  // Starts `job`. It must not throw, and must wait for nothing but the lock under test.
  explicit WatchedThread(std::function<void()> job);
  // Waits for the end of the thread.
  ~WatchedThread();

  // Waits until the job sleeps in the kernel or is done. Returns whether it sleeps.
  bool Waits();

  bool IsDone() const { return done_; }
  void Join();

 private:
  bool SleepsNow() const;

  std::atomic<pid_t> number_{0};
  std::atomic<bool> done_{false};
  std::thread thread_;
};

}  // namespace support

#endif  // TESTS_SUPPORT_WATCHEDTHREAD_H_
