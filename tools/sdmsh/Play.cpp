// Scripts and the prompt.

#include "Play.h"

#include "CommandError.h"
#include "Interrupt.h"
#include "Line.h"

#include <unistd.h>

#include <iostream>
#include <ostream>

namespace sdmsh {
namespace {

// The lines of a script, or of the input at the prompt, where `file` is empty.
class Player {
 public:
  Player(Shell& shell, std::string file) : shell_(shell), file_(std::move(file)) {}

  // Carries the next line out. False where it is wrong, which was reported.
  bool Play(std::string text) {
    if (text.ends_with('\r')) text.pop_back();
    ++line_;
    try {
      Line line = ParseLine(text);
      if (line.role.empty()) line.role = Shell::kMainRole;
      if (IsScript()) shell_.Say(ScriptLine{line_, text, line.role, line.words});
      if (!line.words.empty()) shell_.Execute(line.role, line.words);
      if (IsScript()) GiveUpIfInterrupted();
      return true;
    } catch (...) {
      shell_.Say(Failure{file_, IsScript() ? line_ : 0, ExceptionInWords()});
      return false;
    }
  }

 private:
  bool IsScript() const { return !file_.empty(); }

  Shell& shell_;
  const std::string file_;
  int line_ = 0;
};

bool GoesOn(const Shell& shell) {
  return !shell.IsOver() && shell.IsHeard();
}

// Prints the prompt and, at the terminal, waits for a line, with a new prompt after each ctrl-C.
void Ask(std::ostream& prompt, const std::istream& input) {
  const InterruptsHeld held;
  prompt << "sdmsh> " << std::flush;
  while (&input == &std::cin && !held.WaitForInput(STDIN_FILENO)) {
    prompt << "\nsdmsh> " << std::flush;
  }
}

}  // namespace

bool PlayScript(Shell& shell, std::istream& script, const std::string& file) {
  Player player(shell, file);
  bool good = true;
  for (std::string text; good && GoesOn(shell) && std::getline(script, text);) {
    good = player.Play(text);
  }
  if (script.bad()) {
    shell.Say(Failure{file, 0, "cannot be read to its end"});
    good = false;
  }
  return shell.CloseDown(file) && good;
}

bool RunPrompt(Shell& shell, std::istream& input, std::ostream* prompt) {
  Player player(shell, "");
  bool good = true;
  std::string text;
  while (GoesOn(shell)) {
    if (prompt != nullptr) Ask(*prompt, input);
    if (!std::getline(input, text)) {
      if (prompt != nullptr) *prompt << "\n";  // the cursor stands behind the prompt
      break;
    }
    ForgetInterrupt();  // it came before the line
    if (!player.Play(text)) good = false;
  }
  if (input.bad()) {
    shell.Say(Failure{"", 0, "the input cannot be read to its end"});
    good = false;
  }
  return shell.CloseDown("") && good;
}

}  // namespace sdmsh
