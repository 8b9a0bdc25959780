// Room for a row on its way through a projector.

#ifndef LIBDATASRC_INTERNAL_ROWAREA_H_
#define LIBDATASRC_INTERNAL_ROWAREA_H_

#include <libdatasrc/OBS.h>

#include <vector>

class ObsProjector;
class ORVX_DataSource;

namespace sdm_internal {

// An area for a row of `source` that `projector` reads. Throws std::invalid_argument where the
// source's rows are not as long as those that the projector was made for.
std::vector<OBS> RowArea(const ORVX_DataSource& source, const ObsProjector& projector);

}  // namespace sdm_internal

#endif  // LIBDATASRC_INTERNAL_ROWAREA_H_
