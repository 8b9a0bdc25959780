// SystemFileDataSource: the cases and the dictionary of a saved data file.
//
//   std::unique_ptr<SystemFileDataSource> survey = SystemFileDataSource::Open("survey.tsv");
//   std::cout << survey->GetLabel() << ": " << survey->RowCount() << " rows\n";
//
// The file is delimited text, plain or compressed by gzip or Zstandard: a header line with the
// column names, then one record per case. The delimiter (comma, tab, semicolon, bar or space), the
// decimal mark and the encoding are found from the file, or are set in ImportOptions. Quoting
// follows RFC 4180; a quote inside an unquoted field is an error. Lines end in LF or CRLF; in
// quotes, line ends belong to the value. Blanks around a field belong to it. In a file of one
// column, an empty line is a case with an empty field; in other files it is skipped.
//
// The dictionary may be beside the file, as a Frictionless Table Schema: survey.schema.json for
// survey.tsv and survey.tsv.gz. By default, the fields of the schema match columns by `name`, in
// any order; each field must have a column, but a column may lack a field. `fieldsMatch` in the
// schema changes this rule. Every member that the standard defines has an effect or is an error:
// types, their formats and marks, missing values, labels, categories, constraints and keys. A value
// that breaks a rule of the schema is an error. internal/TableSchema.h lists all members. Members
// of our own keep the parts of a dictionary that the standard lacks: width, level, printFormat,
// missing, attributes, weight, filter, split and splitSeparate.
//
// A field of the file is missing if it is one of the missing values. The schema lists the missing
// values of a column with a field in the schema; ImportOptions lists the missing values of any
// other column (by default empty, NA, NaN, "." and null). In columns that are not text, empty and
// blank fields are missing too. Missing numbers read as kMissingNumber, missing strings as blanks.
//
// A column has the first of these types that allows all its values:
//   number      decimal, with optional sign, decimal mark and exponent, in the range of a double,
//               without superfluous leading zeros (007); a whole number is from -2^53 to 2^53
//   boolean     true or false, in lower or upper case or capitalised; stored as the numbers 1
//               and 0 with value labels
//   date        2024-02-29: a date value (iDMY2Orvx.h) with the format Date
//   date, time  2024-02-29T13:45:00; also with t or a blank instead of T, without seconds, with a
//               fraction of a second, or with a time zone, which is converted to UTC: a date value
//               with the format DateTime
//   text        everything; the width of the variable is its longest value in bytes, at least 1
// Blanks around a value are ignored in all columns but text. Report returns the types and their
// reasons.
//
// If the schema has a type for the column, that type is used. `string` makes the column text.
// `integer` requires whole numbers; `number` allows any number. Both allow leading zeros and whole
// numbers above 2^53. `number` also allows INF, -INF and NaN (a missing number), in upper or lower
// case. `time` is stored as seconds since midnight, with the format Time. `any` is the same as no
// type, so the value INF makes such a column text.
//
// Memory: a number takes 8 bytes, a string 8 bytes and its text; the definition of a variable and
// its report take about 2 KB. Opening also takes up to (threads + 2) * (2 MB + 1 KB for each
// column), more if a record is longer than 128 KB. The number of cases is estimated from the size
// of the file and the first records. If later records are much shorter, there are more cases than
// estimated, and the columns are copied to larger blocks, one column at a time.
//
// If a column turns out to be text after values of another type or blank fields, the file is read a
// second time for that column.

#ifndef LIBDATASRC_SYSTEMFILEDATASOURCE_H_
#define LIBDATASRC_SYSTEMFILEDATASOURCE_H_

#include <libdatasrc/DataFileError.h>
#include <libdatasrc/ImportOptions.h>
#include <libdatasrc/ImportReport.h>
#include <libdatasrc/MemoryDataSource.h>
#include <libdatasrc/Progress.h>
#include <ServerDataManager/Export.h>

#include <cstddef>
#include <functional>
#include <memory>
#include <string>

namespace sdm_internal {
struct DataFile;
}

// The cases may be edited like those of any MemoryDataSource; the file does not change until the
// source is saved (SaveDelimited.h).
//
// Threads: as for MemoryDataSource.
class SDM_EXPORT SystemFileDataSource : public MemoryDataSource {
 public:
  // The maximum size of a record and of a schema, in bytes, so that a file without line ends does
  // not fill the memory.
  static constexpr std::size_t kMaxRecordBytes = std::size_t{16} << 20;

  // Reads the whole file, on one thread per processor (at most 8), and closes it. The source has
  // `path` as its file specification and is not dirty. Throws DataFileError for: a file that cannot
  // be opened, is not a regular file (Open never waits for a pipe), is empty or damaged, or has
  // changed when it is read a second time; an unknown encoding, or bytes that are invalid in the
  // encoding; a record with more or fewer fields than the header; a record or a schema larger than
  // kMaxRecordBytes; a wrong or unclosed quote; a carriage return without a line feed; a zero byte;
  // an empty or duplicate column name; a value that the schema does not allow; a schema that is not
  // JSON, is not understood, or does not fit the columns. If `check` is not empty, calls `check` on
  // the calling thread for each record, also in a second reading; an exception of `check` stops
  // Open and propagates.
  //
  // Threads: any.
  static std::unique_ptr<SystemFileDataSource> Open(const std::string& path,
                                                    const std::function<void()>& check = {});
  // Like the function above, with options. Throws std::invalid_argument for options that
  // ImportOptions.h does not allow. `progress` gets the number of bytes read so far and the size of
  // the file; for a compressed file, both count compressed bytes. A second reading of the file
  // doubles the total.
  static std::unique_ptr<SystemFileDataSource> Open(const std::string& path,
                                                    const ImportOptions& options,
                                                    const Progress& progress = {});

  ~SystemFileDataSource() override;

  // The layout and the types that were found when the file was opened; edits do not change them.
  const ImportReport& Report() const { return report_; }

  // Whether the password of the file is stored in mangled form. False until set, because delimited
  // text has no password.
  bool GetPasswordMangled() const { return passwordMangled_; }
  void SetPasswordMangled(bool mangled) { passwordMangled_ = mangled; }

 private:
  SDM_HIDDEN SystemFileDataSource(sdm_internal::CaseTable cases, ImportReport report);
  SDM_HIDDEN static std::unique_ptr<SystemFileDataSource> FromFile(const std::string& path,
                                                                   sdm_internal::DataFile file);

  ImportReport report_;
  bool passwordMangled_ = false;
};

#endif  // LIBDATASRC_SYSTEMFILEDATASOURCE_H_
