// Words of a command, and what is said where they are wrong.

#include "Arguments.h"

#include "CommandError.h"
#include "Words.h"

#include <charconv>

namespace sdmsh {

void Arguments::Wrong(const std::string& expected) const {
  const std::string found = AtEnd() ? "the end of the line" : Quoted(words_[next_]);
  std::string usage = command_.name;
  if (*command_.arguments != '\0') usage += std::string(" ") + command_.arguments;
  throw CommandError(std::string(command_.name) + ": expected " + expected + ", found " + found +
                     "; usage: " + usage);
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

std::vector<std::string> Arguments::TakeRest(const char* what) {
  std::vector<std::string> rest{Take(what)};
  while (!AtEnd()) rest.push_back(Take(what));
  return rest;
}

int Arguments::TakeNumber(const char* what) {
  const std::string expected = std::string(what) + " (a number from 1 on)";
  const std::string& word = Peek(expected);
  int number = 0;
  const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), number);
  if (error != std::errc() || end != word.data() + word.size() || number < 1) Wrong(expected);
  ++next_;
  return number;
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
