#include <libdatasrc/internal/TextLayout.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <vector>

namespace sdm_internal {

namespace {

constexpr std::size_t kMostRecords = 100;  // the number of records that are examined
constexpr std::string_view kDigits = "0123456789";

// The fields of the first records that are not empty lines, with their quotes. If there are several
// records, leaves out a last record without a line feed.
std::vector<std::vector<std::string_view>> SplitRecords(std::string_view text, char delimiter) {
  std::vector<std::vector<std::string_view>> records(1);
  bool inQuotes = false;
  std::size_t begin = 0;
  const auto endField = [&](std::size_t end) {
    records.back().push_back(text.substr(begin, end - begin));
    begin = end + 1;
  };
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '"') inQuotes = !inQuotes;
    if (inQuotes) continue;
    if (text[i] == delimiter) endField(i);
    if (text[i] != '\n') continue;
    const bool afterReturn = i > begin && text[i - 1] == '\r';
    endField(afterReturn ? i - 1 : i);
    begin = i + 1;
    if (records.back().size() == 1 && records.back().front().empty()) {
      records.pop_back();
    } else if (records.size() == kMostRecords) {
      return records;
    }
    records.emplace_back();
  }
  if (records.size() > 1) {
    records.pop_back();
  } else {
    endField(text.size());
  }
  return records;
}

// The field without quotes and without a sign.
std::string_view Digits(std::string_view field) {
  if (field.size() >= 2 && field.front() == '"' && field.back() == '"') {
    field = field.substr(1, field.size() - 2);
  }
  if (!field.empty() && (field.front() == '-' || field.front() == '+')) field.remove_prefix(1);
  return field;
}

bool AreDigits(std::string_view text) {
  return !text.empty() && text.find_first_not_of(kDigits) == text.npos;
}

// Whether `digits` are digits with one mark, such as "1.5" or ".5".
bool HasDecimalMark(std::string_view digits, char mark) {
  const std::size_t at = digits.find(mark);
  if (at == digits.npos || !AreDigits(digits.substr(at + 1))) return false;
  return at == 0 || AreDigits(digits.substr(0, at));
}

bool MaySeparateThousands(std::string_view digits) {
  const std::size_t at = digits.find(',');
  return digits.size() - at == 4 && at <= 3 && digits.front() != '0';
}

bool IsNumber(std::string_view digits) {
  return AreDigits(digits) || HasDecimalMark(digits, '.') || HasDecimalMark(digits, ',');
}

}  // namespace

char FindDelimiter(std::string_view start, bool commaIsPossible) {
  char best = commaIsPossible ? ',' : '\t';
  std::size_t most = 1;
  bool isBestRegular = false;
  for (const char delimiter : {',', '\t', ';', '|'}) {
    if (delimiter == ',' && !commaIsPossible) continue;
    const auto records = SplitRecords(start, delimiter);
    const std::size_t fields = records.front().size();
    const bool isRegular = std::all_of(records.begin(), records.end(),
                                       [&](const auto& each) { return each.size() == fields; });
    if (fields == 1 || isRegular < isBestRegular) continue;
    if (isRegular == isBestRegular && fields <= most) continue;
    best = delimiter;
    most = fields;
    isBestRegular = isRegular;
  }
  if (most > 1) return best;

  const auto records = SplitRecords(start, ' ');
  bool hasNumber = false;
  for (const auto& record : records) {
    if (record.size() != records.front().size()) return best;
    for (const std::string_view field : record) {
      if (field.empty()) return best;
      hasNumber |= &record != &records.front() && IsNumber(Digits(field));
    }
  }
  return hasNumber && records.front().size() > 1 ? ' ' : best;
}

char FindDecimalMark(std::string_view start, char delimiter) {
  if (delimiter == ',') return '.';
  std::size_t commas = 0;
  std::size_t points = 0;
  for (const auto& record : SplitRecords(start, delimiter)) {
    for (const std::string_view field : record) {
      const std::string_view digits = Digits(field);
      if (HasDecimalMark(digits, '.')) ++points;
      if (HasDecimalMark(digits, ',') && !MaySeparateThousands(digits)) ++commas;
    }
  }
  return commas > points ? ',' : '.';
}

}  // namespace sdm_internal
