// Tests a dataset and its saved file on a real disk: which changes by other programs are detected,
// which locks the file has, and that no file stays open.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <ServerDataManager/serverdatamgr.h>
#include <ServerDataManager/svrdmitem.h>
#include <ServerDataManager/SvrDMWriteableDataSource.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <tests/support/Dictionary.h>
#include <tests/support/OutOfMemory.h>
#include <tests/unit/saved_files.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

using support::Dictionary;
using support::ExpectSafeWithoutMemory;
using support::Trial;
using testing::HasSubstr;
using testing::Not;

// ---------------------------------------------------------------------------------------------
// Replaced functions of the C library

namespace {

int fstatCalls = 0;
bool descriptorsAreLeft = true;

}  // namespace

extern "C" int fstat(int file, struct stat* status) noexcept {
  ++fstatCalls;
  return fstatat(file, "", status, AT_EMPTY_PATH);
}

// Ignores the mode argument, because no caller creates a file.
extern "C" int open(const char* path, int flags, ...) {
  if (descriptorsAreLeft) return openat(AT_FDCWD, path, flags);
  errno = EMFILE;
  return -1;
}

namespace {

constexpr std::time_t kThen = 1'500'000'000;  // long before any test runs

// A process that holds a write lock on a file during the lifetime of this object.
class WritingProcess {
 public:
  explicit WritingProcess(const std::string& path) {
    std::array<int, 2> ends{};
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()), 0);
    ours_ = ends[0];
    process_ = fork();
    if (process_ == 0) {
      close(ours_);
      Write(path, ends[1]);
    }
    close(ends[1]);
    char locked = 0;
    EXPECT_EQ(read(ours_, &locked, 1), 1);
    EXPECT_EQ(locked, 'y');
  }
  ~WritingProcess() {
    close(ours_);
    EXPECT_EQ(waitpid(process_, nullptr, 0), process_);
  }
  WritingProcess(const WritingProcess&) = delete;
  WritingProcess& operator=(const WritingProcess&) = delete;

 private:
  [[noreturn]] static void Write(const std::string& path, int theirs) {
    const int file = open(path.c_str(), O_RDWR | O_CLOEXEC);
    char answer = LockForWriting(file) ? 'y' : 'n';
    const bool told = write(theirs, &answer, 1) == 1;
    const bool ended = read(theirs, &answer, 1) == 0;
    _exit(told && ended ? 0 : 1);
  }

  int ours_ = -1;
  pid_t process_ = -1;
};

// While an object exists, file permissions apply to this process, even if root runs it.
class OrdinaryUser {
 public:
  OrdinaryUser() { changed_ = was_ == 0 && seteuid(65534) == 0; }
  ~OrdinaryUser() {
    if (!changed_) return;
    EXPECT_EQ(seteuid(was_), 0);
  }
  OrdinaryUser(const OrdinaryUser&) = delete;
  OrdinaryUser& operator=(const OrdinaryUser&) = delete;

  bool IsOrdinary() const { return geteuid() != 0; }

 private:
  const uid_t was_ = geteuid();
  bool changed_ = false;
};

// While an object exists, this process cannot open another file: open() fails. A limit for the
// number of descriptors would also stop the sanitizers.
class NoDescriptors {
 public:
  NoDescriptors() { descriptorsAreLeft = false; }
  ~NoDescriptors() { descriptorsAreLeft = true; }
  NoDescriptors(const NoDescriptors&) = delete;
  NoDescriptors& operator=(const NoDescriptors&) = delete;
};

// Makes the kernel refuse open-file-description locks to this process, as on a file system without
// locks. Returns false if that is not possible.
bool LoseLocks() {
  constexpr auto kCall = static_cast<unsigned int>(offsetof(seccomp_data, nr));
  constexpr auto kCommand = static_cast<unsigned int>(offsetof(seccomp_data, args[1]));
  std::array<sock_filter, 6> steps = {{
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, kCall),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_fcntl, 0, 3),
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, kCommand),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, F_OFD_SETLK, 0, 1),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EOPNOTSUPP),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
  }};
  const sock_fprog program = {steps.size(), steps.data()};
  return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
         prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
}

// Whether a file can be locked for reading, as a dataset locks its file.
bool HasLocks(const std::string& path) {
  const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  struct flock wholeFile = {};
  wholeFile.l_type = F_RDLCK;
  wholeFile.l_whence = SEEK_SET;
  const bool locked = fcntl(file, F_OFD_SETLK, &wholeFile) == 0;
  close(file);
  return locked;
}

