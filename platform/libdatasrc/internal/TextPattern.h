// TextPattern: a regular expression of XML Schema, the language of `pattern` in a table schema.

#ifndef LIBDATASRC_INTERNAL_TEXTPATTERN_H_
#define LIBDATASRC_INTERNAL_TEXTPATTERN_H_

#include <cstddef>
#include <string_view>
#include <utility>
#include <vector>

namespace sdm_internal {

// Understands: characters; `.` (all but line ends); sets such as `[^a-z_]`; the classes \d \D \s \S
// \w \W; escaped punctuation, \n, \r and \t; groups `( )` and `(?: )`; `|`; and the quantifiers
// `? * + {n} {n,} {n,m}`. A pattern matches the whole text, so a `^` at its start and a `$` at its
// end change nothing. \d and \s are ASCII; \w is an ASCII letter, digit or underscore, or any
// character beyond ASCII. Anything else is rejected: back references, \p, \b, subtraction of sets,
// lookaround.
//
// Matching takes time proportional to the size of the text times the size of the pattern. The
// memory for matching depends only on the pattern.
class TextPattern {
 public:
  // If the pattern is invalid, unsupported or too large, throws std::invalid_argument with the
  // reason.
  explicit TextPattern(std::string_view pattern);

  // Whether the whole UTF-8 `text` matches.
  // Threads: any.
  bool Matches(std::string_view text) const;

  // The size of the compiled pattern.
  std::size_t StateCount() const { return states_.size(); }

  using Range = std::pair<char32_t, char32_t>;  // first and last, both included
  struct CharacterSet {
    std::vector<Range> ranges;
    bool isNegated = false;

    bool Contains(char32_t character) const;
  };

 private:
  friend class PatternCompiler;

  // A state with a set consumes a character and goes to `next`; a state without a set goes to
  // `next` and `other` without consuming a character.
  struct State {
    int set = kNone;  // index in sets_
    int next = kNone;
    int other = kNone;
  };
  static constexpr int kNone = -1;
  static constexpr int kFinal = 0;  // the state at the end of the pattern

  class Running;

  std::vector<CharacterSet> sets_;
  std::vector<State> states_;
  int start_ = kFinal;
};

}  // namespace sdm_internal

#endif  // LIBDATASRC_INTERNAL_TEXTPATTERN_H_
