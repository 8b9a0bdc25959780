// CaseRows: the cases of a source, one after the other, as values of its variables.
//
//   CaseRows rows(source);
//   while (rows.Next()) Show(rows.Values());

#ifndef SDMSH_CASEROWS_H_
#define SDMSH_CASEROWS_H_

#include "Event.h"

#include <libdatasrc/OBS.h>
#include <libdatasrc/ObsIterator.h>
#include <libdatasrc/ObsProjector.h>

#include <memory>
#include <optional>
#include <vector>

class ORVX_DataSource;

namespace sdmsh {

// The source whose dictionary lays out the rows of `source`: itself, but for a clone the one whose
// cases it shares. Null for a clone of nothing.
const ORVX_DataSource* LayoutOf(const ORVX_DataSource& source);

// Whether rows come as the dictionary of `source` itself says: those of a clone do until its
// dictionary is changed.
bool IsLaidOutByItself(const ORVX_DataSource& source);

// Borrows the source, which nobody may change meanwhile. Has one row at a time.
//
// Threads: one, under a lock on the dataset of the source.
class CaseRows {
 public:
  explicit CaseRows(const ORVX_DataSource& source);

  // Moves to the next case, the first one at the first call; false where there is none. Gives up
  // on ctrl-C, see Interrupt.h.
  bool Next();

  // The values of the present case, one for each variable. Strings come without the blanks that pad
  // them.
  std::vector<DataValue> Values() const;

 private:
  const ORVX_DataSource& source_;
  std::optional<ObsProjector> projector_;  // none where rows come as the source says
  std::vector<OBS> layoutArea_;            // a row before the projector
  std::vector<OBS> area_;
  std::unique_ptr<ObsIterator> rows_;  // null for a clone of nothing
};

}  // namespace sdmsh

#endif  // SDMSH_CASEROWS_H_
