// Opening files for reading, as the POSIX systems with open-file-description locks do it.

#include <fcntl.h>
#include <libplatdep/ExtNameStr.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace {

// The errno to refuse `file` with; 0 for a regular file.
int WhyNotRegular(int file) {
  struct stat status;
  if (fstat(file, &status) != 0) return errno;
  if (S_ISREG(status.st_mode)) return 0;
  return S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
}

// Closes `file` without losing `error`, which the caller is to find in errno.
void CloseRefused(int file, int error) {
  close(file);
  errno = error;
}

// The descriptor of a regular file open for reading, or -1 with errno set.
int OpenRegular(const char* path) {
  // O_NONBLOCK is for what turns out to be no regular file; it means nothing to one.
  const int file = open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
  if (file == -1) return -1;
  const int refusal = WhyNotRegular(file);
  if (refusal == 0) return file;
  CloseRefused(file, refusal);
  return -1;
}

void AskToDenyWriting(int file) {
  struct flock wholeFile = {};
  wholeFile.l_type = F_RDLCK;
  wholeFile.l_whence = SEEK_SET;
  const int before = errno;
  // Reading goes on without the lock where another program writes or the file system has none.
  if (fcntl(file, F_OFD_SETLK, &wholeFile) != 0) errno = before;
}

}  // namespace

std::FILE* ExtNameStr::fsopen(const char* mode, int shareFlag) const {
  if (std::strcmp(mode, "r") != 0 || path_.find('\0') != std::string::npos) {
    errno = EINVAL;
    return nullptr;
  }
  const int file = OpenRegular(path_.c_str());
  if (file == -1) return nullptr;
  if (shareFlag == kDenyWrite) AskToDenyWriting(file);
  std::FILE* const stream = fdopen(file, "r");
  if (stream == nullptr) CloseRefused(file, errno);
  return stream;
}
