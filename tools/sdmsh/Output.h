// Output: prints events, in words for people or as JSON for programs.
//
//   output.Say("survey is closed",
//              []() -> Json { return {{"event", "closed"}, {"dataset", "survey"}}; });
//
// The code that causes an event gives both forms of the event. docs/usage.md lists the JSON events.

#ifndef SDMSH_OUTPUT_H_
#define SDMSH_OUTPUT_H_

#include <libdatasrc/ORVX_Variable.h>
#include <ServerDataManager/LocallyUniqueID.h>
#include <nlohmann/json.hpp>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <iosfwd>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

namespace sdmsh {

// Keeps members in the order of insertion, because people also read the output.
using Json = nlohmann::ordered_json;

struct Look {
  bool json = false;
  std::size_t width = 0;      // of the terminal; 0: tables may have any width
  bool colour = false;        // headings are bold
  bool colourErrors = false;  // errors are red
};

// Returns the look for standard output and standard error, with the width of the terminal. Has
// colour on a terminal if `json` is false and NO_COLOR (https://no-color.org) is empty or not set.
Look LookOfProcess(bool json);
// Returns the width in columns; 0 if standard output is not a terminal.
std::size_t WidthOfTerminal();

// Threads: one at a time.
class Output {
 public:
  // Prints words to `out` and failures to `err`; as JSON, prints both to `out`. Borrows both
  // streams.
  Output(std::ostream& out, std::ostream& err, Look look = {})
      : out_(out), err_(err), look_(look) {}

  bool IsJson() const { return look_.json; }
  std::size_t MaxWidth() const { return look_.width; }
  void SetMaxWidth(std::size_t width) { look_.width = width; }

  // Prints an event, then the pending notices. `words` is a text without its last line feed, or a
  // function that returns one. `json` is a function that returns a JSON object, or a JSON null to
  // print nothing. `json` is called only if the output is JSON, because the destructor of a Json
  // may allocate memory, and ends the process if memory runs out. If memory runs out in any other
  // place, the event is lost; see TakeLoss.
  template <class Words, class Members>
  void Say(const Words& words, const Members& json) noexcept {
    Try([&] { Print(Text(words, json)); });
    SayNotices();
  }

  // Formats an event that an observer receives, and keeps the text until Say, Fail or SayNotices
  // prints it. If memory runs out, the event is lost; see TakeLoss.
  template <class Words, class Members>
  void Notice(const Words& words, const Members& json) noexcept {
    Try([&] { notices_.push_back(Text(words, json)); });
  }
  void SayNotices() noexcept;

  // Prints a failure, then the pending notices. `file` is the script, empty if there is none;
  // `line` is 0 if the failure belongs to no line.
  void Fail(const std::string& file, int line, std::string_view text) noexcept;

  // Whether an event was lost since the last call.
  bool TakeLoss() { return std::exchange(lost_, false); }

  // Formats JSON as one line with its line feed; returns an empty text for null.
  static std::string JsonText(const Json& json);

  // Prints complete lines, for an event that is printed in several parts. Does not print notices.
  void Print(std::string_view lines);

  // The text, bold if the output has colour.
  std::string Heading(const std::string& text) const;

  // False after a write to `out` failed, for example because a disk is full or a pipe is closed.
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

// Shows the progress of a command. At a terminal, a bar appears if the command takes long.
//
//   ProgressBar bar(output);
//   SaveDataset(writer, "survey.tsv", {}, std::ref(bar));
//
// Threads: one at a time.
class ProgressBar {
 public:
  // Borrows the output. The bar appears after `delay`.
  explicit ProgressBar(Output& output,
                       std::chrono::milliseconds delay = std::chrono::milliseconds(500));
  ProgressBar(const ProgressBar&) = delete;
  ProgressBar& operator=(const ProgressBar&) = delete;
  ~ProgressBar();  // removes the bar

  // Returns true. Throws CommandError after ctrl-C: see GiveUpIfInterrupted. A `total` of 0
  // means that the total is unknown; the call then draws no bar.
  bool operator()(std::uint64_t done, std::uint64_t total);

 private:
  Output& output_;
  std::chrono::steady_clock::time_point next_;  // when the bar is drawn next
  bool isShown_ = false;
};

// Rows of text in columns. Each column is as wide as its widest text so far; rows that TakeText has
// already returned still count.
class Table {
 public:
  struct Column {
    std::string head;
    bool right = false;     // whether text is aligned to the right
    std::size_t width = 0;  // the minimum, in columns of the terminal
  };

  explicit Table(std::vector<Column> columns);

  void Add(std::vector<std::string> row);

  // The rows added since the last call, below the heads if there are any, without the last line
  // feed. If the columns do not fit into the width, splits them into several blocks of lines, and
  // repeats the first column in each block.
  std::string TakeText(const Output& output);

 private:
  // A block has the first column, and the columns from `from` up to but not including `to`.
  std::size_t EndOfBlock(std::size_t from, std::size_t limit) const;
  std::string Line(const std::vector<std::string>& row, std::size_t from, std::size_t to) const;

  std::vector<Column> columns_;
  std::vector<std::string> heads_;  // empty if no column has a head
  std::vector<std::vector<std::string>> rows_;
};

// A text such as "7:3"; null for the null identifier.
Json IdentifierInJson(LocallyUniqueID id);
// Null for a missing number, a NaN. An infinity is a string, "Infinity" or "-Infinity".
Json NumberInJson(double number);
// A string, or a number as NumberInJson returns it.
Json ValueInJson(const DataValue& value);
// The number; null if it is negative, which means unknown.
Json RowCountInJson(long long rowCount);
// The text; null if it is empty.
Json TextOrNull(const std::string& text);

// The number of columns of a terminal that the text takes.
std::size_t Width(std::string_view text);
// The text, filled with trailing blanks to `width` columns.
std::string Padded(const std::string& text, std::size_t width);

// Replaces each control character with a visible one: U+0000 to U+001F and U+007F with their
// Unicode control pictures; U+0080 to U+009F, U+2028 (line separator) and U+2029 (paragraph
// separator) with the replacement character U+FFFD. All other text is unchanged.
std::string OnOneLine(std::string_view text);

// The texts, with `separator` between them.
std::string Joined(const std::vector<std::string>& texts, const char* separator = ", ");

std::string WithoutLastLineFeed(std::string text);

// The text, or "none" if it is empty.
std::string OrNone(const std::string& text);

}  // namespace sdmsh

#endif  // SDMSH_OUTPUT_H_
