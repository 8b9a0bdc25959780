// Words of a command, and what is said where they are wrong.

#include "Arguments.h"

#include "CommandError.h"
#include "Words.h"

#include <charconv>
#include <limits>

namespace sdmsh {

void Arguments::Wrong(const std::string& expected, const std::string& remark) const {
  const std::string found = AtEnd() ? "the end of the line" : Quoted(words_[next_]);
  std::string usage = command_.name;
  if (*command_.arguments != '\0') usage += std::string(" ") + command_.arguments;
  throw CommandError(std::string(command_.name) + ": expected " + expected + ", found " + found +
                     remark + "; usage: " + usage);
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
    throw CommandError("a file name cannot have a zero byte in it: " + Quoted(file));
  }
  return file;
}

std::vector<std::string> Arguments::TakeRest(const char* what) {
  std::vector<std::string> rest{Take(what)};
  while (!AtEnd()) rest.push_back(Take(what));
  return rest;
}

template <class Number>
Number Arguments::TakeFrom(Number least, const std::string& expected) {
  const std::string& word = Peek(expected);
  Number number = 0;
  const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), number);
  const bool toTheEnd = end == word.data() + word.size();
  if (toTheEnd && error == std::errc::result_out_of_range) {
    Wrong(expected, ", which is out of range");
  }
  const bool read = error == std::errc() && toTheEnd;
  // False for NaN, too.
  const bool within = number >= least && number <= std::numeric_limits<Number>::max();
  if (!read || !within) Wrong(expected);
  ++next_;
  return number;
}

int Arguments::TakeNumber(const char* what) {
  return TakeFrom(1, std::string(what) + " (a number from 1 to 2147483647)");
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

bool Arguments::Accept(const char* keyword) {
  if (AtEnd() || words_[next_] != keyword) return false;
  ++next_;
  return true;
}

void Arguments::Expect(const char* keyword) {
  if (!Accept(keyword)) Wrong(Quoted(keyword));
}

std::size_t Arguments::TakeOneOf(const std::vector<const char*>& keywords) {
  for (std::size_t i = 0; i < keywords.size(); ++i) {
    if (Accept(keywords[i])) return i;
  }
  std::string expected;
  for (std::size_t i = 0; i < keywords.size(); ++i) {
    if (i > 0) expected += i + 1 == keywords.size() ? " or " : ", ";
    expected += Quoted(keywords[i]);
  }
  Wrong(expected);
}

void Arguments::End() const {
  if (!AtEnd()) Wrong("the end of the line");
}

}  // namespace sdmsh
