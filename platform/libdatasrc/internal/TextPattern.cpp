// Compiles a pattern to a nondeterministic automaton. Matching tracks all states that the automaton
// is in.

#include <libdatasrc/internal/TextPattern.h>

#include <algorithm>
#include <stdexcept>
#include <string>

namespace sdm_internal {

namespace {

using CharacterSet = TextPattern::CharacterSet;
using Range = TextPattern::Range;

constexpr int kMaxDepth = 64;
constexpr int kMaxRepeat = 1000;
constexpr int kMaxSteps = 10000;  // calls of Compile; there are at most about two states per call
constexpr int kUnlimited = -1;
constexpr char32_t kLastCharacter = 0x10FFFF;

// Removes the first character of `text`, which must be UTF-8, and returns it. Invalid UTF-8 gives
// arbitrary characters; no byte after the end is read.
char32_t TakeCharacter(std::string_view& text) {
  const auto byte = [&](std::size_t i) {
    return i < text.size() ? static_cast<unsigned char>(text[i]) : 0U;
  };
  const unsigned int lead = byte(0);
  const std::size_t size = lead < 0xC0 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
  char32_t character = size == 1 ? lead : lead & (0xFFU >> (size + 1));
  for (std::size_t i = 1; i < size; ++i) character = character << 6 | (byte(i) & 0x3FU);
  text.remove_prefix(std::min(size, text.size()));
  return character;
}

struct Node {
  enum class Kind { Set, Sequence, Choice, Repeat };
  Kind kind = Kind::Sequence;
  CharacterSet set;
  std::vector<Node> children;
  int setIndex = -1;  // index in the pattern's sets; -1 before SetIndex
  int least = 0;
  int most = kUnlimited;
};

class PatternParser {
 public:
  explicit PatternParser(std::string_view pattern) : rest_(pattern) {
    if (rest_.starts_with('^')) rest_.remove_prefix(1);
    if (!rest_.ends_with('$')) return;
    const std::string_view before = rest_.substr(0, rest_.size() - 1);
    const std::size_t backslashes = before.size() - (before.find_last_not_of('\\') + 1);
    if (backslashes % 2 == 0) rest_ = before;  // otherwise the last backslash escapes the $
  }

  Node Parse() {
    Node node = Choice();
    if (!rest_.empty()) throw std::invalid_argument("')' without '('");
    return node;
  }

 private:
  Node Choice() {
    if (++depth_ > kMaxDepth) throw std::invalid_argument("nested too deeply");
    Node choice;
    choice.kind = Node::Kind::Choice;
    do {
      choice.children.push_back(Sequence());
    } while (TakeIf("|"));
    --depth_;
    return choice;
  }

  Node Sequence() {
    Node sequence;
    while (!rest_.empty() && rest_.front() != '|' && rest_.front() != ')') {
      sequence.children.push_back(Repeated(Atom()));
    }
    return sequence;
  }

  Node Repeated(Node atom) {
    Node repeat;
    if (TakeIf("?")) {
      repeat.most = 1;
    } else if (TakeIf("+")) {
      repeat.least = 1;
    } else if (TakeIf("{")) {
      repeat.least = Count();
      repeat.most = !TakeIf(",") ? repeat.least : rest_.starts_with('}') ? kUnlimited : Count();
      Expect("}");
      if (repeat.most != kUnlimited && repeat.most < repeat.least) {
        throw std::invalid_argument("the quantifier has a maximum below its minimum");
      }
    } else if (!TakeIf("*")) {
      return atom;
    }
    if (!rest_.empty() && std::string_view("?*+{").find(rest_.front()) != std::string_view::npos) {
      throw std::invalid_argument("a quantifier after a quantifier");
    }
    repeat.kind = Node::Kind::Repeat;
    repeat.children.push_back(std::move(atom));
    return repeat;
  }

  int Count() {
    int count = 0;
    bool hasDigit = false;
    while (!rest_.empty() && rest_.front() >= '0' && rest_.front() <= '9') {
      count = count * 10 + (rest_.front() - '0');
      if (count > kMaxRepeat) throw std::invalid_argument("a quantifier above 1000");
      rest_.remove_prefix(1);
      hasDigit = true;
    }
    if (!hasDigit) throw std::invalid_argument("a quantifier without a number");
    return count;
  }

