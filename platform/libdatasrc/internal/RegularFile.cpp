#include <fcntl.h>
#include <libdatasrc/DataFileError.h>
#include <libdatasrc/internal/RegularFile.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace sdm_internal {

namespace {

[[noreturn]] void ThrowSystemError(const std::string& path, const char* attempt, int error) {
  throw DataFileError(path, std::string(attempt) + ": " + std::generic_category().message(error));
}

// Throws DataFileError for a zero byte in `path`. On other failures, returns -1 and sets errno.
int OpenWithoutWaiting(const std::string& path) {
  if (path.find('\0') != std::string::npos) throw DataFileError(path, "zero byte in the file name");
  return open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
}

const char* KindOf(mode_t mode) {
  if (S_ISDIR(mode)) return "a directory";
  if (S_ISFIFO(mode)) return "a FIFO";
  if (S_ISCHR(mode) || S_ISBLK(mode)) return "a device";
  return "something else";
}

// Calls `readSome(to, size)` until `size` bytes are read or readSome returns 0.
template <class ReadSome>
std::size_t Fill(const std::string& path, char* to, std::size_t size, ReadSome readSome) {
  std::size_t filled = 0;
  while (filled < size) {
    const ssize_t got = readSome(to + filled, size - filled);
    if (got == 0) break;
    if (got > 0) filled += static_cast<std::size_t>(got);
    if (got < 0 && errno != EINTR) ThrowSystemError(path, "cannot be read", errno);
  }
  return filled;
}

}  // namespace

RegularFile::RegularFile(const std::string& path) : RegularFile(path, OpenWithoutWaiting(path)) {}

std::optional<RegularFile> RegularFile::OpenIfExists(const std::string& path) {
  const int descriptor = OpenWithoutWaiting(path);
  if (descriptor == -1 && errno == ENOENT) return std::nullopt;
  return RegularFile(path, descriptor);
}

RegularFile::RegularFile(const std::string& path, int descriptor)
    : path_(path), descriptor_(descriptor) {
  struct stat status = {};
  if (descriptor == -1) ThrowSystemError(path, "cannot be opened", errno);
  if (fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode)) {
    close(descriptor);
    throw DataFileError(path, std::string("not a data file but ") + KindOf(status.st_mode));
  }
  size_ = static_cast<std::uint64_t>(status.st_size);
}

RegularFile::~RegularFile() {
  if (descriptor_ != -1) close(descriptor_);
}

std::size_t RegularFile::Read(char* to, std::size_t size) {
  const std::size_t filled = Fill(
      path_, to, size, [&](char* rest, std::size_t most) { return read(descriptor_, rest, most); });
  bytesRead_ += filled;
  return filled;
}

std::size_t RegularFile::Peek(char* to, std::size_t size) {
  return Fill(path_, to, size, [&](char* rest, std::size_t most) {
    return pread(descriptor_, rest, most, static_cast<off_t>(rest - to));
  });
}

}  // namespace sdm_internal
