#include <libdatasrc/internal/ColumnPart.h>
#include <libdatasrc/internal/FieldValue.h>
#include <libdatasrc/internal/NumberText.h>
#include <libdatasrc/OBS.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstring>

namespace sdm_internal {

namespace {

using Reason = ImportReport::Reason;
using Type = ImportReport::Type;

struct ReadNumber {
  enum class Kind { None, Plain, LeadingZero, LargeWhole };
  Kind kind = Kind::None;
  double value = 0;
};

// Whole numbers up to 2^53 and powers of ten up to 10^22 are exact as doubles. Their quotient is
// therefore rounded only once, and is the same as the result of ParseNumber.
constexpr std::uint64_t kMostExact = std::uint64_t{1} << 53;
constexpr std::array<double, 20> kPowers = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,
                                            1e7,  1e8,  1e9,  1e10, 1e11, 1e12, 1e13,
                                            1e14, 1e15, 1e16, 1e17, 1e18, 1e19};

double Scaled(std::uint64_t digits, std::size_t decimals, bool isNegative) {
  const double value = static_cast<double>(digits) / kPowers[decimals];
  return isNegative ? -value : value;
}

ReadNumber::Kind KindOf(std::string_view digits) {
  const bool hasLeadingZero = digits.size() > 1 && digits[0] == '0' && IsDigit(digits[1]);
  return hasLeadingZero ? ReadNumber::Kind::LeadingZero : ReadNumber::Kind::Plain;
}

constexpr std::uint64_t kOnes = 0x0101010101010101;
constexpr std::uint64_t kZeros = kOnes * '0';

// Whether all eight bytes are digits.
bool AreDigits(std::uint64_t bytes) {
  const std::uint64_t highHalves =
      (bytes & 0xF0 * kOnes) | ((bytes + 0x06 * kOnes) >> 4 & 0x0F * kOnes);
  return highHalves == 0x33 * kOnes;
}

// The number with these eight digits; the first digit is in the lowest byte. Combines digits to
// pairs, pairs to groups of four digits, then the two groups to one number.
std::uint64_t NumberOf(std::uint64_t digits) {
  digits = (digits & 0x0F * kOnes) * (10 << 8 | 1) >> 8;
  digits = (digits & 0x00FF00FF00FF00FF) * (100 << 16 | 1) >> 16;
  return (digits & 0x0000FFFF0000FFFF) * (std::uint64_t{10000} << 32 | 1) >> 32;
}

// Reads a number of 1 to 8 bytes, all at once: digits and at most one decimal mark. Returns None
// for any other text. May read 7 bytes past the end of the text.
ReadNumber ReadEightBytes(std::string_view text, char decimalMark, bool isNegative) {
  std::uint64_t bytes = 0;
  std::memcpy(&bytes, text.data(), 8);
  // Moves the text to the highest bytes, and fills the lowest bytes with the digit 0.
  const auto unused = static_cast<int>(8 - text.size()) * 8;
  bytes = unused == 0 ? bytes : bytes << unused | kZeros >> (64 - unused);
  const std::uint64_t others = bytes ^ kOnes * static_cast<unsigned char>(decimalMark);
  std::uint64_t marks = (others - kOnes) & ~others & 0x80 * kOnes;
  std::size_t decimals = 0;
  if (marks != 0) {
    if (text.size() == 1) return {};
    // Moves the digits before the first mark up by one byte, and puts a digit 0 below them.
    const int mark = std::countr_zero(marks) & ~7;
    decimals = static_cast<std::size_t>(56 - mark) / 8;
    const std::uint64_t below = (std::uint64_t{1} << mark) - 1;
    bytes = (bytes & ~(below | std::uint64_t{0xFF} << mark)) | (bytes & below) << 8 | '0';
  }
  if (!AreDigits(bytes)) return {};
  return {KindOf(text), Scaled(NumberOf(bytes), decimals, isNegative)};
}

// Reads a short decimal number: an optional sign, then at most 19 digits with at most one decimal
// mark. The digits with the mark removed must be a number up to 2^53. Returns None for any other
// text. May read 7 bytes past the end of the text.
ReadNumber ReadShortNumber(std::string_view text, char decimalMark) {
  constexpr std::size_t kMostDigits = 19;  // a number with more may not fit in 64 bits
  const bool isNegative = !text.empty() && text.front() == '-';
  if (isNegative || (!text.empty() && text.front() == '+')) text.remove_prefix(1);
  if (text.empty() || text.size() > kMostDigits + 1) return {};
  if constexpr (std::endian::native == std::endian::little) {
    if (text.size() <= 8) return ReadEightBytes(text, decimalMark, isNegative);
  }
  std::uint64_t digits = 0;
  std::size_t count = 0;
  std::size_t decimals = 0;
  bool isAfterMark = false;
  for (const char c : text) {
    if (IsDigit(c)) {
      digits = digits * 10 + static_cast<std::uint64_t>(c - '0');
      ++count;
      if (isAfterMark) ++decimals;
    } else if (c == decimalMark && !isAfterMark) {
      isAfterMark = true;
    } else {
      return {};
    }
  }
  if (count == 0 || count > kMostDigits || digits > kMostExact) return {};
  return {KindOf(text), Scaled(digits, decimals, isNegative)};
}

// Reads any number; ignores blanks around it.
ReadNumber ReadLongNumber(std::string_view text, char decimalMark) {
  const std::optional<double> value = ParseNumber(text, {&decimalMark, 1});
  if (!value) return {};
  text = Trimmed(text);
  if (!IsDigit(text.front()) && text.front() != decimalMark) text.remove_prefix(1);
  if (KindOf(text) == ReadNumber::Kind::LeadingZero) return {KindOf(text), *value};
  const bool isWhole = std::all_of(text.begin(), text.end(), IsDigit);
  // As a double, 2^53 + 1 is rounded to 2^53, so the value does not tell the two numbers apart.
  // ReadShortNumber looks at the digits: it accepts 2^53 and rejects every larger whole number.
  const bool isLarge = isWhole && std::abs(*value) >= static_cast<double>(kMostExact) &&
                       ReadShortNumber(text, decimalMark).kind == ReadNumber::Kind::None;
  return {isLarge ? ReadNumber::Kind::LargeWhole : ReadNumber::Kind::Plain, *value};
}

// Each converter makes a number from the text of a field. For a text that is not allowed, it
// returns nothing, and changes `reason` if it knows a better reason than OtherValue.

struct ToNumber {
  std::optional<double> operator()(std::string_view text, Reason& reason) const {
    ReadNumber read = ReadShortNumber(text, rules.decimalMark);
    if (read.kind == ReadNumber::Kind::None) read = ReadLongNumber(text, rules.decimalMark);
    if (read.kind == ReadNumber::Kind::Plain) return read.value;
    if (read.kind == ReadNumber::Kind::LeadingZero) reason = Reason::LeadingZero;
    if (read.kind == ReadNumber::Kind::LargeWhole) reason = Reason::LargeNumber;
    return std::nullopt;
  }
  const ColumnRules& rules;
};

struct ToSchemaValue {
  std::optional<double> operator()(std::string_view text, Reason&) const {
    const FieldRules& field = *rules.field;
    const std::optional<double> value = Read(text);
    if (!value) return std::nullopt;
    if (std::isnan(*value)) return value;
    return field.BrokenRule(*value).empty() ? value : std::nullopt;
  }