// Returns the names of the files that a child process inherits, one per line.
std::string OpenInAStartedProgram() {
  std::FILE* const program =
      popen("for each in /proc/$$/fd/*; do readlink \"$each\"; done 2>/dev/null", "r");
  std::string names;
  for (int next = std::fgetc(program); next != EOF; next = std::fgetc(program)) {
    names += static_cast<char>(next);
  }
  pclose(program);
  return names;
}

ORVX_DataSource& NewSource() {
  return *Dictionary("A").release();
}

class SavedFileOnDisk : public testing::Test {
 protected:
  SavedFileOnDisk() { ModifyAt(path_, kThen); }

  void TearDown() override {
    registry_.Clear();
    EXPECT_EQ(OpenDescriptors(), descriptorsBefore_);
  }

  LocallyUniqueID Add(const std::string& path) {
    return registry_.Add(NewSource(), path, /*quiet=*/true);
  }
  SvrDMItemPtr Hold() { return registry_.GetDataSet(Add(path_)); }

  bool CountsAsChanged() const { return registry_.SavFileExternallyChanged(path_); }
  std::ptrdiff_t Held() const { return OpenDescriptors() - descriptorsBefore_; }

  const TemporaryFolder folder_;
  const std::string path_ = folder_.Write("survey.tsv");
  const std::ptrdiff_t descriptorsBefore_ = OpenDescriptors();
  ServerDataManager registry_;
};

// ---------------------------------------------------------------------------------------------
// Changes by other programs

TEST_F(SavedFileOnDisk, IsChangedIfTouchedInALaterSecond) {
  Hold();
  EXPECT_FALSE(CountsAsChanged());

  ASSERT_EQ(InAnotherProcess([&] { return utimensat(AT_FDCWD, path_.c_str(), nullptr, 0); }), 0);

  EXPECT_TRUE(CountsAsChanged());
}

// An oddity that is kept: only the whole seconds of modification times are compared.
TEST_F(SavedFileOnDisk, IsUnchangedIfTouchedWithinTheSameSecond) {
  Hold();

  ASSERT_EQ(InAnotherProcess([&] {
              ModifyAt(path_, kThen, 999'999'999);
              return 0;
            }),
            0);

  EXPECT_FALSE(CountsAsChanged());
}

TEST_F(SavedFileOnDisk, IsChangedIfWrittenInPlace) {
  Hold();

  ASSERT_EQ(InAnotherProcess(
                [&] { return (std::ofstream(path_, std::ios::app) << "45\n").flush() ? 0 : 1; }),
            0);

  EXPECT_TRUE(CountsAsChanged());
}

TEST_F(SavedFileOnDisk, IsChangedAndStaysOpenIfTruncated) {
  Hold();

  ASSERT_EQ(InAnotherProcess([&] { return truncate(path_.c_str(), 0); }), 0);

  EXPECT_TRUE(CountsAsChanged());
  EXPECT_FALSE(AnotherProcessMayWrite(path_));
}

TEST_F(SavedFileOnDisk, StaysOpenAsUnchangedIfDeleted) {
  Hold();

  ASSERT_EQ(InAnotherProcess([&] { return unlink(path_.c_str()); }), 0);

  EXPECT_FALSE(CountsAsChanged());
  EXPECT_EQ(Held(), 1);
}

// An oddity that is kept: the dataset checks the file that it has opened, even if another file now
// has the name.
TEST_F(SavedFileOnDisk, IsUnchangedAfterAReplacingRenameUntilItIsOpenedAgain) {
  SvrDMItemPtr item = Hold();
  const std::string other = folder_.Write("other.tsv");

  ASSERT_EQ(InAnotherProcess([&] { return std::rename(other.c_str(), path_.c_str()); }), 0);
  EXPECT_FALSE(CountsAsChanged());
  item->LockSavFileInUse();
  EXPECT_TRUE(AnotherProcessMayWrite(path_)) << "the same name again changes nothing";

  item->UnlockSavFileInUse();
  item->LockSavFileInUse();
  EXPECT_FALSE(AnotherProcessMayWrite(path_));
  ModifyAt(path_, kThen);
  EXPECT_TRUE(CountsAsChanged());
}

TEST_F(SavedFileOnDisk, StaysOpenAfterReadPermissionIsRemoved) {
  Hold();

  ASSERT_EQ(InAnotherProcess([&] { return chmod(path_.c_str(), 0); }), 0);

  const OrdinaryUser user;
  EXPECT_EQ(Held(), 1);
  EXPECT_FALSE(CountsAsChanged());
}

