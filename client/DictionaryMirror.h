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

// Thrown if a message cannot be applied to the mirror. what() has the signature of the message, the
// reason and, if a whole pass is applied, the position of the message in the pass.
class SDM_EXPORT MirrorError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
  ~MirrorError() override;
};

// Mirrors one dataset: apply all messages of that dataset, from the first on, in queue order. The
// dataset and the case sequence of messages are not checked.
//
// After every pass, the mirror and the data source have equal values of the following: all
// variables and their order, weight, filter, split, label, row count, dirty flag, trends
// information, multiple-response sets, variable sets, extension 0 and attributes. A message that
// deletes or moves a variable also drops it from weight, filter and split; where the data source
// still uses the variable, a later message of the pass sets the weight, filter or split again.
// Messages carry two properties incompletely:
//   - rows per imputation: servers report only the end of an imputation, so the mirror always
//     has 0
//   - the file specification: servers report it only for a dataset built on a saved data file, and
//     when SaveDataset saves a dataset; they never report a suppressed file name. The mirror keeps
//     the last file specification that was reported
// Messages do not carry cases, handle name, file name, password and window state.
//
// Most messages refer to variables by identifier, so identifiers in a mirror are unique and not
// null.
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
  // MirrorError and leaves the mirror unchanged. Borrows the messages for the call; none may be
  // null. The cost depends on the changes, not on the number of variables.
  //
  // A message cannot be applied if it
  //   - inserts a variable with a null or existing identifier
  //   - refers to a variable that does not exist, for example as the anchor
  //   - deletes or moves a variable twice
  //   - has a position or target outside the list
  //   - has invalid text of sets or attributes
  //
  // If Apply throws std::bad_alloc, the mirror is unchanged. If there is not even enough memory to
  // undo the changes, the process ends.
  //
  // After the last message, calls `check` unless it is empty. If `check` throws, the exception
  // propagates and the mirror is unchanged.
  void Apply(const std::vector<DataSetMsg*>& pass, const Check& check = {});
  // Applies the messages of a ChangeFrame in the same way.
  void Apply(std::span<const std::unique_ptr<DataSetMsg>> pass, const Check& check = {});
  // Applies a pass of one message in the same way.
  void Apply(const DataSetMsg& message);

  // The mirrored dictionary. RowCount() is the number of rows last reported, at first -1 for
  // unknown; the dictionary has no cases. The reference is valid until the mirror is moved,
  // assigned to or destroyed; references to the content of the dictionary are valid until the next
  // Apply.
  const ORVX_DataSource& Dictionary() const;

 private:
  class Mirrored;
  class Pass;

  template <class Messages>
  void ApplyAll(const Messages& pass, const Check& check);

  std::unique_ptr<Mirrored> dictionary_;
};

#endif  // CLIENT_DICTIONARYMIRROR_H_
