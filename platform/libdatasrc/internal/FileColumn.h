// FileColumn: one column of a data file while the file is read.

#ifndef LIBDATASRC_INTERNAL_FILECOLUMN_H_
#define LIBDATASRC_INTERNAL_FILECOLUMN_H_

#include <libdatasrc/ImportReport.h>
#include <libdatasrc/internal/CaseTable.h>
#include <libdatasrc/internal/ColumnPart.h>
#include <libdatasrc/internal/DelimitedText.h>
#include <libdatasrc/internal/RecordBlock.h>
#include <libdatasrc/internal/TableSchema.h>
#include <libdatasrc/ORVX_Variable.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

namespace sdm_internal {

// One field of all records in a block.
struct BlockColumn {
  const RecordBlock& records;
  std::size_t field;
  long line;  // number of the line in which the block starts
};

// How far the file has been read, to estimate the size of columns.
struct ReadSoFar {
  std::size_t rows = 0;
  double timesAsMuch = 1;  // estimated size of the whole text / size of the text read
};

// The rules of a column, its values so far, and its entry in the import report.
class FileColumn {
 public:
  // `field` is borrowed; null if the schema has no field for the column.
  FileColumn(std::string name, const SchemaField* field, const ColumnRules& rules);

  const std::string& Name() const { return reported_.name; }
  bool HasField() const { return field_ != nullptr; }
  const ColumnRules& Rules() const { return rules_; }
  ImportReport::Type GetType() const { return type_; }

  // Whether the column needs no more blocks in this reading of the file.
  bool IsComplete() const { return isComplete_; }
  // Whether a value made the column text after earlier fields were read as another type.
  bool MustBeReadAgain() const { return mustBeReadAgain_; }

  // Appends the values of a block, which are in `part`. Reads the block again if `part` has another
  // type than the column has now. Returns false if the schema does not allow a value.
  bool Append(const BlockColumn& block, ColumnPart& part, const ReadSoFar& soFar);

  // Prepares for a second reading. A column that need not be read again is then complete.
  void BeginSecondReading();

  // Throws DataFileError if the schema does not allow the value of this field. Accepts a blank
  // field if values in later blocks decide whether it is missing; see RequiredButBlank.
  void CheckField(const DelimitedText& record, std::size_t index) const;

  // Call these after all blocks. MakeVariable throws DataFileError if the schema has a category or
  // a missing value that does not fit the column, or two labels for one value. `schema` is null
  // without a schema. TakeValues and TakeReport move the values and the report out of the column.

  // The first row in which a required value is missing because the field is blank;
  // ColumnPart::kNone if there is none. Known only after all blocks: if a later value gives the
  // column the type Text, a blank field is a value and not missing.
  std::size_t RequiredButBlank() const;
  // Throws DataFileError: the required value in this record is missing.
  [[noreturn]] void FailAsMissing(const DelimitedText& record, std::size_t index) const;
  ORVX_Variable MakeVariable(const TableSchema* schema) const;
  CaseColumn TakeValues();
  ImportReport::Variable TakeReport();

 private:
  void FindType(const BlockColumn& block, ColumnPart& part, std::size_t rowsBefore);
  void Report(const BlockColumn& block, std::size_t row, ImportReport::Reason reason);
  void AppendValues(const ColumnPart& part, const ReadSoFar& soFar);
  void RequireSecondReading();

  std::string ProblemOfMissing() const;
  std::string ProblemOf(std::string_view text) const;

  VariableFormat Format() const;
  MeasurementLevel Level() const;
  ValueLabels Labels(const TableSchema& schema) const;
  MissingValues DeclaredMissing(const TableSchema& schema) const;
  DataValue ValueOf(const SchemaCategory& category, const TableSchema& schema) const;
  std::optional<double> ParseAsColumn(std::string_view text) const;

  const SchemaField* field_;
  ColumnRules rules_;
  // Number until a value or the schema requires another type.
  ImportReport::Type type_ = ImportReport::Type::Number;
  bool hasValues_ = false;
  std::size_t firstBlank_ = ColumnPart::kNone;  // ColumnPart::firstBlank, as a row of the file
  bool isComplete_ = false;
  bool mustBeReadAgain_ = false;

  NumberColumn numbers_;
  TextColumn texts_;
  std::size_t reservedRows_ = 0;   // of `texts_`
  std::size_t reservedBytes_ = 0;  // of `texts_`
  std::size_t widest_ = 1;
  std::unordered_map<std::uint32_t, std::uint64_t> missing_;  // ColumnPart::missing of all blocks
  ImportReport::Variable reported_;
};

// A text for a message: in quotes, shortened, and on one line.
std::string Quoted(std::string_view text);

}  // namespace sdm_internal

#endif  // LIBDATASRC_INTERNAL_FILECOLUMN_H_
