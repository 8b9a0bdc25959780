// One thread, one job at a time.

#include "Worker.h"

#include "CommandError.h"
#include "Interrupt.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <new>
#include <utility>

namespace sdmsh {
namespace {

using Clock = std::chrono::steady_clock;

// What the kernel says of a thread of this process: 'S' asleep, 'R' running, ... '?' where it does
// not say. Allocates nothing: the thread asked about may be in the allocator.
char KernelState(int thread) {
  char path[64];
  std::snprintf(path, sizeof path, "/proc/self/task/%d/stat", thread);
  const int file = open(path, O_RDONLY | O_CLOEXEC);
  if (file < 0) return '?';
  char text[256];
  const ssize_t length = read(file, text, sizeof text - 1);
  close(file);
  text[length > 0 ? length : 0] = '\0';
  // "number (name) state ...": the name may hold anything, so search from the end.
  const char* const name = std::strrchr(text, ')');
  return name != nullptr && name[1] == ' ' ? name[2] : '?';
}

bool Sleeps(int thread) {
  const char state = KernelState(thread);
  return state == 'S' || state == '?';
}

[[noreturn]] void ThrowInWords(const std::exception_ptr& failure) {
  try {
    std::rethrow_exception(failure);
  } catch (const std::bad_alloc&) {
    throw;
  } catch (...) {
    throw CommandError(ExceptionInWords());
  }
}

}  // namespace

Worker::Worker() : thread_([this] { Loop(); }) {}

Worker::~Worker() {
  {
    const std::lock_guard lock(mutex_);
    stopping_ = true;
  }
  changed_.notify_all();
  thread_.join();
}

void Worker::Start(std::function<void()> job) {
  {
    const std::lock_guard lock(mutex_);
    job_ = std::move(job);
    state_ = State::Given;
  }
  changed_.notify_all();
}

void Worker::Finish() {
  {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return state_ == State::Done || state_ == State::Idle; });
    state_ = State::Idle;
  }
  if (const std::exception_ptr failure = std::exchange(failure_, nullptr)) ThrowInWords(failure);
}

bool Worker::FinishesWithin(std::chrono::milliseconds bound) {
  std::unique_lock lock(mutex_);
  return changed_.wait_for(lock, bound,
                           [this] { return state_ == State::Done || state_ == State::Idle; });
}

// Without the mutex, so that the worker never sleeps for want of it.
bool Worker::SleepsWithin(std::chrono::milliseconds bound) {
  const auto end = Clock::now() + bound;
  do {
    const bool started = state_ == State::Running;
    const bool asleep = started && Sleeps(kernelThread_);
    // Still running after it was seen asleep: it slept in its job.
    const State state = state_;
    if (asleep && state == State::Running) return true;
    if (state == State::Done || state == State::Idle) return false;
    std::this_thread::yield();
  } while (Clock::now() < end);
  return false;
}

void Worker::Loop() {
  const InterruptsHeld held;  // left to the shell's thread, which waits for input
  kernelThread_ = gettid();
  std::unique_lock lock(mutex_);
  for (;;) {
    changed_.wait(lock, [this] { return job_ != nullptr || stopping_; });
    if (job_ == nullptr) return;
    state_ = State::Running;
    lock.unlock();
    RunJob();
    state_ = State::Done;
    lock.lock();
    changed_.notify_all();
  }
}

void Worker::RunJob() {
  const std::function<void()> job = std::exchange(job_, nullptr);
  try {
    job();
  } catch (...) {
    failure_ = std::current_exception();  // words need memory, and may be made elsewhere
  }
}

}  // namespace sdmsh
