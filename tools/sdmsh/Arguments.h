// Arguments: a line of commands as words, and the words after a command's name, taken one by one.
//
//   @recode insert survey age2 label "Age, recoded"   # a comment
//
// Words are separated by blanks. Between double quotes, blanks belong to the word, and a quote is
// written twice. A word that begins with # starts a comment.
//
//   const std::string file = arguments.Take("FILE");
//   arguments.Expect("as");
//   const std::string name = arguments.Take("NAME");
//   const bool quiet = arguments.Accept("quiet");
//   arguments.End();

#ifndef SDMSH_ARGUMENTS_H_
#define SDMSH_ARGUMENTS_H_

#include "Commands.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace sdmsh {

struct Line {
  std::string role;                // the caller, without the @; empty where none is named
  std::vector<std::string> words;  // the command and its arguments; empty where there is none
};

// Throws CommandError for an unclosed quote, and for a caller without a name or a command.
Line ParseLine(std::string_view text);

// The remark for an error about a name that is not known: "; did you mean \"age\"?", or nothing
// where no known name is close.
std::string DidYouMean(const std::string& name, const std::vector<std::string>& known);

// Each operation that does not find what it wants throws CommandError, saying what was expected,
// what stands there, and how the command is used.
//
// Threads: the shell's.
class Arguments {
 public:
  // Borrows the command.
  Arguments(const Command& command, std::vector<std::string> words)
      : command_(command), words_(std::move(words)) {}

  // The next word, whatever it is; `what` is the name that the command's row gives it.
  std::string Take(const char* what);
  // Any word, and leaves it there.
  const std::string& Peek(const std::string& what) const;
  // FILE, the name of a file: neither empty nor with a zero byte.
  std::string TakeFile();
  // One word or more, up to the end.
  std::vector<std::string> TakeRest(const char* what);
  // The next word, from 1 to 2147483647.
  int TakeNumber(const char* what);
  // The next word, as far as the type goes.
  std::int32_t TakeInteger(const char* what);
  std::uint32_t TakeUnsigned(const char* what);
  // The next word, in decimal; neither infinite nor NaN.
  double TakeReal(const char* what);
  // The next word: "on" or "off".
  bool TakeOnOff();

  // Takes the keyword if it stands next.
  bool Accept(const char* keyword);
  void Expect(const char* keyword);
  // One of several keywords; returns which, from 0.
  std::size_t TakeOneOf(const std::vector<const char*>& keywords);

  bool AtEnd() const { return next_ == words_.size(); }
  void End() const;

  // Throws: `expected` did not stand where the next word is. `remark` follows what stands there.
  [[noreturn]] void Wrong(const std::string& expected, const std::string& remark = "") const;

 private:
  template <class Number>
  Number TakeFrom(Number least, const std::string& expected);

  const Command& command_;
  std::vector<std::string> words_;
  std::size_t next_ = 0;
};

}  // namespace sdmsh

#endif  // SDMSH_ARGUMENTS_H_
