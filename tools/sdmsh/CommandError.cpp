// Puts the exceptions of the library into words, and turns SIGINT into a flag.

#include "CommandError.h"

#include "Output.h"

#include <liborvxdemg/ErrorMsg.h>

#include <atomic>
#include <new>

namespace sdmsh {
namespace {

constexpr unsigned int kNoSuchDataset = 2001;

std::string ToText(const ErrorMsg& error) {
  const std::string code = "error " + std::to_string(error.GetCode());
  if (error.GetCode() == kNoSuchDataset) return "no dataset has this identifier (" + code + ")";
  return error.GetText().empty() ? code : error.GetText() + " (" + code + ")";
}

std::atomic<bool> interrupted{false};
static_assert(std::atomic<bool>::is_always_lock_free, "a signal handler sets it");

}  // namespace

CommandError::CommandError(const std::string& text) : std::runtime_error(OnOneLine(text)) {}

std::string ExceptionText() {
  try {
    throw;
  } catch (const ErrorMsg& error) {
    return ToText(error);
  } catch (int number) {
    return "the lock could not be taken (error " + std::to_string(number) + ")";
  } catch (const std::bad_alloc&) {
    return "not enough memory";
  } catch (const std::exception& error) {
    return error.what();
  }
}

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
