#include <libdatasrc/internal/RowArea.h>
#include <libdatasrc/ObsProjector.h>
#include <libdatasrc/ORVX_DataSource.h>

#include <cstddef>
#include <stdexcept>
#include <string>

namespace sdm_internal {

std::vector<OBS> RowArea(const ORVX_DataSource& source, const ObsProjector& projector) {
  const long cells = source.GetObsAreaSize();
  if (cells != projector.GetFromAreaSize()) {
    throw std::invalid_argument("ObsProjector: made for rows of " +
                                std::to_string(projector.GetFromAreaSize()) +
                                " cells, but the source's have " + std::to_string(cells));
  }
  return std::vector<OBS>(static_cast<std::size_t>(cells));
}

}  // namespace sdm_internal
