// Runs commands line by line.

#include "Prompt.h"

#include "Arguments.h"
#include "CommandError.h"
#include "Interrupt.h"
#include "Terminal.h"

#include <istream>
#include <memory>
#include <new>
#include <optional>
#include <utility>

namespace sdmsh {
namespace {

// Runs the lines of a script, or of other input, for which `file` is empty.
class Player {
 public:
  Player(Shell& shell, std::string file) : shell_(shell), file_(std::move(file)) {}

  bool GoesOn() const { return !shell_.IsOver() && shell_.IsHeard(); }

  // Runs the next line. Reports a failure and returns false.
  bool Play(std::string text) {
    if (text.ends_with('\r')) text.pop_back();
    ++line_;
    return Succeeds([&] { Execute(text); });
  }

  // Releases all locks. Returns false, and reports it, if that fails, if a caller was waiting, or
  // if an error ended the input, which may be null.
  bool CloseDown(const std::istream* input) {
    line_ = 0;
    bool good = input == nullptr || !input->bad();
    if (!good) shell_.Fail(file_, 0, "the input cannot be read to its end");
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
    shell_.Say([&] { return (isCommand ? "> " : "") + text; }, json);
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
      shell_.Fail(file_, line, "not enough memory");
    } catch (const CommandError& error) {
      shell_.Fail(file_, line, error.what());
    }
    return false;
  }

  static constexpr std::size_t kReserve = 1 << 16;

  Shell& shell_;
  const std::string file_;
  int line_ = 0;
  std::unique_ptr<char[]> reserve_;  // freed to report that memory ran out, then null
};

}  // namespace

bool PlayScript(Shell& shell, std::istream& script, const std::string& file) {
  Player player(shell, file);
  bool good = true;
  for (std::string text; good && player.GoesOn() && std::getline(script, text);) {
    good = player.Play(text);
  }
  return player.CloseDown(&script) && good;
}

bool PlayInput(Shell& shell, std::istream& input) {
  Player player(shell, "");
  bool good = true;
  for (std::string text; player.GoesOn() && std::getline(input, text);) {
    ForgetInterrupt();  // an interrupt before the line must not end the new command
    if (!player.Play(text)) good = false;
  }
  return player.CloseDown(&input) && good;
}

bool RunPrompt(Shell& shell) {
  Player player(shell, "");
  Terminal terminal(shell);
  while (player.GoesOn()) {
    const std::optional<std::string> text = terminal.ReadLine();
    if (!text) break;
    ForgetInterrupt();
    shell.Out().SetMaxWidth(WidthOfTerminal());
    player.Play(*text);
  }
  return player.CloseDown(nullptr);
}

}  // namespace sdmsh
