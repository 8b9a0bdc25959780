// Terminal: the user's terminal, where a line of commands can be edited, taken from the history,
// and completed with the tabulator key. Keys are those of libedit, which ~/.editrc changes.

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

// The history is kept in $XDG_STATE_HOME/sdmsh/history, by default ~/.local/state/sdmsh/history,
// but for lines that begin with a blank. Where that cannot be written, says so once.
//
// Threads: the shell's. One at a time; it uses standard input and output.
class Terminal {
 public:
  explicit Terminal(Shell& shell);
  Terminal(const Terminal&) = delete;
  Terminal& operator=(const Terminal&) = delete;

  // Shows the prompt and returns the line that the user entered: an empty one after ctrl-C, nothing
  // after ctrl-D.
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
  std::ofstream kept_;  // the file of the history; closed where it cannot be written
  bool givenUp_ = false;
};

// What may stand at the end of `text`, the part of a line before the cursor, in place of its last
// word, which starts at `start` and is `typed` without its quotes.
struct Completions {
  std::size_t start;
  std::string typed;
  std::vector<std::string> words;  // sorted, each once; a folder ends with a slash
};

Completions CompletionsOf(Shell& shell, const std::string& text);

}  // namespace sdmsh

#endif  // SDMSH_TERMINAL_H_
