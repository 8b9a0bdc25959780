// Bootstrap specifications in files: what is written, and which files are refused.

#include <libdatasrc/DataFileError.h>
#include <ServerDataManager/BootstrapFile.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <tests/support/BootstrapRecords.h>
#include <tests/unit/saved_files.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

namespace {

using support::BytesOf;
using support::FullBootstrapSpecs;
using support::SwappedBytesOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::IsEmpty;
using testing::UnorderedElementsAre;
using testing::UnorderedElementsAreArray;
using Serializer = SvrBootstrapSpecsSerializer;

constexpr std::uintmax_t kTooLong = 16777217;

// A folder for files with bootstrap specifications.
class BootstrapFileTest : public testing::Test {
 protected:
  std::string Path(const std::string& name) const { return folder_.Path(name); }

  void Write(const std::string& name, const std::string& bytes) const {
    std::ofstream(Path(name), std::ios::binary) << bytes;
  }
  std::string Read(const std::string& name) const {
    std::ifstream stream(Path(name), std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
  }
  std::vector<std::string> Files() const {
    std::vector<std::string> files;
    for (const auto& entry : std::filesystem::directory_iterator(folder_.Path(""))) {
      files.push_back(entry.path().filename().string());
    }
    return files;
  }

  // Saves a bootstrap specification with all defaults, which takes 55 bytes.
  void Save(const std::string& name) const {
    EXPECT_EQ(BootstrapFile::Save(SvrBootstrapSpecs(), Path(name)), 55U);
    EXPECT_EQ(Read(name), BytesOf(SvrBootstrapSpecs()));
  }
  // Saves to a file that must be refused, and returns the reason, without the path.
  std::string SaveError(const std::string& path) const {
    return ErrorOf(path, [&] { BootstrapFile::Save(SvrBootstrapSpecs(), path); });
  }
  std::string LoadError(const std::string& path) const {
    return ErrorOf(path, [&] { BootstrapFile::Load(path); });
  }
  template <class Operation>
  static std::string ErrorOf(const std::string& path, Operation operation) {
    try {
      operation();
    } catch (const DataFileError& error) {
      EXPECT_EQ(error.File(), path);
      return std::string(error.what()).substr(path.size() + 2);
    }
    return "no error";
  }

  const TemporaryFolder folder_;
};

TEST_F(BootstrapFileTest, LoadsWhatItHasSaved) {
  const std::string bytes = BytesOf(FullBootstrapSpecs());
  EXPECT_EQ(BootstrapFile::Save(FullBootstrapSpecs(), Path("specs")), bytes.size());
  EXPECT_EQ(Read("specs"), bytes);
  EXPECT_EQ(BytesOf(*BootstrapFile::Load(Path("specs"))), bytes);
  EXPECT_THAT(Files(), ElementsAre("specs"));
}

TEST_F(BootstrapFileTest, KeepsThePermissionsOfTheReplacedFile) {
  Write("specs", BytesOf(FullBootstrapSpecs()));
  ASSERT_EQ(chmod(Path("specs").c_str(), 0604), 0);
  Save("specs");
  struct stat status {};
  ASSERT_EQ(stat(Path("specs").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & mode_t{07777}, mode_t{0604});
}

TEST_F(BootstrapFileTest, FollowsSymbolicLinks) {
  std::filesystem::create_directory(Path("folder"));
  Write("folder/specs", "");
  std::filesystem::create_symlink("folder/specs", Path("link"));
  Save("link");
  EXPECT_TRUE(std::filesystem::is_symlink(Path("link")));
  EXPECT_EQ(Read("folder/specs").size(), 55U);
}

TEST_F(BootstrapFileTest, DoesNotChangeHardLinksToTheReplacedFile) {
  Write("specs", "");
  std::filesystem::create_hard_link(Path("specs"), Path("other"));
  Save("specs");
  EXPECT_EQ(Read("other"), "");
}

// Simulates a full disk: while the object exists, no file can grow beyond `bytes`.
class FileSizeLimit {
 public:
  explicit FileSizeLimit(rlim_t bytes) : handler_(std::signal(SIGXFSZ, SIG_IGN)) {
    getrlimit(RLIMIT_FSIZE, &before_);
    const rlimit limit = {bytes, before_.rlim_max};
    setrlimit(RLIMIT_FSIZE, &limit);
  }
  FileSizeLimit(const FileSizeLimit&) = delete;
  FileSizeLimit& operator=(const FileSizeLimit&) = delete;
  ~FileSizeLimit() {
    setrlimit(RLIMIT_FSIZE, &before_);
    std::signal(SIGXFSZ, handler_);
  }

 private:
  void (*const handler_)(int);
  rlimit before_;
};

TEST_F(BootstrapFileTest, LeavesTheOldFileIfWritingFails) {
  const std::string old = BytesOf(FullBootstrapSpecs());
  Write("specs", old);
  {
    const FileSizeLimit limit(54);
    EXPECT_EQ(SaveError(Path("specs")), "File too large");
    EXPECT_EQ(SaveError(Path("new")), "File too large");
  }
  EXPECT_EQ(Read("specs"), old);
  EXPECT_THAT(Files(), ElementsAre("specs"));
}

TEST_F(BootstrapFileTest, ReplacesOtherSpecificationsAndEmptyFiles) {
  const std::string other = BytesOf(FullBootstrapSpecs());
  const std::string swapped = SwappedBytesOf(FullBootstrapSpecs());
  for (const std::string& content : {other, other + "x", swapped, swapped + "x", std::string()}) {
    Write("specs", content);
    Save("specs");
  }
}

TEST_F(BootstrapFileTest, DoesNotReplaceFilesWithOtherContent) {
  for (const std::string& content :
       {std::string("x"), BytesOf(FullBootstrapSpecs()).substr(0, 90)}) {
    Write("specs", content);
    EXPECT_EQ(SaveError(Path("specs")), "not a bootstrap specification, and not replaced");
    EXPECT_EQ(Read("specs"), content);
  }
  Write("long", BytesOf(FullBootstrapSpecs()));
  std::filesystem::resize_file(Path("long"), kTooLong);
  EXPECT_EQ(SaveError(Path("long")), "longer than 16777216 bytes");
  EXPECT_EQ(std::filesystem::file_size(Path("long")), kTooLong);
}

TEST_F(BootstrapFileTest, DoesNotWriteAFileThatIsTooLongToLoad) {
  SvrBootstrapSpecs specs;
  specs.SplitEnds().resize(kTooLong / 4);
  const std::string path = Path("specs");
  EXPECT_EQ(ErrorOf(path, [&] { BootstrapFile::Save(specs, path); }), "longer than 16777216 bytes");
  EXPECT_THAT(Files(), IsEmpty());
  specs.SplitEnds().resize(kTooLong / 4 - 20);
  BootstrapFile::Save(specs, path);
  EXPECT_EQ(BootstrapFile::Load(path)->SplitEnds().size(), kTooLong / 4 - 20);
}

TEST_F(BootstrapFileTest, DoesNotReplaceFoldersOrPipes) {
  std::filesystem::create_directory(Path("folder"));
  ASSERT_EQ(mkfifo(Path("pipe").c_str(), 0600), 0);
  EXPECT_EQ(SaveError(Path("folder")), "Is a directory");
  EXPECT_EQ(SaveError(Path("pipe")), "not a regular file");
  EXPECT_THAT(Files(), UnorderedElementsAre("folder", "pipe"));
}

TEST_F(BootstrapFileTest, AllowsAnyNameThatTheFileSystemAllows) {
  Save(std::string(250, 'f'));
  EXPECT_EQ(SaveError(Path(std::string(256, 'f'))), "File name too long");
  EXPECT_EQ(SaveError(Path("nowhere/specs")), "No such file or directory");
  EXPECT_EQ(SaveError("/proc/specs"), "No such file or directory");  // not even root can write it
  const std::string withZero = Path("a") + std::string(1, '\0') + "b";
  Write("a", BytesOf(FullBootstrapSpecs()));
  EXPECT_THROW(BootstrapFile::Save(SvrBootstrapSpecs(), withZero), DataFileError);
  EXPECT_THROW(BootstrapFile::Load(withZero), DataFileError);
}

// A killed process leaves its temporary file, and a later process may have the same number.
TEST_F(BootstrapFileTest, KeepsTemporaryFilesOfOtherProcesses) {
  std::vector<std::string> files = {"specs"};
  for (int number = 0; number < 1000; ++number) {
    files.push_back("bootstrap." + std::to_string(getpid()) + "-" + std::to_string(number) +
                    ".new");
    Write(files.back(), "left");
  }
  Save("specs");
  EXPECT_THAT(Files(), UnorderedElementsAreArray(files));
  EXPECT_EQ(Read(files.back()), "left");
}

TEST_F(BootstrapFileTest, CanBeSavedToOneFolderOnTwoThreads) {
  const auto saveMany = [this](const std::string& name) {
    for (int turn = 0; turn < 300; ++turn) EXPECT_NO_THROW(Save(name));
  };
  std::thread other(saveMany, "other");
  saveMany("specs");
  other.join();
  EXPECT_THAT(Files(), UnorderedElementsAre("specs", "other"));
}

TEST_F(BootstrapFileTest, RefusesFilesThatCannotBeRead) {
  std::filesystem::create_directory(Path("folder"));
  ASSERT_EQ(mkfifo(Path("pipe").c_str(), 0600), 0);
  Write("long", "");
  std::filesystem::resize_file(Path("long"), kTooLong);
  const std::vector<std::pair<std::string, std::string>> wrong = {
      {"folder", "Is a directory"},
      {"pipe", "not a regular file"},
      {"nowhere", "No such file or directory"},
      {"long", "longer than 16777216 bytes"}};
  for (const auto& [name, reason] : wrong) {
    const std::string path = Path(name);
    EXPECT_EQ(LoadError(path), reason);
    EXPECT_EQ(ErrorOf(path, [&] { BootstrapFile::Check(path); }), reason);
  }
  EXPECT_EQ(LoadError("/proc/self/mem"), "Input/output error");
}

TEST_F(BootstrapFileTest, RefusesInvalidBytesWithTheirOffset) {
  const std::string whole = BytesOf(FullBootstrapSpecs());
  std::string longList = whole;
  longList.replace(10, 4, 4, '\x7F');
  const std::vector<std::pair<std::string, std::string>> wrong = {
      {"", "it ends within the field at offset 0"},
      {whole.substr(0, 3), "it ends within the field at offset 2"},
      {support::InVersionTwo(whole), "the version at offset 2 is not 1"},
      {longList, "the list at offset 10 is longer than the file"}};
  for (const auto& [bytes, problem] : wrong) {
    Write("specs", bytes);
    EXPECT_EQ(LoadError(Path("specs")), "not a bootstrap specification: " + problem);
    const BootstrapFile::Checked checked = BootstrapFile::Check(Path("specs"));
    EXPECT_THAT(checked.check.Problem(), EndsWith(problem));
    EXPECT_EQ(checked.fileSize, bytes.size());
  }
}

TEST_F(BootstrapFileTest, RefusesBytesAfterTheSpecification) {
  for (const std::string& whole :
       {BytesOf(SvrBootstrapSpecs()), SwappedBytesOf(SvrBootstrapSpecs())}) {
    Write("specs", whole + "x");
    EXPECT_EQ(LoadError(Path("specs")),
              "1 byte after the bootstrap specification, which ends at offset 55");
    Write("specs", whole + "more");
    EXPECT_EQ(LoadError(Path("specs")),
              "4 bytes after the bootstrap specification, which ends at offset 55");
    const BootstrapFile::Checked checked = BootstrapFile::Check(Path("specs"));
    EXPECT_EQ(checked.check.Problem(), "");
    EXPECT_EQ(checked.check.size, 55U);
    EXPECT_EQ(checked.fileSize, 59U);
  }
}

}  // namespace
