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

// Whether another process that asks first gets to write the file.
inline bool AnotherProcessMayWrite(const std::string& path) {
  const pid_t child = fork();
  if (child == 0) {
    struct flock wholeFile = {};
    wholeFile.l_type = F_WRLCK;
    wholeFile.l_whence = SEEK_SET;
    const int file = open(path.c_str(), O_RDWR | O_CLOEXEC);
    _exit(file != -1 && fcntl(file, F_SETLK, &wholeFile) == 0 ? 0 : 1);
  }
  int status = -1;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status));
  return WEXITSTATUS(status) == 0;
}

// The open descriptors of this process.
inline std::ptrdiff_t OpenDescriptors() {
  return std::distance(std::filesystem::directory_iterator("/proc/self/fd"),
                       std::filesystem::directory_iterator());
}

#endif  // TESTS_UNIT_SAVED_FILES_H_
