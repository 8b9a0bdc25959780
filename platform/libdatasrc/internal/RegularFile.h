// RegularFile: a file open for reading that is certain not to keep a reader waiting.

#ifndef LIBDATASRC_INTERNAL_REGULARFILE_H_
#define LIBDATASRC_INTERNAL_REGULARFILE_H_

#include <cstddef>
#include <optional>
#include <string>
#include <utility>

namespace sdm_internal {

// Owns the descriptor, which programs started meanwhile do not inherit. Errors are DataFileError
// and name the file.
class RegularFile {
 public:
  // Throws when there is no such file, when it cannot be opened, and when it is a directory, a
  // FIFO, a device or a socket, none of which it waits for.
  explicit RegularFile(const std::string& path);

  // The same, but nothing when there is no such file.
  static std::optional<RegularFile> IfThere(const std::string& path);

  RegularFile(RegularFile&& other) noexcept
      : path_(std::move(other.path_)), descriptor_(std::exchange(other.descriptor_, -1)) {}
  RegularFile& operator=(RegularFile&&) = delete;
  ~RegularFile();

  const std::string& Path() const { return path_; }

  // Reads up to `size` bytes; fewer only at the end, where 0 comes.
  std::size_t Read(char* to, std::size_t size);

 private:
  RegularFile(const std::string& path, int descriptor);

  std::string path_;
  int descriptor_;
};

}  // namespace sdm_internal

#endif  // LIBDATASRC_INTERNAL_REGULARFILE_H_
