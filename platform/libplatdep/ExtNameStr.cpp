// Opens files for reading, with POSIX calls and open-file-description locks.

#include <fcntl.h>
#include <libplatdep/ExtNameStr.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace {

// Returns the errno for a file that is not regular; 0 for a regular file.
int WhyNotRegular(int file) {
  struct stat status;
  if (fstat(file, &status) != 0) return errno;
  if (S_ISREG(status.st_mode)) return 0;
  return S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
}

// Closes `file` and sets errno to `error`.
void CloseRefused(int file, int error) {
  close(file);
  errno = error;
}

// Opens a regular file for reading. Returns -1 and sets errno on failure.
int OpenRegular(const char* path) {
  // O_NONBLOCK keeps open() from blocking on a FIFO; it has no effect on a regular file.
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
  // Keeps errno, because a refused lock is no error: another program may be writing, or the file
  // system may have no locks.
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
