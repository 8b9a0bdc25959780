// Kills a save at each of its system calls in turn, and makes each of these calls fail in turn.
// After each kill and each failure, the file must have the whole old or the whole new content.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <libdatasrc/MemoryDataSource.h>
#include <libdatasrc/SaveDelimited.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "Files.h"

// ---------------------------------------------------------------------------------------------
// Replaced functions of the C library

namespace {

constexpr int kKilled = 77;
// The number of calls at the start of a save in which its new files have no names (O_TMPFILE). If
// the process is killed in one of these calls, the system deletes the new files.
constexpr long kCallsWithoutNames = 5;

enum class Fault { None, Kill, Fail };
Fault fault = Fault::None;
long callsLeft = 0;  // until the fault

// If not null, each call that syncs, links, renames or deletes a file is appended to this list.
std::vector<std::string>* record = nullptr;

// Returns the file name without the folder and without the number of a new file: "data.csv.new" for
// "/tmp/datasrc-x/data.csv.7.new". Returns "unnamed file" for a file without a name, and "folder"
// for a test folder.
std::string ShortName(const std::string& path) {
  const std::string name = std::filesystem::path(path).filename().string();
  if (name.ends_with(" (deleted)")) return "unnamed file";
  if (!name.ends_with(".new")) return name.starts_with("datasrc-") ? "folder" : name;
  const std::size_t number = name.rfind('.', name.size() - 5);
  return name.substr(0, number) + ".new";
}

void Record(const std::string& call, const std::string& path) {
  if (record != nullptr) record->push_back(call + ' ' + ShortName(path));
}

std::string PathOf(int file) {
  return std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(file)).string();
}

// Counts a call. If `callsLeft` is 0, ends the process (Fault::Kill), or sets errno to EIO and
// returns true, so that the call fails (Fault::Fail).
bool FailsNow() {
  if (fault == Fault::None || callsLeft-- != 0) return false;
  if (fault == Fault::Kill) _exit(kKilled);
  errno = EIO;
  return true;
}

}  // namespace

extern "C" {

int open(const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const unsigned int mode = (flags & O_CREAT) != 0 ? va_arg(arguments, unsigned int) : 0;
  va_end(arguments);
  if (FailsNow()) return -1;
  return static_cast<int>(syscall(SYS_openat, AT_FDCWD, path, flags, mode));
}

// Writes half of the bytes if the process is killed at this call.
ssize_t write(int file, const void* bytes, size_t size) {
  if (fault == Fault::Kill && callsLeft == 0) syscall(SYS_write, file, bytes, size / 2);
  if (FailsNow()) return -1;
  return syscall(SYS_write, file, bytes, size);
}

// Does not sync, because writes survive the end of the process.
int fsync(int file) {
  if (record != nullptr) Record("sync", PathOf(file));
  return FailsNow() ? -1 : 0;
}

// Closes the file even if the call fails, as on Linux.
int close(int file) {
  const bool fails = FailsNow();
  const int result = static_cast<int>(syscall(SYS_close, file));
  if (!fails) return result;
  errno = EIO;
  return -1;
}

int rename(const char* from, const char* to) noexcept {
  Record("rename to", to);
  return FailsNow() ? -1 : static_cast<int>(syscall(SYS_renameat, AT_FDCWD, from, AT_FDCWD, to));
}

int linkat(int, const char* from, int, const char* to, int flags) noexcept {
  Record("link", to);
  if (FailsNow()) return -1;
  return static_cast<int>(syscall(SYS_linkat, AT_FDCWD, from, AT_FDCWD, to, flags));
}

int unlink(const char* path) noexcept {
  Record("delete", path);
  return FailsNow() ? -1 : static_cast<int>(syscall(SYS_unlinkat, AT_FDCWD, path, 0));
}

int fchmod(int file, mode_t mode) noexcept {
  return FailsNow() ? -1 : static_cast<int>(syscall(SYS_fchmod, file, mode));
}

int flock(int file, int operation) noexcept {
  return FailsNow() ? -1 : static_cast<int>(syscall(SYS_flock, file, operation));
}

}  // extern "C"

