// Prompt: reading commands from a script, from a pipe, or from a user at a terminal.

#ifndef SDMSH_PROMPT_H_
#define SDMSH_PROMPT_H_

#include "Shell.h"

#include <iosfwd>
#include <string>

namespace sdmsh {

// Each carries out commands up to the end of the input or `quit`, then releases the locks of every
// caller. True where all went well: no caller was left waiting, everything that was said was heard,
// and what else is said below. Stops at once where nobody hears it.

// Stops at the first command that fails; then not all went well. Failures bear `file`, the name of
// the script, and the line.
bool PlayScript(Shell& shell, std::istream& script, const std::string& file);

// Goes on after a command that fails; then not all went well.
bool PlayInput(Shell& shell, std::istream& input);

// At the terminal of this process, with a prompt, where lines can be edited. A command that fails
// is the user's business.
bool RunPrompt(Shell& shell);

}  // namespace sdmsh

#endif  // SDMSH_PROMPT_H_
