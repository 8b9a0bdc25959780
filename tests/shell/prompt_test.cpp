// Tests of sdmsh at a terminal: editing, completion, the history, ctrl-C, ctrl-D, the exit status.

#include "ShellTest.h"

#include <poll.h>
#include <pty.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <chrono>
#include <cstdlib>
#include <thread>
#include <utility>
#include <vector>

namespace sdmsh {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

constexpr const char* kPrompt = "sdmsh> ";
constexpr const char* kCtrlC = "\x03";
constexpr const char* kCtrlD = "\x04";
constexpr const char* kUp = "\x1B[A";
constexpr std::chrono::milliseconds kBusy(200);
constexpr int kMinute = 60'000;  // in milliseconds, longer than any wait in these tests

// Runs sdmsh in a pseudo-terminal that simulates a user's terminal.
class TerminalSession {
 public:
  using Environment = std::vector<std::pair<const char*, std::string>>;

  // `state` is the folder in which the program saves its history. `environment` adds environment
  // variables, and replaces variables that the constructor sets.
  TerminalSession(const std::string& state, const std::vector<std::string>& arguments = {},
                  unsigned short columns = 80, const Environment& environment = {}) {
    std::vector<std::string> texts = {SDMSH};
    texts.insert(texts.end(), arguments.begin(), arguments.end());
    std::vector<char*> words;
    for (std::string& text : texts) words.push_back(text.data());
    words.push_back(nullptr);
    const winsize size = SizeOf(columns);
    process_ = forkpty(&terminal_, nullptr, nullptr, &size);
    if (process_ != 0) return;
    setenv("XDG_STATE_HOME", state.c_str(), 1);
    setenv("EDITRC", "/dev/null", 1);
    setenv("TERM", "vt100", 1);
    setenv("NO_COLOR", "1", 1);
    // Leaks of libedit are suppressed if the stack trace contains the library's name. Only a
    // complete stack trace is sure to contain the name.
    setenv("ASAN_OPTIONS", "fast_unwind_on_malloc=0", 1);
    setenv("LSAN_OPTIONS", "print_suppressions=0:suppressions=" LEAKS_OF_LIBEDIT, 1);
    for (const auto& [name, value] : environment) setenv(name, value.c_str(), 1);
    execv(SDMSH, words.data());
    _exit(127);
  }
  TerminalSession(const TerminalSession&) = delete;
  TerminalSession& operator=(const TerminalSession&) = delete;
  ~TerminalSession() {
    if (process_ > 0) {
      kill(process_, SIGKILL);
      Wait();
    }
    close(terminal_);
  }

  void Type(const std::string& keys) {
    EXPECT_EQ(write(terminal_, keys.data(), keys.size()), static_cast<ssize_t>(keys.size()));
  }

  void Resize(unsigned short columns) {
    const winsize size = SizeOf(columns);
    EXPECT_EQ(ioctl(terminal_, TIOCSWINSZ, &size), 0);
  }

  // Reads output until it ends with `text`. Returns the output, with the echo of typed text and
  // without control sequences.
  std::string ReadTo(const std::string& text) {
    std::string shown;
    while (!shown.ends_with(text) && ReadByte(shown)) {
    }
    EXPECT_THAT(shown, EndsWith(text));
    return shown;
  }

  // Types a line and returns the output up to the next prompt.
  std::string Enter(const std::string& line) {
    Type(line + "\n");
    return ReadTo(kPrompt);
  }

  // The output so far, with all its bytes.
  const std::string& RawOutput() const { return raw_; }

  // Waits until the program has used this much more processor time. Fails after a minute.
  void WaitUntilBusyFor(std::chrono::milliseconds time) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::minutes(1);
    const long ticks = time.count() * sysconf(_SC_CLK_TCK) / 1000 + UsedTicks();
    while (UsedTicks() < ticks && std::chrono::steady_clock::now() < end) std::this_thread::yield();
    EXPECT_GE(UsedTicks(), ticks);
  }

