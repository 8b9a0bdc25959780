// Runs commands line by line, and edits lines with libedit.

#include "Prompt.h"

#include "Arguments.h"
#include "CommandError.h"
#include "Shell.h"

#include <histedit.h>
#include <sys/stat.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <clocale>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <memory>
#include <new>
#include <utility>
#include <vector>

namespace sdmsh {
namespace {

// Runs the lines of a script or of other input. `file` is the script; empty for other input.
class Player {
 public:
  Player(Shell& shell, std::string file) : shell_(shell), file_(std::move(file)) {}

  // Runs each line that `read` stores in its argument, until `read` returns false. A script stops
  // at its first failure. Reports failures, and returns true if there were none.
  bool Play(const std::function<bool(std::string&)>& read) {
    bool good = true;
    std::string text;
    while ((good || !IsScript()) && !shell_.IsOver() && shell_.Out().ReachesItsReader() &&
           read(text)) {
      if (text.ends_with('\r')) text.pop_back();
      ++line_;
      if (!IsScript()) ForgetInterrupt();  // an earlier ctrl-C must not end the next command
      if (!Succeeds([&] { Execute(text); })) good = false;
    }
    return good;
  }

  // Releases all locks. Returns false if the release fails, if a caller was waiting, or if the
  // input could not be read to its end; reports each of these.
  bool CloseDown(bool isReadToEnd) {
    line_ = 0;
    bool good = isReadToEnd;
    if (!good) shell_.Out().Fail(file_, 0, "the input cannot be read to its end");
    return Succeeds([&] { good = shell_.CloseDown(file_) && good; }) && good;
  }

 private:
  bool IsScript() const { return !file_.empty(); }

  void Execute(const std::string& text) {
    Line line = ParseLine(text);
    if (line.caller.empty()) line.caller = Shell::kMainCaller;
    if (IsScript()) SayLine(text, line);
    if (!line.words.empty()) shell_.Execute(line.caller, line.words);
    if (IsScript()) GiveUpIfInterrupted();
  }

  // Comments and empty lines are for people: they are not printed as JSON.
  void SayLine(const std::string& text, const Line& line) {
    const bool isCommand = !line.words.empty();
    const auto json = [&]() -> Json {
      if (!isCommand) return nullptr;
      return {
          {"event", "command"}, {"line", line_}, {"caller", line.caller}, {"words", line.words}};
    };
    shell_.Out().Say([&] { return (isCommand ? "> " : "") + text; }, json);
  }

  template <class Work>
  bool Succeeds(const Work& work) {
    const int line = IsScript() ? line_ : 0;
    try {
      if (reserve_ == nullptr) reserve_ = std::make_unique<char[]>(kReserve);
      work();
      return true;
    } catch (const std::bad_alloc&) {
      reserve_.reset();
      shell_.Out().Fail(file_, line, "not enough memory");
    } catch (const CommandError& error) {
      shell_.Out().Fail(file_, line, error.what());
    }
    return false;
  }

  static constexpr std::size_t kReserve = 1 << 16;

