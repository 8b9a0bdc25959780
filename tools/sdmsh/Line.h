// Line: one line of a script or of the prompt, taken apart.
//
//   @recode insert survey age2 label "Age, recoded"   # a comment
//
// Words are separated by blanks. What stands between double quotes belongs to one word, blanks and
// all; a quote inside is written twice. A word that begins with # starts a comment.

#ifndef SDMSH_LINE_H_
#define SDMSH_LINE_H_

#include <string>
#include <string_view>
#include <vector>

namespace sdmsh {

struct Line {
  std::string role;  // who gives the command: without the @; empty where none is named
  std::vector<std::string> words;  // the command and its arguments; empty where there is none
};

// Throws CommandError for an unclosed quote, and for a role without a name or without a command.
Line ParseLine(std::string_view text);

}  // namespace sdmsh

#endif  // SDMSH_LINE_H_
