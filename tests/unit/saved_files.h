// Real files for tests of saved files.

#ifndef TESTS_UNIT_SAVED_FILES_H_
#define TESTS_UNIT_SAVED_FILES_H_

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstddef>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <system_error>

// A temporary folder. The destructor deletes it with its content.
class TemporaryFolder {
 public:
  TemporaryFolder() {
    std::string pattern = std::filesystem::temp_directory_path() / "saved_files_XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr) ADD_FAILURE() << "no temporary folder";
    path_ = pattern;
  }
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  std::string Path(const std::string& name) const { return path_ / name; }

  // Writes a small data file and returns its path.
  std::string Write(const std::string& name) const {
    std::ofstream(path_ / name) << "age\n44\n";
    return Path(name);
  }

 private:
  std::filesystem::path path_;
};

inline void ModifyAt(const std::string& path, std::time_t second, long nanosecond = 0) {
  const timespec times[2] = {{second, nanosecond}, {second, nanosecond}};
  ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
}

// Runs `action` in a child process. Returns the result of `action`, an int from 0 to 255, or -1 if
// the process dies.
template <class Action>
int InAnotherProcess(Action action) {
  const pid_t child = fork();
  if (child == 0) _exit(action());
  int status = -1;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// Tries to write-lock a whole open file; `command` is F_SETLK for a process lock, F_OFD_SETLK for
// an open-file-description lock. Returns false if the lock is refused.
inline bool LockForWriting(int file, int command = F_SETLK) {
  struct flock wholeFile = {};
  wholeFile.l_type = F_WRLCK;
  wholeFile.l_whence = SEEK_SET;
  return fcntl(file, command, &wholeFile) == 0;
}

// Whether another process can write-lock the file.
inline bool AnotherProcessMayWrite(const std::string& path, int command = F_SETLK) {
  const int answer = InAnotherProcess([&] {
    const int file = open(path.c_str(), O_RDWR | O_CLOEXEC);
    return file != -1 && LockForWriting(file, command) ? 1 : 0;
  });
  EXPECT_NE(answer, -1);
  return answer == 1;
}

inline std::ptrdiff_t OpenDescriptors() {
  return std::distance(std::filesystem::directory_iterator("/proc/self/fd"),
                       std::filesystem::directory_iterator());
}

// Returns the descriptor of this process that is open on the file; -1 if there is none.
inline int DescriptorOf(const std::string& path) {
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    std::error_code closed;  // an entry that cannot be read is skipped
    if (std::filesystem::read_symlink(entry.path(), closed) == path) {
      return std::stoi(entry.path().filename());
    }
  }
  return -1;
}

#endif  // TESTS_UNIT_SAVED_FILES_H_
