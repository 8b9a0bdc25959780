// Prints lines for people and for programs.

#include "Output.h"

#include "CommandError.h"

#include <sys/ioctl.h>
#include <unistd.h>
#include <utf8proc.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <ostream>
#include <utility>

namespace sdmsh {
namespace {

constexpr const char* kBold = "\x1B[1m";
constexpr const char* kRed = "\x1B[31m";
constexpr const char* kPlain = "\x1B[0m";
constexpr const char* kGap = "  ";

// A character of a text in UTF-8; a byte that is not UTF-8 counts as a character.
struct Character {
  utf8proc_int32_t code = -1;  // negative for a byte that is not UTF-8
  std::size_t length = 1;      // in bytes
};

Character FirstOf(std::string_view text) {
  Character first;
  const auto* const bytes = reinterpret_cast<const utf8proc_uint8_t*>(text.data());
  const auto length =
      utf8proc_iterate(bytes, static_cast<utf8proc_ssize_t>(text.size()), &first.code);
  if (length > 0) first.length = static_cast<std::size_t>(length);
  return first;
}

// Returns the visible character with which OnOneLine replaces this character; 0 if OnOneLine does
// not replace it.
char32_t SignOf(utf8proc_int32_t code) {
  if (code == 0x7F) return U'\u2421';
  if (code >= 0 && code < ' ') return U'\u2400' + static_cast<char32_t>(code);
  const bool isUnseen = (code >= 0x80 && code <= 0x9F) || code == 0x2028 || code == 0x2029;
  return isUnseen ? U'\uFFFD' : U'\0';
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// Output

std::size_t WidthOfTerminal() {
  winsize size{};
  return ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 ? size.ws_col : 0;
}

Look LookOfProcess(bool json) {
  const char* const noColour = std::getenv("NO_COLOR");
  const bool mayColour = !json && (noColour == nullptr || *noColour == '\0');
  return {.json = json,
          .width = WidthOfTerminal(),
          .colour = mayColour && isatty(STDOUT_FILENO) == 1,
          .colourErrors = mayColour && isatty(STDERR_FILENO) == 1};
}

// Bytes that are not UTF-8, from a script or a file name, become U+FFFD: the line stays valid JSON.
std::string Output::JsonText(const Json& json) {
  return json.is_null() ? "" : json.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
}

std::string Output::Heading(const std::string& text) const {
  return look_.colour ? kBold + text + kPlain : text;
}

void Output::Print(std::string_view lines) {
  out_ << lines << std::flush;
}

void Output::SayNotices() noexcept {
  const std::vector<std::string> notices = std::exchange(notices_, {});
  for (const std::string& notice : notices) Print(notice);
}

void Output::Fail(const std::string& file, int line, std::string_view text) noexcept {
  const bool lost = lost_;
  Try([&] {
    if (look_.json) {
      Json json = {{"event", "error"}, {"text", text}};
      if (!file.empty()) json["file"] = file;
      if (line > 0) json["line"] = line;
      return Print(JsonText(json));
    }
    out_.flush();
    err_ << (look_.colourErrors ? kRed : "") << (file.empty() ? "error" : file);
    if (line > 0) err_ << ":" << line;
    err_ << ": " << text << (look_.colourErrors ? kPlain : "") << std::endl;
  });
  // TakeLoss does not report the loss of this text, because the command has failed anyway.
  lost_ = lost;
  SayNotices();
}

bool Output::ReachesItsReader() const {
  return out_.good();
}

// ---------------------------------------------------------------------------------------------
// Progress

ProgressBar::ProgressBar(Output& output, std::chrono::milliseconds delay)
    : output_(output), next_(std::chrono::steady_clock::now() + delay) {}

ProgressBar::~ProgressBar() {
  if (isShown_) output_.Print("\r\x1B[K");  // clears the line
}

bool ProgressBar::operator()(std::uint64_t done, std::uint64_t total) {
  GiveUpIfInterrupted();
  const auto now = std::chrono::steady_clock::now();
  if (output_.IsJson() || output_.MaxWidth() == 0 || total == 0 || now < next_) return true;
  next_ = now + std::chrono::milliseconds(100);
  constexpr std::size_t kLength = 40;
  const double share = std::min(1.0, static_cast<double>(done) / static_cast<double>(total));
  const auto filled = static_cast<std::size_t>(share * kLength);
  std::string line = "\r";
  for (std::size_t i = 0; i < kLength; ++i) line += i < filled ? "█" : "░";
  output_.Print(line + " " + std::to_string(static_cast<int>(share * 100)) + " %");
  isShown_ = true;
  return true;
}

// ---------------------------------------------------------------------------------------------
// Table

Table::Table(std::vector<Column> columns) : columns_(std::move(columns)) {
  bool anyHead = false;
  for (Column& column : columns_) {
    heads_.push_back(OnOneLine(column.head));
    column.width = std::max(column.width, Width(heads_.back()));
    anyHead = anyHead || !column.head.empty();
  }
  if (!anyHead) heads_.clear();
}

void Table::Add(std::vector<std::string> row) {
  for (std::size_t i = 0; i < row.size(); ++i) {
    row[i] = OnOneLine(row[i]);
    columns_[i].width = std::max(columns_[i].width, Width(row[i]));
  }
  rows_.push_back(std::move(row));
}

std::string Table::TakeText(const Output& output) {
  const std::size_t limit = output.MaxWidth();
  std::string text;
  std::size_t from = 1;
  do {
    const std::size_t to = EndOfBlock(from, limit);
    if (!heads_.empty()) text += output.Heading(Line(heads_, from, to)) + "\n";
    for (const std::vector<std::string>& row : rows_) text += Line(row, from, to) + "\n";
    from = to;
  } while (from < columns_.size());
  rows_.clear();
  return WithoutLastLineFeed(std::move(text));
}

std::size_t Table::EndOfBlock(std::size_t from, std::size_t limit) const {
  std::size_t width = columns_[0].width;
  std::size_t to = from;
  for (; to < columns_.size(); ++to) {
    width += Width(kGap) + columns_[to].width;
    if (limit > 0 && width > limit && to > from) break;
  }
  return to;
}

// Formats a row without trailing blanks.
std::string Table::Line(const std::vector<std::string>& row, std::size_t from,
                        std::size_t to) const {
  std::string line;
  const auto add = [&](std::size_t i) {
    const std::string blanks(columns_[i].width - Width(row[i]), ' ');
    line += columns_[i].right ? blanks + row[i] : row[i] + blanks;
  };
  add(0);
  for (std::size_t i = from; i < to; ++i) {
    line += kGap;
    add(i);
  }
  line.resize(line.find_last_not_of(' ') + 1);
  return line;
}

// ---------------------------------------------------------------------------------------------
// JSON

Json IdentifierInJson(LocallyUniqueID id) {
  return id.IsNull() ? Json(nullptr) : Json(id.ToString());
}

Json NumberInJson(double number) {
  if (std::isfinite(number)) return number;
  if (std::isnan(number)) return nullptr;
  return number > 0 ? "Infinity" : "-Infinity";
}

Json ValueInJson(const DataValue& value) {
  const auto* const number = std::get_if<double>(&value);
  return number != nullptr ? NumberInJson(*number) : Json(std::get<std::string>(value));
}

Json RowCountInJson(long long rowCount) {
  return rowCount < 0 ? Json(nullptr) : Json(rowCount);
}

Json TextOrNull(const std::string& text) {
  return text.empty() ? Json(nullptr) : Json(text);
}

// ---------------------------------------------------------------------------------------------
// Text

std::size_t Width(std::string_view text) {
  std::size_t width = 0;
  while (!text.empty()) {
    const auto [code, length] = FirstOf(text);
    width += code < 0 ? 1 : static_cast<std::size_t>(utf8proc_charwidth(code));
    text.remove_prefix(length);
  }
  return width;
}

std::string Padded(const std::string& text, std::size_t width) {
  return text + std::string(width - std::min(width, Width(text)), ' ');
}

std::string OnOneLine(std::string_view text) {
  std::string line;
  while (!text.empty()) {
    const auto [code, length] = FirstOf(text);
    if (const char32_t sign = SignOf(code); sign != 0) {
      utf8proc_uint8_t bytes[4];
      const auto count = utf8proc_encode_char(static_cast<utf8proc_int32_t>(sign), bytes);
      line.append(bytes, bytes + count);
    } else {
      line += text.substr(0, length);
    }
    text.remove_prefix(length);
  }
  return line;
}

std::string Joined(const std::vector<std::string>& texts, const char* separator) {
  std::string joined;
  for (const std::string& text : texts) joined += (&text == &texts.front() ? "" : separator) + text;
  return joined;
}

std::string WithoutLastLineFeed(std::string text) {
  if (text.ends_with('\n')) text.pop_back();
  return text;
}

std::string OrNone(const std::string& text) {
  return text.empty() ? "none" : text;
}

}  // namespace sdmsh
