// Reading with a bound, and writing beside the file before it is replaced.

#include "WholeFile.h"

#include "CommandError.h"

#include <fcntl.h>
#include <libplatdep/ExtNameStr.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <cstdio>
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

// The folder of a file, as it is called in the file's path: with the slash, and empty for the
// present one.
std::string FolderOf(const std::string& path) {
  return path.substr(0, path.rfind('/') + 1);
}

// A new file in the folder of `target`; removed again unless it takes the place of that.
class FileBeside {
 public:
  // `path` is what the user calls it.
  FileBeside(const std::string& path, const std::string& target) : path_(path), target_(target) {
    constexpr int kTries = 100;  // names that are taken: of those who were killed while they wrote
    for (int i = 0; i < kTries && file_ == -1; ++i) {
      // Short, whatever the file is called: names have an end.
      name_ = FolderOf(target) + "sdmsh-" + std::to_string(getpid()) + "-" + std::to_string(i) +
              ".part";
      file_ = open(name_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
      if (file_ == -1 && errno != EEXIST) RefuseFolder();
    }
    if (file_ == -1) Refuse(path, "no name is free for a temporary file such as " + name_);
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
  // The one where no file can be made.
  [[noreturn]] void RefuseFolder() const {
    if (errno == ENOENT) RefuseForErrno(path_);
    const std::string reason = std::generic_category().message(errno);
    const std::string folder = FolderOf(target_);
    Refuse(path_,
           "no file can be made in the folder " + (folder.empty() ? "." : folder) + ": " + reason);
  }

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

// What the symbolic link says; none where `path` is no link.
std::optional<std::string> LinkAt(const std::string& path) {
  std::string text(PATH_MAX, '\0');
  const ssize_t length = readlink(path.c_str(), text.data(), text.size());
  if (length == -1) return std::nullopt;
  text.resize(static_cast<std::size_t>(length));
  return text;
}

// Where the links end that lead to a file, be it there or not. Whether they end was asked before.
std::string EndOfLinks(std::string path) {
  while (const std::optional<std::string> link = LinkAt(path)) {
    path = link->starts_with('/') ? *link : FolderOf(path) + *link;
  }
  return path;
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

bool IsThere(const std::string& path) {
  RefuseZeroByte(path);
  struct stat status {};
  if (stat(path.c_str(), &status) == 0) return true;
  if (errno == ENOENT) return false;
  RefuseForErrno(path);
}

void WriteWholeFile(const std::string& path, std::string_view bytes) {
  RefuseZeroByte(path);
  if (bytes.size() > kMaxFileBytes) {
    Refuse(path, "more than " + std::to_string(kMaxFileBytes) + " bytes, which nobody could read");
  }
  const std::optional<mode_t> permissions = PermissionsOf(path);
  const std::string target = EndOfLinks(path);
  FileBeside file(path, target);
  file.Write(bytes);
  if (permissions) file.SetPermissions(*permissions);
  file.TakeThePlace();
}

}  // namespace sdmsh