  std::optional<double> Read(std::string_view text) const {
    using FieldType = FieldRules::Type;
    const FieldRules& field = *rules.field;
    const bool isPlain = !field.decimalMark && field.groupMark.empty() &&
                         (field.type == FieldType::Number || field.type == FieldType::Integer);
    const ReadNumber read = isPlain ? ReadShortNumber(text, rules.decimalMark) : ReadNumber();
    if (read.kind == ReadNumber::Kind::None) return field.Parse(text, rules.decimalMark);
    if (field.type == FieldType::Integer && std::trunc(read.value) != read.value) {
      return std::nullopt;
    }
    return read.value;
  }

  const ColumnRules& rules;
};

struct ToBoolean {
  std::optional<double> operator()(std::string_view text, Reason&) const {
    const std::optional<bool> boolean = ParseBoolean(Trimmed(text));
    return boolean ? std::optional(*boolean ? 1.0 : 0.0) : std::nullopt;
  }
};

struct ToDate {
  std::optional<double> operator()(std::string_view text, Reason&) const {
    return ParseDate(Trimmed(text));
  }
};

struct ToDateTime {
  std::optional<double> operator()(std::string_view text, Reason&) const {
    return ParseDateTime(Trimmed(text));
  }
};

// The fields of one column of a block, without quotes. A text is valid until the next call.
class Fields {
 public:
  Fields(const RecordBlock& block, std::size_t field) : block_(block), field_(field) {}
  std::string_view operator[](std::size_t row) {
    const std::string_view raw = block_.RawField(row, field_);
    return raw.empty() || raw.front() != '"' ? raw : FieldText(raw, buffer_);
  }

 private:
  const RecordBlock& block_;
  const std::size_t field_;
  std::string buffer_;
};

// Counts missing values by word. Looks up a word only if it differs from the previous word.
class MissingCounter {
 public:
  explicit MissingCounter(ColumnPart& part) : part_(part) {}
  void Add(std::uint32_t word) {
    if (count_ == nullptr || word != word_) {
      word_ = word;
      count_ = &part_.missing[word];  // the map never moves its entries
    }
    ++*count_;
  }

