// Replaces a data file and its schema together: after a crash at any moment, opening the data file
// gives the old content or the new, never the data of one with the schema of the other.
//
// Two files cannot be renamed in one step, so a small third file, the marker, decides which content
// counts. The steps for survey.tsv:
//
//   step                                               opening then gives
//   1. survey.tsv.1234-0.new and                       the old content
//      survey.schema.json.1234-1.new are complete
//   2. the marker, survey.tsv.saving, appears with     the new content, from these files
//      the names of these files
//   3. the first file is renamed to survey.tsv         the new content
//   4. the second file is renamed to                   the new content
//      survey.schema.json
//   5. the marker is deleted                           the new content
//
// The new files are on the disk before step 2, the marker before step 3, and the renamed files
// before step 5. After a crash between steps 2 and 5, the next save finishes the interrupted save.
// Programs that do not know the marker see the old files until step 3, then the new data with the
// old schema until step 4.

#ifndef LIBDATASRC_INTERNAL_SAVEDFILES_H_
#define LIBDATASRC_INTERNAL_SAVEDFILES_H_

#include <cstddef>
#include <string>
#include <string_view>

namespace sdm_internal {

// The folder of a file; "." for a path without a folder.
std::string FolderOf(const std::string& path);

// The schema beside a data file: for survey.tsv and survey.tsv.gz, survey.schema.json.
std::string SchemaPathOf(const std::string& path);

// The files with the current content of the data file `path` and of its schema: `path` and
// SchemaPathOf(path), or new files if a save was interrupted. Either file may be absent.
// FindSavedFiles throws DataFileError if it cannot read the marker.
struct SavedFiles {
  std::string data;
  std::string schema;
};
SavedFiles FindSavedFiles(const std::string& path);

// A new file that will replace a target in the same folder. Throws DataFileError on errors.
class NewFile {
 public:
  // Creates the file. Throws if `target` exists and is not a regular file or may not be written.
  explicit NewFile(const std::string& target);
  // Deletes the file unless it was kept.
  ~NewFile();
  NewFile(const NewFile&) = delete;
  NewFile& operator=(const NewFile&) = delete;

  void Append(std::string_view bytes);
  // Writes everything to the disk, names the file if it has no name yet, and closes it.
  void Finish();

  const std::string& Path() const { return path_; }  // may be empty before Finish
  const std::string& Target() const { return target_; }
  // From now on, the destructor does not delete the file.
  void Keep() noexcept { isKept_ = true; }
  // Renames the file to the target, and keeps it. Returns false and sets errno on failure.
  bool ReplaceTarget() noexcept;

 private:
  void Create();
  std::string NextName() const;
  void GiveName();
  void WriteBuffer();
  [[noreturn]] void Fail(int error) const;

  std::string target_;
  std::string path_;  // empty: no name yet
  std::string buffer_;
  int descriptor_ = -1;
  bool isKept_ = false;
};

// Replaces the targets of `data` and `schema`, which must be finished. If it throws DataFileError,
// the old content is in place, or the message says that the new content was saved.
void ReplaceFiles(NewFile& data, NewFile& schema);

}  // namespace sdm_internal

#endif  // LIBDATASRC_INTERNAL_SAVEDFILES_H_