namespace {

// --- Test sources: the data of one source do not fit the schema of another ---

ORVX_Variable Variable(const std::string& name, const std::string& label) {
  ORVX_Variable variable(ORVX_Variable::NextID(), name);
  variable.SetLabel(label);
  return variable;
}

constexpr std::size_t kFewCases = 3;
constexpr std::size_t kManyCases = 300;  // their bytes exceed the write buffer of a file

// Every value of the first variable is the number of cases, so that ContentOf detects lost cases.
std::unique_ptr<MemoryDataSource> Content(const std::string& name, std::size_t cases = kManyCases) {
  auto source = std::make_unique<MemoryDataSource>();
  const auto count = static_cast<double>(cases);
  source->InsertVariable(0, Variable(name, "label of " + name), std::vector<double>(cases, count));
  source->InsertVariable(1, ORVX_Variable(ORVX_Variable::NextID(), name + "2", 1000),
                         std::vector<std::string>(cases, std::string(1000, 'x')));
  source->SetLabel(name.c_str());
  return source;
}

// Checks that data and schema are whole and belong together. Returns the label of the dataset;
// empty if there is no file.
std::string ContentOf(const std::string& path) {
  try {
    const auto file = SystemFileDataSource::Open(path);
    const std::string name = file->GetLabel() != nullptr ? file->GetLabel() : "no label";
    EXPECT_EQ(file->GetVariable(0).GetName(), name);
    EXPECT_EQ(file->GetVariable(0).GetLabel(), "label of " + name);
    EXPECT_EQ(file->GetValue(0, 0), DataValue(static_cast<double>(file->RowCount())));
    EXPECT_EQ(file->GetValue(file->RowCount() - 1, 1), DataValue(std::string(1000, 'x')));
    return name;
  } catch (const DataFileError& error) {
    EXPECT_FALSE(std::filesystem::exists(path)) << error.what();
    return "";
  }
}

std::vector<std::string> NewFilesIn(const Folder& folder) {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(folder.Path(""))) {
    const std::string name = entry.path().filename().string();
    if (!name.ends_with(".csv") && !name.ends_with(".json")) names.push_back(name);
  }
  return names;
}

bool HasUnnamedFiles(const Folder& folder) {
  const int file = open(folder.Path("").c_str(), O_WRONLY | O_TMPFILE | O_CLOEXEC, 0600);
  if (file != -1) close(file);
  return file != -1;
}

// Saves in a child process that is killed at the given call, counted from 0. Returns false if the
// save ends before this call.
bool IsKilled(const MemoryDataSource& source, const std::string& path, long call) {
  const pid_t child = fork();
  if (child == 0) {
    fault = Fault::Kill;
    callsLeft = call;
    SaveDelimited(source, path);
    fault = Fault::None;
    _exit(0);
  }
  int status = 0;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status));
  if (WEXITSTATUS(status) == 0) return false;
  EXPECT_EQ(WEXITSTATUS(status), kKilled);
  return true;
}

// Saves new content over `first`, or as a new file if `first` is null, and kills the save at each
// call in turn. `old` is the label of `first`, or empty. Returns how often the old content and how
// often the new content was found.
std::pair<int, int> KillAtEachCall(const MemoryDataSource* first, const std::string& old) {
  const auto second = Content("second");
  const auto third = Content("third");
  std::pair<int, int> found;
  for (long call = 0;; ++call) {
    SCOPED_TRACE("killed at call " + std::to_string(call));
    const Folder folder;
    const std::string path = folder.Path("data.csv");
    if (first != nullptr) SaveDelimited(*first, path);
    const bool isKilled = IsKilled(*second, path, call);

    if (call < kCallsWithoutNames && HasUnnamedFiles(folder)) {
      EXPECT_EQ(NewFilesIn(folder), std::vector<std::string>());
    }
    const std::string content = ContentOf(path);
    EXPECT_TRUE(content == old || content == "second") << content;
    ++(content == old ? found.first : found.second);

    // A save of `third` finishes the interrupted save, then replaces the file.
    SaveDelimited(*third, path);
    EXPECT_EQ(ContentOf(path), "third");
    EXPECT_FALSE(std::filesystem::exists(path + ".saving"));
    if (!isKilled) {
      EXPECT_EQ(content, "second");
      EXPECT_EQ(NewFilesIn(folder), std::vector<std::string>());
      return found;
    }
  }
}

TEST(SaveFault, WritesEachStepToTheDiskBeforeTheNext) {
  const Folder folder;
  if (!HasUnnamedFiles(folder)) GTEST_SKIP() << "the file system has no unnamed files";
  const auto content = Content("first");
  std::vector<std::string> calls;
  record = &calls;
  SaveDelimited(*content, folder.Path("data.csv"));
  record = nullptr;
  EXPECT_EQ(calls, (std::vector<std::string>{
                       "sync unnamed file", "link data.csv.new", "sync unnamed file",
                       "link data.schema.json.new", "sync folder", "sync unnamed file",
                       "link data.csv.saving.new", "rename to data.csv.saving", "sync folder",
                       "rename to data.csv", "rename to data.schema.json", "sync folder",
                       "delete data.csv.saving"}));
}

