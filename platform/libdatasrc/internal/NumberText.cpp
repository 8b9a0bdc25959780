#include <libdatasrc/internal/NumberText.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <limits>

namespace sdm_internal {

std::string_view Trimmed(std::string_view text) {
  constexpr std::string_view kBlanks = " \t";
  const std::size_t first = text.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

bool SameWord(std::string_view a, std::string_view b) {
  const auto lower = [](char c) { return 'A' <= c && c <= 'Z' ? static_cast<char>(c + 32) : c; };
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [&](char one, char other) { return lower(one) == lower(other); });
}

std::optional<double> ParseNumber(std::string_view text) {
  text = Trimmed(text);
  if (!text.empty() && text.front() == '+') {
    text.remove_prefix(1);
    if (!text.empty() && text.front() == '-') return std::nullopt;
  }
  // Rejects "inf" and "nan".
  if (text.empty() || text.find_first_not_of("0123456789+-.eE") != std::string_view::npos) {
    return std::nullopt;
  }
  double number = 0;
  const char* const end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc() || rest != end) return std::nullopt;
  return number;
}

std::optional<double> ParseNumber(std::string_view text, std::string_view decimalMark) {
  if (decimalMark == ".") return ParseNumber(text);
  if (text.find('.') != text.npos) return std::nullopt;
  std::string withPoint(text);
  const std::size_t mark = withPoint.find(decimalMark);
  if (mark != withPoint.npos) withPoint.replace(mark, decimalMark.size(), ".");
  return ParseNumber(withPoint);
}

std::optional<double> ParseNonFinite(std::string_view text) {
  using Limits = std::numeric_limits<double>;
  if (SameWord(text, "NaN")) return Limits::quiet_NaN();
  if (SameWord(text, "INF")) return Limits::infinity();
  if (SameWord(text, "-INF")) return -Limits::infinity();
  return std::nullopt;
}

std::string ShortestText(double number) {
  if (std::isinf(number)) return number > 0 ? "INF" : "-INF";
  std::array<char, 32> text;
  const auto [end, error] = std::to_chars(text.data(), text.data() + text.size(), number);
  return std::string(text.data(), end);
}

}  // namespace sdm_internal
