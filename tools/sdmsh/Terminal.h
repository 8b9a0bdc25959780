// Terminal: reads lines from the user's terminal, with editing, a history, and completion by the
// tabulator key. The keys are those of libedit, which ~/.editrc can change.

#ifndef SDMSH_TERMINAL_H_
#define SDMSH_TERMINAL_H_

#include "Shell.h"

#include <histedit.h>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace sdmsh {

// Saves the history in $XDG_STATE_HOME/sdmsh/history, by default ~/.local/state/sdmsh/history,
// except for lines that begin with a blank. If that file cannot be written, reports it once and
// keeps the history in memory only.
//
// Threads: the shell's thread. One object at a time, which uses standard input and output.
class Terminal {
 public:
  explicit Terminal(Shell& shell);
  Terminal(const Terminal&) = delete;
  Terminal& operator=(const Terminal&) = delete;

  // Shows the prompt and returns the line that the user entered. Returns an empty line after
  // ctrl-C, and no line after ctrl-D.
  std::optional<std::string> ReadLine();

 private:
  static unsigned char OnTabulator(EditLine* editor, int key);
  static unsigned char OnCtrlC(EditLine* editor, int key);
  static unsigned char OnCtrlZ(EditLine* editor, int key);

  void BindKeys();
  void OpenHistory(const std::filesystem::path& file);
  void Keep(const std::string& line);
  unsigned char Complete();
  void Replace(const std::string& typed, const std::string& text);

  Shell& shell_;
  const std::unique_ptr<History, void (*)(History*)> history_;
  const std::unique_ptr<EditLine, void (*)(EditLine*)> editor_;
  std::ofstream kept_;  // the file of the history; closed if it cannot be written
  bool givenUp_ = false;
};

// The words that can complete the last word of a text.
struct Completions {
  std::size_t start;               // where the last word starts in the text
  std::string typed;               // the last word, without its quotes
  std::vector<std::string> words;  // sorted, without duplicates; a folder ends with a slash
};

// `text` is the part of a line before the cursor.
Completions CompletionsOf(Shell& shell, const std::string& text);

}  // namespace sdmsh

#endif  // SDMSH_TERMINAL_H_
