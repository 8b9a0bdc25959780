// FileBytes: the bytes of a regular file, decompressed.

#ifndef LIBDATASRC_INTERNAL_FILEBYTES_H_
#define LIBDATASRC_INTERNAL_FILEBYTES_H_

#include <libdatasrc/internal/RegularFile.h>

#include <cstddef>
#include <memory>
#include <string>
#include <utility>

namespace sdm_internal {

// Reads plain files and files compressed by gzip or Zstandard; the first bytes of a file show
// which. Memory does not depend on the size of the file or on sizes that the file declares. The
// exception is the window of Zstandard: at most 128 MiB, of which only the part with decompressed
// bytes takes memory.
class FileBytes {
 public:
  // Nothing may have been read from `file` yet. Throws DataFileError if `file` cannot be read.
  static std::unique_ptr<FileBytes> Of(RegularFile file);

  virtual ~FileBytes() = default;

  const RegularFile& File() const { return file_; }

  // Reads `size` bytes and returns their number; fewer only at the end or before an error. Throws
  // DataFileError if the file cannot be read. If compressed data are damaged or end too early,
  // first returns the bytes before the error; the next call throws DataFileError.
  std::size_t Read(char* to, std::size_t size);

  // The first `size` bytes; fewer only at the end or before an error. Read still returns these
  // bytes. Call Peek at most once, before Read. Throws like Read.
  const std::string& Peek(std::size_t size);

 protected:
  explicit FileBytes(RegularFile file) : file_(std::move(file)) {}

  // Like Read, but calls Fail instead of throwing for damaged data and an early end.
  virtual std::size_t Fill(char* to, std::size_t size) = 0;

  // The next Read that has no bytes to return throws DataFileError with this text.
  void Fail(const std::string& text) { failure_ = text; }
  bool HasFailed() const { return !failure_.empty(); }

  RegularFile file_;

 private:
  std::string start_;  // bytes that Peek has read and Read has not returned yet
  std::string failure_;
};

}  // namespace sdm_internal

#endif  // LIBDATASRC_INTERNAL_FILEBYTES_H_
