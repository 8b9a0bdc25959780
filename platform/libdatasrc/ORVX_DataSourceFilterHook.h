// ORVX_DataSourceFilterHook: lets a part of the back end substitute data sources as they are taken
// in.

#ifndef LIBDATASRC_ORVX_DATASOURCEFILTERHOOK_H_
#define LIBDATASRC_ORVX_DATASOURCEFILTERHOOK_H_

#include <ServerDataManager/Export.h>

class ORVX_DataSource;

// An interface to implement. Its operation is the first virtual slot, so no virtual destructor
// stands before it: hooks are never deleted through this class.
//
// The registry borrows a hook from RegisterFilter until another is installed or the registry goes.
//
// Threads: called on the thread that adds a dataset, with the registry lock held: one call at a
// time. A hook may call that registry; it must not wait for another thread that needs it.
class SDM_EXPORT ORVX_DataSourceFilterHook {
 public:
  // Takes `source`, never null, and returns the source to use in its place: `source` itself, one
  // built on it, or another. Null registers a dataset without a source.
  //
  // The dataset owns what is returned, with its chain of parents; a source that is not in that
  // chain is the hook's to delete, `source` included; so is every source that the hook made, where
  // adding fails before the dataset exists. What is thrown passes on to whoever adds, and no
  // dataset is added.
  virtual ORVX_DataSource* FilterDataSource(ORVX_DataSource* source) = 0;

 protected:
  ~ORVX_DataSourceFilterHook() = default;
};

#endif  // LIBDATASRC_ORVX_DATASOURCEFILTERHOOK_H_
