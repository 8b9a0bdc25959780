// ChangeInterpreter: puts the messages of a dataset into records that name variables.
//
// Messages know most variables by identifier or position alone. So the interpreter keeps a mirror
// of the dictionary from the messages themselves, and looks at it before each one.

#ifndef SDMSH_CHANGEINTERPRETER_H_
#define SDMSH_CHANGEINTERPRETER_H_

#include "Change.h"

#include <client/DictionaryMirror.h>
#include <ServerDataManager/SvrDMDataSetObserver.h>

#include <string>
#include <vector>

namespace sdmsh {

// The first observer of its dataset, so that the others find the pass in words; never an
// originator, so that it misses none. Registered before the first pass.
//
// Threads: used where the observers of the dataset are: on the thread that releases a writer, and
// otherwise while nobody holds a writer.
class ChangeInterpreter final : public SvrDMDataSetObserver {
 public:
  // Throws std::bad_alloc, into a pass that the dataset repeats: release a writer only after its
  // Notify() has succeeded.
  void OnDataSetChanged(SvrDMWriteableDataSource const* writer) override;

  // The changes of the pass under way, or of the last one.
  const std::vector<Change>& Pass() const { return pass_; }
  // How many passes there were with something in them.
  int PassCount() const { return passCount_; }

  // The dictionary as the messages so far have made it. Borrowed until the next pass.
  const ORVX_DataSource& Mirror() const { return mirror_.Dictionary(); }

  // What is wrong with the messages; empty while they fit the mirror. A pass in which something was
  // wrong ends at the message before it, and so does the mirror, for good.
  const std::string& Failure() const { return failure_; }

 private:
  void Interpret(SvrDMWriteableDataSource const& writer);

  DictionaryMirror mirror_;
  std::vector<Change> pass_;
  bool interrupted_ = false;  // whether it is the beginning of a pass that will be repeated
  int passCount_ = 0;
  std::string failure_;
};

}  // namespace sdmsh

#endif  // SDMSH_CHANGEINTERPRETER_H_
