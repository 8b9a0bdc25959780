// CommandError: the reason why a command failed, as text for its caller. This header also turns
// ctrl-C (SIGINT) into a failure of the running command.

#ifndef SDMSH_COMMANDERROR_H_
#define SDMSH_COMMANDERROR_H_

#include <signal.h>

#include <stdexcept>
#include <string>

namespace sdmsh {

// what() is one line, without the position of the command in a script; Output::Fail adds the
// position.
//
// Threads: a plain value.
class CommandError : public std::runtime_error {
 public:
  // Replaces control characters with visible ones, because `text` may quote any user input.
  explicit CommandError(const std::string& text);
};

// Returns the text of the current exception: a std::exception, an ErrorMsg, or an int, which the
// library throws if it cannot acquire a lock. An exception of any other type propagates. Must be
// called in a catch block.
std::string ExceptionText();

// From now on, SIGINT sets a flag and does not end the program. A process that was started with
// SIGINT ignored continues to ignore it.
void CatchInterrupts();

// If the flag is set, clears it and throws CommandError. To be called in loops that may take long.
//
// Threads: any.
void GiveUpIfInterrupted();

// Clears the flag that SIGINT sets.
void ForgetInterrupt();

// Blocks SIGINT in the current thread during the lifetime of the object. If SIGINT arrives
// meanwhile, another thread receives it; if all threads block SIGINT, it stays pending.
class InterruptsHeld {
 public:
  InterruptsHeld();
  InterruptsHeld(const InterruptsHeld&) = delete;
  InterruptsHeld& operator=(const InterruptsHeld&) = delete;
  ~InterruptsHeld();

 private:
  sigset_t before_;
};

}  // namespace sdmsh

#endif  // SDMSH_COMMANDERROR_H_
