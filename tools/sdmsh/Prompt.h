// Prompt: runs commands from a script, from a pipe, or from a user at a terminal, and completes
// words of a line.

#ifndef SDMSH_PROMPT_H_
#define SDMSH_PROMPT_H_

#include <cstddef>
#include <iosfwd>
#include <string>
#include <vector>

namespace sdmsh {

class Shell;

// PlayInput and RunPrompt run commands until the end of the input or `quit`, or until writing the
// output fails, and then release the locks of all callers. They return false if a caller was left
// waiting, or if releasing the locks, reading the input or writing the output failed.

// Also returns false if a command failed. `script` is the name of the script; empty for other
// input. A script stops at the first command that fails, and its failures are reported with its
// name and the number of the line.
bool PlayInput(Shell& shell, std::istream& input, const std::string& script = "");

// Reads commands from the terminal of this process, with a prompt, line editing and completion by
// the tab key. The keys are those of libedit, which ~/.editrc can change. A command that fails
// neither ends the input nor makes the result false.
//
// Saves the history in $XDG_STATE_HOME/sdmsh/history, by default ~/.local/state/sdmsh/history,
// except for lines that begin with a blank or contain "password". If that file cannot be written,
// reports the failure once and keeps the history only in memory.
bool RunPrompt(Shell& shell);

// The words that can complete the last word of a text, by the grammar in the table of commands.
struct Completions {
  std::size_t start;               // where the last word starts in the text
  std::string typed;               // the last word, without its quotes
  std::vector<std::string> words;  // sorted, without duplicates; a folder ends with a slash
};

// `text` is the part of a line before the cursor. Defined in Completion.cpp.
//
// Threads: the shell's thread.
Completions CompletionsOf(Shell& shell, const std::string& text);

}  // namespace sdmsh

#endif  // SDMSH_PROMPT_H_
