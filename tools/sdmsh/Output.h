// Output: what the shell says, in words for people or as JSON for programs.
//
//   output.Say("survey is closed",
//              []() -> Json { return {{"event", "closed"}, {"dataset", "survey"}}; });
//
// A command gives both forms at the place where it knows them; docs/usage.md lists the JSON events.

#ifndef SDMSH_OUTPUT_H_
#define SDMSH_OUTPUT_H_

#include <nlohmann/json.hpp>

#include <cstddef>
#include <exception>
#include <iosfwd>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

namespace sdmsh {

// Members stay in the order in which they are given: a person reads these lines too.
using Json = nlohmann::ordered_json;

struct Look {
  bool json = false;
  std::size_t width = 0;      // of the terminal; 0: tables may have any width
  bool colour = false;        // headings are bold
  bool colourErrors = false;  // errors are red
};

// For standard output and standard error as they are: the width of the terminal, and colour there
// unless NO_COLOR is set (https://no-color.org).
Look LookOfProcess(bool json);
// 0 where standard output is no terminal.
std::size_t WidthOfTerminal();

// Threads: one at a time.
class Output {
 public:
  // Words go to `out` and failures to `err`; JSON goes to `out`, failures too. Borrows both.
  Output(std::ostream& out, std::ostream& err, Look look = {})
      : out_(out), err_(err), look_(look) {}

  bool IsJson() const { return look_.json; }
  std::size_t MaxWidth() const { return look_.width; }
  void SetMaxWidth(std::size_t width) { look_.width = width; }

  // Prints an event, then the notices that came in meanwhile. `words` is a text without its last
  // line feed, or a function that makes one. `json` is a function that makes an object, or null for
  // nothing; it is called only where JSON is printed, as a Json needs memory even to be destroyed.
  // Throws nothing: where memory does not suffice, the event is lost.
  template <class Words, class Members>
  void Say(const Words& words, const Members& json) noexcept {
    Try([&] { Print(Text(words, json)); });
    SayNotices();
  }

  // The same for the notice of an observer, to whom more may happen before it is printed.
  template <class Words, class Members>
  void Notice(const Words& words, const Members& json) noexcept {
    Try([&] { notices_.push_back(Text(words, json)); });
  }
  void SayNotices() noexcept;

  // Something went wrong. `file` is the script, empty at the prompt; `line` is 0 where no line is
  // at fault.
  void Fail(const std::string& file, int line, std::string_view text) noexcept;

  // Whether something was lost since the last call.
  bool TakeLoss() { return std::exchange(lost_, false); }

  // One line; nothing for null.
  static std::string JsonText(const Json& json);

  // Lines of an event that comes in several parts. Throws what goes wrong.
  void Print(std::string_view lines);

  // A heading, bold where there is colour.
  std::string Heading(const std::string& text) const;

  // False as soon as something could not be written: a disk is full, a pipe is closed.
  bool ReachesItsReader() const;

 private:
  template <class Words, class Members>
  std::string Text(const Words& words, const Members& json) const {
    return look_.json ? JsonText(json()) : std::string(Made(words)) + "\n";
  }
  template <class Part>
  static decltype(auto) Made(const Part& part) {
    if constexpr (std::is_invocable_v<const Part&>) {
      return part();
    } else {
      return (part);
    }
  }
  template <class Work>
  void Try(const Work& work) noexcept {
    try {
      work();
    } catch (const std::exception&) {
      lost_ = true;
    }
  }

  std::ostream& out_;
  std::ostream& err_;
  Look look_;
  std::vector<std::string> notices_;
  bool lost_ = false;
};

// Rows of text in columns. Each column is as wide as its widest text so far.
class Table {
 public:
  struct Column {
    std::string head;
    bool right = false;     // whether text stands to the right
    std::size_t width = 0;  // at least
  };

  explicit Table(std::vector<Column> columns);

  void Add(std::vector<std::string> row);
  std::size_t RowCount() const { return rows_.size(); }

  // The rows added since the last call, below the heads if there are any, without the last line
  // feed. Where the columns do not
  // fit into the width, they come in several blocks, each with the first column again.
  std::string TakeText(const Output& output);

 private:
  // Block after block: the columns `from` to before `to`, and the first one.
  std::size_t EndOfBlock(std::size_t from, std::size_t limit) const;
  std::string Line(const std::vector<std::string>& row, std::size_t from, std::size_t to) const;

  std::vector<Column> columns_;
  std::vector<std::string> heads_;  // empty where no column has one
  std::vector<std::vector<std::string>> rows_;
};

// How many columns of a terminal the text takes.
std::size_t Width(std::string_view text);
// With blanks behind it.
std::string Padded(const std::string& text, std::size_t width);

// Each control character becomes a sign that can be seen: U+0000 to U+001F and U+007F the one that
// Unicode has for it, U+0080 to U+009F and the separators of lines and paragraphs, U+2028 and
// U+2029, the replacement character U+FFFD. All else stays as it is.
std::string OnOneLine(std::string_view text);

// With commas between.
std::string Joined(const std::vector<std::string>& texts);

// The text, or "none" for an empty one.
std::string OrNone(const std::string& text);

}  // namespace sdmsh

#endif  // SDMSH_OUTPUT_H_
