// DataFreeDataSource: a dictionary without rows.

#ifndef LIBDATASRC_DATAFREEDATASOURCE_H_
#define LIBDATASRC_DATAFREEDATASOURCE_H_

#include <libdatasrc/ORVX_DataSource.h>
#include <ServerDataManager/Export.h>

// Threads: as for ORVX_DataSource.
class SDM_EXPORT DataFreeDataSource : public ORVX_DataSource {
 public:
  // Borrows `parent`, which may be null.
  explicit DataFreeDataSource(ORVX_DataSource* parent = nullptr);
  ~DataFreeDataSource() override;
};

#endif  // LIBDATASRC_DATAFREEDATASOURCE_H_
