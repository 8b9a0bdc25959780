// The words that can complete a line.

#include "Arguments.h"
#include "CommandError.h"
#include "Prompt.h"
#include "Shell.h"
#include "Variables.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <regex>

namespace sdmsh {
namespace {

// Returns the position at which the last word starts. After a blank outside quotes, the last word
// is empty.
std::size_t StartOfLastWord(const std::string& text) {
  std::size_t start = 0;
  bool isQuoted = false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '"') isQuoted = !isQuoted;
    if (!isQuoted && (text[i] == ' ' || text[i] == '\t')) start = i + 1;
  }
  return start;
}

// Matches a token of Command::arguments. Blanks, brackets, bars and dots separate the tokens.
constexpr const char* kToken = "[^ \\[\\]|.]+";

std::vector<std::string> TokensOf(const std::string& grammar) {
  const std::regex token(kToken);
  return {std::sregex_token_iterator(grammar.begin(), grammar.end(), token), {}};
}

// False for names of arguments, such as VARIABLE, and for "string:WIDTH".
bool IsKeyword(const std::string& token) {
  return std::islower(static_cast<unsigned char>(token.front())) != 0 &&
         token.find(':') == std::string::npos;
}

// Returns the tokens that can follow these words of a command. For example, with the grammar
// "DATASET NAME [numeric|string:WIDTH] [before VARIABLE] [label TEXT]" of `insert`:
// - after `insert`, the tokens before the first blank of the grammar: DATASET;
// - after `insert survey`, the tokens after that blank, without options that follow an argument:
//   NAME;
// - after a keyword with a token after it, as in `insert survey age2 before`: that token, VARIABLE;
// - otherwise, as in `insert survey age2`, all tokens after the first blank of the grammar.
std::vector<std::string> TokensAfter(const std::vector<std::string>& words,
                                     const std::string& grammar) {
  const std::size_t first = std::min(grammar.find(' '), grammar.size());
  if (words.size() == 1) return TokensOf(grammar.substr(0, first));
  std::string rest = grammar.substr(first);
  if (words.size() == 2) {
    const std::regex options("([^\\] ])( \\[[^\\]]*\\])+");
    rest = std::regex_replace(rest, options, "$1");
  }
  const std::vector<std::string> tokens = TokensOf(rest);
  const auto token = std::find(tokens.begin(), tokens.end(), words.back());
  std::smatch next;
  if (token != tokens.end() && IsKeyword(*token) &&
      std::regex_search(grammar, next, std::regex("\\b" + *token + " (" + kToken + ")"))) {
    return {next[1]};
  }
  return tokens;
}

void AddFiles(const std::string& typed, std::vector<std::string>& words) {
  const std::string folder = typed.substr(0, typed.rfind('/') + 1);
  std::error_code error;
  for (std::filesystem::directory_iterator file(folder.empty() ? "." : folder, error), end;
       !error && file != end; file.increment(error)) {
    const std::string name = file->path().filename().string();
    if (name.starts_with('.') && folder.size() == typed.size()) continue;
    words.push_back(folder + name + (file->is_directory(error) ? "/" : ""));
  }
}

void AddVariables(Shell& shell, const Line& line, std::vector<std::string>& words) {
  Caller& caller =
      shell.Locks().CallerNamed(line.caller.empty() ? Shell::kMainCaller : line.caller);
  const DatasetPtr dataset = shell.Find(caller, line.words[1]);
  const ReaderPtr reader = shell.Locks().TryRead(caller, *dataset);
  // If the dataset cannot be read, the mirror has the variables as of the last pass.
  const ORVX_DataSource* const source = reader != nullptr ? **reader : &dataset->Changes().Mirror();
  if (source == nullptr) return;
  for (const ORVX_Variable& variable : VariablesOf(*source)) words.push_back(variable.GetName());
}

std::vector<std::string> WordsAfter(Shell& shell, const Line& line, const std::string& typed) {
  if (line.words.empty()) return CommandNames();
  std::vector<std::string> words;
  for (const std::string& token : TokensAfter(line.words, CommandNamed(line.words[0]).arguments)) {
    if (token == "COMMAND") return CommandNames();
    if (token == "FILE") AddFiles(typed, words);
    if (token == "VARIABLE") AddVariables(shell, line, words);
    if (token == "DATASET") {
      for (const DatasetPtr& dataset : shell.Datasets()) words.push_back(dataset->Name());
    }
    if (IsKeyword(token)) words.push_back(token);
  }
  return words;
}

}  // namespace

Completions CompletionsOf(Shell& shell, const std::string& text) {
  Completions completions{StartOfLastWord(text), "", {}};
  std::vector<std::string>& words = completions.words;
  try {
    // A placeholder replaces the last word, because ParseLine refuses a caller without a command.
    Line line = ParseLine(text.substr(0, completions.start) + "x");
    const bool isQuoteOpen = std::count(text.begin(), text.end(), '"') % 2 == 1;
    const Line word = ParseLine("x " + text.substr(completions.start) + (isQuoteOpen ? "\"" : ""));
    if (line.hasComment || word.hasComment) return completions;
    line.words.pop_back();
    if (word.words.size() == 2) completions.typed = word.words[1];
    words = WordsAfter(shell, line, completions.typed);
  } catch (const CommandError&) {  // for example no such command or dataset
    return completions;
  }
  std::erase_if(words,
                [&](const std::string& word) { return !word.starts_with(completions.typed); });
  std::sort(words.begin(), words.end());
  words.erase(std::unique(words.begin(), words.end()), words.end());
  return completions;
}

}  // namespace sdmsh
