// Interrupt: ctrl-C (SIGINT) ends the running command and not the program.

#ifndef SDMSH_INTERRUPT_H_
#define SDMSH_INTERRUPT_H_

#include <signal.h>

namespace sdmsh {

// From now on, SIGINT sets a flag and does not end the program. A process that was started with
// SIGINT ignored continues to ignore it.
void CatchInterrupts();

// If the flag is set, clears it and throws CommandError. For loops that may take long.
//
// Threads: any.
void GiveUpIfInterrupted();

// Clears the flag.
void ForgetInterrupt();

// Blocks SIGINT in the current thread while it exists. The signal stays pending unless another
// thread receives it.
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

#endif  // SDMSH_INTERRUPT_H_
