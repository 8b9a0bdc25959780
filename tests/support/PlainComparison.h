// PlainComparison: compares the variables, weight, filter and split of two dictionaries in the
// simplest way. The library's fast comparison must queue exactly the messages that PlainComparison
// returns.

#ifndef TESTS_SUPPORT_PLAINCOMPARISON_H_
#define TESTS_SUPPORT_PLAINCOMPARISON_H_

#include <libdatasrc/ORVX_DataSource.h>
#include <libdatasrc/ORVX_Variable.h>
#include <tests/support/Messages.h>

#include <cstddef>
#include <vector>

namespace support {

// Weight, filter and split as identifiers. A null identifier means no weight or no filter.
struct Uses {
  LocallyUniqueID weight;
  LocallyUniqueID filter;
  std::vector<LocallyUniqueID> split;
  bool separate = false;
};
Uses UsesIn(const ORVX_DataSource& source);

// Holds a view, and updates it with linear searches and copies.
class PlainComparison {
 public:
  // Returns the messages that change the view to `source`, and applies them to the view.
  std::vector<Said> Update(const std::vector<ORVX_Variable>& source);

  // Returns the messages for weight, filter and split. Must be called after Update, which drops a
  // deleted or moved variable from weight, filter and split of the view.
  std::vector<Said> UpdateUses(const Uses& source);

  std::vector<ORVX_Variable> view;
  Uses uses;
  // If set, the next Update is a bulk replacement, and clears the flag.
  bool bulkVarMoves = false;
  // Set when Update reports a variable with a new type; never cleared by this class.
  bool resetClientData = false;
  // Whether the last Update reported anything.
  bool anyChange = false;
  // Whether the last Update reported a modification, which makes the source dirty.
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
