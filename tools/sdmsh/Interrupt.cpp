// Turns SIGINT into a flag.

#include "Interrupt.h"

#include "CommandError.h"

#include <atomic>

namespace sdmsh {
namespace {

std::atomic<bool> interrupted{false};
static_assert(std::atomic<bool>::is_always_lock_free, "a signal handler sets it");

}  // namespace

void CatchInterrupts() {
  struct sigaction action = {};
  sigaction(SIGINT, nullptr, &action);
  if (action.sa_handler == SIG_IGN) return;
  action.sa_handler = [](int) { interrupted = true; };
  action.sa_flags = SA_RESTART;  // interrupted reads and writes continue
  sigaction(SIGINT, &action, nullptr);
}

void GiveUpIfInterrupted() {
  if (interrupted.load(std::memory_order_relaxed) && interrupted.exchange(false)) {
    throw CommandError("interrupted");
  }
}

void ForgetInterrupt() {
  interrupted = false;
}

InterruptsHeld::InterruptsHeld() {
  sigset_t interrupt;
  sigemptyset(&interrupt);
  sigaddset(&interrupt, SIGINT);
  pthread_sigmask(SIG_BLOCK, &interrupt, &before_);
}

InterruptsHeld::~InterruptsHeld() {
  pthread_sigmask(SIG_SETMASK, &before_, nullptr);
}

}  // namespace sdmsh
