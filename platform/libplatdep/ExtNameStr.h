// ExtNameStr: the name of a file; opens that file.
//
//   ExtNameStr name;
//   name.SetGeneric("data/survey.tsv");
//   std::FILE* file = name.fsopen("r", ExtNameStr::kDenyWrite);

#ifndef LIBPLATDEP_EXTNAMESTR_H_
#define LIBPLATDEP_EXTNAMESTR_H_

#include <ServerDataManager/Export.h>
#include <cstdio>
#include <string>

// Threads: a plain value; any thread may use its own copy.
class SDM_EXPORT ExtNameStr {
 public:
  // Share mode: asks other programs not to write while the file is open (see fsopen).
  static constexpr int kDenyWrite = 32;

  // An empty name, which matches no file.
  ExtNameStr() = default;

  // Sets the name to a path with `/` between folders. Relative paths start at the current folder.
  void SetGeneric(const std::string& path) { path_ = path; }

  // Opens the file for reading. The caller owns the result and closes it with fclose; child
  // processes do not inherit it. Opens only regular files: never blocks on a FIFO and never
  // acquires a controlling terminal.
  //
  // Returns null and sets errno on failure: EINVAL for a mode other than "r" or a name with a zero
  // byte, EISDIR for a folder, EINVAL for another file that can be opened but is not regular.
  // Otherwise errno comes from the system.
  //
  // With `shareFlag` kDenyWrite, tries once to acquire a read lock on the whole file (an advisory
  // open-file-description lock), which is held until the file is closed. The file is opened even if
  // the lock is refused or not supported. With any other flag, there is no lock.
  std::FILE* fsopen(const char* mode, int shareFlag) const;

 private:
  std::string path_;
};

#endif  // LIBPLATDEP_EXTNAMESTR_H_
