// ImportOptions: how to read a file of delimited text.

#ifndef LIBDATASRC_IMPORTOPTIONS_H_
#define LIBDATASRC_IMPORTOPTIONS_H_

#include <optional>
#include <string>
#include <vector>

struct ImportOptions {
  // A comma, tab, semicolon, bar or space. Otherwise found from the header and the first records:
  // the delimiter that gives them all the same number of fields.
  std::optional<char> delimiter;

  // A point or a comma, other than the delimiter. Otherwise found from the first records.
  std::optional<char> decimalMark;

  // The encoding by name, such as "UTF-8" or "windows-1252". Otherwise the byte-order mark decides;
  // UTF-8 without it.
  std::string encoding;

  // The fields that are missing values, in every column that has no field in the schema.
  std::vector<std::string> missing = {"", "NA", "NaN", ".", "null"};
};

#endif  // LIBDATASRC_IMPORTOPTIONS_H_