TEST_F(SavedFileOnDisk, OpeningFailsSilentlyAndIsRetriedIfTheFileIsUnreadable) {
  std::filesystem::permissions(folder_.Path("."), std::filesystem::perms(0755));
  ASSERT_EQ(chmod(path_.c_str(), 0), 0);
  SvrDMItemPtr item(nullptr);
  {
    const OrdinaryUser user;
    if (!user.IsOrdinary()) GTEST_SKIP() << "root that cannot become another user reads every file";
    item = Hold();
  }
  EXPECT_EQ(Held(), 0);
  EXPECT_FALSE(CountsAsChanged());

  ASSERT_EQ(chmod(path_.c_str(), 0444), 0);
  const OrdinaryUser user;
  item->LockSavFileInUse();

  EXPECT_EQ(Held(), 1);
}

TEST_F(SavedFileOnDisk, FileOfNoDatasetCountsAsUnchangedAndIsNotExamined) {
  Hold();
  fstatCalls = 0;

  EXPECT_FALSE(registry_.SavFileExternallyChanged(folder_.Path("other.tsv")));
  EXPECT_EQ(fstatCalls, 0);

  EXPECT_FALSE(CountsAsChanged());
  EXPECT_EQ(fstatCalls, 1);
}

// ---------------------------------------------------------------------------------------------
// Locks

TEST_F(SavedFileOnDisk, BlocksWriteLocksOfOtherProcesses) {
  Hold();

  EXPECT_FALSE(AnotherProcessMayWrite(path_, F_SETLK));
  EXPECT_FALSE(AnotherProcessMayWrite(path_, F_OFD_SETLK));

  registry_.Clear();
  EXPECT_TRUE(AnotherProcessMayWrite(path_, F_SETLK));
  EXPECT_TRUE(AnotherProcessMayWrite(path_, F_OFD_SETLK));
}

TEST_F(SavedFileOnDisk, IsOpenedEvenIfAnotherProcessHasAWriteLock) {
  const WritingProcess writer(path_);

  Hold();

  EXPECT_EQ(Held(), 2) << "the file, and the line to the writing process";
  EXPECT_FALSE(CountsAsChanged());
  ModifyAt(path_, kThen + 1);
  EXPECT_TRUE(CountsAsChanged());
}

TEST_F(SavedFileOnDisk, ARefusedLockIsRetriedOnlyWhenTheFileIsOpenedAgain) {
  SvrDMItemPtr item(nullptr);
  {
    const WritingProcess writer(path_);
    item = Hold();
  }

  item->LockSavFileInUse();
  EXPECT_TRUE(AnotherProcessMayWrite(path_));

  item->UnlockSavFileInUse();
  item->LockSavFileInUse();
  EXPECT_FALSE(AnotherProcessMayWrite(path_));
}

TEST_F(SavedFileOnDisk, TheLockBelongsToTheOpenFileNotToTheProcess) {
  Hold();

  // Closing any descriptor of a file releases the locks of the process on the file (F_SETLK), but
  // not the locks of other open file descriptions (F_OFD_SETLK).
  close(open(path_.c_str(), O_RDONLY | O_CLOEXEC));

  EXPECT_FALSE(AnotherProcessMayWrite(path_));
}

// Checks a dataset with a file that cannot be locked. Returns 0, or the number of the first check
// that failed.
int WhatIsWrongWithoutLocks(const std::string& path) {
  const std::ptrdiff_t before = OpenDescriptors();
  ServerDataManager registry;
  registry.Add(NewSource(), path, /*quiet=*/true);
  if (OpenDescriptors() != before + 1) return 1;
  if (registry.SavFileExternallyChanged(path)) return 2;
  ModifyAt(path, kThen + 1);
  return registry.SavFileExternallyChanged(path) ? 0 : 3;
}

TEST_F(SavedFileOnDisk, IsOpenedIfTheKernelRejectsLocks) {
  constexpr int kCannotRefuse = 100;

  const int wrong = InAnotherProcess([&] {
    if (!LoseLocks() || HasLocks(path_)) return kCannotRefuse;
    return WhatIsWrongWithoutLocks(path_);
  });

  if (wrong == kCannotRefuse) GTEST_SKIP() << "this kernel does not filter system calls";
  EXPECT_EQ(wrong, 0);
}

TEST_F(SavedFileOnDisk, IsOpenedOnAFileSystemWithoutLocks) {
  if (HasLocks(path_)) {
    GTEST_SKIP() << "the temporary folder has locks; play this test with TMPDIR in a folder of a "
                    "file system without them";
  }

  EXPECT_EQ(WhatIsWrongWithoutLocks(path_), 0);
}

// ---------------------------------------------------------------------------------------------
// Descriptors. TearDown checks that no test leaves a descriptor open.

constexpr int kThousands = 3000;

