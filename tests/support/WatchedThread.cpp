#include <tests/support/WatchedThread.h>

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <utility>

namespace support {

WatchedThread::WatchedThread() : thread_([this] { Run(); }) {
  while (number_ == 0) std::this_thread::yield();
  const std::string file = "/proc/self/task/" + std::to_string(number_) + "/stat";
  stat_ = open(file.c_str(), O_RDONLY | O_CLOEXEC);
}

WatchedThread::WatchedThread(std::function<void()> job) : WatchedThread() {
  Start(std::move(job));
}

WatchedThread::~WatchedThread() {
  Join();
  close(stat_);
}

void WatchedThread::Start(std::function<void()> job) {
  AwaitEndOfJob();
  job_ = std::move(job);
  Enter(State::Asked);
}

void WatchedThread::Do(std::function<void()> job) {
  Start(std::move(job));
  AwaitEndOfJob();
}

// A thread may sleep briefly, for example for a lock in the allocator. So it counts as waiting only
// if it sleeps in kLooks consecutive samples.
bool WatchedThread::Waits() const {
  constexpr int kLooks = 50;
  int asleep = 0;
  while (asleep < kLooks && !IsDone()) {
    asleep = state_ == State::Running && SleepsNow() ? asleep + 1 : 0;
    std::this_thread::yield();
  }
  return !IsDone();
}

bool WatchedThread::IsDoneWithin(std::chrono::milliseconds limit) const {
  const auto deadline = std::chrono::steady_clock::now() + limit;
  while (!IsDone() && std::chrono::steady_clock::now() < deadline) std::this_thread::yield();
  return IsDone();
}

void WatchedThread::Join() {
  if (!thread_.joinable()) return;
  AwaitEndOfJob();
  Enter(State::Leaving);
  thread_.join();
}

void WatchedThread::Enter(State state) {
  state_ = state;
  state_.notify_all();
}

void WatchedThread::AwaitEndOfJob() const {
  if (IsDoneWithin(std::chrono::minutes(1))) return;
  std::fputs("a thread still waits in a job that should be done\n", stderr);
  std::abort();
}

void WatchedThread::Run() {
  number_ = gettid();
  for (;;) {
    state_.wait(State::Idle);
    if (state_ == State::Leaving) return;
    Enter(State::Running);
    job_();
    job_ = nullptr;
    Enter(State::Idle);
  }
}

// The stat file has the text "id (name) state ..."; in state S the thread is asleep.
bool WatchedThread::SleepsNow() const {
  std::array<char, 64> text;
  const ssize_t length = pread(stat_, text.data(), text.size(), 0);
  if (length <= 0) return false;
  return std::string_view(text.data(), static_cast<std::size_t>(length)).find(") S") !=
         std::string_view::npos;
}

}  // namespace support
