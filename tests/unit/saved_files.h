// Real files for tests of what a dataset does with its saved file.

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

// A folder that goes with everything in it.
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

// Makes the file look last modified at that moment.
inline void ModifyAt(const std::string& path, std::time_t second, long nanosecond = 0) {
  const timespec times[2] = {{second, nanosecond}, {second, nanosecond}};
  ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
}

// What `action`, which returns an int from 0 to 255, returns in a process of its own; -1 where that
// process dies of it.
template <class Action>
int InAnotherProcess(Action action) {
  const pid_t child = fork();
  if (child == 0) _exit(action());
  int status = -1;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// Asks, without waiting, for a lock for writing on all of an open file; `command` is F_SETLK for a
// lock of the process, F_OFD_SETLK for one of the open file. False where it is refused.
inline bool LockForWriting(int file, int command = F_SETLK) {
  struct flock wholeFile = {};
  wholeFile.l_type = F_WRLCK;
  wholeFile.l_whence = SEEK_SET;
  return fcntl(file, command, &wholeFile) == 0;
}

// Whether another process that asks first gets to write the file.
inline bool AnotherProcessMayWrite(const std::string& path, int command = F_SETLK) {
  const int answer = InAnotherProcess([&] {
    const int file = open(path.c_str(), O_RDWR | O_CLOEXEC);
    return file != -1 && LockForWriting(file, command) ? 1 : 0;
  });
  EXPECT_NE(answer, -1);
  return answer == 1;
}

// The open descriptors of this process.
inline std::ptrdiff_t OpenDescriptors() {
  return std::distance(std::filesystem::directory_iterator("/proc/self/fd"),
                       std::filesystem::directory_iterator());
}

#endif  // TESTS_UNIT_SAVED_FILES_H_
