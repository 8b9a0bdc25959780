// WatchedThread: a thread of which a test can tell that it waits.
//
//   WatchedThread reader([&] { SvrDMInputDataSource handle(id, true); });
//   EXPECT_TRUE(reader.Waits());   // the writer still holds the lock
//   writer.reset();
//   reader.Join();
//
// It looks at what the kernel says about the thread, so no test needs to sleep and hope.

#ifndef TESTS_SUPPORT_WATCHEDTHREAD_H_
#define TESTS_SUPPORT_WATCHEDTHREAD_H_

#include <sys/types.h>

#include <atomic>
#include <functional>
#include <thread>

namespace support {

// Threads: made, asked and joined on one thread.
class WatchedThread {
 public:
  // Starts `job`, which must not throw. It should do nothing that waits but what the test is about.
  explicit WatchedThread(std::function<void()> job);
  // Joins.
  ~WatchedThread();

  // Comes back when the job sleeps in the kernel, waiting for somebody (true), or is done (false).
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
