// Reading with a bound, and writing beside the file before it is replaced.

#include "WholeFile.h"

#include "CommandError.h"

#include <fcntl.h>
#include <libplatdep/ExtNameStr.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <optional>
#include <system_error>

namespace sdmsh {
namespace {

[[noreturn]] void Refuse(const std::string& path, const std::string& reason) {
  throw CommandError(path + ": " + reason);
}

[[noreturn]] void RefuseForErrno(const std::string& path) {
  Refuse(path, std::generic_category().message(errno));
}

void RefuseZeroByte(const std::string& path) {
  if (path.find('\0') != std::string::npos) {
    throw CommandError("a file name cannot have a zero byte in it");
  }
}

// ---------------------------------------------------------------------------------------------
// Reading

struct CloseFile {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, CloseFile>;

File Open(const std::string& path) {
  ExtNameStr name;
  name.SetGeneric(path);
  File file(name.fsopen("r", /*shareFlag=*/0));
  if (file == nullptr && errno == EINVAL) Refuse(path, "not a regular file");
  if (file == nullptr) RefuseForErrno(path);
  return file;
}

// ---------------------------------------------------------------------------------------------
// Writing

// A new file in the folder of `target`; removed again unless it takes the place of that.
class FileBeside {
 public:
  // `path` is what the user calls it.
  FileBeside(const std::string& path, const std::string& target) : path_(path), target_(target) {
    constexpr int kTries = 100;  // names that are taken: of those who were killed while they wrote
    for (int i = 0; i < kTries && file_ == -1; ++i) {
      name_ = target + "." + std::to_string(getpid()) + "-" + std::to_string(i) + ".part";
      file_ = open(name_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
      if (file_ == -1 && errno != EEXIST) break;
    }
    if (file_ == -1) RefuseForErrno(path);
  }
  FileBeside(const FileBeside&) = delete;
  FileBeside& operator=(const FileBeside&) = delete;
  ~FileBeside() {
    close(file_);
    if (!name_.empty()) unlink(name_.c_str());
  }

  void Write(std::string_view bytes) {
    while (!bytes.empty()) {
      const ssize_t count = write(file_, bytes.data(), bytes.size());
      if (count == -1 && errno == EINTR) continue;
      if (count == -1) RefuseForErrno(path_);
      bytes.remove_prefix(static_cast<std::size_t>(count));
    }
  }

  void SetPermissions(mode_t permissions) {
    if (fchmod(file_, permissions) != 0) RefuseForErrno(path_);
  }

  void TakeThePlace() {
    // The name must not be there before the bytes are, whenever the machine goes down.
    if (fsync(file_) != 0) RefuseForErrno(path_);
    if (rename(name_.c_str(), target_.c_str()) != 0) RefuseForErrno(path_);
    name_.clear();
  }

 private:
  const std::string& path_;
  const std::string& target_;
  std::string name_;  // empty once it has taken the place
  int file_ = -1;
};

// The permissions of the regular file there, which may be written; none where there is no file.
std::optional<mode_t> PermissionsOf(const std::string& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) {
    if (errno == ENOENT) return std::nullopt;
    RefuseForErrno(path);
  }
  if (S_ISDIR(status.st_mode)) Refuse(path, std::generic_category().message(EISDIR));
  if (!S_ISREG(status.st_mode)) Refuse(path, "not a regular file");
  if (faccessat(AT_FDCWD, path.c_str(), W_OK, AT_EACCESS) != 0) RefuseForErrno(path);
  return status.st_mode & mode_t{07777};
}

// Where the links end that lead to a file that is there.
std::string EndOfLinks(const std::string& path) {
  const std::unique_ptr<char, void (*)(void*)> end(realpath(path.c_str(), nullptr), std::free);
  if (end == nullptr) RefuseForErrno(path);
  return end.get();
}

}  // namespace

std::string ReadWholeFile(const std::string& path) {
  RefuseZeroByte(path);
  const File file = Open(path);
  std::string bytes;
  std::array<char, 65536> part;
  while (const std::size_t count = std::fread(part.data(), 1, part.size(), file.get())) {
    bytes.append(part.data(), count);
    if (bytes.size() > kMaxFileBytes) {
      Refuse(path, "longer than " + std::to_string(kMaxFileBytes) + " bytes");
    }
  }
  if (std::ferror(file.get()) != 0) RefuseForErrno(path);
  return bytes;
}

void WriteWholeFile(const std::string& path, std::string_view bytes) {
  RefuseZeroByte(path);
  const std::optional<mode_t> permissions = PermissionsOf(path);
  const std::string target = permissions ? EndOfLinks(path) : path;
  FileBeside file(path, target);
  file.Write(bytes);
  if (permissions) file.SetPermissions(*permissions);
  file.TakeThePlace();
}

}  // namespace sdmsh
