// DictionaryMirror: a dataset's dictionary, kept by a client from change messages alone.
//
//   DictionaryMirror mirror;                      // no variables
//   mirror.Apply(*ReadDataSetMsg(stream));
//   for (const ORVX_Variable& variable : mirror.Variables()) Show(variable.GetName());

#ifndef CLIENT_DICTIONARYMIRROR_H_
#define CLIENT_DICTIONARYMIRROR_H_

#include <stdexcept>
#include <vector>

#include <libdatasrc/ORVX_Variable.h>
#include <liborvxdemg/DEMessagesFwd.h>
#include <ServerDataManager/Export.h>

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
// Identifiers are what messages know variables by, so here each is unique and none is null.
//
// Threads: not safe; one thread at a time.
class SDM_EXPORT DictionaryMirror {
 public:
  // Applies the messages of one pass, all or none: where one cannot apply, throws MirrorError and
  // the mirror stays as it was before the pass. The messages are borrowed for the call; none is
  // null.
  //
  // Refused: an inserted variable whose identifier is null or already there; an anchor, or a
  // variable to delete or modify, that is not there; one variable deleted or moved twice by one
  // message; a position or target outside the list.
  void Apply(const std::vector<DataSetMsg*>& pass);
  // The same for a pass of one message.
  void Apply(const DataSetMsg& message);

  // All variables in the order of the dictionary. Valid until the next Apply.
  const std::vector<ORVX_Variable>& Variables() const { return dictionary_.variables; }

 private:
  // What messages carry.
  struct Dictionary {
    std::vector<ORVX_Variable> variables;
  };
  class Pass;

  Dictionary dictionary_;
};

#endif  // CLIENT_DICTIONARYMIRROR_H_
