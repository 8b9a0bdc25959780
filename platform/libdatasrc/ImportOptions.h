// ImportOptions: how to read a file of delimited text.
//
//   ImportOptions options;
//   options.decimalMark = ',';
//   const auto survey = SystemFileDataSource::Open("survey.csv", options);

#ifndef LIBDATASRC_IMPORTOPTIONS_H_
#define LIBDATASRC_IMPORTOPTIONS_H_

#include <optional>
#include <string>
#include <vector>

// SystemFileDataSource::Open throws std::invalid_argument for a delimiter or a decimal mark that is
// not allowed here, and DataFileError for an unknown encoding.
//
// Threads: a plain value; any thread may use its own copy.
struct ImportOptions {
  // A comma, tab, semicolon, bar or space. Not set: found from the header and the first records.
  // Preferred is a delimiter that splits each of these lines into the same number of fields.
  std::optional<char> delimiter;

  // A point or a comma, but not the delimiter. Not set: found from the first records.
  std::optional<char> decimalMark;

  // The name of the encoding, such as "UTF-8" or "windows-1252", in upper or lower case. Empty: the
  // byte-order mark of the file determines it; a file without a mark is UTF-8.
  std::string encoding;

  // A field that is one of these texts is a missing value. A column with a field in the schema uses
  // the missing values of the schema instead.
  std::vector<std::string> missing = {"", "NA", "NaN", ".", "null"};
};

#endif  // LIBDATASRC_IMPORTOPTIONS_H_
