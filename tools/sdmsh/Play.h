// Reading commands from a script or from the prompt.

#ifndef SDMSH_PLAY_H_
#define SDMSH_PLAY_H_

#include "Shell.h"

#include <iosfwd>
#include <string>

namespace sdmsh {

// Plays a script up to its end, `quit` or its first wrong command, and then lets every caller go.
// Failures bear `file`, the name of the script, and the line. True where all went well: no command
// was wrong, no role was left waiting, and everything that was said was heard. Stops at once where
// nobody hears it.
bool PlayScript(Shell& shell, std::istream& script, const std::string& file);

// Carries out commands up to the end of the input or `quit`; a wrong one is reported, and the next
// is read. Then lets every caller go. True where all went well, as above. `prompt`, null for none,
// gets a prompt before each line, and a new one where ctrl-C at the terminal threw a line away.
bool RunPrompt(Shell& shell, std::istream& input, std::ostream* prompt);

}  // namespace sdmsh

#endif  // SDMSH_PLAY_H_
