// FileText: the text of a regular file as UTF-8, decompressed and decoded, read in blocks.
//
//   FileText text("survey.csv.gz");
//   std::vector<char> block(1 << 20);
//   while (const std::size_t size = text.Read(block.data(), block.size())) Scan(block, size);

#ifndef LIBDATASRC_INTERNAL_FILETEXT_H_
#define LIBDATASRC_INTERNAL_FILETEXT_H_

#include <libdatasrc/internal/FileBytes.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace sdm_internal {

// UTF-8 text is returned as it is, without validation; every other encoding is converted. A
// byte-order mark is part of the text, as the bytes EF BB BF.
class FileText {
 public:
  // The smallest block that Read accepts.
  static constexpr std::size_t kLeastSize = 64;

  // Opens a plain file, or a file compressed by gzip or Zstandard. `encoding` is a name that iconv
  // knows, such as "ISO-8859-1" or "windows-1252", in upper or lower case. If the name is empty, a
  // byte-order mark determines the encoding (UTF-8, UTF-16 or UTF-32); a text without a mark is
  // UTF-8. The names "UTF-16" and "UTF-32" require a mark; names with a byte order, such as
  // "UTF-16LE", do not. Throws DataFileError for an unknown name, and for a file that cannot be
  // opened or is not a regular file. Reads the first bytes, and throws like Read. Opening never
  // waits, not even for a FIFO.
  explicit FileText(const std::string& path, const std::string& encoding = {});
  FileText(FileText&&) noexcept;
  ~FileText();

  // The encoding of the decompressed file: `encoding`, or the encoding found by the constructor.
  const std::string& Encoding() const { return encoding_; }

  // Reads up to `size` bytes; `size` is at least kLeastSize. A block may end inside a character.
  // Returns 0 at the end. Throws DataFileError for bytes that are invalid in the encoding (with
  // their line and column in the UTF-8 text), for damaged compressed data, and for a file that is
  // cut off; earlier calls have returned the text before the error. Also throws DataFileError if
  // the file cannot be read.
  std::size_t Read(char* to, std::size_t size);

  // Progress, in bytes of the file as it is stored. BytesRead may include bytes whose text has not
  // been returned yet. BytesInAll is the size of the file when it was opened.
  std::uint64_t BytesRead() const { return bytes_->File().BytesRead(); }
  std::uint64_t BytesInAll() const { return bytes_->File().Size(); }

 private:
  class Decoder;

  std::unique_ptr<FileBytes> bytes_;
  std::string encoding_;
  std::unique_ptr<Decoder> decoder_;  // null for UTF-8
};

}  // namespace sdm_internal

#endif  // LIBDATASRC_INTERNAL_FILETEXT_H_
