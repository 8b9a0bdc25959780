// Prompt: runs commands from a script, from a pipe, or from a user at a terminal.

#ifndef SDMSH_PROMPT_H_
#define SDMSH_PROMPT_H_

#include <iosfwd>
#include <string>

namespace sdmsh {

class Shell;

// Each function runs commands until the end of the input or `quit`, then releases the locks of all
// callers. It returns false if a caller was left waiting, if reading the input or writing the
// output failed, or for a reason given below. It runs no more commands after the output failed.

// Stops at the first command that fails, and then returns false. Reports failures with `file`, the
// name of the script, and the number of the line.
bool PlayScript(Shell& shell, std::istream& script, const std::string& file);

// Continues after a command fails, but then returns false.
bool PlayInput(Shell& shell, std::istream& input);

// Reads commands from the terminal of this process, with a prompt, line editing and completion by
// the tab key. The keys are those of libedit, which ~/.editrc can change. Continues after a command
// fails, and may still return true.
//
// Saves the history in $XDG_STATE_HOME/sdmsh/history, by default ~/.local/state/sdmsh/history,
// except for lines that begin with a blank. If that file cannot be written, reports the failure
// once and keeps the history only in memory.
bool RunPrompt(Shell& shell);

}  // namespace sdmsh

#endif  // SDMSH_PROMPT_H_
