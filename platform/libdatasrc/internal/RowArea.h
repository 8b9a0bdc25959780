// A buffer for the rows that a projector reads.

#ifndef LIBDATASRC_INTERNAL_ROWAREA_H_
#define LIBDATASRC_INTERNAL_ROWAREA_H_

#include <libdatasrc/OBS.h>

#include <vector>

class ObsProjector;
class ORVX_DataSource;

namespace sdm_internal {

// Returns a buffer for one row of `source`, to be read by `projector`. Throws std::invalid_argument
// if the projector was made for rows of another length.
std::vector<OBS> RowArea(const ORVX_DataSource& source, const ObsProjector& projector);

}  // namespace sdm_internal

#endif  // LIBDATASRC_INTERNAL_ROWAREA_H_
