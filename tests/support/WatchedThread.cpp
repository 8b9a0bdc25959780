#include <tests/support/WatchedThread.h>

#include <unistd.h>

#include <fstream>
#include <string>
#include <utility>

namespace support {

WatchedThread::WatchedThread(std::function<void()> job)
    : thread_([this, job = std::move(job)] {
        number_ = gettid();
        job();
        done_ = true;
      }) {}

WatchedThread::~WatchedThread() {
  Join();
}

void WatchedThread::Join() {
  if (thread_.joinable()) thread_.join();
}

// A thread may sleep briefly, for example for a lock in the allocator. So it counts as waiting only
// if it sleeps in kLooks consecutive samples.
bool WatchedThread::Waits() {
  constexpr int kLooks = 50;
  int asleep = 0;
  while (asleep < kLooks && !done_) {
    asleep = number_ != 0 && SleepsNow() ? asleep + 1 : 0;
    std::this_thread::yield();
  }
  return !done_;
}

// In the stat file, the state is the letter after the name in parentheses.
bool WatchedThread::SleepsNow() const {
  std::ifstream file("/proc/self/task/" + std::to_string(number_) + "/stat");
  std::string line;
  std::getline(file, line);
  const std::size_t name = line.rfind(')');
  return name != std::string::npos && name + 2 < line.size() && line[name + 2] == 'S';
}

}  // namespace support
