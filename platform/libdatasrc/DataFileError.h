// DataFileError: an error in a data file, with its position.

#ifndef LIBDATASRC_DATAFILEERROR_H_
#define LIBDATASRC_DATAFILEERROR_H_

#include <ServerDataManager/Export.h>
#include <stdexcept>
#include <string>

// what() returns "FILE:LINE:COLUMN: text", or "FILE: text" for an error without a position.
//
// Threads: a plain value; any thread may use its own copy.
class SDM_EXPORT DataFileError : public std::runtime_error {
 public:
  // An error that concerns the whole file.
  DataFileError(const std::string& file, const std::string& text);
  // An error at a line and a column, counted from 1. Every line feed ends a line, even inside
  // quotes. A column is one byte of the line in UTF-8; a byte-order mark takes three columns.
  DataFileError(const std::string& file, long line, long column, const std::string& text);
  DataFileError(const DataFileError&) = default;
  DataFileError& operator=(const DataFileError&) = default;
  ~DataFileError() override;

  const std::string& File() const { return file_; }
  long Line() const { return line_; }      // 0 for the whole file
  long Column() const { return column_; }  // 0 for the whole file

 private:
  std::string file_;
  long line_ = 0;
  long column_ = 0;
};

#endif  // LIBDATASRC_DATAFILEERROR_H_
