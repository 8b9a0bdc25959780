// ORVX_DataSourceFilterHook: lets a part of the back end substitute data sources as they are taken
// in.

#ifndef LIBDATASRC_ORVX_DATASOURCEFILTERHOOK_H_
#define LIBDATASRC_ORVX_DATASOURCEFILTERHOOK_H_

#include <ServerDataManager/Export.h>

class ORVX_DataSource;

// An interface to implement. Its operation is the first virtual slot, so no virtual destructor
// stands before it: hooks are never deleted through this class.
class SDM_EXPORT ORVX_DataSourceFilterHook {
 public:
  // Takes `source`, never null, and returns the source to use in its place; may return `source`
  // itself. Ownership of what is returned passes to the dataset that is made of it; where none can
  // be made, what the hook made stays the hook's. A source that is neither returned nor a parent of
  // the returned one is the hook's to delete.
  virtual ORVX_DataSource* FilterDataSource(ORVX_DataSource* source) = 0;

 protected:
  ~ORVX_DataSourceFilterHook() = default;
};

#endif  // LIBDATASRC_ORVX_DATASOURCEFILTERHOOK_H_
