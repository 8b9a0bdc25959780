#include <libdatasrc/internal/NumberText.h>

#include <array>
#include <charconv>

namespace sdm_internal {

std::string_view Trimmed(std::string_view text) {
  constexpr std::string_view kBlanks = " \t";
  const std::size_t first = text.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
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

std::string ShortestText(double number) {
  std::array<char, 32> text;
  const auto [end, error] = std::to_chars(text.data(), text.data() + text.size(), number);
  return std::string(text.data(), end);
}

}  // namespace sdm_internal
