// PlainComparison: the comparison of two lists of variables, and of what the variables are used
// for, in its plainest form. The fast one in the library must give the same messages, one for one.

#ifndef TESTS_SUPPORT_PLAINCOMPARISON_H_
#define TESTS_SUPPORT_PLAINCOMPARISON_H_

#include <libdatasrc/ORVX_DataSource.h>
#include <libdatasrc/ORVX_Variable.h>
#include <tests/support/Messages.h>

#include <cstddef>
#include <vector>

namespace support {

// What variables are used for, by identifier; null for none.
struct Uses {
  LocallyUniqueID weight;
  LocallyUniqueID filter;
  std::vector<LocallyUniqueID> split;
  bool separate = false;
};
Uses UsesIn(const ORVX_DataSource& source);

// What observers were last told, and the steps that bring it up to date: linear searches and
// copies, one step after the other.
class PlainComparison {
 public:
  // The messages that turn the view into `source`, which it is afterwards.
  std::vector<Said> Update(const std::vector<ORVX_Variable>& source);

  // After that: the messages that make the view's uses those of `source`. A variable that was
  // deleted or moved in the view has lost its uses there.
  std::vector<Said> UpdateUses(const Uses& source);

  std::vector<ORVX_Variable> view;
  Uses uses;
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
  void EraseFromView(std::size_t position);
  bool SplitChanged(const Uses& source) const;
  void Say(Said said);

  std::vector<Said> said_;
  std::size_t splitCountBefore_ = 0;
};

}  // namespace support

#endif  // TESTS_SUPPORT_PLAINCOMPARISON_H_