  Node Atom() {
    if (TakeIf("(")) {
      if (!TakeIf("?:") && rest_.starts_with('?')) throw std::invalid_argument("'(?' is unknown");
      Node group = Choice();
      Expect(")");
      return group;
    }
    Node node;
    node.kind = Node::Kind::Set;
    if (TakeIf("[")) {
      node.set = Set();
    } else if (TakeIf(".")) {
      node.set = {{{'\n', '\n'}, {'\r', '\r'}}, /*isNegated=*/true};
    } else if (TakeIf("\\")) {
      Escape(node.set);
    } else {
      const char32_t character = TakeCharacter(rest_);
      if (character < 0x80 && std::string_view("?*+{}]^$").find(static_cast<char>(character)) !=
                                  std::string_view::npos) {
        throw std::invalid_argument(std::string("'") + static_cast<char>(character) +
                                    "' must be escaped");
      }
      node.set.ranges.emplace_back(character, character);
    }
    return node;
  }

  // Parses a set after its opening bracket.
  CharacterSet Set() {
    CharacterSet set;
    set.isNegated = TakeIf("^");
    do {
      if (rest_.empty()) throw std::invalid_argument("'[' without ']'");
      if (rest_.front() == '[' || rest_.starts_with("-[")) {
        throw std::invalid_argument("'[' in a set must be escaped");
      }
      Member(set);
    } while (!TakeIf("]"));
    return set;
  }

  // Parses a character, a range or a class, and adds it to `set`.
  void Member(CharacterSet& set) {
    CharacterSet first = Part();
    if (IsCharacter(first) && rest_.starts_with('-') && !rest_.starts_with("-]")) {
      rest_.remove_prefix(1);
      const CharacterSet last = Part();
      if (!IsCharacter(last) || last.ranges[0].first < first.ranges[0].first) {
        throw std::invalid_argument("a range without order");
      }
      first.ranges[0].second = last.ranges[0].first;
    }
    set.ranges.insert(set.ranges.end(), first.ranges.begin(), first.ranges.end());
  }

  CharacterSet Part() {
    CharacterSet part;
    if (TakeIf("\\")) {
      Escape(part);
    } else {
      const char32_t character = TakeCharacter(rest_);
      part.ranges.emplace_back(character, character);
    }
    return part;
  }

  static bool IsCharacter(const CharacterSet& set) {
    return set.ranges.size() == 1 && set.ranges[0].first == set.ranges[0].second;
  }

  // Parses an escape after its backslash, and adds its characters to `set`.
  void Escape(CharacterSet& set) {
    static const std::vector<Range> kDigits = {{'0', '9'}};
    static const std::vector<Range> kBlanks = {{'\t', '\n'}, {'\r', '\r'}, {' ', ' '}};
    static const std::vector<Range> kWord = {
        {'0', '9'}, {'A', 'Z'}, {'_', '_'}, {'a', 'z'}, {0x80, kLastCharacter}};
    const char32_t letter = rest_.empty() ? U'\0' : TakeCharacter(rest_);
    const auto add = [&set](const std::vector<Range>& ranges) {
      set.ranges.insert(set.ranges.end(), ranges.begin(), ranges.end());
    };
    switch (letter) {
      case 'd':
        return add(kDigits);
      case 'D':
        return add(Others(kDigits));
      case 's':
        return add(kBlanks);
      case 'S':
        return add(Others(kBlanks));
      case 'w':
        return add(kWord);
      case 'W':
        return add(Others(kWord));
      case 'n':
        return add({{'\n', '\n'}});
      case 'r':
        return add({{'\r', '\r'}});
      case 't':
        return add({{'\t', '\t'}});
      default:
        if (letter <= ' ' || letter >= 0x7F || CharacterSet{kWord}.Contains(letter)) {
          throw std::invalid_argument("an unknown escape");
        }
        add({{letter, letter}});
    }
  }

  // The characters outside `ranges`, which must be in ascending order.
  static std::vector<Range> Others(const std::vector<Range>& ranges) {
    std::vector<Range> others;
    char32_t next = 0;
    for (const Range& range : ranges) {
      if (next < range.first) others.emplace_back(next, range.first - 1);
      next = range.second + 1;
    }
    if (next <= kLastCharacter) others.emplace_back(next, kLastCharacter);
    return others;
  }

  bool TakeIf(std::string_view text) {
    if (!rest_.starts_with(text)) return false;
    rest_.remove_prefix(text.size());
    return true;
  }
  void Expect(std::string_view text) {
    if (!TakeIf(text)) throw std::invalid_argument("'" + std::string(text) + "' is missing");
  }

  std::string_view rest_;
  int depth_ = 0;
};

}  // namespace

// Builds the automaton from its end. Compile adds the states of a node, which lead to the state
// `next`, and returns the first state of the node.
class PatternCompiler {
 public:
  explicit PatternCompiler(TextPattern& pattern) : pattern_(pattern) {}

