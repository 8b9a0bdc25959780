// PassThroughIter: the cases of a source's parent, as they are or as another dictionary has them.

#ifndef LIBDATASRC_PASSTHROUGHITER_H_
#define LIBDATASRC_PASSTHROUGHITER_H_

#include <libdatasrc/OBS.h>
#include <libdatasrc/ObsIterator.h>
#include <libdatasrc/ObsProjector.h>
#include <ServerDataManager/Export.h>

#include <memory>
#include <vector>

class ORVX_DataSource;

// Asks the parent for its own iterator when it is built and never looks at the source, or at its
// link to the parent, again; it lives on without them as far as the parent's iterator does.
//
// Threads: as for ObsIterator.
class SDM_EXPORT PassThroughIter : public ObsIterator {
 public:
  // Runs over the cases of the parent that `source`, not null, has now; no rows where it has none.
  // Borrows `area`.
  //
  // Without a projector, rows come as the parent lays them out, and `area` needs the parent's
  // GetObsAreaSize(). With one, they come as it makes them, and `area` needs its
  // GetToAreaSize(); one whose GetFromAreaSize() is not that of the parent's rows throws
  // std::invalid_argument.
  PassThroughIter(const ORVX_DataSource* source, OBS* area,
                  std::unique_ptr<const ObsProjector> projector);
  ~PassThroughIter() override;

  // What the parent's iterator throws passes on; it goes on as that one does.
  bool Next() override;

 private:
  const std::unique_ptr<const ObsProjector> projector_;  // null for none
  OBS* const area_;
  std::vector<OBS> parentArea_;              // empty without a projector
  std::unique_ptr<ObsIterator> parentRows_;  // null without a parent
};

#endif  // LIBDATASRC_PASSTHROUGHITER_H_
