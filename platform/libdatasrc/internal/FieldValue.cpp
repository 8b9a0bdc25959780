#include <libdatasrc/iDMY2Orvx.h>
#include <libdatasrc/internal/FieldValue.h>
#include <libdatasrc/internal/NumberText.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <stdexcept>

namespace sdm_internal {

namespace {

constexpr double kSecondsPerDay = 86400;

// Consumes parts of a text from its start. After a part that does not match, IsAtEnd returns false.
class PartReader {
 public:
  explicit PartReader(std::string_view text) : rest_(text) {}

  bool IsAtEnd() const { return isGood_ && rest_.empty(); }
  bool StartsWith(std::string_view anyOf) const {
    return !rest_.empty() && anyOf.find(rest_.front()) != std::string_view::npos;
  }

  // Consumes the first character if it is in `anyOf`, and returns it; otherwise returns NUL.
  char Skip(std::string_view anyOf) {
    if (!StartsWith(anyOf)) {
      isGood_ = false;
      return '\0';
    }
    const char found = rest_.front();
    rest_.remove_prefix(1);
    return found;
  }

  // Consumes a number of one or two digits.
  long ShortNumber() {
    const long number = Number(1);
    return StartsWith("0123456789") ? number * 10 + Number(1) : number;
  }

  // Consumes one of `words`, ignoring case in ASCII, and returns its index. Compares only the first
  // `length` characters of each word.
  template <std::size_t size>
  long Word(const std::array<std::string_view, size>& words, std::size_t length) {
    for (std::size_t i = 0; i < size; ++i) {
      const std::string_view word = words[i].substr(0, length);
      if (!SameWord(rest_.substr(0, word.size()), word)) continue;
      rest_.remove_prefix(word.size());
      return static_cast<long>(i);
    }
    isGood_ = false;
    return 0;
  }

  long Number(std::size_t digits) {
    long number = 0;
    for (std::size_t i = 0; i < digits; ++i) {
      const char digit = Skip("0123456789");
      if (isGood_) number = number * 10 + (digit - '0');
    }
    return number;
  }

  // Consumes the digits after a decimal point, at least one: "25" gives the fraction 0.25.
  double Fraction() {
    std::size_t digits = 0;
    while (digits < rest_.size() && IsDigit(rest_[digits])) ++digits;
    isGood_ = isGood_ && digits > 0;
    // Ignores digits after the 40th, which change the fraction by less than 1e-40 seconds.
    std::array<char, 2 + 40> text = {'0', '.'};
    const std::size_t used = rest_.copy(text.data() + 2, std::min(digits, text.size() - 2));
    rest_.remove_prefix(digits);
    double fraction = 0;
    std::from_chars(text.data(), text.data() + 2 + used, fraction);
    return fraction;
  }

