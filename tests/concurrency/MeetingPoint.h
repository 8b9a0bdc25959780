// MeetingPoint: a spinning barrier. Threads wait for each other and continue at nearly the same
// time.

#ifndef TESTS_CONCURRENCY_MEETINGPOINT_H_
#define TESTS_CONCURRENCY_MEETINGPOINT_H_

#include <atomic>
#include <thread>

// A blocking barrier would let the last thread continue long before the others wake. Here all
// threads spin, so that their next operations overlap. May be used repeatedly.
class MeetingPoint {
 public:
  explicit MeetingPoint(int threads) : threads_(threads) {}

  // Returns when all threads have called Meet at least as often as this thread.
  void Meet() {
    constexpr int kSpins = 2000;  // before yielding the processor to another thread
    const int arrived = ++arrived_;
    const int all = (arrived + threads_ - 1) / threads_ * threads_;
    for (int spins = 0; arrived_ < all; ++spins) {
      if (spins >= kSpins) std::this_thread::yield();
    }
  }

 private:
  const int threads_;
  std::atomic<int> arrived_ = 0;
};

#endif  // TESTS_CONCURRENCY_MEETINGPOINT_H_