TEST_F(SavedFileOnDisk, ThousandsOfOpensLeakNoDescriptor) {
  SvrDMItemPtr item = Hold();
  const std::string other = folder_.Write("other.tsv");

  for (int turn = 0; turn < kThousands; ++turn) {
    item->LockSavFileInUse();
    item->FileName(turn % 2 == 0 ? other : path_);
    item->LockSavFileInUse();
    if (turn % 3 == 0) item->UnlockSavFileInUse();
  }
  item->LockSavFileInUse();

  EXPECT_EQ(Held(), 1);
}

TEST_F(SavedFileOnDisk, ThousandsOfFailedOpensLeakNoDescriptor) {
  ASSERT_EQ(mkfifo(folder_.Path("fifo").c_str(), 0600), 0);
  std::filesystem::create_symlink("circle", folder_.Path("circle"));
  const std::vector<std::string> unfit = {
      folder_.Path("missing.tsv"), folder_.Path("."),  folder_.Path("fifo"),
      folder_.Path("circle"),      path_ + "/below",   "/dev/null",
      std::string(5000, 'n'),      path_ + '\0' + "x",
  };
  SvrDMItemPtr item = Hold();

  for (int turn = 0; turn < kThousands; ++turn) {
    item->FileName(unfit[static_cast<std::size_t>(turn) % unfit.size()]);
    item->LockSavFileInUse();
  }

  EXPECT_EQ(Held(), 0);
  EXPECT_TRUE(AnotherProcessMayWrite(path_));
}

TEST_F(SavedFileOnDisk, ThousandsOfReplacedSourcesLeakNoDescriptor) {
  SvrDMItemPtr item = Hold();

  for (int turn = 0; turn < kThousands; ++turn) {
    SvrDMWriteableDataSource writer(item, /*tryOnly=*/false, nullptr);
    writer.SetDataSet(turn % 3 == 0 ? nullptr : &NewSource());
  }
  EXPECT_EQ(Held(), 1);

  SvrDMWriteableDataSource(item, /*tryOnly=*/false, nullptr).SetDataSet(nullptr);
  EXPECT_EQ(Held(), 0);
}

TEST_F(SavedFileOnDisk, ThousandsOfAddedAndDeletedDatasetsLeakNoDescriptor) {
  for (int turn = 0; turn < kThousands; ++turn) registry_.Delete(Add(path_));
  EXPECT_EQ(Held(), 0);

  for (int turn = 0; turn < kThousands; ++turn) {
    registry_.Add(NewSource(), path_, /*quiet=*/true, LocallyUniqueID(1, 1), 0);
  }
  EXPECT_EQ(Held(), 1);
}

TEST_F(SavedFileOnDisk, TheLastHandleOfADeletedDatasetClosesTheFile) {
  const LocallyUniqueID id = Add(path_);
  {
    const SvrDMDataset handle(registry_, id);
    registry_.Delete(id);
    EXPECT_EQ(Held(), 1);
  }
  EXPECT_EQ(Held(), 0);
}

TEST_F(SavedFileOnDisk, DestroyingARegistryClosesEveryFile) {
  {
    ServerDataManager registry;
    registry.Add(NewSource(), path_, /*quiet=*/true);
    registry.Add(NewSource(), folder_.Write("other.tsv"), /*quiet=*/true);
    EXPECT_EQ(Held(), 2);
  }
  EXPECT_EQ(Held(), 0);
}

TEST_F(SavedFileOnDisk, IsClosedIfAnyAllocationOfAddFails) {
  const auto prepare = [&] {
    const auto registry = std::make_shared<ServerDataManager>();
    return Trial{[=, this] { registry->Add(Dictionary("A"), path_, /*quiet=*/true); },
                 [=, this] { return std::to_string(Held()); }};
  };
  ExpectSafeWithoutMemory({{"Add", prepare}});
  const Trial undisturbed = prepare();
  undisturbed.call();
  EXPECT_EQ(Held(), 1);
}

TEST_F(SavedFileOnDisk, OpeningFailsSilentlyAndIsRetriedIfThereAreNoDescriptors) {
  SvrDMItemPtr item(nullptr);
  {
    const NoDescriptors none;
    item = Hold();
    EXPECT_FALSE(CountsAsChanged());
  }
  EXPECT_EQ(Held(), 0);

  item->LockSavFileInUse();

  EXPECT_EQ(Held(), 1);
}

TEST_F(SavedFileOnDisk, IsNotInheritedByChildProcesses) {
  Hold();
  const std::string passedOn = folder_.Write("passed_on.tsv");
  const int descriptor = open(passedOn.c_str(), O_RDONLY);  // without O_CLOEXEC, to be inherited

  const std::string inherited = OpenInAStartedProgram();

  EXPECT_THAT(inherited, HasSubstr("passed_on.tsv"));
  EXPECT_THAT(inherited, Not(HasSubstr("survey.tsv")));
  close(descriptor);
}

}  // namespace
