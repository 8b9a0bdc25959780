// RegularFile: a regular file, open for reading. Opening never waits.

#ifndef LIBDATASRC_INTERNAL_REGULARFILE_H_
#define LIBDATASRC_INTERNAL_REGULARFILE_H_

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>

namespace sdm_internal {

// Owns the descriptor, which the system closes on exec. Throws DataFileError on errors.
class RegularFile {
 public:
  // Throws if the file does not exist, cannot be opened, or is a directory, a FIFO, a device or a
  // socket, or if `path` has a zero byte. Never waits, not even for a FIFO.
  explicit RegularFile(const std::string& path);

  // Returns nothing if the file does not exist; otherwise like the constructor.
  static std::optional<RegularFile> OpenIfExists(const std::string& path);

  RegularFile(RegularFile&& other) noexcept
      : path_(std::move(other.path_)),
        descriptor_(std::exchange(other.descriptor_, -1)),
        size_(other.size_),
        bytesRead_(other.bytesRead_) {}
  RegularFile& operator=(RegularFile&&) = delete;
  ~RegularFile();

  const std::string& Path() const { return path_; }
  std::uint64_t Size() const { return size_; }            // when it was opened
  std::uint64_t BytesRead() const { return bytesRead_; }  // by Read

  // Reads `size` bytes, fewer only at the end of the file. Returns the number of bytes read.
  std::size_t Read(char* to, std::size_t size);

  // Reads the first `size` bytes of the file, fewer only if the file is shorter. Does not affect
  // Read.
  std::size_t Peek(char* to, std::size_t size);

 private:
  RegularFile(const std::string& path, int descriptor);

  std::string path_;
  int descriptor_;
  std::uint64_t size_ = 0;
  std::uint64_t bytesRead_ = 0;
};

}  // namespace sdm_internal

#endif  // LIBDATASRC_INTERNAL_REGULARFILE_H_
