// ObsIterator: reads the cases of a data source once, row by row.
//
//   std::vector<OBS> area(static_cast<std::size_t>(source.GetObsAreaSize()));
//   std::unique_ptr<ObsIterator> rows(source.MakeIterator(area.data()));
//   while (rows->Next()) Use(area);

#ifndef LIBDATASRC_OBSITERATOR_H_
#define LIBDATASRC_OBSITERATOR_H_

#include <ServerDataManager/Export.h>

// Threads: not safe; each thread creates its own.
class SDM_EXPORT ObsIterator {
 public:
  ObsIterator() = default;
  ObsIterator(const ObsIterator&) = delete;
  ObsIterator& operator=(const ObsIterator&) = delete;
  virtual ~ObsIterator();

  // Writes the next row to the area that was given to MakeIterator. After the last row, every call
  // returns false and leaves the area unchanged. If a call throws, the area may be half written.
  // Next may then be called again; each iterator defines which row follows.
  virtual bool Next() = 0;
};

#endif  // LIBDATASRC_OBSITERATOR_H_
