// WatchedThread: a thread that runs one job at a time. A test can detect that the job waits.
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
#include <chrono>
#include <functional>
#include <thread>

namespace support {

// A job must not throw. Waits() cannot tell what the job waits for, so the test must know it. The
// functions that wait for the end of a job abort the program after a minute.
//
// Threads: used by the thread that created it.
class WatchedThread {
 public:
  WatchedThread();
  explicit WatchedThread(std::function<void()> job);
  WatchedThread(const WatchedThread&) = delete;
  WatchedThread& operator=(const WatchedThread&) = delete;
  // Waits for the end of the job and of the thread.
  ~WatchedThread();

  // Waits until the previous job is done, then starts `job`.
  void Start(std::function<void()> job);
  // Runs `job` to its end.
  void Do(std::function<void()> job);

  // Waits until the job sleeps in the kernel or is done. Returns whether it sleeps. Allocates
  // nothing.
  bool Waits() const;

  bool IsDone() const { return state_ == State::Idle || state_ == State::Leaving; }
  bool IsDoneWithin(std::chrono::milliseconds limit) const;

  // Waits for the end of the job and of the thread. Do not call Start or Do after Join.
  void Join();

 private:
  enum class State { Idle, Asked, Running, Leaving };

  void Enter(State state);
  void AwaitEndOfJob() const;
  void Run();
  bool SleepsNow() const;

  std::atomic<State> state_ = State::Idle;
  std::atomic<pid_t> number_ = 0;
  int stat_ = -1;  // the thread's stat file in /proc
  std::function<void()> job_;
  std::thread thread_;
};

}  // namespace support

#endif  // TESTS_SUPPORT_WATCHEDTHREAD_H_
