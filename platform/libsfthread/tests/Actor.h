// Actor: a thread that plays one call after the other and can be seen waiting in it.
//
//   Actor writer;
//   writer.Start([&] { lock.writeLock(); });
//   ASSERT_TRUE(writer.Waits());

#ifndef LIBSFTHREAD_TESTS_ACTOR_H_
#define LIBSFTHREAD_TESTS_ACTOR_H_

#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <string>
#include <thread>

// Used by the one thread that made it. Destroying it waits for the call under way, and stops the
// program where that waits for ever, as it does after a failed assertion.
class Actor {
 public:
  Actor() : thread_([this] { Play(); }) {}
  Actor(const Actor&) = delete;
  Actor& operator=(const Actor&) = delete;
  ~Actor() {
    if (!EndsWithin(std::chrono::seconds(10))) {
      std::fputs("a thread still waits at the end of the test\n", stderr);
      std::abort();
    }
    Enter(State::Leaving);
  }

  // Begins `call` on the actor's thread, after the one before has ended.
  void Start(std::function<void()> call) {
    AwaitEnd();
    call_ = std::move(call);
    Enter(State::Asked);
  }

  // Plays `call` to its end.
  void Do(std::function<void()> call) {
    Start(std::move(call));
    AwaitEnd();
  }

  // Returns as soon as the call has ended (false) or the system has put its thread to sleep (true).
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
    for (State now = state_; now != State::Idle; now = state_) state_.wait(now);
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

  // The state letter follows the thread's name, which stands in parentheses.
  bool IsAsleep() const {
    std::ifstream file("/proc/self/task/" + std::to_string(id_) + "/stat");
    std::string line;
    std::getline(file, line);
    const std::size_t name = line.rfind(") ");
    return name != std::string::npos && line[name + 2] == 'S';
  }

  std::atomic<State> state_ = State::Idle;
  std::atomic<pid_t> id_ = 0;
  std::function<void()> call_;
  std::jthread thread_;
};

#endif  // LIBSFTHREAD_TESTS_ACTOR_H_
