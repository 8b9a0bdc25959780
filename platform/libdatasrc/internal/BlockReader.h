// BlockReader: reads a file of delimited text in blocks of whole records.

#ifndef LIBDATASRC_INTERNAL_BLOCKREADER_H_
#define LIBDATASRC_INTERNAL_BLOCKREADER_H_

#include <libdatasrc/internal/FileText.h>
#include <libdatasrc/internal/RecordBlock.h>

#include <cstddef>
#include <cstdint>
#include <exception>
#include <string>

namespace sdm_internal {

class BlockReader {
 public:
  explicit BlockReader(FileText file) : file_(std::move(file)) {}

  // Reads whole records into `block`: about `bytes` bytes, or one record if that record is longer.
  // Returns false at the end of the file. A block may end inside a record if it is the last block
  // or has an error (a wrong quote, a record that is too long). If FileText throws DataFileError,
  // first returns the records before the error; the next call throws it.
  bool Next(std::size_t bytes, RecordBlock& block);

  const FileText& File() const { return file_; }
  std::uint64_t TextBytes() const { return textBytes_; }  // in all blocks from Next so far

 private:
  std::size_t Fill(char* to, std::size_t size);

  FileText file_;
  std::string rest_;  // bytes already read; the next block starts with them
  bool isAtEnd_ = false;
  std::exception_ptr error_;  // thrown when no record before the error is left; null for none
  std::uint64_t textBytes_ = 0;
};

}  // namespace sdm_internal

#endif  // LIBDATASRC_INTERNAL_BLOCKREADER_H_
