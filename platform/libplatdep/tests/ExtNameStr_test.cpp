// Tests of libplatdep: opening a file for reading without blocking, and asking others not to write.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <libplatdep/ExtNameStr.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

namespace {

constexpr int kNoSharing = 0;

struct CloseFile {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, CloseFile>;

// Opens a file without ExtNameStr, like another program.
class OtherProgram {
 public:
  explicit OtherProgram(const std::string& path) : file_(open(path.c_str(), O_RDWR | O_CLOEXEC)) {}
  OtherProgram(const OtherProgram&) = delete;
  OtherProgram& operator=(const OtherProgram&) = delete;
  ~OtherProgram() { close(file_); }

  // Write-locks the file from byte `start` on. Returns whether the lock was granted.
  bool LockForWriting(off_t start = 0) {
    struct flock bytes = {};
    bytes.l_type = F_WRLCK;
    bytes.l_whence = SEEK_SET;
    bytes.l_start = start;
    return fcntl(file_, F_OFD_SETLK, &bytes) == 0;
  }

 private:
  const int file_;
};

class ExtNameStrOpening : public testing::Test {
 protected:
  ExtNameStrOpening() {
    char pattern[] = "/tmp/ExtNameStr-XXXXXX";
    folder_ = mkdtemp(pattern);
    std::ofstream(Path("data.tsv")) << "id\tname\n";
  }
  ~ExtNameStrOpening() override { std::filesystem::remove_all(folder_); }

  std::string Path(const std::string& name) const { return folder_ + "/" + name; }

  static File Open(const std::string& path, const char* mode = "r", int shareFlag = kNoSharing) {
    ExtNameStr name;
    name.SetGeneric(path);
    errno = 0;
    return File(name.fsopen(mode, shareFlag));
  }

  static std::string FirstLine(const File& file) {
    std::array<char, 100> line = {};
    return std::fgets(line.data(), line.size(), file.get()) == nullptr ? "" : line.data();
  }

