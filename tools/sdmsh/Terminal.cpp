// Implements line editing with libedit, the history, and completion.

#include "Terminal.h"

#include "Arguments.h"
#include "CommandError.h"
#include "Interrupt.h"
#include "Variables.h"

#include <sys/stat.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <clocale>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>

namespace sdmsh {
namespace {

constexpr int kHistorySize = 1000;

std::filesystem::path HistoryFile() {
  const std::filesystem::path file = "sdmsh/history";
  const char* const state = std::getenv("XDG_STATE_HOME");
  if (state != nullptr && *state == '/') return state / file;
  const char* const home = std::getenv("HOME");
  if (home == nullptr || *home == '\0') throw CommandError("there is no home folder");
  return std::filesystem::path(home) / ".local/state" / file;
}

// libedit edits characters, so it needs a locale with the encoding of the terminal.
void UseCharactersOfTerminal() {
  const char* const locale = std::setlocale(LC_CTYPE, "");
  if (locale == nullptr || MB_CUR_MAX == 1) std::setlocale(LC_CTYPE, "C.UTF-8");
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// Editing

Terminal::Terminal(Shell& shell)
    : shell_(shell),
      history_((UseCharactersOfTerminal(), history_init()), history_end),
      editor_(el_init("sdmsh", stdin, stdout, stderr), el_end) {
  if (history_ == nullptr || editor_ == nullptr) throw std::bad_alloc();
  BindKeys();
  try {
    OpenHistory(HistoryFile());
  } catch (const std::exception& error) {
    shell_.Fail("", 0, std::string("no history is kept: ") + error.what());
  }
}

void Terminal::BindKeys() {
  EditLine* const editor = editor_.get();
  el_set(editor, EL_CLIENTDATA, this);
  el_set(
      editor, EL_PROMPT, +[](EditLine*) { return "sdmsh> "; });
  el_set(editor, EL_EDITOR, "emacs");
  el_set(editor, EL_SIGNAL, 1);  // handle changes of the terminal's size, and ctrl-Z
  el_set(editor, EL_HIST, history, history_.get());
  el_set(editor, EL_ADDFN, "sdmsh-complete", "Complete a word", OnTabulator);
  el_set(editor, EL_ADDFN, "sdmsh-give-up", "Give the line up", OnCtrlC);
  el_set(editor, EL_BIND, "^I", "sdmsh-complete", nullptr);
  el_set(editor, EL_BIND, "^R", "em-inc-search-prev", nullptr);
  el_set(editor, EL_ADDFN, "sdmsh-suspend", "Suspend the shell", OnCtrlZ);
  el_set(editor, EL_SETTY, "-d", "-isig", nullptr);  // ctrl-C is a key while the line is edited
  el_set(editor, EL_BIND, "^Z", "sdmsh-suspend", nullptr);
  el_set(editor, EL_BIND, "^C", "sdmsh-give-up", nullptr);
  el_source(editor, nullptr);
}

std::optional<std::string> Terminal::ReadLine() {
  const InterruptsHeld held;
  givenUp_ = false;
  int count = 0;
  el_resize(editor_.get());
  el_set(editor_.get(), EL_PREP_TERM, 1);  // before the prompt: keys may be typed ahead
  const char* const text = el_gets(editor_.get(), &count);
  if (givenUp_) return "";
  if (text == nullptr || count <= 0) {
    std::cout << std::endl;  // the cursor is still on the line of the prompt
    return std::nullopt;
  }
  std::string line(text, static_cast<std::size_t>(count));
  if (line.ends_with('\n')) line.pop_back();
  Keep(line);
  return line;
}

unsigned char Terminal::OnCtrlC(EditLine* editor, int) {
  Terminal* terminal = nullptr;
  el_get(editor, EL_CLIENTDATA, &terminal);
  terminal->givenUp_ = true;
  std::cout << "^C" << std::endl;
  return CC_NEWLINE;
}

unsigned char Terminal::OnCtrlZ(EditLine*, int) {
  std::raise(SIGTSTP);
  return CC_REDISPLAY;
}

// ---------------------------------------------------------------------------------------------
// History

void Terminal::OpenHistory(const std::filesystem::path& file) {
  HistEvent event;
  history(history_.get(), &event, H_SETSIZE, kHistorySize);
  history(history_.get(), &event, H_SETUNIQUE, 1);
  std::vector<std::string> lines;
  std::ifstream old(file);
  for (std::string line; std::getline(old, line);) lines.push_back(line);
  const bool isLong = lines.size() > 2 * kHistorySize;
  if (isLong) lines.erase(lines.begin(), lines.end() - kHistorySize);
  for (const std::string& line : lines) history(history_.get(), &event, H_ENTER, line.c_str());

  const mode_t before = umask(S_IRWXG | S_IRWXO);  // only the user may read the history
  std::error_code error;
  std::filesystem::create_directories(file.parent_path(), error);
  kept_.open(file, isLong ? std::ios::trunc : std::ios::app);
  umask(before);
  if (!kept_) throw CommandError(file.string() + ": " + std::strerror(errno));
  if (!isLong) return;
  for (const std::string& line : lines) kept_ << line << "\n";
}

void Terminal::Keep(const std::string& line) {
  if (line.empty() || std::isspace(static_cast<unsigned char>(line.front())) != 0) return;
  HistEvent event;
  history(history_.get(), &event, H_ENTER, line.c_str());
  if (!kept_.is_open() || kept_ << line << std::endl) return;
  kept_.close();
  shell_.Fail("", 0, "no history is kept any more: its file cannot be written");
}

// ---------------------------------------------------------------------------------------------
// Completion: finding words

namespace {

// Where the last word starts, and whether a quote is open at its end. After a blank, the last word
// is empty.
struct LastWord {
  std::size_t start = 0;
  bool isQuoted = false;
};

LastWord FindLastWord(const std::string& text) {
  LastWord word;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '"') word.isQuoted = !word.isQuoted;
    if (!word.isQuoted && (text[i] == ' ' || text[i] == '\t')) word.start = i + 1;
  }
  return word;
}

// Splits the grammar into words at blanks, brackets, bars and dots.
std::vector<std::string> TokensOf(const std::string& grammar) {
  std::vector<std::string> tokens;
  std::string token;
  for (const char c : grammar + " ") {
    if (std::strchr(" []|.", c) == nullptr) {
      token += c;
    } else if (!token.empty()) {
      tokens.push_back(std::exchange(token, ""));
    }
  }
  return tokens;
}

// The part of the grammar after this keyword; empty if the word is not a keyword of the grammar.
std::string PartBehind(const std::string& grammar, const std::string& word) {
  if (word.empty() || std::islower(static_cast<unsigned char>(word.front())) == 0) return "";
  for (auto at = grammar.find(word); at != std::string::npos; at = grammar.find(word, at + 1)) {
    const bool begins = at == 0 || std::strchr(" [|", grammar[at - 1]) != nullptr;
    const std::size_t end = at + word.size();
    if (begins && end < grammar.size() && grammar[end] == ' ') return grammar.substr(end + 1);
  }
  return "";
}

// The tokens that can follow these words of a command. After a keyword, this is the next token of
// the grammar; otherwise any token except the first, which can only follow the command's name.
std::vector<std::string> TokensBehind(const std::string& grammar,
                                      const std::vector<std::string>& words) {
  const std::size_t first = std::min(grammar.find(' '), grammar.size());
  if (words.size() == 1) return TokensOf(grammar.substr(0, first));
  const std::string part = PartBehind(grammar, words.back());
  if (!part.empty() && part.front() != '[') return {TokensOf(part).front()};
  return TokensOf(grammar.substr(first));
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
  const auto add = [&](const ORVX_DataSource& source) {
    for (const ORVX_Variable& variable : VariablesOf(source)) words.push_back(variable.GetName());
  };
  const bool isRead = shell.Locks().TryRead(caller, dataset, [&](SvrDMInputDataSource& reader) {
    if (*reader != nullptr) add(**reader);
  });
  if (!isRead) add(dataset->Interpreter().Mirror());  // the variables as of the last pass
}

std::vector<std::string> WordsBehind(Shell& shell, const Line& line, const std::string& typed) {
  if (line.words.empty()) return CommandNames();
  std::vector<std::string> words;
  const std::string grammar = CommandNamed(line.words[0]).arguments;
  for (const std::string& token : TokensBehind(grammar, line.words)) {
    if (token == "COMMAND") return CommandNames();
    if (token == "FILE") AddFiles(typed, words);
    if (token == "VARIABLE") AddVariables(shell, line, words);
    if (token == "DATASET") {
      for (const DatasetPtr& dataset : shell.Datasets()) words.push_back(dataset->Name());
    }
    const bool isKeyword = std::islower(static_cast<unsigned char>(token.front())) != 0;
    if (isKeyword && token.find(':') == std::string::npos) words.push_back(token);
  }
  return words;
}

}  // namespace

Completions CompletionsOf(Shell& shell, const std::string& text) {
  const LastWord last = FindLastWord(text);
  Completions completions{last.start, "", {}};
  try {
    // A placeholder replaces the last word, because ParseLine refuses a caller without a command.
    Line line = ParseLine(text.substr(0, last.start) + "x");
    if (line.words.empty()) return completions;  // the last word is in a comment
    line.words.pop_back();
    const Line word = ParseLine("x " + text.substr(last.start) + (last.isQuoted ? "\"" : ""));
    if (word.words.size() == 2) completions.typed = word.words[1];
    completions.words = WordsBehind(shell, line, completions.typed);
  } catch (const CommandError&) {  // no such command or dataset
    completions.words.clear();
  }
  std::vector<std::string>& words = completions.words;
  std::erase_if(words,
                [&](const std::string& word) { return !word.starts_with(completions.typed); });
  std::sort(words.begin(), words.end());
  words.erase(std::unique(words.begin(), words.end()), words.end());
  return completions;
}

// ---------------------------------------------------------------------------------------------
// Completion: at the cursor

namespace {

constexpr std::size_t kShown = 200;

std::string CommonStart(const std::vector<std::string>& words) {
  const std::string& first = words.front();
  const std::string& last = words.back();  // words are sorted, so these two differ the most
  const auto end = std::mismatch(first.begin(), first.end(), last.begin(), last.end()).first;
  std::string start(first.begin(), end);
  // Must not end within a UTF-8 character.
  while (start.size() < first.size() && (first[start.size()] & 0xC0) == 0x80) start.pop_back();
  return start;
}

std::string ListOf(const std::vector<std::string>& words) {
  std::string list;
  for (std::size_t i = 0; i < std::min(words.size(), kShown); ++i) {
    list += (i == 0 ? "" : "  ") + words[i];
  }
  if (words.size() > kShown) list += "  and " + std::to_string(words.size() - kShown) + " more";
  return list;
}

}  // namespace

unsigned char Terminal::OnTabulator(EditLine* editor, int) {
  Terminal* terminal = nullptr;
  el_get(editor, EL_CLIENTDATA, &terminal);
  try {
    return terminal->Complete();
  } catch (...) {  // an exception must not pass through libedit, which is written in C
    return CC_ERROR;
  }
}

unsigned char Terminal::Complete() {
  const LineInfo* const line = el_line(editor_.get());
  const std::string text(line->buffer, line->cursor);
  const auto [start, typed, words] = CompletionsOf(shell_, text);
  if (words.empty()) return CC_REFRESH_BEEP;
  const std::string raw = text.substr(start);
  if (words.size() == 1) {
    const bool isFolder = words[0].ends_with('/');
    Replace(raw, AsTyped(words[0], !isFolder) + (isFolder ? "" : " "));
    return CC_REFRESH;
  }
  const std::string common = CommonStart(words);
  if (common != typed) {
    Replace(raw, AsTyped(common, /*isWhole=*/false));
    return CC_REFRESH;
  }
  shell_.Out().SetMaxWidth(WidthOfTerminal());
  std::cout << "\n" << Wrapped(ListOf(words), shell_.Out().MaxWidth(), 0) << std::endl;
  return CC_REDISPLAY;
}

// Replaces `typed`, the text before the cursor, with `text`.
void Terminal::Replace(const std::string& typed, const std::string& text) {
  const auto count =
      std::count_if(typed.begin(), typed.end(), [](char byte) { return (byte & 0xC0) != 0x80; });
  el_deletestr(editor_.get(), static_cast<int>(count));
  el_insertstr(editor_.get(), text.c_str());
}

}  // namespace sdmsh
