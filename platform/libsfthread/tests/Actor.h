// Actor: a thread that runs one call at a time. A test can detect that the call waits.
//
//   Actor writer;
//   writer.Start([&] { lock.writeLock(); });
//   ASSERT_TRUE(writer.Waits());

#ifndef LIBSFTHREAD_TESTS_ACTOR_H_
#define LIBSFTHREAD_TESTS_ACTOR_H_

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <string_view>
#include <thread>

// Use an Actor only on the thread that created it. Start, Do and the destructor wait for the end of
// the current call, and abort the program if it takes ten seconds.
class Actor {
 public:
  Actor() : thread_([this] { Play(); }) {
    while (id_ == 0) std::this_thread::yield();
    const std::string file = "/proc/self/task/" + std::to_string(id_) + "/stat";
    stat_ = open(file.c_str(), O_RDONLY | O_CLOEXEC);
  }
  Actor(const Actor&) = delete;
  Actor& operator=(const Actor&) = delete;
  ~Actor() {
    AwaitEnd();
    Enter(State::Leaving);
    close(stat_);
  }

  // Starts `call` on the actor's thread, after the previous call has ended.
  void Start(std::function<void()> call) {
    AwaitEnd();
    call_ = std::move(call);
    Enter(State::Asked);
  }

  // Runs `call` to its end.
  void Do(std::function<void()> call) {
    Start(std::move(call));
    AwaitEnd();
  }

  // Waits until the call has ended or the actor's thread sleeps in the kernel. Returns whether the
  // thread sleeps.
  bool Waits() const {
    while (!HasEnded()) {
      if (state_ == State::Playing && IsAsleep() && IsAsleep()) return !HasEnded();
      std::this_thread::yield();
    }
    return false;
  }

  bool HasEnded() const { return state_ == State::Idle; }

  bool EndsWithin(std::chrono::milliseconds limit) const {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (!HasEnded() && std::chrono::steady_clock::now() < deadline) std::this_thread::yield();
    return HasEnded();
  }

 private:
  enum class State { Idle, Asked, Playing, Leaving };

  void Enter(State state) {
    state_ = state;
    state_.notify_all();
  }

  void AwaitEnd() const {
    if (EndsWithin(std::chrono::seconds(10))) return;
    std::fputs("a thread still waits in a call that should have ended\n", stderr);
    std::abort();
  }

  void Play() {
    id_ = gettid();
    for (;;) {
      state_.wait(State::Idle);
      if (state_ == State::Leaving) return;
      Enter(State::Playing);
      call_();
      Enter(State::Idle);
    }
  }

  // The stat file has the text "id (name) state ..."; in state S the thread is asleep.
  bool IsAsleep() const {
    std::array<char, 64> text;
    const ssize_t length = pread(stat_, text.data(), text.size(), 0);
    if (length <= 0) return false;
    return std::string_view(text.data(), static_cast<std::size_t>(length)).find(") S") !=
           std::string_view::npos;
  }

  std::atomic<State> state_ = State::Idle;
  std::atomic<pid_t> id_ = 0;
  int stat_ = -1;  // the thread's stat file in /proc
  std::function<void()> call_;
  std::jthread thread_;
};

#endif  // LIBSFTHREAD_TESTS_ACTOR_H_
