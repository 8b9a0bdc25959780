// PassThroughIter: the cases of a source's parent, unchanged or projected to another dictionary.

#ifndef LIBDATASRC_PASSTHROUGHITER_H_
#define LIBDATASRC_PASSTHROUGHITER_H_

#include <libdatasrc/OBS.h>
#include <libdatasrc/ObsIterator.h>
#include <libdatasrc/ObsProjector.h>
#include <ServerDataManager/Export.h>

#include <memory>
#include <vector>

class ORVX_DataSource;

// Creates the parent's iterator in its constructor and does not use the source again. So a
// PassThroughIter may outlive the source; it may outlive the parent if the parent's iterators may.
//
// Threads: as for ObsIterator.
class SDM_EXPORT PassThroughIter : public ObsIterator {
 public:
  // Reads the cases of the parent that `source` has now; without a parent there are no rows.
  // `source` is not null. Borrows `area`.
  //
  // Without a projector, rows have the parent's layout and `area` holds the parent's
  // GetObsAreaSize() cells. With a projector, rows are projected and `area` holds the projector's
  // GetToAreaSize() cells. Throws std::invalid_argument if the projector's GetFromAreaSize()
  // differs from the parent's GetObsAreaSize().
  PassThroughIter(const ORVX_DataSource* source, OBS* area,
                  std::unique_ptr<const ObsProjector> projector);
  ~PassThroughIter() override;

  // Exceptions of the parent's iterator propagate; that iterator defines which row follows.
  bool Next() override;

 private:
  const std::unique_ptr<const ObsProjector> projector_;  // null for none
  OBS* const area_;
  std::vector<OBS> parentArea_;              // empty without a projector
  std::unique_ptr<ObsIterator> parentRows_;  // null without a parent
};

#endif  // LIBDATASRC_PASSTHROUGHITER_H_
