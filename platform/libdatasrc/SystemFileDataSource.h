// SystemFileDataSource: the cases and the dictionary of a saved data file.
//
//   std::unique_ptr<SystemFileDataSource> survey = SystemFileDataSource::Open("survey.tsv");
//   std::cout << survey->GetLabel() << ": " << survey->RowCount() << " rows\n";
//
// The file is delimited text: a header line with the names of the columns, then one record for each
// case. Comma or tab separates the fields, whichever stands more often in the header outside quotes
// (comma when neither does). Quoting is that of RFC 4180, and nothing else is taken for quoting: a
// quote inside an unquoted field is an error. Lines end in LF or CRLF. The text is UTF-8, with or
// without a byte-order mark. Blanks around a field belong to it. An empty line is a case with an
// empty field where there is one column, and is skipped where there are more.
//
// A dictionary may lie beside the file: for survey.tsv, survey.schema.json, a Frictionless Table
// Schema. Read from it are the `title` (the label of the dataset), `missingValues` and `fields`,
// which match columns by `name`, in any order; a column without a field is fine, a field without a
// column is an error. Of a field count: `title` (label), `type`, `categories` (value labels: an
// array of values, or of objects with `value` and `label`), `categoriesOrdered`, `missingValues`
// (in place of the table's). Other members are skipped.
//
// A field is missing when it is one of the missing values; in a numeric column also when it holds
// nothing but blanks. Missing numbers read as kMissingNumber, missing strings as blanks. A column
// is numeric when each field that is not missing is a number: decimal, with an optional sign, point
// and exponent, in the range of a double, blanks around it skipped. The schema can decide instead:
// type `string` makes any column a string, `integer` and `number` demand such numbers; every other
// type goes by the fields. A string variable is as wide as its widest value in bytes, and at
// least 1.

#ifndef LIBDATASRC_SYSTEMFILEDATASOURCE_H_
#define LIBDATASRC_SYSTEMFILEDATASOURCE_H_

#include <libdatasrc/DataFileError.h>
#include <libdatasrc/ORVX_DataSource.h>
#include <ServerDataManager/Export.h>

#include <cstddef>
#include <functional>
#include <memory>
#include <string>

namespace sdm_internal {
class CaseTable;
}

// Values are held by the identifier of the variable: editing the dictionary, moving a variable
// (delete and insert again) too, keeps them. A variable that came from elsewhere reads as missing.
// A variable whose type was changed reads its values converted: a string as the number that its
// text is, a number as its shortest decimal text, a string cut (between characters) or padded to
// the new width. What has no conversion, or is a number whose text is too wide, reads as missing.
//
// Threads: as for ORVX_DataSource; iterators on several threads may run over one source at once.
class SDM_EXPORT SystemFileDataSource : public ORVX_DataSource {
 public:
  // The longest record, and the largest schema, in bytes; a longer one is refused, so a file
  // without line ends is not read into memory.
  static constexpr std::size_t kMaxRecordBytes = std::size_t{16} << 20;

  // Reads the whole file and closes it. The source has `path` as its file specification and is
  // clean. Anything wrong, with the file or with its schema, throws DataFileError: what cannot be
  // opened, is no regular file (never waited for) or is empty; a record with another number of
  // fields than the header; a wrong or unclosed quote; bytes that are not UTF-8; a zero byte; a
  // column name that is empty or stands twice; a field that its type does not allow; a schema that
  // is not JSON, has a member of the wrong kind, an unknown type or a name that no column bears.
  // `check`, unless empty, is called for each record, on this thread; what it throws ends the
  // reading and is thrown from here.
  // Threads: any.
  static std::unique_ptr<SystemFileDataSource> Open(const std::string& path,
                                                    const std::function<void()>& check = {});

  ~SystemFileDataSource() override;

  // Outlives edits of the dictionary, and the source itself.
  ObsIterator* MakeIterator(OBS* area) const override;
  long long RowCount() const override;  // exact

  // Whether the password of the file is stored in mangled form. Delimited text has none, so false
  // until set.
  bool GetPasswordMangled() const { return passwordMangled_; }
  void SetPasswordMangled(bool mangled) { passwordMangled_ = mangled; }

 private:
  SDM_HIDDEN explicit SystemFileDataSource(std::shared_ptr<const sdm_internal::CaseTable> cases);

  // Shared with the iterators; never changed.
  std::shared_ptr<const sdm_internal::CaseTable> cases_;
  bool passwordMangled_ = false;
};

#endif  // LIBDATASRC_SYSTEMFILEDATASOURCE_H_