  // Waits until the program ends. Returns its exit status, or 128 plus the signal that killed it.
  int Wait() {
    std::string rest;
    while (ReadByte(rest)) {
    }
    int status = 0;
    waitpid(std::exchange(process_, -1), &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  }

 private:
  // Appends the next byte of the output to `shown`, but no control sequence, carriage return or
  // bell. Returns false at the end of the output, or if there is no output for a minute.
  bool ReadByte(std::string& shown) {
    pollfd input{terminal_, POLLIN, 0};
    char byte;
    if (poll(&input, 1, kMinute) != 1 || !ReadRawByte(byte)) return false;
    if (byte == '\x1B') return SkipSequence();
    if (byte != '\r' && byte != '\a') shown += byte;
    return true;
  }

  // Skips the rest of a control sequence, which ends with a letter.
  bool SkipSequence() {
    char byte = 0;
    while (std::isalpha(static_cast<unsigned char>(byte)) == 0) {
      if (!ReadRawByte(byte)) return false;
    }
    return true;
  }

  bool ReadRawByte(char& byte) {
    if (read(terminal_, &byte, 1) != 1) return false;
    raw_ += byte;
    return true;
  }

  static winsize SizeOf(unsigned short columns) {
    return {.ws_row = 24, .ws_col = columns, .ws_xpixel = 0, .ws_ypixel = 0};
  }

  long UsedTicks() const {
    std::ifstream file("/proc/" + std::to_string(process_) + "/stat");
    const std::string text(std::istreambuf_iterator<char>(file), {});
    std::istringstream fields(text.substr(text.rfind(')') + 1));
    std::string skipped;
    for (int i = 3; i < 14; ++i) fields >> skipped;
    long user = 0;
    long system = 0;
    fields >> user >> system;
    return user + system;
  }

  pid_t process_;
  int terminal_ = -1;
  std::string raw_;
};

class Prompt : public ShellTest {
 protected:
  std::string State() const { return Path("state"); }
  std::string HistoryFile() const { return State() + "/sdmsh/history"; }

  static std::string ContentOf(const std::string& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
  }
  std::string History() const { return ContentOf(HistoryFile()); }

  // Returns the whole output of a session with a heading and an error.
  std::string HeadingAndError(const std::string& noColour) const {
    TerminalSession session(State(), {}, 80, {{"NO_COLOR", noColour}});
    session.ReadTo(kPrompt);
    session.Enter("help");
    session.Enter("variables nix");
    return session.RawOutput();
  }

