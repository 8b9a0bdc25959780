// Splits text into words, and converts words to arguments.

#include "Arguments.h"

#include "CommandError.h"
#include "Shell.h"

#include <libdatasrc/SystemFileDataSource.h>
#include <liborvxdemg/DictionaryText.h>

#include <algorithm>
#include <cctype>
#include <charconv>
#include <limits>

namespace sdmsh {

// ---------------------------------------------------------------------------------------------
// Lines

namespace {

constexpr std::string_view kBlanks = " \t\r\n";

bool IsBlank(char c) {
  return kBlanks.find(c) != std::string_view::npos;
}

// Takes quoted text. `text` must begin after the opening quote; on return, it begins after the
// closing quote.
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

// Takes the word at the beginning of `text`, and removes the word from `text`.
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

bool IsCallerName(std::string_view name) {
  return !name.empty() && std::all_of(name.begin(), name.end(), [](unsigned char c) {
    return std::isalnum(c) || c == '_' || c == '-' || c >= 0x80;
  });
}

// Removes blanks from the beginning of `text`. Returns false if only blanks or a comment remain.
bool SkipToWord(std::string_view& text) {
  text.remove_prefix(std::min(text.find_first_not_of(kBlanks), text.size()));
  return !text.empty() && text.front() != '#';
}

std::string TakeCaller(std::string_view& text) {
  const std::string word = TakeWord(text);
  const std::string caller = word.substr(1);
  if (!IsCallerName(caller)) {
    throw CommandError("expected a caller of letters, digits, - and _ after @, found \"" + caller +
                       "\"");
  }
  if (!SkipToWord(text)) throw CommandError("expected a command after " + word);
  return caller;
}

}  // namespace

Line ParseLine(std::string_view text) {
  Line line;
  if (SkipToWord(text) && text.front() == '@') line.caller = TakeCaller(text);
  while (SkipToWord(text)) line.words.push_back(TakeWord(text));
  line.hasComment = !text.empty();
  return line;
}

std::string AsTyped(const std::string& word, bool isWhole) {
  const bool needsQuotes = word.find_first_of(" \t\"") != std::string::npos || word.empty();
  if (!needsQuotes && !word.starts_with('#')) return word;
  std::string typed = "\"";
  for (const char c : word) typed += c == '"' ? "\"\"" : std::string(1, c);
  return isWhole ? typed + "\"" : typed;
}

std::string CommandText(const std::string& caller, const std::vector<std::string>& words) {
  std::string text = caller == Shell::kMainCaller ? "" : "@" + caller + " ";
  for (const std::string& word : words) text += AsTyped(word) + " ";
  text.back() = '`';
  return "`" + text;
}

// ---------------------------------------------------------------------------------------------
// Names

namespace {

constexpr std::size_t kLongestName = 64;  // longer words get no suggestion

// Returns the edit distance: the least number of edits that turn `a` into `b`. An edit inserts,
// deletes or changes a byte, or swaps two neighbours.
std::size_t Distance(const std::string& a, const std::string& b) {
  std::vector<std::size_t> twoBefore(b.size() + 1);
  std::vector<std::size_t> before(b.size() + 1);
  std::vector<std::size_t> row(b.size() + 1);
  for (std::size_t j = 0; j <= b.size(); ++j) row[j] = j;
  for (std::size_t i = 1; i <= a.size(); ++i) {
    twoBefore.swap(before);
    before.swap(row);
    row[0] = i;
    for (std::size_t j = 1; j <= b.size(); ++j) {
      const std::size_t changed = before[j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1);
      row[j] = std::min({before[j] + 1, row[j - 1] + 1, changed});
      if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1]) {
        row[j] = std::min(row[j], twoBefore[j - 2] + 1);
      }
    }
  }
  return row[b.size()];
}

}  // namespace

std::string DidYouMean(const std::string& name, const std::vector<std::string>& known) {
  if (name.size() > kLongestName) return "";
  std::size_t least = std::max<std::size_t>(1, name.size() / 3) + 1;
  std::string nearest;
  for (const std::string& candidate : known) {
    const std::size_t distance = Distance(name, candidate);
    if (distance >= std::min(least, candidate.size())) continue;
    least = distance;
    nearest = candidate;
  }
  return nearest.empty() ? "" : "; did you mean " + DictionaryText::Quoted(nearest) + "?";
}

// ---------------------------------------------------------------------------------------------
// Arguments

void Arguments::Wrong(const std::string& expected, const std::string& remark) const {
  const std::string found = AtEnd() ? "the end of the line" : DictionaryText::Quoted(words_[next_]);
  throw CommandError(std::string(command_.name) + ": expected " + expected + ", found " + found +
                     remark + "; usage: " + UsageOf(command_));
}

std::string Arguments::Take(const char* what) {
  const std::string& word = Peek(what);
  ++next_;
  return word;
}

const std::string& Arguments::Peek(const std::string& what) const {
  if (AtEnd()) Wrong(what);
  return words_[next_];
}

