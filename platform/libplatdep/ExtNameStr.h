// ExtNameStr: the name of a file as the system takes it, and opening that file.
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
  // Share mode: others are asked not to write while the file is open.
  static constexpr int kDenyWrite = 32;

  // An empty name, which no file has.
  ExtNameStr() = default;

  // Sets the name from a path with `/` between folders; relative paths start at the current folder.
  void SetGeneric(const std::string& path) { path_ = path; }

  // Opens the file for reading. The caller owns the result and closes it with fclose; programs
  // started in between do not inherit it. Null, with errno set, where it does not open. Never
  // waits: only a regular file is opened, and neither is a FIFO waited on nor a terminal taken
  // over. errno is EISDIR for a folder, EINVAL for anything else that is no regular file, for a
  // mode other than "r" and for a name with a zero byte in it; the rest is the system's.
  //
  // `shareFlag` kDenyWrite asks, without waiting, for a read lock on the whole file that lasts
  // until the file is closed (an advisory lock of the open file, not of the process). The file is
  // open for reading also where the lock is refused or the file system has none. Any other number
  // asks for nothing.
  std::FILE* fsopen(const char* mode, int shareFlag) const;

 private:
  std::string path_;
};

#endif  // LIBPLATDEP_EXTNAMESTR_H_
