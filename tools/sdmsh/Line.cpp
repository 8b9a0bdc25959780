// From text to words.

#include "Line.h"

#include "CommandError.h"

#include <algorithm>
#include <cctype>

namespace sdmsh {
namespace {

constexpr std::string_view kBlanks = " \t\r\n";

bool IsBlank(char c) {
  return kBlanks.find(c) != std::string_view::npos;
}

// The inside of quotes; `text` stands behind the opening one and is moved behind the closing one.
std::string TakeQuoted(std::string_view& text) {
  std::string inside;
  for (;;) {
    const std::size_t quote = text.find('"');
    if (quote == std::string_view::npos) throw CommandError("expected a closing quote (\")");
    inside += text.substr(0, quote);
    text.remove_prefix(quote + 1);
    if (!text.starts_with('"')) return inside;
    inside += '"';
    text.remove_prefix(1);
  }
}

// `text` begins with the word and is moved behind it.
std::string TakeWord(std::string_view& text) {
  std::string word;
  while (!text.empty() && !IsBlank(text.front())) {
    const char c = text.front();
    text.remove_prefix(1);
    if (c == '"') {
      word += TakeQuoted(text);
    } else {
      word += c;
    }
  }
  return word;
}

bool IsRoleName(std::string_view name) {
  return !name.empty() && std::all_of(name.begin(), name.end(), [](unsigned char c) {
    return std::isalnum(c) || c == '_' || c == '-' || c >= 0x80;
  });
}

// Moves `text` to its next word; false where there is none.
bool SkipToWord(std::string_view& text) {
  text.remove_prefix(std::min(text.find_first_not_of(kBlanks), text.size()));
  return !text.empty() && text.front() != '#';
}

std::string TakeRole(std::string_view& text) {
  const std::string word = TakeWord(text);
  const std::string role = word.substr(1);
  if (!IsRoleName(role)) {
    throw CommandError("expected a role of letters, digits, - and _ after @, found \"" + role +
                       "\"");
  }
  if (!SkipToWord(text)) throw CommandError("expected a command after " + word);
  return role;
}

}  // namespace

Line ParseLine(std::string_view text) {
  Line line;
  if (!SkipToWord(text)) return line;
  if (text.front() == '@') line.role = TakeRole(text);
  do {
    line.words.push_back(TakeWord(text));
  } while (SkipToWord(text));
  return line;
}

}  // namespace sdmsh
