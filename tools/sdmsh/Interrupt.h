// Interrupt: ctrl-C (SIGINT) gives up the command under way.

#ifndef SDMSH_INTERRUPT_H_
#define SDMSH_INTERRUPT_H_

#include <signal.h>

namespace sdmsh {

// From now on SIGINT is only noted and does not end the program. A program that was started with
// SIGINT ignored goes on ignoring it.
void CatchInterrupts();

// Throws CommandError after a SIGINT that was not forgotten, and forgets it. For loops that may
// take long.
//
// Threads: any.
void GiveUpIfInterrupted();

void ForgetInterrupt();

// While it lives, SIGINT is not delivered to its thread, but waits unless another thread takes it.
class InterruptsHeld {
 public:
  InterruptsHeld();
  InterruptsHeld(const InterruptsHeld&) = delete;
  InterruptsHeld& operator=(const InterruptsHeld&) = delete;
  ~InterruptsHeld();

  // Waits until `descriptor` can be read. False where a SIGINT came first, since this was made.
  bool WaitForInput(int descriptor) const;

 private:
  sigset_t before_;
};

}  // namespace sdmsh

#endif  // SDMSH_INTERRUPT_H_
