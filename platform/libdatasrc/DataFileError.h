// DataFileError: what is wrong with a data file, and where.

#ifndef LIBDATASRC_DATAFILEERROR_H_
#define LIBDATASRC_DATAFILEERROR_H_

#include <ServerDataManager/Export.h>
#include <stdexcept>
#include <string>

// what() reads "FILE:LINE:COLUMN: text", or "FILE: text" where no place in the file is at fault.
//
// Threads: a plain value.
class SDM_EXPORT DataFileError : public std::runtime_error {
 public:
  // The file as a whole.
  DataFileError(const std::string& file, const std::string& text);
  // A place in it. Lines end at line feeds, those inside quotes too; the column is the byte on that
  // line. Both count from 1, and a byte-order mark counts as the three bytes that it is.
  DataFileError(const std::string& file, long line, long column, const std::string& text);
  DataFileError(const DataFileError&) = default;
  DataFileError& operator=(const DataFileError&) = default;
  ~DataFileError() override;

  const std::string& File() const { return file_; }
  long Line() const { return line_; }      // 0 where the file as a whole is meant
  long Column() const { return column_; }  // likewise

 private:
  std::string file_;
  long line_ = 0;
  long column_ = 0;
};

#endif  // LIBDATASRC_DATAFILEERROR_H_