  Shell& shell_;
  const std::string file_;
  int line_ = 0;
  std::unique_ptr<char[]> reserve_;  // freed before reporting that memory ran out; then null
};

// ---------------------------------------------------------------------------------------------
// Completion at the cursor

constexpr std::size_t kShown = 200;

std::string CommonStart(const std::vector<std::string>& words) {
  const std::string& first = words.front();
  const std::string& last = words.back();  // sorted: all words share the common start of these two
  const auto end = std::mismatch(first.begin(), first.end(), last.begin(), last.end()).first;
  std::string start(first.begin(), end);
  // The result must not end within a UTF-8 character.
  while (start.size() < first.size() && (first[start.size()] & 0xC0) == 0x80) start.pop_back();
  return start;
}

std::string ListOf(std::vector<std::string> words) {
  if (words.size() <= kShown) return Joined(words, "  ");
  const std::string more = "and " + std::to_string(words.size() - kShown) + " more";
  words.resize(kShown);
  return Joined(words, "  ") + "  " + more;
}

// ---------------------------------------------------------------------------------------------
// The terminal

constexpr int kHistorySize = 1000;

std::filesystem::path HistoryFile() {
  const std::filesystem::path file = "sdmsh/history";
  const char* const state = std::getenv("XDG_STATE_HOME");
  if (state != nullptr && *state == '/') return state / file;
  const char* const home = std::getenv("HOME");
  if (home == nullptr || *home == '\0') throw CommandError("there is no home folder");
  return std::filesystem::path(home) / ".local/state" / file;
}

// libedit edits characters, so it needs a locale with the encoding of the terminal.
void UseCharactersOfTerminal() {
  const char* const locale = std::setlocale(LC_CTYPE, "");
  if (locale == nullptr || MB_CUR_MAX == 1) std::setlocale(LC_CTYPE, "C.UTF-8");
}

// Uses standard input and output, so only one object may exist at a time.
class Terminal {
 public:
  explicit Terminal(Shell& shell)
      : shell_(shell),
        history_((UseCharactersOfTerminal(), history_init()), history_end),
        editor_(el_init("sdmsh", stdin, stdout, stderr), el_end) {
    if (history_ == nullptr || editor_ == nullptr) throw std::bad_alloc();
    BindKeys();
    try {
      OpenHistory(HistoryFile());
    } catch (const std::exception& error) {
      shell_.Out().Fail("", 0, std::string("no history is kept: ") + error.what());
    }
  }

  // Shows the prompt and reads the line that the user enters. Reads an empty line after ctrl-C, and
  // returns false after ctrl-D.
  bool ReadLine(std::string& line) {
    const InterruptsHeld held;
    givenUp_ = false;
    int count = 0;
    el_resize(editor_.get());
    // Starts raw mode now, so that el_gets also handles keys that are typed before el_gets is
    // called.
    el_set(editor_.get(), EL_PREP_TERM, 1);
    const char* const text = el_gets(editor_.get(), &count);
    line.clear();
    if (givenUp_) return true;
    if (text == nullptr || count <= 0) {
      std::cout << std::endl;  // the cursor is still on the line of the prompt
      return false;
    }
    line.assign(text, static_cast<std::size_t>(count));
    if (line.ends_with('\n')) line.pop_back();
    Keep(line);
    return true;
  }

 private:
  static Terminal& Of(EditLine* editor) {
    Terminal* terminal = nullptr;
    el_get(editor, EL_CLIENTDATA, &terminal);
    return *terminal;
  }

  static unsigned char OnTabulator(EditLine* editor, int) {
    try {
      return Of(editor).Complete();
    } catch (...) {  // an exception must not pass through libedit, which is written in C
      return CC_ERROR;
    }
  }

  static unsigned char OnCtrlC(EditLine* editor, int) {
    Of(editor).givenUp_ = true;
    std::cout << "^C" << std::endl;
    return CC_NEWLINE;
  }

  static unsigned char OnCtrlZ(EditLine*, int) {
    std::raise(SIGTSTP);
    return CC_REDISPLAY;
  }

  void BindKeys() {
    EditLine* const editor = editor_.get();
    el_set(editor, EL_CLIENTDATA, this);
    el_set(
        editor, EL_PROMPT, +[](EditLine*) { return "sdmsh> "; });
    el_set(editor, EL_EDITOR, "emacs");
    el_set(editor, EL_SIGNAL, 1);  // handle changes of the terminal's size, and ctrl-Z
    el_set(editor, EL_HIST, history, history_.get());
    el_set(editor, EL_ADDFN, "sdmsh-complete", "Complete a word", OnTabulator);
    el_set(editor, EL_ADDFN, "sdmsh-give-up", "Give the line up", OnCtrlC);
    el_set(editor, EL_ADDFN, "sdmsh-suspend", "Suspend the shell", OnCtrlZ);
    el_set(editor, EL_SETTY, "-d", "-isig", nullptr);  // ctrl-C is a key while the line is edited
    el_set(editor, EL_BIND, "^I", "sdmsh-complete", nullptr);
    el_set(editor, EL_BIND, "^C", "sdmsh-give-up", nullptr);
    el_set(editor, EL_BIND, "^Z", "sdmsh-suspend", nullptr);
    el_set(editor, EL_BIND, "^R", "em-inc-search-prev", nullptr);
    el_source(editor, nullptr);
  }

