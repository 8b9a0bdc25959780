// Worker: one thread that does one job at a time, and tells whether it waits in one.
//
//   Worker worker;
//   worker.Start([&] { lock.writeLock(); });
//   if (worker.SleepsWithin(10s)) ...          // it has to wait for the lock
//   ...
//   if (worker.FinishesWithin(10s)) worker.Finish();

#ifndef SDMSH_WORKER_H_
#define SDMSH_WORKER_H_

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <exception>
#include <functional>
#include <mutex>
#include <thread>

namespace sdmsh {

// Threads: one, which is not the worker's own.
class Worker {
 public:
  Worker();
  Worker(const Worker&) = delete;
  Worker& operator=(const Worker&) = delete;
  // Waits for the job under way.
  ~Worker();

  // Gives the idle worker a job, and does not wait for it.
  void Start(std::function<void()> job);

  // Waits until the job has ended and takes note of that: the worker is idle afterwards. Where the
  // job threw, throws std::bad_alloc if it did, and anything else in words, as CommandError.
  void Finish();

  // Whether there is a job that Finish has not taken note of.
  bool IsBusy() const { return state_ != State::Idle; }

  // Whether the job ends before the time is up; true for an idle worker.
  bool FinishesWithin(std::chrono::milliseconds bound);

  // True as soon as the job sleeps in the kernel; false once it has ended, or when the time is up.
  // Meant for a job that can only sleep waiting for one thing: other threads must be at rest, so
  // that it need not wait for them anywhere else.
  bool SleepsWithin(std::chrono::milliseconds bound);

 private:
  enum class State { Idle, Given, Running, Done };

  void Loop();
  void RunJob();

  std::mutex mutex_;
  std::condition_variable changed_;
  std::function<void()> job_;         // under the mutex; run outside it
  std::exception_ptr failure_;        // what the job threw; written before Done, read after it
  bool stopping_ = false;             // under the mutex
  std::atomic<int> kernelThread_{0};  // the number under which the kernel knows the thread
  // Done is set before the worker can sleep for want of anything but its job.
  std::atomic<State> state_{State::Idle};
  std::thread thread_;
};

}  // namespace sdmsh

#endif  // SDMSH_WORKER_H_