  int Compile(Node& node, int next) {
    if (++steps_ > kMaxSteps) throw std::invalid_argument("too large");
    switch (node.kind) {
      case Node::Kind::Set:
        return Add({SetIndex(node), next, TextPattern::kNone});
      case Node::Kind::Sequence:
        for (std::size_t i = node.children.size(); i-- > 0;) next = Compile(node.children[i], next);
        return next;
      case Node::Kind::Choice:
        return CompileChoice(node, next);
      case Node::Kind::Repeat:
        return CompileRepeat(node, next);
    }
    return next;
  }

 private:
  int Add(TextPattern::State state) {
    pattern_.states_.push_back(state);
    return static_cast<int>(pattern_.states_.size()) - 1;
  }

  // The index of the node's set in sets_. Adds the set only once, although a node under a
  // quantifier is compiled several times.
  int SetIndex(Node& node) {
    if (node.setIndex == TextPattern::kNone) {
      node.setIndex = static_cast<int>(pattern_.sets_.size());
      pattern_.sets_.push_back(std::move(node.set));
    }
    return node.setIndex;
  }

  int CompileChoice(Node& node, int next) {
    int start = Compile(node.children.front(), next);
    for (std::size_t i = 1; i < node.children.size(); ++i) {
      start = Add({TextPattern::kNone, Compile(node.children[i], next), start});
    }
    return start;
  }

  int CompileRepeat(Node& node, int next) {
    Node& body = node.children.front();
    int start = next;
    if (node.most == kUnlimited) {
      start = Add({TextPattern::kNone, next, TextPattern::kNone});
      const int first = Compile(body, start);
      pattern_.states_[static_cast<std::size_t>(start)].other = first;
    }
    for (int i = node.least; i < node.most; ++i) {
      start = Add({TextPattern::kNone, next, Compile(body, start)});
    }
    for (int i = 0; i < node.least; ++i) start = Compile(body, start);
    return start;
  }

  TextPattern& pattern_;
  int steps_ = 0;
};

// The states that the automaton is in.
class TextPattern::Running {
 public:
  explicit Running(const TextPattern& pattern)
      : pattern_(pattern), isIn_(pattern.states_.size(), false) {}

  bool IsIn(int state) const { return isIn_[static_cast<std::size_t>(state)]; }
  bool IsDead() const { return states_.empty(); }

  // Enters a state, and all states that can be reached from it without consuming a character.
  void Enter(int state) {
    waiting_.assign(1, state);
    while (!waiting_.empty()) {
      const int entered = waiting_.back();
      waiting_.pop_back();
      if (entered == kNone || IsIn(entered)) continue;
      isIn_[static_cast<std::size_t>(entered)] = true;
      states_.push_back(entered);
      const State& at = pattern_.states_[static_cast<std::size_t>(entered)];
      if (at.set != kNone) continue;
      waiting_.push_back(at.next);
      waiting_.push_back(at.other);
    }
  }

  // Enters the next state of each state of `before` that consumes `character`.
  void Step(const Running& before, char32_t character) {
    for (const int state : before.states_) {
      const State& at = pattern_.states_[static_cast<std::size_t>(state)];
      if (at.set == kNone) continue;
      if (pattern_.sets_[static_cast<std::size_t>(at.set)].Contains(character)) Enter(at.next);
    }
  }

  void Clear() {
    for (const int state : states_) isIn_[static_cast<std::size_t>(state)] = false;
    states_.clear();
  }

 private:
  const TextPattern& pattern_;
  std::vector<bool> isIn_;
  std::vector<int> states_;
  std::vector<int> waiting_;
};

TextPattern::TextPattern(std::string_view pattern) : states_(1) {
  Node root = PatternParser(pattern).Parse();
  start_ = PatternCompiler(*this).Compile(root, kFinal);
  states_.shrink_to_fit();
}

bool TextPattern::CharacterSet::Contains(char32_t character) const {
  const bool isInside = std::any_of(ranges.begin(), ranges.end(), [&](const Range& range) {
    return range.first <= character && character <= range.second;
  });
  return isInside != isNegated;
}

bool TextPattern::Matches(std::string_view text) const {
  Running one(*this);
  Running other(*this);
  Running* now = &one;
  Running* next = &other;
  now->Enter(start_);
  while (!text.empty() && !now->IsDead()) {
    next->Clear();
    next->Step(*now, TakeCharacter(text));
    std::swap(now, next);
  }
  return now->IsIn(kFinal);
}

}  // namespace sdm_internal
