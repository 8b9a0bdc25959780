// Worker: one thread that does one job at a time.
//
//   Worker worker;
//   worker.Start([&] { lock.writeLock(); });
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

 private:
  enum class State { Idle, Given, Running, Done };

  void Loop();
  void RunJob();

  std::mutex mutex_;
  std::condition_variable changed_;
  std::function<void()> job_;   // under the mutex; run outside it
  std::exception_ptr failure_;  // what the job threw; written before Done, read after it
  bool stopping_ = false;       // under the mutex
  std::atomic<State> state_{State::Idle};
  std::thread thread_;
};

// Runs `work` on this thread. Throws what Worker::Finish would.
void RunHere(const std::function<void()>& work);

}  // namespace sdmsh

#endif  // SDMSH_WORKER_H_
