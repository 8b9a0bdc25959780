// OrderedWork: works on several items at once, on several threads, and returns them in the order in
// which they were pushed.

#ifndef LIBDATASRC_INTERNAL_ORDEREDWORK_H_
#define LIBDATASRC_INTERNAL_ORDEREDWORK_H_

#include <ServerDataManager/ThreadSafety.h>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <exception>
#include <functional>
#include <memory>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

namespace sdm_internal {

// Threads: one thread calls all functions. In Pop, that thread works on items, too.
template <class Item>
class OrderedWork {
 public:
  // `work` runs on up to `threads` threads and in Pop. Each thread works on one item at a time.
  OrderedWork(std::function<void(Item&)> work, unsigned int threads)
      : work_(std::move(work)), mostThreads_(threads) {}

  // Waits for the items that are being worked on, and drops the others.
  ~OrderedWork() {
    {
      const MutexLock lock(mutex_);
      isStopped_ = true;
    }
    changed_.notify_all();
    for (std::thread& thread : threads_) thread.join();
  }
  OrderedWork(const OrderedWork&) = delete;
  OrderedWork& operator=(const OrderedWork&) = delete;

  std::size_t Size() const {
    const MutexLock lock(mutex_);
    return entries_.size();
  }

  void Push(std::unique_ptr<Item> item) {
    StartThreads();
    {
      const MutexLock lock(mutex_);
      entries_.push_back({std::move(item)});
    }
    changed_.notify_all();
  }

  // Waits for the work on the first item, and returns the item. Rethrows an exception of the work.
  // There must be an item.
  std::unique_ptr<Item> Pop() {
    MutexLock lock(mutex_);
    Entry& first = entries_.front();
    while (first.state != State::Done) {
      if (!WorkOnOne()) changed_.wait(lock.ForWaiting());
    }
    Entry done = std::move(first);
    entries_.pop_front();
    if (done.error) std::rethrow_exception(done.error);
    return std::move(done.item);
  }

 private:
  enum class State { Waiting, Running, Done };
  struct Entry {
    std::unique_ptr<Item> item;
    State state = State::Waiting;
    std::exception_ptr error = nullptr;
  };

  // If the system refuses to start a thread, works with the threads that have started.
  void StartThreads() {
    try {
      threads_.reserve(mostThreads_);
      while (threads_.size() < mostThreads_) threads_.emplace_back([this] { Run(); });
    } catch (const std::system_error&) {
      mostThreads_ = static_cast<unsigned int>(threads_.size());
    }
  }

  void Run() {
    MutexLock lock(mutex_);
    while (!isStopped_) {
      if (!WorkOnOne()) changed_.wait(lock.ForWaiting());
    }
  }

  // Works on the first waiting item, with the mutex unlocked. Returns false if no item waits.
  // While the mutex is unlocked, `entry` stays valid: Push and Pop move no entry of the deque, and
  // Pop removes only an entry that is done.
  bool WorkOnOne() SDM_REQUIRES(mutex_) {
    for (Entry& entry : entries_) {
      if (entry.state != State::Waiting) continue;
      entry.state = State::Running;
      mutex_.Unlock();
      try {
        work_(*entry.item);
      } catch (...) {
        entry.error = std::current_exception();
      }
      mutex_.Lock();
      entry.state = State::Done;
      changed_.notify_all();
      return true;
    }
    return false;
  }

  const std::function<void(Item&)> work_;
  unsigned int mostThreads_;
  std::vector<std::thread> threads_;

  mutable Mutex mutex_;
  std::condition_variable changed_;  // an item was added or done, or isStopped_ was set
  std::deque<Entry> entries_ SDM_GUARDED_BY(mutex_);
  bool isStopped_ SDM_GUARDED_BY(mutex_) = false;
};

}  // namespace sdm_internal

#endif  // LIBDATASRC_INTERNAL_ORDEREDWORK_H_
