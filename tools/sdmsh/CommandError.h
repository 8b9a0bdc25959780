// CommandError: why a command was not carried out, in words for whoever gave it.

#ifndef SDMSH_COMMANDERROR_H_
#define SDMSH_COMMANDERROR_H_

#include <stdexcept>
#include <string>

namespace sdmsh {

// what() is one line without a place: whoever reads commands from a file adds that.
//
// Threads: a plain value.
class CommandError : public std::runtime_error {
 public:
  // Control characters of `text`, which may quote anything, become signs that can be seen.
  explicit CommandError(const std::string& text);
};

// The exception being handled, in words: what the library throws (ErrorMsg and the plain number of
// a lock that failed) as much as std::exception. Call it inside a catch block.
std::string ExceptionInWords();

// "not enough memory for the cases of survey"
std::string NotEnoughMemoryFor(const std::string& what);

}  // namespace sdmsh

#endif  // SDMSH_COMMANDERROR_H_
