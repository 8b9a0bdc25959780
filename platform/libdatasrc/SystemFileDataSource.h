// SystemFileDataSource: the cases and the dictionary of a saved data file.
//
//   std::unique_ptr<SystemFileDataSource> survey = SystemFileDataSource::Open("survey.tsv");
//   std::cout << survey->GetLabel() << ": " << survey->RowCount() << " rows\n";
//
// The file is delimited text: a header line with the column names, then one record per case. The
// delimiter is comma or tab, whichever is more frequent in the header outside quotes (comma on a
// tie). Quoting follows RFC 4180; a quote inside an unquoted field is an error. Lines end in LF or
// CRLF. The text is UTF-8, with or without a byte-order mark. Blanks around a field belong to it.
// An empty line is a case with an empty field in a file of one column, and is skipped otherwise.
//
// A dictionary may be beside the file: for survey.tsv, survey.schema.json, a Frictionless Table
// Schema. It is read for `title` (the label of the dataset), `missingValues` and `fields`, which
// match columns by `name`, in any order. A column needs no field; a field without a column is an
// error. A field is read for `title` (label), `type`, `categories` (value labels: an array of
// values, or of objects with `value` and `label`), `categoriesOrdered` and `missingValues` (instead
// of the table's). Other members are skipped.
//
// A field is missing if it is one of the missing values or, in a numeric column, blank. Missing
// numbers read as kMissingNumber, missing strings as blanks. A column is numeric if every field
// that is not missing is a number: decimal, with optional sign, point and exponent, in the range of
// a double, blanks around it ignored. The schema may decide instead: type `string` makes the column
// a string, `integer` and `number` require such numbers; for every other type the fields decide.
// The width of a string variable is its longest value in bytes, at least 1.

#ifndef LIBDATASRC_SYSTEMFILEDATASOURCE_H_
#define LIBDATASRC_SYSTEMFILEDATASOURCE_H_

#include <libdatasrc/DataFileError.h>
#include <libdatasrc/MemoryDataSource.h>
#include <ServerDataManager/Export.h>

#include <cstddef>
#include <functional>
#include <memory>
#include <string>

// The cases may be edited like those of any MemoryDataSource; the file stays as it is until it is
// saved (SaveDelimited.h).
//
// Threads: as for MemoryDataSource.
class SDM_EXPORT SystemFileDataSource : public MemoryDataSource {
 public:
  // The maximum size of a record and of a schema, in bytes: a file without line ends is not read
  // into memory.
  static constexpr std::size_t kMaxRecordBytes = std::size_t{16} << 20;

  // Reads the whole file and closes it. The source has `path` as its file specification and is not
  // dirty. Throws DataFileError for: a file that cannot be opened, is not a regular file (Open
  // never waits) or is empty; a record with more or fewer fields than the header; a wrong or
  // unclosed quote; bytes that are not UTF-8; a zero byte; an empty or duplicate column name; a
  // field that its type does not allow; a schema that is not JSON, has a member of the wrong kind,
  // an unknown type or a name without a column. `check`, unless empty, is called for each record,
  // on this thread; if it throws, Open stops and the exception propagates.
  // Threads: any.
  static std::unique_ptr<SystemFileDataSource> Open(const std::string& path,
                                                    const std::function<void()>& check = {});

  ~SystemFileDataSource() override;

  // Whether the password of the file is stored in mangled form. Delimited text has no password, so
  // false until set.
  bool GetPasswordMangled() const { return passwordMangled_; }
  void SetPasswordMangled(bool mangled) { passwordMangled_ = mangled; }

 private:
  SDM_HIDDEN explicit SystemFileDataSource(sdm_internal::CaseTable cases);

  bool passwordMangled_ = false;
};

#endif  // LIBDATASRC_SYSTEMFILEDATASOURCE_H_