  // Returns commands. The last command searches 2147483647 cases, none of which is selected, so it
  // runs until it is interrupted.
  std::string EndlessSearch() const {
    return Open("survey") +
           "write survey\nsource survey blank 2147483647\nsource survey filtered by a\n"
           "cases survey\n";
  }
};

TEST_F(Prompt, CompletesCommandsFilesDatasetsAndVariables) {
  TerminalSession session(State());
  session.ReadTo(kPrompt);
  session.Type("op\t");
  session.ReadTo("open ");
  session.Type(Path("ab") + "\t");
  session.ReadTo("abc.tsv ");
  EXPECT_THAT(session.Enter("as survey"), HasSubstr("survey is open: 3 variables"));
  session.Type("wri\tsu\t");
  session.ReadTo("write survey ");
  EXPECT_THAT(session.Enter(""), HasSubstr("main acquires the write lock on survey"));
  session.Enter("insert survey \"two words\"");
  session.Type("delete survey tw\t");
  session.ReadTo("\"two words\" ");
  session.Enter("");
  EXPECT_THAT(session.Enter("variables survey"), Not(HasSubstr("two words")));
}

TEST_F(Prompt, ListsTheCompletionsOfAWord) {
  TerminalSession session(State());
  session.ReadTo(kPrompt);
  session.Type("lo\t\t");  // the first tab completes `locks`, the second finds no dataset
  session.ReadTo("locks ");
  session.Enter("");
  session.Type("un\t");
  session.ReadTo("unobserve  unwatch\n");
}

TEST_F(Prompt, EditsALine) {
  TerminalSession session(State());
  session.ReadTo(kPrompt);
  session.Type("liXst\x1B[D\x1B[D\x08");  // cursor left, cursor left, backspace
  EXPECT_THAT(session.Enter(""), HasSubstr("no dataset is open"));
}

TEST_F(Prompt, SavesAHistoryThatOnlyTheUserCanRead) {
  {
    TerminalSession session(State());
    session.ReadTo(kPrompt);
    session.Enter("list");
    session.Enter(" list quietly");
    session.Enter("@recode password nothing secret");
    session.Enter("locks");
    session.Type("quit\n");
    EXPECT_EQ(session.Wait(), 0);
  }
  EXPECT_EQ(History(), "list\nlocks\nquit\n");
  using std::filesystem::perms;
  EXPECT_EQ(std::filesystem::status(HistoryFile()).permissions(),
            perms::owner_read | perms::owner_write);
  EXPECT_EQ(std::filesystem::status(State() + "/sdmsh").permissions(), perms::owner_all);

  TerminalSession session(State());
  session.ReadTo(kPrompt);
  session.Type(std::string(kUp) + kUp + kUp);
  EXPECT_THAT(session.Enter(""), HasSubstr("no dataset is open"));
  EXPECT_EQ(History(), "list\nlocks\nquit\nlist\n");
}

TEST_F(Prompt, SavesTheHistoryInTheHomeFolderWithoutAStateFolder) {
  const std::string home = Path("home");
  for (const std::string state : {"", "relative"}) {
    TerminalSession session(state, {}, 80, {{"HOME", home}});
    session.ReadTo(kPrompt);
    session.Enter("list # " + state);
    session.Type("quit\n");
    EXPECT_EQ(session.Wait(), 0);
  }
  EXPECT_EQ(ContentOf(home + "/.local/state/sdmsh/history"),
            "list # \nquit\nlist # relative\nquit\n");
}

TEST_F(Prompt, SavesNoHistoryWithoutAHomeFolder) {
  TerminalSession session("", {}, 80, {{"HOME", ""}});
  EXPECT_THAT(session.ReadTo(kPrompt),
              HasSubstr("error: no history is kept: there is no home folder\n"));
}

TEST_F(Prompt, ShortensALongHistory) {
  std::filesystem::create_directories(State() + "/sdmsh");
  std::ofstream file(HistoryFile());
  for (int i = 1; i <= 2001; ++i) file << "list # " << i << "\n";
  file.close();
  TerminalSession session(State());
  session.ReadTo(kPrompt);
  session.Enter("locks");
  const std::string history = History();
  EXPECT_THAT(history, testing::StartsWith("list # 1002\n"));
  EXPECT_THAT(history, EndsWith("list # 2001\nlocks\n"));
}

TEST_F(Prompt, ReportsOnceThatTheHistoryCannotBeSaved) {
  TerminalSession session(WriteFile("no_folder", ""));
  EXPECT_THAT(session.ReadTo(kPrompt), HasSubstr("error: no history is kept: "));
  EXPECT_THAT(session.Enter("list"), Not(HasSubstr("history")));
  session.Type("quit\n");
  EXPECT_EQ(session.Wait(), 0);
}

TEST_F(Prompt, CtrlCEndsTheRunningCommandAndTheShellContinues) {
  TerminalSession session(State());
  session.ReadTo(kPrompt);
  session.Type(EndlessSearch());
  for (int line = 0; line < 4; ++line) session.ReadTo(kPrompt);
  session.WaitUntilBusyFor(kBusy);

  session.Type(kCtrlC);

  EXPECT_THAT(session.ReadTo(kPrompt), HasSubstr("error: interrupted\n"));
  EXPECT_THAT(session.Enter("list"), HasSubstr("survey"));
  session.Type("quit\n");
  EXPECT_EQ(session.Wait(), 0);
}

TEST_F(Prompt, CtrlCDiscardsTheLine) {
  TerminalSession session(State());
  session.ReadTo(kPrompt);
  session.Type(std::string("lust") + kCtrlC);
  EXPECT_THAT(session.ReadTo(kPrompt), Not(HasSubstr("error")));
  EXPECT_THAT(session.Enter("list"), HasSubstr("no dataset is open"));
  EXPECT_EQ(History(), "list\n");
}

TEST_F(Prompt, CtrlCEndsAScriptAtTheRunningCommand) {
  const std::string script = WriteFile("test.sdm", EndlessSearch() + "list\n");
  TerminalSession session(State(), {script});
  session.ReadTo("> cases survey\n");
  session.WaitUntilBusyFor(kBusy);

  session.Type(kCtrlC);

  session.ReadTo(script + ":5: interrupted\n");
  session.ReadTo("main releases the write lock on survey\n");
  EXPECT_EQ(session.Wait(), 1);
}

TEST_F(Prompt, CtrlDEndsTheShell) {
  TerminalSession session(State());
  session.ReadTo(kPrompt);
  session.Enter(Open("survey") + "write survey");
  session.ReadTo(kPrompt);
  session.Type(kCtrlD);
  session.ReadTo("main releases the write lock on survey\n");
  EXPECT_EQ(session.Wait(), 0);
}

TEST_F(Prompt, FailedCommandDoesNotChangeTheExitStatus) {
  TerminalSession session(State());
  session.ReadTo(kPrompt);
  EXPECT_THAT(session.Enter("lsit"), HasSubstr("did you mean \"list\"?"));
  session.Type("quit\n");
  EXPECT_EQ(session.Wait(), 0);
}

TEST_F(Prompt, AcceptsCommandsOfAWaitingCallerAndNamesTheCommandsThatHelp) {
  TerminalSession session(State());
  session.ReadTo(kPrompt);
  session.Enter("add-empty nix");
  session.Enter("@w write nix");
  session.Enter("read nix");
  EXPECT_THAT(session.Enter("help read"), HasSubstr("acquires a read lock"));
  EXPECT_THAT(session.Enter("locks"), HasSubstr("waiting: main (to read)"));
  EXPECT_THAT(session.Enter("variables nix"),
              AllOf(HasSubstr("it goes on after `@w release nix`"), HasSubstr("`@NAME COMMAND`")));
  EXPECT_THAT(session.Enter("@w release nix"), HasSubstr("main acquires the read lock on nix"));
  session.Enter("@w write nix");
  session.Type("quit\n");
  session.ReadTo("error: w still waits for the write lock on nix\n");
  EXPECT_EQ(session.Wait(), 1);
}

TEST_F(Prompt, ShowsHeadingsInBoldAndErrorsInRedUnlessNoColourIsWanted) {
  EXPECT_THAT(HeadingAndError(/*noColour=*/""),
              AllOf(HasSubstr("\x1B[1mDatasets\x1B[0m"), HasSubstr("\x1B[31merror: ")));
  EXPECT_THAT(HeadingAndError(/*noColour=*/"1"),
              AllOf(Not(HasSubstr("\x1B[1m")), Not(HasSubstr("\x1B[31m"))));
}

// Returns the length of the longest line.
std::size_t WidthOf(const std::string& text) {
  std::istringstream lines(text);
  std::size_t longest = 0;
  for (std::string line; std::getline(lines, line);) longest = std::max(longest, line.size());
  return longest;
}

TEST_F(Prompt, HelpFitsTheTerminal) {
  TerminalSession session(State(), {}, /*columns=*/50);
  session.ReadTo(kPrompt);
  const std::string help = session.Enter("help") + session.Enter("help bootstrap");
  EXPECT_LE(WidthOf(help), 50u) << help;
  EXPECT_GT(std::count(help.begin(), help.end(), '\n'), 70);
}

// After a change of the size, the shell may show the prompt again before it echoes `help`, so the
// test first reads to the echo.
TEST_F(Prompt, OutputFitsTheTerminalAfterAChangeOfItsSize) {
  TerminalSession session(State(), {}, /*columns=*/50);
  session.ReadTo(kPrompt);
  for (const unsigned short columns : std::array<unsigned short, 2>{100, 50}) {
    session.Resize(columns);
    session.Type("help\n");
    session.ReadTo("help\n");
    const std::string help = session.ReadTo(kPrompt);
    EXPECT_LE(WidthOf(help), columns) << help;
    EXPECT_GT(WidthOf(help), columns - 20u) << help;
  }
}

}  // namespace
}  // namespace sdmsh
