// Whole files of bytes: which are replaced, and what stays.

#include "ShellTest.h"

#include <CommandError.h>
#include <linux/magic.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>
#include <WholeFile.h>

#include <string>

namespace sdmsh {
namespace {

using testing::StartsWith;

class WholeFile : public ShellTest {
 protected:
  std::string ReadFile(const std::string& file) const {
    std::ifstream stream(Path(file), std::ios::binary);
    EXPECT_TRUE(stream) << file;
    return {std::istreambuf_iterator<char>(stream), {}};
  }

  // What is said to an attempt to write to the file; empty where it went well.
  std::string Write(const std::string& file, std::string_view bytes = "new") const {
    try {
      WriteWholeFile(Path(file), bytes);
      return "";
    } catch (const CommandError& error) {
      return error.what();
    }
  }

  std::size_t FileCount() const {
    const std::filesystem::directory_iterator files(Path(""));
    return static_cast<std::size_t>(std::distance(begin(files), end(files)));
  }

  // A name that is taken for the new file, as by somebody who was killed.
  std::string Leftover(int number) const {
    return "sdmsh-" + std::to_string(getpid()) + "-" + std::to_string(number) + ".part";
  }
};

TEST_F(WholeFile, IsWrittenBesideWhatOthersHaveLeftThere) {
  WriteFile(Leftover(0), "left");
  EXPECT_EQ(Write("f"), "");
  EXPECT_EQ(ReadFile("f"), "new");
  EXPECT_EQ(ReadFile(Leftover(0)), "left");
  EXPECT_EQ(FileCount(), 3u);
}

TEST_F(WholeFile, IsRefusedWhereNoNameIsFree) {
  for (int i = 0; i < 100; ++i) WriteFile(Leftover(i), "left");
  EXPECT_EQ(Write("f"),
            Path("f") + ": no name is free for a temporary file such as " + Path(Leftover(99)));
  EXPECT_EQ(FileCount(), 101u);
}

TEST_F(WholeFile, IsMadeWhereALinkLeadsThatLedNowhere) {
  std::filesystem::create_directory(Path("folder"));
  std::filesystem::create_symlink("folder/link", Path("link"));
  std::filesystem::create_symlink("f", Path("folder/link"));
  EXPECT_FALSE(IsThere(Path("link")));
  EXPECT_EQ(Write("link"), "");
  EXPECT_TRUE(IsThere(Path("link")));
  EXPECT_TRUE(std::filesystem::is_symlink(Path("link")));
  EXPECT_TRUE(std::filesystem::is_symlink(Path("folder/link")));
  EXPECT_EQ(ReadFile("folder/f"), "new");
  std::filesystem::create_symlink(Path("g"), Path("absolute"));
  EXPECT_EQ(Write("absolute"), "");
  EXPECT_EQ(ReadFile("g"), "new");
}

TEST_F(WholeFile, IsRefusedWhereLinksLeadToNoFolderOrToThemselves) {
  std::filesystem::create_symlink("nowhere/f", Path("astray"));
  EXPECT_EQ(Write("astray"), Path("astray") + ": No such file or directory");
  std::filesystem::create_symlink("loop", Path("loop"));
  EXPECT_THAT(Write("loop"), StartsWith(Path("loop") + ": Too many levels of symbolic links"));
}

TEST_F(WholeFile, LeavesOtherNamesOfTheFileTheirBytes) {
  WriteFile("f", "old");
  std::filesystem::create_hard_link(Path("f"), Path("other"));
  EXPECT_EQ(Write("f"), "");
  EXPECT_EQ(ReadFile("other"), "old");
}

TEST_F(WholeFile, MayHaveALongName) {
  const std::string file(250, 'f');
  EXPECT_EQ(Write(file), "");
  EXPECT_EQ(ReadFile(file), "new");
  const std::string longer(256, 'f');
  EXPECT_EQ(Write(longer), Path(longer) + ": File name too long");
}

TEST_F(WholeFile, ThatMayNotBeWrittenIsRefused) {
  WriteFile("f", "old");
  ASSERT_EQ(chmod(Path("f").c_str(), 0444), 0);
  if (access(Path("f").c_str(), W_OK) == 0) GTEST_SKIP() << "this user may write to any file";
  EXPECT_EQ(Write("f"), Path("f") + ": Permission denied");
  EXPECT_EQ(ReadFile("f"), "old");
}

TEST_F(WholeFile, InAFolderThatMayNotBeWrittenIsRefused) {
  std::filesystem::create_directory(Path("folder"));
  WriteFile("folder/f", "old");
  ASSERT_EQ(chmod(Path("folder").c_str(), 0555), 0);
  const bool mayWrite = access(Path("folder").c_str(), W_OK) == 0;
  const std::string said = mayWrite ? "" : Write("folder/f");
  ASSERT_EQ(chmod(Path("folder").c_str(), 0755), 0);  // so that it can go with the test
  if (mayWrite) GTEST_SKIP() << "this user may write to any folder";
  EXPECT_EQ(said, Path("folder/f") + ": no file can be made in the folder " + Path("folder/") +
                      ": Permission denied");
  EXPECT_EQ(ReadFile("folder/f"), "old");
}

// Nobody may make files there, whoever it is.
TEST_F(WholeFile, InAFolderOfTheKernelIsRefused) {
  struct statfs system {};
  if (statfs("/sys", &system) != 0 || system.f_type != SYSFS_MAGIC) {
    GTEST_SKIP() << "the kernel's folder is not mounted at /sys";
  }
  try {
    WriteWholeFile("/sys/f", "new");
    FAIL();
  } catch (const CommandError& error) {
    EXPECT_THAT(error.what(), StartsWith("/sys/f: no file can be made in the folder /sys/: "));
  }
}

TEST_F(WholeFile, HasANameWithoutZeroBytes) {
  WriteFile("a", "old");
  const std::string file("a\0b", 3);
  const std::string error = "a file name cannot have a zero byte in it";
  EXPECT_EQ(Write(file), error);
  EXPECT_THROW(IsThere(Path(file)), CommandError);
  EXPECT_THROW(ReadWholeFile(Path(file)), CommandError);
  EXPECT_EQ(ReadFile("a"), "old");
}

TEST_F(WholeFile, IsNotLongerThanWhatCanBeRead) {
  EXPECT_EQ(Write("f", std::string(kMaxFileBytes + 1, 'x')),
            Path("f") + ": more than 16777216 bytes, which nobody could read");
  EXPECT_FALSE(IsThere(Path("f")));
  EXPECT_EQ(Write("f", std::string(kMaxFileBytes, 'x')), "");
  EXPECT_EQ(ReadWholeFile(Path("f")).size(), kMaxFileBytes);
}

}  // namespace
}  // namespace sdmsh
