// DictionaryMirror: a dataset's dictionary, kept by a client from change messages alone.
//
//   DictionaryMirror mirror;                      // an empty dictionary
//   mirror.Apply(*ReadDataSetMsg(stream));
//   const ORVX_DataSource& dictionary = mirror.Dictionary();
//   for (int i = 0; i < dictionary.ColumnCount(); ++i) Show(dictionary.GetVariable(i).GetName());

#ifndef CLIENT_DICTIONARYMIRROR_H_
#define CLIENT_DICTIONARYMIRROR_H_

#include <liborvxdemg/DEMessagesFwd.h>
#include <ServerDataManager/Export.h>

#include <functional>
#include <memory>
#include <span>
#include <stdexcept>
#include <vector>

class ORVX_DataSource;

// A message that cannot apply to the mirror as it stands. what() names the message, its place in
// the pass, and what does not fit.
class SDM_EXPORT MirrorError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
  ~MirrorError() override;
};

// Follows one dataset: give it that dataset's messages only, all of them from the first on, in the
// order in which they were queued. Which dataset and which case sequence a message names is not
// looked at.
//
// After every pass these equal the data source's: the variables in order and in full, weight,
// filter, split, label, row count, dirty flag, trends information, multiple-response sets, variable
// sets, extension 0 and attributes. A variable that a message deletes or moves loses its uses as
// weight, filter and split; where the dataset kept them, a later message of the pass says so. Two
// things messages carry only in part:
//   - rows per imputation: servers tell only that there is no imputation any more, so the mirror
//     of one never has another number than 0
//   - the file specification: that of a dataset that rests on a saved data file, told when it
//     changes. One that was set while the dataset did not rest on such a file, or that is
//     suppressed, is not told; the mirror keeps the one last told.
// What a dataset has beside its dictionary (cases, handle, file name, password, window) no message
// carries.
//
// Identifiers are what messages know variables by, so here each is unique and none is null.
//
// Threads: not safe; one thread at a time.
class SDM_EXPORT DictionaryMirror {
 public:
  // Judges the dictionary that a pass leads to, by throwing where it is not right.
  using Check = std::function<void(const ORVX_DataSource& dictionary)>;

  DictionaryMirror();
  ~DictionaryMirror();
  // A mirror that was moved from can be assigned to and destroyed.
  DictionaryMirror(DictionaryMirror&&) noexcept;
  DictionaryMirror& operator=(DictionaryMirror&&) noexcept;

  // Applies the messages of one pass, all or none: where one cannot apply, throws MirrorError and
  // the mirror is as it was before the pass. The messages are borrowed for the call; none is null.
  // The cost is that of what the messages change, however many variables there are.
  //
  // Refused: an inserted variable whose identifier is null or already there; an anchor, or a
  // variable to delete, to modify, to weight, filter or split by, that is not there; one variable
  // deleted or moved twice by one message; a position or target outside the list; text of sets or
  // attributes that cannot be read.
  //
  // Where memory runs out, std::bad_alloc passes on and the mirror is as it was; it is the end of
  // the process where not even going back is possible.
  //
  // Asks `check`, unless that is empty, at the end; what it throws passes on and the mirror is as
  // it was.
  void Apply(const std::vector<DataSetMsg*>& pass, const Check& check = {});
  // The same for the messages of a ChangeFrame.
  void Apply(std::span<const std::unique_ptr<DataSetMsg>> pass, const Check& check = {});
  // The same for a pass of one message.
  void Apply(const DataSetMsg& message);

  // What the messages so far have made. RowCount() is the number last told, -1 (unknown) before
  // the first; there are no cases to iterate over. Borrowed from the mirror; variables and texts in
  // it are good until the next Apply.
  const ORVX_DataSource& Dictionary() const;

 private:
  class Mirrored;
  class Pass;

  template <class Messages>
  void ApplyAll(const Messages& pass, const Check& check);

  std::unique_ptr<Mirrored> dictionary_;
};

#endif  // CLIENT_DICTIONARYMIRROR_H_
