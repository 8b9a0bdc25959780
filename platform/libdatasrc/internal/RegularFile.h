// RegularFile: a regular file, open for reading. Opening and reading never block.

#ifndef LIBDATASRC_INTERNAL_REGULARFILE_H_
#define LIBDATASRC_INTERNAL_REGULARFILE_H_

#include <cstddef>
#include <optional>
#include <string>
#include <utility>

namespace sdm_internal {

// Owns the descriptor, which child processes do not inherit. Throws DataFileError on errors.
class RegularFile {
 public:
  // Throws if the file does not exist, cannot be opened, or is a directory, a FIFO, a device or a
  // socket. Never blocks on any of them.
  explicit RegularFile(const std::string& path);

  // Returns nothing if the file does not exist; otherwise like the constructor.
  static std::optional<RegularFile> OpenIfExists(const std::string& path);

  RegularFile(RegularFile&& other) noexcept
      : path_(std::move(other.path_)), descriptor_(std::exchange(other.descriptor_, -1)) {}
  RegularFile& operator=(RegularFile&&) = delete;
  ~RegularFile();

  const std::string& Path() const { return path_; }

  // Reads `size` bytes, fewer only at the end of the file. Returns the number of bytes read.
  std::size_t Read(char* to, std::size_t size);

 private:
  RegularFile(const std::string& path, int descriptor);

  std::string path_;
  int descriptor_;
};

}  // namespace sdm_internal

#endif  // LIBDATASRC_INTERNAL_REGULARFILE_H_
