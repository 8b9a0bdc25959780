#include <fcntl.h>
#include <libdatasrc/DataFileError.h>
#include <libdatasrc/internal/RegularFile.h>
#include <libdatasrc/internal/SavedFiles.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <system_error>

namespace sdm_internal {

namespace {

constexpr std::size_t kBufferBytes = std::size_t{256} << 10;
constexpr const char* kOpenFiles = "/proc/self/fd";

std::string FileNameOf(const std::string& path) {
  return std::filesystem::path(path).filename().string();
}

std::string MarkerOf(const std::string& path) {
  return path + ".saving";
}

[[noreturn]] void FailToSave(const std::string& path, int error) {
  throw DataFileError(path, "cannot be saved: " + std::generic_category().message(error));
}

// For a step that fails after the save has taken effect.
[[noreturn]] void FailAfterSaving(const std::string& path, const std::string& problem, int error) {
  throw DataFileError(path,
                      "saved, but " + problem + ": " + std::generic_category().message(error));
}

bool Exists(const std::string& path) {
  struct stat status;
  return lstat(path.c_str(), &status) == 0;
}

// The folder of a file, locked: only one save at a time replaces files in it.
class LockedFolder {
 public:
  explicit LockedFolder(const std::string& path) {
    descriptor_ = open(FolderOf(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor_ == -1) FailToSave(path, errno);
    // Some file systems have no locks. One save is still safe there, concurrent saves are not.
    while (flock(descriptor_, LOCK_EX) != 0 && errno == EINTR) continue;
  }
  ~LockedFolder() { close(descriptor_); }
  LockedFolder(const LockedFolder&) = delete;
  LockedFolder& operator=(const LockedFolder&) = delete;

  // Writes the names in the folder to the disk. Returns false and sets errno on failure.
  bool Sync() const noexcept { return fsync(descriptor_) == 0 || errno == EINVAL; }

 private:
  int descriptor_;
};

// Returns the path of the new file `name`, a name from a marker, in the folder of `target`. Returns
// an empty path for a name that NewFile does not give to files for this target: for survey.tsv, a
// name must start with "survey.tsv.", end with ".new" and have no slash.
std::string NewFileFor(const std::string& target, std::string_view name) {
  const bool isNew = name.starts_with(FileNameOf(target) + ".") && name.ends_with(".new") &&
                     name.find('/') == std::string_view::npos;
  if (!isNew) return {};
  return std::filesystem::path(target).replace_filename(name).string();
}

// The new files that the marker of an interrupted save names; nothing if there is no marker. A path
// is empty if its name is wrong (see NewFileFor); both are empty if the marker is incomplete.
std::optional<SavedFiles> ReadMarker(const std::string& path) {
  std::optional<RegularFile> marker = RegularFile::OpenIfExists(MarkerOf(path));
  if (!marker) return std::nullopt;
  std::array<char, 4096> bytes;
  const std::string_view text(bytes.data(), marker->Read(bytes.data(), bytes.size()));
  const std::size_t end = text.find('\n');
  if (end == std::string_view::npos || text.back() != '\n') return SavedFiles();
  return SavedFiles{NewFileFor(path, text.substr(0, end)),
                    NewFileFor(SchemaPathOf(path), text.substr(end + 1, text.size() - end - 2))};
}

bool RenameIfExists(const std::string& from, const std::string& to) {
  return from.empty() || !Exists(from) || std::rename(from.c_str(), to.c_str()) == 0;
}

// Steps 3 to 5 (see SavedFiles.h) of a save that was interrupted.
void FinishInterruptedSave(const std::string& path, const LockedFolder& folder) {
  const std::optional<SavedFiles> files = ReadMarker(path);
  if (!files) return;
  if (!RenameIfExists(files->data, path) || !RenameIfExists(files->schema, SchemaPathOf(path)) ||
      !folder.Sync() || unlink(MarkerOf(path).c_str()) != 0) {
    FailToSave(path, errno);
  }
}

// Step 2 of a save. The marker appears complete or not at all: it is written under another name,
// then renamed.
void WriteMarker(const NewFile& data, const NewFile& schema) {
  NewFile marker(MarkerOf(data.Target()));
  marker.Append(FileNameOf(data.Path()) + "\n" + FileNameOf(schema.Path()) + "\n");
  marker.Finish();
  if (!marker.ReplaceTarget()) FailToSave(data.Target(), errno);
}

}  // namespace

std::string FolderOf(const std::string& path) {
  const std::filesystem::path folder = std::filesystem::path(path).parent_path();
  return folder.empty() ? "." : folder.string();
}

std::string SchemaPathOf(const std::string& path) {
  std::filesystem::path file = path;
  if (file.extension() == ".gz" || file.extension() == ".zst") file.replace_extension();
  return file.replace_extension(".schema.json").string();
}

SavedFiles FindSavedFiles(const std::string& path) {
  SavedFiles files = {path, SchemaPathOf(path)};
  if (const std::optional<SavedFiles> fresh = ReadMarker(path)) {
    if (!fresh->data.empty() && Exists(fresh->data)) files.data = fresh->data;
    if (!fresh->schema.empty() && Exists(fresh->schema)) files.schema = fresh->schema;
  }
  return files;
}

NewFile::NewFile(const std::string& target) : target_(target) {
  if (target.find('\0') != std::string::npos) throw DataFileError(target, "zero byte in the name");
  buffer_.reserve(kBufferBytes);
  struct stat status;
  const bool replaces = stat(target.c_str(), &status) == 0;
  if (replaces && !S_ISREG(status.st_mode)) throw DataFileError(target, "not a regular file");
  if (replaces && access(target.c_str(), W_OK) != 0) Fail(errno);
  Create();
  // Only root can keep the owner of another user's file, so a failure is ignored.
  const bool keepsOwner = replaces && fchown(descriptor_, status.st_uid, status.st_gid) == 0;
  static_cast<void>(keepsOwner);
  if (!replaces || fchmod(descriptor_, status.st_mode & 07777) == 0) return;
  const int error = errno;
  close(descriptor_);
  if (!path_.empty()) unlink(path_.c_str());
  Fail(error);
}

// Creates the file without a name if the file system can: a killed process then leaves no file.
void NewFile::Create() {
  if (access(kOpenFiles, X_OK) == 0) {
    descriptor_ = open(FolderOf(target_).c_str(), O_WRONLY | O_TMPFILE | O_CLOEXEC, 0666);
    if (descriptor_ != -1) return;
  }
  do {
    path_ = NextName();
    descriptor_ = open(path_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
  } while (descriptor_ == -1 && (errno == EEXIST || errno == EINTR));
  if (descriptor_ == -1) Fail(errno);
}

// Each call returns another name, because another save may be writing a file for the same target.
std::string NewFile::NextName() const {
  static std::atomic<unsigned int> next{0};
  return target_ + '.' + std::to_string(getpid()) + '-' +
         std::to_string(next.fetch_add(1, std::memory_order_relaxed)) + ".new";
}

void NewFile::GiveName() {
  const std::string self = std::string(kOpenFiles) + '/' + std::to_string(descriptor_);
  int result = -1;
  do {
    std::string name = NextName();
    result = linkat(AT_FDCWD, self.c_str(), AT_FDCWD, name.c_str(), AT_SYMLINK_FOLLOW);
    if (result == 0) path_.swap(name);
  } while (result != 0 && errno == EEXIST);
  if (result != 0) Fail(errno);
}

NewFile::~NewFile() {
  if (descriptor_ != -1) close(descriptor_);
  if (!isKept_ && !path_.empty()) unlink(path_.c_str());
}

void NewFile::Append(std::string_view bytes) {
  if (buffer_.size() + bytes.size() > kBufferBytes) WriteBuffer();
  buffer_.append(bytes);
}

void NewFile::WriteBuffer() {
  for (std::string_view rest = buffer_; !rest.empty();) {
    const ssize_t written = write(descriptor_, rest.data(), rest.size());
    if (written > 0) rest.remove_prefix(static_cast<std::size_t>(written));
    if (written < 0 && errno != EINTR) Fail(errno);
  }
  buffer_.clear();
}

void NewFile::Finish() {
  WriteBuffer();
  if (fsync(descriptor_) != 0) Fail(errno);
  if (path_.empty()) GiveName();
  const int descriptor = descriptor_;
  descriptor_ = -1;
  if (close(descriptor) != 0 && errno != EINTR) Fail(errno);
}

bool NewFile::ReplaceTarget() noexcept {
  if (std::rename(path_.c_str(), target_.c_str()) != 0) return false;
  Keep();
  return true;
}

void NewFile::Fail(int error) const {
  FailToSave(target_, error);
}

void ReplaceFiles(NewFile& data, NewFile& schema) {
  const std::string& path = data.Target();
  const std::string marker = MarkerOf(path);
  const LockedFolder folder(path);
  FinishInterruptedSave(path, folder);
  if (!folder.Sync()) FailToSave(path, errno);
  WriteMarker(data, schema);
  if (!folder.Sync() || !data.ReplaceTarget()) {
    const int error = errno;
    if (unlink(marker.c_str()) == 0) FailToSave(path, error);
    data.Keep();
    schema.Keep();
    FailAfterSaving(path, data.Path() + " cannot be renamed", error);
  }
  if (!schema.ReplaceTarget()) {
    const int error = errno;
    schema.Keep();
    FailAfterSaving(path, schema.Path() + " cannot be renamed", error);
  }
  if (!folder.Sync() || unlink(marker.c_str()) != 0) {
    const int error = errno;
    FailAfterSaving(path, marker + " cannot be deleted", error);
  }
}

}  // namespace sdm_internal