  std::string folder_;
};

TEST_F(ExtNameStrOpening, ReadsTheBytesOfTheFile) {
  const File file = Open(Path("data.tsv"));

  ASSERT_NE(file, nullptr) << std::strerror(errno);
  EXPECT_EQ(FirstLine(file), "id\tname\n");
}

TEST_F(ExtNameStrOpening, FollowsALinkToAFile) {
  std::filesystem::create_symlink("data.tsv", Path("link"));

  const File file = Open(Path("link"));

  ASSERT_NE(file, nullptr) << std::strerror(errno);
  EXPECT_EQ(FirstLine(file), "id\tname\n");
}

TEST_F(ExtNameStrOpening, UsesTheNameThatWasSetLast) {
  ExtNameStr name;
  name.SetGeneric(Path("missing"));
  name.SetGeneric(Path("data.tsv"));

  EXPECT_NE(File(name.fsopen("r", kNoSharing)), nullptr);
}

TEST_F(ExtNameStrOpening, ReturnsNullForAMissingFile) {
  EXPECT_EQ(Open(Path("missing")), nullptr);
  EXPECT_EQ(errno, ENOENT);
}

TEST_F(ExtNameStrOpening, ReturnsNullForTheEmptyName) {
  EXPECT_EQ(File(ExtNameStr().fsopen("r", kNoSharing)), nullptr);
  EXPECT_EQ(errno, ENOENT);
}

TEST_F(ExtNameStrOpening, ReturnsNullForANameWithAZeroByte) {
  EXPECT_EQ(Open(Path("data.tsv") + std::string("\0x", 2)), nullptr);
  EXPECT_EQ(errno, EINVAL);
}

TEST_F(ExtNameStrOpening, ReturnsNullForAFolder) {
  EXPECT_EQ(Open(folder_), nullptr);
  EXPECT_EQ(errno, EISDIR);
}

TEST_F(ExtNameStrOpening, ReturnsNullForAFifoWithoutWaitingForItsWriter) {
  ASSERT_EQ(mkfifo(Path("fifo").c_str(), 0600), 0);
  std::filesystem::create_symlink("fifo", Path("link"));

  EXPECT_EQ(Open(Path("fifo")), nullptr);
  EXPECT_EQ(errno, EINVAL);
  EXPECT_EQ(Open(Path("link")), nullptr);
  EXPECT_EQ(errno, EINVAL);
}

TEST_F(ExtNameStrOpening, ReturnsNullForADevice) {
  EXPECT_EQ(Open("/dev/null"), nullptr);
  EXPECT_EQ(errno, EINVAL);
}

TEST_F(ExtNameStrOpening, LeaksNoDescriptorOnFailure) {
  const auto open = [] {
    const std::filesystem::directory_iterator descriptors("/proc/self/fd");
    return std::distance(begin(descriptors), end(descriptors));
  };
  const auto before = open();

  for (int attempt = 0; attempt < 3; ++attempt) EXPECT_EQ(Open(folder_), nullptr);

  EXPECT_EQ(open(), before);
}

TEST_F(ExtNameStrOpening, OtherModesAreRejectedAndCreateNothing) {
  for (const char* mode : {"w", "a", "r+", "rb", ""}) {
    EXPECT_EQ(Open(Path("data.tsv"), mode), nullptr) << mode;
    EXPECT_EQ(errno, EINVAL) << mode;
    EXPECT_EQ(Open(Path("new"), mode), nullptr) << mode;
  }
  EXPECT_FALSE(std::filesystem::exists(Path("new")));
  EXPECT_EQ(std::filesystem::file_size(Path("data.tsv")), 8U);
}

TEST_F(ExtNameStrOpening, ChildProcessesDoNotInheritTheFile) {
  const File file = Open(Path("data.tsv"));

  ASSERT_NE(file, nullptr);
  EXPECT_TRUE(fcntl(fileno(file.get()), F_GETFD) & FD_CLOEXEC);
}

TEST_F(ExtNameStrOpening, DenyWriteBlocksWriteLocksOnTheFileUntilItIsClosed) {
  OtherProgram other(Path("data.tsv"));

  File file = Open(Path("data.tsv"), "r", ExtNameStr::kDenyWrite);

  ASSERT_NE(file, nullptr);
  EXPECT_FALSE(other.LockForWriting());
  EXPECT_FALSE(other.LockForWriting(1 << 20));
  file.reset();
  EXPECT_TRUE(other.LockForWriting());
}

TEST_F(ExtNameStrOpening, DenyWriteIsTheNumber32) {
  EXPECT_EQ(ExtNameStr::kDenyWrite, 32);
}

TEST_F(ExtNameStrOpening, WithoutDenyWriteTakesNoLock) {
  OtherProgram other(Path("data.tsv"));

  const File file = Open(Path("data.tsv"));

  ASSERT_NE(file, nullptr);
  EXPECT_TRUE(other.LockForWriting());
}

TEST_F(ExtNameStrOpening, TwoOpenFilesMayDenyWritingAtTheSameTime) {
  const File first = Open(Path("data.tsv"), "r", ExtNameStr::kDenyWrite);
  File second = Open(Path("data.tsv"), "r", ExtNameStr::kDenyWrite);
  OtherProgram other(Path("data.tsv"));

  second.reset();

  // With a lock per process, closing the second file would have released the first file's lock.
  EXPECT_FALSE(other.LockForWriting());
}

TEST_F(ExtNameStrOpening, OpensWithoutWaitingIfDenyWriteIsRejected) {
  OtherProgram other(Path("data.tsv"));
  ASSERT_TRUE(other.LockForWriting());

  const File file = Open(Path("data.tsv"), "r", ExtNameStr::kDenyWrite);

  ASSERT_NE(file, nullptr);
  EXPECT_EQ(FirstLine(file), "id\tname\n");
}

}  // namespace