 private:
  ColumnPart& part_;
  std::uint32_t word_ = MissingWords::kNone;
  std::uint64_t* count_ = nullptr;
};

bool IsRequired(const ColumnRules& rules) {
  return rules.field != nullptr && rules.field->isRequired;
}

template <class Convert>
void ReadNumbers(const RecordBlock& block, std::size_t field, const ColumnRules& rules,
                 const Convert& convert, ColumnPart& part) {
  const MissingWords& missing = *rules.missing;
  const std::size_t rows = block.RowCount();
  part.numbers.resize(rows);
  MissingCounter counter(part);
  Fields fields(block, field);
  for (std::size_t row = 0; row < rows; ++row) {
    const std::string_view text = fields[row];
    std::uint32_t word = missing.Find(text);
    bool mayBeValue = false;
    if (word == MissingWords::kNone) {
      if (const std::optional<double> number = convert(text, part.reason)) {
        part.numbers[row] = *number;
        if (!std::isnan(*number)) {
          if (part.firstValue == ColumnPart::kNone) part.firstValue = row;
          continue;
        }
        word = MissingWords::kNaN;
      } else if (!Trimmed(text).empty()) {
        if (part.firstValue == ColumnPart::kNone) part.firstValue = row;
        part.refutedBy = row;
        return;
      } else {
        word = MissingWords::kBlank;
        mayBeValue = !rules.IsFixed();
        if (part.firstBlank == ColumnPart::kNone) part.firstBlank = row;
      }
    }
    if (IsRequired(rules) && !mayBeValue) {
      part.brokenBy = row;
      return;
    }
    part.numbers[row] = kMissingNumber;
    counter.Add(word);
  }
}

// Returns the end of the copy. Copies at least RecordBlock::kPadding bytes, because a copy of a
// fixed size is faster. Source and target have padding for these bytes.
char* CopyText(std::string_view text, char* to) {
  if (text.size() <= RecordBlock::kPadding) {
    std::memcpy(to, text.data(), RecordBlock::kPadding);
  } else {
    std::memcpy(to, text.data(), text.size());
  }
  return to + text.size();
}

void ReadTexts(const RecordBlock& block, std::size_t field, const ColumnRules& rules,
               ColumnPart& part) {
  const MissingWords& missing = *rules.missing;
  const FieldRules* const restricted =
      rules.field != nullptr && rules.field->RestrictsTexts() ? rules.field : nullptr;
  const std::size_t rows = block.RowCount();
  part.lengths.resize(rows);
  std::size_t bytes = RecordBlock::kPadding;
  for (std::size_t row = 0; row < rows; ++row) bytes += block.RawField(row, field).size();
  part.texts.resize(bytes);
  char* end = part.texts.data();
  MissingCounter counter(part);
  Fields fields(block, field);
  for (std::size_t row = 0; row < rows; ++row) {
    std::string_view text = fields[row];
    const std::uint32_t word = missing.Find(text);
    const bool isMissing = word != MissingWords::kNone;
    if (isMissing ? IsRequired(rules)
                  : restricted != nullptr && !restricted->BrokenRule(text).empty()) {
      part.brokenBy = row;
      return;
    }
    if (isMissing) {
      counter.Add(word);
      text = text.substr(0, 0);
    } else if (part.firstValue == ColumnPart::kNone) {
      part.firstValue = row;
    }
    end = CopyText(text, end);
    part.lengths[row] = static_cast<std::uint32_t>(text.size());
    part.widest = std::max(part.widest, text.size());
  }
  part.texts.resize(static_cast<std::size_t>(end - part.texts.data()));
}

}  // namespace

std::string_view FieldText(std::string_view raw, std::string& buffer) {
  if (raw.empty() || raw.front() != '"') return raw;
  raw = raw.substr(1, raw.size() - 2);
  std::size_t quote = raw.find('"');
  if (quote == raw.npos) return raw;
  buffer.clear();
  for (; quote != raw.npos; quote = raw.find('"')) {
    buffer.append(raw.substr(0, quote + 1));
    raw.remove_prefix(quote + 2);  // both quotes of the pair
  }
  return buffer.append(raw);
}

void ReadColumn(const RecordBlock& block, std::size_t field, Type type, const ColumnRules& rules,
                ColumnPart& part) {
  part.type = type;
  part.widest = 0;
  part.firstBlank = ColumnPart::kNone;
  part.firstValue = part.refutedBy = part.brokenBy = ColumnPart::kNone;
  part.reason = Reason::OtherValue;
  part.missing.clear();
  const auto readNumbers = [&](const auto& convert) {
    ReadNumbers(block, field, rules, convert, part);
  };
  if (rules.IsFixed() && type != Type::Text) return readNumbers(ToSchemaValue{rules});
  switch (type) {
    case Type::Number:
      return readNumbers(ToNumber{rules});
    case Type::Boolean:
      return readNumbers(ToBoolean());
    case Type::Date:
      return readNumbers(ToDate());
    case Type::DateTime:
      return readNumbers(ToDateTime());
    case Type::Time:  // not reached: only a schema gives this type
    case Type::Text:
      return ReadTexts(block, field, rules, part);
  }
}

}  // namespace sdm_internal
