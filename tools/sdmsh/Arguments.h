// Arguments: splits a line into words, and takes the words after the command's name one by one.
//
//   @recode insert survey age2 label "Age, recoded"   # a comment
//
// Blanks separate words. Between double quotes, blanks belong to the word, and "" stands for one
// double quote. A word that begins with # starts a comment.
//
//   const std::string file = call.TakeFile();
//   call.Expect("as");
//   const std::string name = call.Take("NAME");
//   const bool quiet = call.Accept("quiet");

#ifndef SDMSH_ARGUMENTS_H_
#define SDMSH_ARGUMENTS_H_

#include "Commands.h"
#include "Output.h"

#include <libdatasrc/ImportOptions.h>

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

class ORVX_DataSource;
class SvrDMInputDataSource;
class SvrDMWriteableDataSource;
class SystemFileDataSource;

namespace sdmsh {

class Caller;
class OpenDataset;
class Shell;

struct Line {
  std::string caller;              // without the @; empty if the line names none
  std::vector<std::string> words;  // the command and its arguments; empty if there is no command
  bool hasComment = false;
};

// Throws CommandError for an unclosed quote, an invalid caller name, and a caller without a
// command.
Line ParseLine(std::string_view text);

// Returns the word as a user types it, in quotes if necessary. Omits the closing quote if `isWhole`
// is false.
std::string AsTyped(const std::string& word, bool isWhole = true);

// Returns a command in backquotes, as an error text suggests it to a caller: `@recode write "my
// data"`. Omits @NAME for the main caller.
std::string CommandText(const std::string& caller, const std::vector<std::string>& words);

// Returns a remark for an error about an unknown name: "; did you mean \"age\"?", or empty if no
// known name is similar.
std::string DidYouMean(const std::string& name, const std::vector<std::string>& known);

// An operation that does not find the word that it expects throws a CommandError with the expected
// word, the actual word, and the command's usage.
//
// Threads: one at a time.
class Arguments {
 public:
  // Borrows the command.
  Arguments(const Command& command, std::vector<std::string> words)
      : command_(command), words_(std::move(words)) {}

  // Takes the next word, whatever it is. `what` is the name of the argument in the table of
  // commands.
  std::string Take(const char* what);
  // Returns the next word, whatever it is, without taking it.
  const std::string& Peek(const std::string& what) const;
  // Takes FILE, a file name that is not empty and contains no zero byte.
  std::string TakeFile();
  // Takes all remaining words, at least one.
  std::vector<std::string> TakeRest(const char* what);
  // Takes a number from `least` to 2147483647.
  int TakeNumber(const char* what, int least = 1);
  // Takes any number in the range of the return type.
  std::int32_t TakeInteger(const char* what);
  std::uint32_t TakeUnsigned(const char* what);
  // Takes a decimal number, neither infinite nor NaN.
  double TakeReal(const char* what);
  // Takes "on" or "off".
  bool TakeOnOff();
  // Takes "delimiter WORD", "decimal WORD" and "encoding NAME", in any order, or nothing.
  ImportOptions TakeImportOptions();

  // Takes the keyword if it is the next word, and returns whether it was.
  bool Accept(const char* keyword);
  // Takes the keyword, which must be the next word.
  void Expect(const char* keyword);
  // Takes one of the keywords and returns its index, from 0.
  std::size_t TakeOneOf(const std::vector<const char*>& keywords);

  bool AtEnd() const { return next_ == words_.size(); }
  // Throws CommandError if words remain.
  void End() const;

  // Throws a CommandError because the next word is not `expected`. `remark` follows the actual word
  // in the error text.
  [[noreturn]] void Wrong(const std::string& expected, const std::string& remark = "") const;

 private:
  template <class Number>
  Number TakeFrom(Number least, const std::string& expected);

  const Command& command_;
  std::vector<std::string> words_;
  std::size_t next_ = 0;
};

// A member of an event in JSON. The value must be neither an array nor an object: members are made
// even if the output is words, and the destructor of an array or object allocates memory, and ends
// the process if memory runs out.
struct Member {
  const char* name;
  Json value;
};

// A command with its arguments, its caller and its dataset. Borrows the command, the shell and the
// caller.
class Call : public Arguments {
 public:
  Call(const Command& command, std::vector<std::string> words, Shell& atShell, Caller& byCaller)
      : Arguments(command, std::move(words)), shell(atShell), caller(byCaller) {}

  // Reader, Writer and Source throw CommandError if words remain, like End.

  // A handle of the last lock that the caller acquired on the dataset. If there is none, acquires a
  // read lock for the lifetime of the call. Throws CommandError if the read lock is not free.
  SvrDMInputDataSource& Reader();
  // The caller's writer. Throws CommandError as CallerLocks::Writer does.
  SvrDMWriteableDataSource& Writer();
  // The data source of Writer(). Also throws CommandError if the dataset has no data source.
  ORVX_DataSource& Source();

  // Opens a data file, with a progress bar. Throws what SystemFileDataSource::Open throws, and
  // CommandError after ctrl-C.
  std::unique_ptr<SystemFileDataSource> OpenDataFile(const std::string& file,
                                                     const ImportOptions& options) const;

  // Prints an event: see Output::Say. As JSON, the event has the members `event` and `caller`, the
  // member `dataset` if the call has a dataset, and `members`, which may replace `caller` and
  // `dataset`.
  void Say(const char* event, const std::string& words,
           std::initializer_list<Member> members = {}) const;

  // Prints what the command shows of its dataset: see Output::Say. As JSON, the event has the
  // members `event` and `dataset`, and the members of the object that `members` returns.
  void Show(const char* event, const std::function<std::string()>& words,
            const std::function<Json()>& members) const;

  Shell& shell;
  Caller& caller;
  std::shared_ptr<OpenDataset> dataset;  // null if the arguments do not start with DATASET

 private:
  std::shared_ptr<SvrDMInputDataSource> reader_;
};

}  // namespace sdmsh

#endif  // SDMSH_ARGUMENTS_H_
