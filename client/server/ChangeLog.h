// ChangeLog: an observer that puts the change messages of a dataset into text, for logs and users.
//
//   ChangeLog changes(ChangeLog::Format::Words);
//   dataset.Register(changes);
//   ...                                                  // a writer changes the label of `age`
//   for (const std::string& text : changes.Pass()) log << text << "\n";

#ifndef CLIENT_SERVER_CHANGELOG_H_
#define CLIENT_SERVER_CHANGELOG_H_

#include <client/DictionaryMirror.h>
#include <ServerDataManager/Export.h>
#include <ServerDataManager/SvrDMDataSetObserver.h>

#include <cstddef>
#include <string>
#include <vector>

// Messages identify most variables by identifier or position only. So the log applies each message
// to a mirror of the dictionary, and takes the names of variables from the mirror as it is before
// the message.
//
// The log must be registered before the first pass, and must never be an originator, or it would
// miss a pass. An observer that is registered after the log is called after the log, so it finds
// the texts of the running pass in Pass().
//
// Threads: OnDataSetChanged runs on the thread of the pass; the other operations may run on any
// thread, but not inside a pass of another thread. Unregister the log before it is destroyed.
class SDM_EXPORT ChangeLog final : public SvrDMDataSetObserver {
 public:
  enum class Format {
    Words,  // the text of DataSetMsg::ToString
    Json,   // the text of DictionaryJson::Change
  };

  explicit ChangeLog(Format format) : format_(format) {}

  // Throws std::bad_alloc if memory runs out; the dataset then repeats the pass. In the destructor
  // of a writer, this exception ends the process, so release a writer only after its Notify() has
  // succeeded.
  void OnDataSetChanged(SvrDMWriteableDataSource const* writer) override;

  // The text of each message of the current pass, or of the last pass if none is running. Null
  // pointers in the queue have no text.
  const std::vector<std::string>& Pass() const { return pass_; }
  // The number of passes that have notified the log.
  int PassCount() const { return passCount_; }

  // The dictionary according to the messages so far. The reference is valid until the next pass.
  const ORVX_DataSource& Mirror() const { return mirror_.Dictionary(); }

  // Why a message did not fit the mirror; empty if all messages fit. Later messages are ignored:
  // the mirror keeps its state from before that message, and Pass() is empty from the next pass on.
  const std::string& Failure() const { return failure_; }

 private:
  void Add(SvrDMWriteableDataSource const& writer);

  const Format format_;
  DictionaryMirror mirror_;
  std::vector<std::string> pass_;
  // The number of messages of the running pass that Add has finished. Not 0 at the start of a pass
  // that is repeated because it ran out of memory.
  std::size_t added_ = 0;
  int passCount_ = 0;
  std::string failure_;
};

#endif  // CLIENT_SERVER_CHANGELOG_H_