std::string Arguments::TakeFile() {
  std::string file = Take("FILE");
  if (file.empty()) throw CommandError("no file name");
  if (file.find('\0') != std::string::npos) {
    throw CommandError("a file name cannot have a zero byte in it: " +
                       DictionaryText::Quoted(file));
  }
  return file;
}

std::vector<std::string> Arguments::TakeRest(const char* what) {
  std::vector<std::string> rest{Take(what)};
  while (!AtEnd()) rest.push_back(Take(what));
  return rest;
}

// Takes the next word, which must be a number from `least` to the maximum of its type.
template <class Number>
Number Arguments::TakeFrom(Number least, const std::string& expected) {
  const std::string& word = Peek(expected);
  const char* const end = word.data() + word.size();
  Number number = 0;
  const auto [rest, error] = std::from_chars(word.data(), end, number);
  if (rest != end || word.empty()) Wrong(expected);
  if (error == std::errc::result_out_of_range) Wrong(expected, ", which is out of range");
  // Also false for a NaN, which fails both comparisons.
  const bool isWithin = number >= least && number <= std::numeric_limits<Number>::max();
  if (!isWithin) Wrong(expected);
  ++next_;
  return number;
}

int Arguments::TakeNumber(const char* what, int least) {
  return TakeFrom(
      least, std::string(what) + " (a number from " + std::to_string(least) + " to 2147483647)");
}

std::int32_t Arguments::TakeInteger(const char* what) {
  return TakeFrom(std::numeric_limits<std::int32_t>::min(),
                  std::string(what) + " (-2147483648 to 2147483647)");
}

std::uint32_t Arguments::TakeUnsigned(const char* what) {
  return TakeFrom(std::uint32_t{0}, std::string(what) + " (0 to 4294967295)");
}

double Arguments::TakeReal(const char* what) {
  return TakeFrom(std::numeric_limits<double>::lowest(), std::string(what) + " (a number)");
}

bool Arguments::TakeOnOff() {
  return TakeOneOf({"on", "off"}) == 0;
}

ImportOptions Arguments::TakeImportOptions() {
  ImportOptions options;
  for (;;) {
    if (Accept("delimiter")) {
      options.delimiter = ",\t;| "[TakeOneOf({"comma", "tab", "semicolon", "bar", "space"})];
    } else if (Accept("decimal")) {
      options.decimalMark = ".,"[TakeOneOf({"point", "comma"})];
    } else if (Accept("encoding")) {
      options.encoding = Take("ENCODING");
    } else {
      return options;
    }
  }
}

bool Arguments::Accept(const char* keyword) {
  if (AtEnd() || words_[next_] != keyword) return false;
  ++next_;
  return true;
}

void Arguments::Expect(const char* keyword) {
  if (!Accept(keyword)) Wrong(DictionaryText::Quoted(keyword));
}

std::size_t Arguments::TakeOneOf(const std::vector<const char*>& keywords) {
  for (std::size_t i = 0; i < keywords.size(); ++i) {
    if (Accept(keywords[i])) return i;
  }
  std::string expected;
  for (std::size_t i = 0; i < keywords.size(); ++i) {
    if (i > 0) expected += i + 1 == keywords.size() ? " or " : ", ";
    expected += DictionaryText::Quoted(keywords[i]);
  }
  Wrong(expected);
}

void Arguments::End() const {
  if (!AtEnd()) Wrong("the end of the line");
}

// ---------------------------------------------------------------------------------------------
// Call

SvrDMInputDataSource& Call::Reader() {
  End();
  reader_ = shell.Locks().Read(caller, *dataset);
  return *reader_;
}

SvrDMWriteableDataSource& Call::Writer() {
  End();
  return shell.Locks().Writer(caller, *dataset);
}

ORVX_DataSource& Call::Source() {
  SvrDMWriteableDataSource& writer = Writer();
  if (*writer != nullptr) return **writer;
  throw CommandError(dataset->Name() + " has no data source; `source` gives it one");
}

std::unique_ptr<SystemFileDataSource> Call::OpenDataFile(const std::string& file,
                                                         const ImportOptions& options) const {
  ProgressBar bar(shell.Out());
  return SystemFileDataSource::Open(file, options, std::ref(bar));
}

void Call::Say(const char* event, const std::string& words,
               std::initializer_list<Member> members) const {
  shell.Out().Say(words, [&] {
    Json json = {{"event", event}, {"caller", caller.Name()}};
    if (dataset != nullptr) json["dataset"] = dataset->Name();
    for (const Member& member : members) json[member.name] = member.value;
    return json;
  });
}

void Call::Show(const char* event, const std::function<std::string()>& words,
                const std::function<Json()>& members) const {
  shell.Out().Say(words, [&] {
    Json json = {{"event", event}, {"dataset", dataset->Name()}};
    json.update(members());
    return json;
  });
}

}  // namespace sdmsh
