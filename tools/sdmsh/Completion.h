// Completion: the words that can complete a line, by the grammar in the table of commands.

#ifndef SDMSH_COMPLETION_H_
#define SDMSH_COMPLETION_H_

#include <cstddef>
#include <string>
#include <vector>

namespace sdmsh {

class Shell;

// The words that can complete the last word of a text.
struct Completions {
  std::size_t start;               // where the last word starts in the text
  std::string typed;               // the last word, without its quotes
  std::vector<std::string> words;  // sorted, without duplicates; a folder ends with a slash
};

// `text` is the part of a line before the cursor.
//
// Threads: the shell's thread.
Completions CompletionsOf(Shell& shell, const std::string& text);

}  // namespace sdmsh

#endif  // SDMSH_COMPLETION_H_
