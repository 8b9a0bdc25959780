// ColumnPart: the values of one column in one block of records.

#ifndef LIBDATASRC_INTERNAL_COLUMNPART_H_
#define LIBDATASRC_INTERNAL_COLUMNPART_H_

#include <libdatasrc/ImportReport.h>
#include <libdatasrc/internal/FieldRules.h>
#include <libdatasrc/internal/MissingWords.h>
#include <libdatasrc/internal/RecordBlock.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace sdm_internal {

// How the fields of a column are read, apart from the type.
struct ColumnRules {
  const FieldRules* field = nullptr;  // borrowed; null for a column without a field in the schema
  char decimalMark = '.';
  const MissingWords* missing = nullptr;  // borrowed

  // Whether the schema determines the type. Numbers may then have leading zeros, and whole numbers
  // may be above 2^53.
  bool IsFixed() const { return field != nullptr && field->type != FieldRules::Type::Any; }
};

struct ColumnPart {
  static constexpr std::size_t kNone = ~std::size_t{0};

  ImportReport::Type type = ImportReport::Type::Number;
  std::vector<double> numbers;         // of a column that is not text
  std::string texts;                   // of a text column, concatenated
  std::vector<std::uint32_t> lengths;  // of the texts, in bytes
  std::size_t widest = 0;              // the size of the longest text, in bytes
  // The first row with a blank field that was read as missing. If a later value makes the column
  // text, blank fields are values instead.
  std::size_t firstBlank = kNone;
  std::size_t firstValue = kNone;  // the first row whose value is not missing
  // In a column that is not text: the first row whose value is not of type `type` or breaks a rule
  // of the schema. The rows after it were not read.
  std::size_t refutedBy = kNone;
  // The first row that is an error even in a text column: its value is required but missing, or the
  // text breaks a rule of the schema. The rows after it were not read.
  std::size_t brokenBy = kNone;
  ImportReport::Reason reason = ImportReport::Reason::OtherValue;  // why `refutedBy` is set
  // How many cases have each missing word. The key is the number of the word in MissingWords.
  std::unordered_map<std::uint32_t, std::uint64_t> missing;
};

// Replaces the content of `part` with the values of one field of all records.
// Threads: any, each with its own part.
void ReadColumn(const RecordBlock& block, std::size_t field, ImportReport::Type type,
                const ColumnRules& rules, ColumnPart& part);

// The text of a field: `a "b"` if the raw field is `"a ""b"""`. The result borrows `raw`, or
// `buffer` if the text has a quote.
std::string_view FieldText(std::string_view raw, std::string& buffer);

}  // namespace sdm_internal

#endif  // LIBDATASRC_INTERNAL_COLUMNPART_H_