 private:
  std::string_view rest_;
  bool isGood_ = true;
};

struct Calendar {
  long year = 1970;
  long month = 1;
  long day = 1;
  long hour = 0;
  long minute = 0;
  long second = 0;
  double fraction = 0;
  long offset = 0;  // of the zone, in seconds
};

std::optional<double> ValueOf(const Calendar& c) {
  double value = 0;
  const auto second = static_cast<double>(c.second);
  if (iDMY2Orvx(c.day, c.month, c.year, c.hour, c.minute, second, &value) != 0) return std::nullopt;
  // Whole seconds are exact, so only the addition of the fraction rounds.
  return value - static_cast<double>(c.offset) + c.fraction;
}

void ReadDate(PartReader& parts, Calendar& date) {
  date.year = parts.Number(4);
  parts.Skip("-");
  date.month = parts.Number(2);
  parts.Skip("-");
  date.day = parts.Number(2);
}

void ReadTime(PartReader& parts, Calendar& time) {
  time.hour = parts.Number(2);
  parts.Skip(":");
  time.minute = parts.Number(2);
  if (!parts.StartsWith(":")) return;
  parts.Skip(":");
  time.second = parts.Number(2);
  if (parts.StartsWith(".,")) {
    parts.Skip(".,");
    time.fraction = parts.Fraction();
  }
}

// Returns false for an offset with hours above 23 or minutes above 59.
bool ReadZone(PartReader& parts, Calendar& time) {
  if (parts.StartsWith("Zz")) {
    parts.Skip("Zz");
    return true;
  }
  const char sign = parts.Skip("+-");
  const long hours = parts.Number(2);
  long minutes = 0;
  if (!parts.IsAtEnd()) {
    if (parts.StartsWith(":")) parts.Skip(":");
    minutes = parts.Number(2);
  }
  time.offset = (hours * 60 + minutes) * (sign == '-' ? -60 : 60);
  return hours < 24 && minutes < 60;
}

constexpr std::array<std::string_view, 12> kMonths = {
    "January", "February", "March",     "April",   "May",      "June",
    "July",    "August",   "September", "October", "November", "December"};
constexpr std::array<std::string_view, 2> kHalves = {"AM", "PM"};

// The numbers that the directives of a pattern have read.
struct PatternTime {
  Calendar calendar;
  long hourOf12 = 0;   // 0: none
  long half = 0;       // 1: PM
  long dayOfYear = 0;  // 0: none
};

// Returns false if an hour of a 12-hour clock or an offset is out of range, or if a day of the year
// is 0. ValueOf checks the other limits.
bool ReadDirective(char directive, PartReader& parts, PatternTime& time) {
  Calendar& c = time.calendar;
  switch (directive) {
    case 'Y':
      c.year = parts.Number(4);
      return true;
    case 'y':
      c.year = parts.Number(2);
      c.year += c.year < 69 ? 2000 : 1900;
      return true;
    case 'm':
      c.month = parts.ShortNumber();
      return true;
    case 'B':
    case 'b':
      c.month = 1 + parts.Word(kMonths, directive == 'b' ? 3 : std::string_view::npos);
      return true;
    case 'd':
      c.day = parts.ShortNumber();
      return true;
    case 'j':
      time.dayOfYear = parts.Number(3);
      return time.dayOfYear > 0;
    case 'H':
      c.hour = parts.ShortNumber();
      return true;
    case 'I':
      time.hourOf12 = parts.ShortNumber();
      return time.hourOf12 >= 1 && time.hourOf12 <= 12;
    case 'p':
      time.half = parts.Word(kHalves, 2);
      return true;
    case 'M':
      c.minute = parts.ShortNumber();
      return true;
    case 'S':
      c.second = parts.ShortNumber();
      return true;
    case 'f':
      c.fraction = parts.Fraction();
      return true;
    case 'z':
      return ReadZone(parts, c);
    default:  // %%
      parts.Skip(std::string_view(&directive, 1));
      return true;
  }
}

std::optional<double> ValueOf(PatternTime time) {
  Calendar& c = time.calendar;
  if (time.hourOf12 > 0) c.hour = time.hourOf12 % 12 + 12 * time.half;
  if (time.dayOfYear == 0) return ValueOf(c);
  const auto start = ValueOf(Calendar{c.year});
  const auto end = ValueOf(Calendar{c.year, 12, 31});
  const double days = static_cast<double>(time.dayOfYear - 1) * kSecondsPerDay;
  const auto value = ValueOf(c);
  return start && end && value && *start + days <= *end ? std::optional(*value + days)
                                                        : std::nullopt;
}

// A fraction of a second with `digits` digits, such as ".25". Empty if rounding gives 1.
std::string FractionText(double fraction, int digits) {
  std::array<char, 64> text;
  const auto end = std::to_chars(text.data(), text.data() + text.size(), fraction,
                                 std::chars_format::fixed, digits)
                       .ptr;
  return text[0] == '0' ? std::string(text.data() + 1, end) : std::string();
}

// `hh:mm:ss`, with the shortest fraction for which `isRight(text)` returns true; empty if there is
// none.
template <class IsRight>
std::string ClockText(double secondsOfDay, IsRight isRight) {
  constexpr int kMostDigits = 20;
  const double whole = std::floor(secondsOfDay);
  const auto second = static_cast<int>(whole);
  std::array<char, 16> clock;
  std::snprintf(clock.data(), clock.size(), "%02d:%02d:%02d", second / 3600, second / 60 % 60,
                second % 60);
  std::string text = clock.data();
  for (int digits = 1; !isRight(text); ++digits) {
    if (digits > kMostDigits) return {};
    text = clock.data() + FractionText(secondsOfDay - whole, digits);
  }
  return text;
}

// The date that is `days` whole days after 1970-01-01. Empty outside the years 1 to 9999.
std::string CalendarText(double days) {
  constexpr double kFirst = -719162;  // 0001-01-01
  constexpr double kLast = 2932896;   // 9999-12-31
  if (!(days >= kFirst && days <= kLast)) return {};
  const std::chrono::year_month_day date{
      std::chrono::sys_days(std::chrono::days(static_cast<int>(days)))};
  std::array<char, 16> text;
  std::snprintf(text.data(), text.size(), "%04d-%02u-%02u", static_cast<int>(date.year()),
                static_cast<unsigned int>(date.month()), static_cast<unsigned int>(date.day()));
  return text.data();
}

}  // namespace

std::optional<double> ParseDate(std::string_view text) {
  // Quickly rejects most texts that are not dates.
  if (text.size() != std::string_view("YYYY-MM-DD").size()) return std::nullopt;
  PartReader parts(text);
  Calendar date;
  ReadDate(parts, date);
  return parts.IsAtEnd() ? ValueOf(date) : std::nullopt;
}

std::optional<double> ParseTime(std::string_view text) {
  PartReader parts(text);
  Calendar time;
  ReadTime(parts, time);
  return parts.IsAtEnd() ? ValueOf(time) : std::nullopt;
}

std::optional<double> ParseDateTime(std::string_view text) {
  PartReader parts(text);
  Calendar time;
  ReadDate(parts, time);
  parts.Skip("Tt ");
  ReadTime(parts, time);
  if (!parts.IsAtEnd() && !ReadZone(parts, time)) return std::nullopt;
  return parts.IsAtEnd() ? ValueOf(time) : std::nullopt;
}

std::optional<double> ParseByPattern(std::string_view text, std::string_view pattern) {
  PartReader parts(text);
  PatternTime time;
  for (std::size_t i = 0; i < pattern.size(); ++i) {
    if (pattern[i] != '%') {
      parts.Skip(pattern.substr(i, 1));
    } else if (!ReadDirective(pattern[++i], parts, time)) {
      return std::nullopt;
    }
  }
  return parts.IsAtEnd() ? ValueOf(time) : std::nullopt;
}

void CheckDatePattern(std::string_view pattern, std::string_view directives) {
  std::string found;
  for (std::size_t i = 0; i < pattern.size(); ++i) {
    if (pattern[i] != '%') continue;
    const std::string_view directive = pattern.substr(++i, 1);
    if (directive == "%") continue;
    if (directive.empty() || directives.find(directive) == directives.npos) {
      throw std::invalid_argument("'%" + std::string(directive) + "' is not supported");
    }
    if (found.find(directive) != found.npos) {
      throw std::invalid_argument("'%" + std::string(directive) + "' occurs twice");
    }
    found += directive;
  }
  const auto has = [&](const char* directive) { return found.find(directive) != found.npos; };
  if (found.empty()) throw std::invalid_argument("it has no directive such as %Y");
  if (has("Y") && has("y")) throw std::invalid_argument("%Y and %y contradict each other");
  if (has("I") != has("p")) throw std::invalid_argument("%I and %p need each other");
  if (has("I") && has("H")) throw std::invalid_argument("%H and %I contradict each other");
  if (has("j") && (has("m") || has("b") || has("B") || has("d"))) {
    throw std::invalid_argument("%j and another day contradict each other");
  }
}

std::optional<bool> ParseBoolean(std::string_view text) {
  if (text == "true" || text == "True" || text == "TRUE") return true;
  if (text == "false" || text == "False" || text == "FALSE") return false;
  return std::nullopt;
}

std::string DateText(double value) {
  const double days = value / kSecondsPerDay;
  return days == std::floor(days) ? CalendarText(days) : std::string();
}

std::string TimeText(double seconds) {
  if (!(seconds >= 0 && seconds < kSecondsPerDay)) return {};
  return ClockText(seconds, [&](const std::string& text) { return ParseTime(text) == seconds; });
}

std::string DateTimeText(double value) {
  const double days = std::floor(value / kSecondsPerDay);
  const std::string date = CalendarText(days);
  if (date.empty()) return {};
  const std::string time = ClockText(value - days * kSecondsPerDay, [&](const std::string& text) {
    return ParseDateTime(date + "T" + text) == value;
  });
  return time.empty() ? time : date + "T" + time;
}

}  // namespace sdm_internal
