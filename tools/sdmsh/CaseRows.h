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
#include <vector>

class ORVX_DataSource;

namespace sdmsh {

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
  const ObsProjector projector_;  // to rows of the source's own dictionary
  std::vector<OBS> layoutArea_;   // a row before the projector
  std::vector<OBS> area_;
  const std::unique_ptr<ObsIterator> rows_;
};

}  // namespace sdmsh

#endif  // SDMSH_CASEROWS_H_
