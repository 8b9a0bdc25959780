// One thread, one job at a time.

#include "Worker.h"

#include "CommandError.h"
#include "Interrupt.h"

#include <new>
#include <utility>

namespace sdmsh {
namespace {

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

void RunHere(const std::function<void()>& work) {
  try {
    work();
  } catch (...) {
    ThrowInWords(std::current_exception());
  }
}

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

void Worker::Loop() {
  const InterruptsHeld held;  // left to the shell's thread, which waits for input
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
