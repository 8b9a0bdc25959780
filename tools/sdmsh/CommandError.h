// CommandError: why a command failed, in words for its caller.

#ifndef SDMSH_COMMANDERROR_H_
#define SDMSH_COMMANDERROR_H_

#include <stdexcept>
#include <string>

namespace sdmsh {

// what() is one line, without the position of the command in a script; Output::Fail adds that.
//
// Threads: a plain value.
class CommandError : public std::runtime_error {
 public:
  // Replaces control characters with visible ones, because `text` may quote any user input.
  explicit CommandError(const std::string& text);
};

// The current exception in words. Handles std::exception, and what the library throws: ErrorMsg,
// and the plain number of a lock that could not be acquired. Must be called in a catch block.
std::string ExceptionInWords();

}  // namespace sdmsh

#endif  // SDMSH_COMMANDERROR_H_
