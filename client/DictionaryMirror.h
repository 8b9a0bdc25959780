// DictionaryMirror: a client's mirror of a dataset's dictionary, made from change messages alone.
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

// Thrown if a message cannot be applied to the mirror. what() has the message, its position in the
// pass, and the reason.
class SDM_EXPORT MirrorError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
  ~MirrorError() override;
};

// Mirrors one dataset: apply all messages of that dataset, from the first on, in queue order. The
// dataset and the case sequence of messages are not checked.
//
// After every pass, the mirror and the data source have equal values of the following: all
// variables, in order, weight, filter, split, label, row count, dirty flag, trends information,
// multiple-response sets, variable sets, extension 0 and attributes. A variable that a message
// deletes or moves is dropped from weight, filter and split; if the dataset still uses it, a later
// message of the pass sets it again. Messages carry two properties incompletely:
//   - rows per imputation: servers report only the end of an imputation, so the mirror always
//     has 0
//   - the file specification: servers report changes only for a dataset whose topmost source is a
//     saved data file, and do not report a suppressed file name; the mirror keeps the last
//     file specification that was reported
// Messages do not carry the rest of a dataset: cases, handle name, file name, password, window.
//
// Messages refer to variables by identifier, so identifiers in a mirror are unique and not null.
//
// Threads: not safe; one thread at a time.
class SDM_EXPORT DictionaryMirror {
 public:
  // Checks the dictionary after a pass; throws to reject it.
  using Check = std::function<void(const ORVX_DataSource& dictionary)>;

  DictionaryMirror();
  ~DictionaryMirror();
  // A moved-from mirror may only be assigned to or destroyed.
  DictionaryMirror(DictionaryMirror&&) noexcept;
  DictionaryMirror& operator=(DictionaryMirror&&) noexcept;

  // Applies the messages of one pass, all or none: if a message cannot be applied, throws
  // MirrorError and leaves the mirror unchanged. The messages are borrowed for the call; none is
  // null. The cost depends on the changes, not on the number of variables.
  //
  // Rejects a message that inserts a variable with a null or existing identifier; refers to a
  // variable that does not exist (as the anchor, or to delete, modify, weight, filter or split by
  // it); deletes or moves a variable twice; has a position or target outside the list; or has
  // invalid text of sets or attributes.
  //
  // If Apply throws std::bad_alloc, the mirror is unchanged. If there is not even enough memory to
  // undo the changes, the process ends.
  //
  // Calls `check`, unless it is empty, after the last message. If `check` throws, the exception
  // propagates and the mirror is unchanged.
  void Apply(const std::vector<DataSetMsg*>& pass, const Check& check = {});
  // Applies the messages of a ChangeFrame in the same way.
  void Apply(std::span<const std::unique_ptr<DataSetMsg>> pass, const Check& check = {});
  // Applies a pass of one message in the same way.
  void Apply(const DataSetMsg& message);

  // The mirrored dictionary. RowCount() is the last reported number, -1 (unknown) before the first;
  // there are no cases. The reference is valid as long as the mirror; references to the content of
  // the dictionary are valid until the next Apply.
  const ORVX_DataSource& Dictionary() const;

 private:
  class Mirrored;
  class Pass;

  template <class Messages>
  void ApplyAll(const Messages& pass, const Check& check);

  std::unique_ptr<Mirrored> dictionary_;
};

#endif  // CLIENT_DICTIONARYMIRROR_H_
