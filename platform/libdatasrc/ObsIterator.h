// ObsIterator: runs once over the cases of a data source, one row at a time.
//
//   std::vector<OBS> area(static_cast<std::size_t>(source.GetObsAreaSize()));
//   std::unique_ptr<ObsIterator> rows(source.MakeIterator(area.data()));
//   while (rows->Next()) Use(area);

#ifndef LIBDATASRC_OBSITERATOR_H_
#define LIBDATASRC_OBSITERATOR_H_

#include <ServerDataManager/Export.h>

// Threads: not safe; each thread makes its own.
class SDM_EXPORT ObsIterator {
 public:
  ObsIterator() = default;
  ObsIterator(const ObsIterator&) = delete;
  ObsIterator& operator=(const ObsIterator&) = delete;
  virtual ~ObsIterator();

  // Fills the area that the iterator was made for with the next row, the first one at the first
  // call. Returns false, and leaves the area as it is, after the last row and ever after. Where it
  // throws, the area may be half filled; it may be called again, and what comes next is for each
  // iterator to say.
  virtual bool Next() = 0;
};

#endif  // LIBDATASRC_OBSITERATOR_H_