  void OpenHistory(const std::filesystem::path& file) {
    HistEvent event;
    history(history_.get(), &event, H_SETSIZE, kHistorySize);
    history(history_.get(), &event, H_SETUNIQUE, 1);
    std::vector<std::string> lines;
    std::ifstream old(file);
    for (std::string line; std::getline(old, line);) lines.push_back(line);
    const bool isLong = lines.size() > 2 * kHistorySize;
    if (isLong) lines.erase(lines.begin(), lines.end() - kHistorySize);
    for (const std::string& line : lines) history(history_.get(), &event, H_ENTER, line.c_str());

    const mode_t before = umask(S_IRWXG | S_IRWXO);  // only the user may read the history
    std::error_code error;
    std::filesystem::create_directories(file.parent_path(), error);
    kept_.open(file, isLong ? std::ios::trunc : std::ios::app);
    umask(before);
    if (!kept_) throw CommandError(file.string() + ": " + std::strerror(errno));
    if (!isLong) return;
    for (const std::string& line : lines) kept_ << line << "\n";
  }

  void Keep(const std::string& line) {
    if (line.empty() || std::isspace(static_cast<unsigned char>(line.front())) != 0) return;
    if (line.find("password") != std::string::npos) return;
    HistEvent event;
    history(history_.get(), &event, H_ENTER, line.c_str());
    if (!kept_.is_open() || kept_ << line << std::endl) return;
    kept_.close();
    shell_.Out().Fail("", 0, "no history is kept any more: its file cannot be written");
  }

  unsigned char Complete() {
    const LineInfo* const line = el_line(editor_.get());
    const std::string text(line->buffer, line->cursor);
    const auto [start, typed, words] = CompletionsOf(shell_, text);
    if (words.empty()) return CC_REFRESH_BEEP;
    const std::string common = CommonStart(words);
    const bool isOnly = words.size() == 1;
    if (isOnly || common != typed) {
      // After the name of a folder, the user may go on with the name of a file in it.
      const bool isWhole = isOnly && !common.ends_with('/');
      Replace(text.substr(start), AsTyped(common, isWhole) + (isWhole ? " " : ""));
      return CC_REFRESH;
    }
    std::cout << "\n" << Wrapped(ListOf(words), WidthOfTerminal(), 0) << std::endl;
    return CC_REDISPLAY;
  }

  // Replaces `typed`, the last word before the cursor, with `text`.
  void Replace(const std::string& typed, const std::string& text) {
    const auto count =
        std::count_if(typed.begin(), typed.end(), [](char byte) { return (byte & 0xC0) != 0x80; });
    el_deletestr(editor_.get(), static_cast<int>(count));
    el_insertstr(editor_.get(), text.c_str());
  }

  Shell& shell_;
  const std::unique_ptr<History, void (*)(History*)> history_;
  const std::unique_ptr<EditLine, void (*)(EditLine*)> editor_;
  std::ofstream kept_;  // the file of the history; closed if it cannot be written
  bool givenUp_ = false;
};

}  // namespace

bool PlayInput(Shell& shell, std::istream& input, const std::string& script) {
  Player player(shell, script);
  const bool good =
      player.Play([&](std::string& text) { return static_cast<bool>(std::getline(input, text)); });
  return player.CloseDown(!input.bad()) && good;
}

bool RunPrompt(Shell& shell) {
  Player player(shell, /*file=*/"");
  Terminal terminal(shell);
  player.Play([&](std::string& text) {
    const bool isRead = terminal.ReadLine(text);
    shell.Out().SetMaxWidth(WidthOfTerminal());
    return isRead;
  });
  return player.CloseDown(/*isReadToEnd=*/true);
}

}  // namespace sdmsh
