// PlainTranscription: the comparison of two lists of variables in its plainest form. The fast one
// in the library must say the same, message for message.

#ifndef TESTS_SUPPORT_PLAINTRANSCRIPTION_H_
#define TESTS_SUPPORT_PLAINTRANSCRIPTION_H_

#include <libdatasrc/ORVX_Variable.h>
#include <tests/support/Messages.h>

#include <vector>

namespace support {

// What observers were last told, and the steps that bring it up to date: linear searches and
// copies, one step after the other.
class PlainTranscription {
 public:
  // The messages that turn the view into `source`, which it is afterwards.
  std::vector<Said> Update(const std::vector<ORVX_Variable>& source);

  std::vector<ORVX_Variable> view;
  // Replace the whole list in the next update.
  bool bulkVarMoves = false;
  // Some variable changed its type; never cleared here.
  bool resetClientData = false;
  // Of the last update: whether anything was told, and whether it made the source dirty.
  bool anyChange = false;
  bool sourceDirtied = false;

 private:
  void ReplaceAll(const std::vector<ORVX_Variable>& source);
  void Compare(const std::vector<ORVX_Variable>& source);
  void Say(Said said);

  std::vector<Said> said_;
};

}  // namespace support

#endif  // TESTS_SUPPORT_PLAINTRANSCRIPTION_H_