TEST(SaveFault, AKilledSaveLeavesTheWholeOldOrNewContent) {
  const auto first = Content("first");
  const auto [old, fresh] = KillAtEachCall(first.get(), "first");
  EXPECT_GE(old, 10);
  EXPECT_GE(fresh, 6);
}

TEST(SaveFault, AKilledFirstSaveLeavesNoFileOrTheWholeContent) {
  const auto [none, fresh] = KillAtEachCall(nullptr, "");
  EXPECT_GE(none, 10);
  EXPECT_GE(fresh, 6);
}

// Kills a save at each of its calls. If the killed save leaves a .saving file, the next save
// finishes the killed save. The test kills this next save, too, at each of its calls.
TEST(SaveFault, ASaveThatIsKilledWhileItFinishesAnotherLeavesWholeContent) {
  const auto first = Content("first", kFewCases);
  const auto second = Content("second", kFewCases);
  const auto third = Content("third", kFewCases);
  bool isInterrupted = true;
  for (long call = 0; isInterrupted; ++call) {
    for (long next = 0;; ++next) {
      const Folder folder;
      const std::string path = folder.Path("data.csv");
      SaveDelimited(*first, path);
      isInterrupted = IsKilled(*second, path, call);
      if (!std::filesystem::exists(path + ".saving")) break;
      SCOPED_TRACE("killed at calls " + std::to_string(call) + " and " + std::to_string(next));
      const bool isKilled = IsKilled(*third, path, next);
      const std::string content = ContentOf(path);
      EXPECT_TRUE(content == "second" || content == "third") << content;
      if (!isKilled) break;
    }
  }
}

// Deletes the new files of killed saves, except files that are listed in the .saving file.
void DeleteOrphans(const std::string& path) {
  std::ifstream marker(path + ".saving");
  const std::string names{std::istreambuf_iterator<char>(marker), {}};
  const auto folder = std::filesystem::path(path).parent_path();
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    const std::string name = entry.path().filename().string();
    if (name.ends_with(".new") && names.find(name) == std::string::npos) {
      std::filesystem::remove(entry.path());
    }
  }
}

// Makes each call of a save fail in turn. `prepare` writes the old files and returns the label of
// their content.
void FailEachCall(const std::function<std::string(const std::string& path)>& prepare) {
  const auto fresh = Content("fresh", kFewCases);
  int failed = 0;
  int saved = 0;
  for (long call = 0;; ++call) {
    SCOPED_TRACE("call " + std::to_string(call) + " fails");
    const Folder folder;
    const std::string path = folder.Path("data.csv");
    const std::string old = prepare(path);
    std::string error;
    fault = Fault::Fail;
    callsLeft = call;
    try {
      SaveDelimited(*fresh, path);
    } catch (const DataFileError& thrown) {
      error = thrown.what();
    }
    const bool hasFailed = callsLeft < 0;
    fault = Fault::None;
    if (!hasFailed) break;

    const bool isSaved = error.empty() || error.find(": saved, but ") != std::string::npos;
    EXPECT_EQ(ContentOf(path), isSaved ? "fresh" : old) << error;
    const bool isInterrupted = std::filesystem::exists(path + ".saving");
    if (!isInterrupted) {
      EXPECT_EQ(NewFilesIn(folder), std::vector<std::string>()) << error;
    }
    if (!error.empty()) ++(isSaved ? saved : failed);
  }
  EXPECT_GE(failed, 15);
  EXPECT_EQ(saved, 3);  // calls that fail after the data file was renamed
}

TEST(SaveFault, AFailedCallLeavesTheOldContentOrTheErrorSaysThatTheNewIsSaved) {
  const auto first = Content("first", kFewCases);
  FailEachCall([&](const std::string& path) {
    SaveDelimited(*first, path);
    return "first";
  });
}

TEST(SaveFault, AFailedCallAfterAnInterruptedSaveLeavesTheContentOfTheInterruptedSave) {
  const auto first = Content("first", kFewCases);
  const auto second = Content("second", kFewCases);
  FailEachCall([&](const std::string& path) {
    SaveDelimited(*first, path);
    for (long call = 0; !std::filesystem::exists(path + ".saving"); ++call) {
      EXPECT_TRUE(IsKilled(*second, path, call));
    }
    DeleteOrphans(path);
    return "second";
  });
}

}  // namespace
