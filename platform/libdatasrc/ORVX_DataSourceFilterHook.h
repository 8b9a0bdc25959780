// ORVX_DataSourceFilterHook: replaces data sources as they are registered.

#ifndef LIBDATASRC_ORVX_DATASOURCEFILTERHOOK_H_
#define LIBDATASRC_ORVX_DATASOURCEFILTERHOOK_H_

#include <ServerDataManager/Export.h>

class ORVX_DataSource;

// An interface to implement. FilterDataSource must be the first virtual slot, so there is no
// virtual destructor; hooks are never deleted through this class.
//
// The registry borrows a hook from RegisterFilter until another hook replaces it or the registry is
// destroyed.
//
// Threads: called on the thread that adds a dataset, with the registry lock held, so one call at a
// time. A hook may call the registry that calls it. It must not wait for a thread that needs that
// registry.
class SDM_EXPORT ORVX_DataSourceFilterHook {
 public:
  // Returns the source to register instead of `source`, which is never null: `source` itself, a
  // source built on it, or another source. Null registers a dataset without a source.
  //
  // The dataset owns the returned source and its chain of parents. The hook deletes every source
  // that is not in that chain, even `source`.
  //
  // A hook that throws must not have deleted `source` or any of its parents, and deletes the
  // sources that it made. The exception propagates to the caller of Add, and no dataset is added.
  //
  // If Add throws after the hook has returned but before the item is built, the sources that the
  // hook made are not deleted. The hook does not learn of the failure, so the caller of Add must
  // ensure that these sources are deleted (see HiddenVariables::EndAddition).
  virtual ORVX_DataSource* FilterDataSource(ORVX_DataSource* source) = 0;

 protected:
  ~ORVX_DataSourceFilterHook() = default;
};

#endif  // LIBDATASRC_ORVX_DATASOURCEFILTERHOOK_H_
