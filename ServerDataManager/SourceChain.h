// Chains of data sources: each source points to its parent, the source that it reads from. A clone
// has a temporary parent link while it makes an iterator. These functions ignore the temporary
// link, so IsChildOf and SystemFile may run while other threads make iterators.

#ifndef SERVERDATAMANAGER_SOURCECHAIN_H_
#define SERVERDATAMANAGER_SOURCECHAIN_H_

#include <memory>

class ORVX_DataSource;

namespace sdm_internal {

// Whether `ancestor` is `child` itself, its parent, the parent's parent, or so on. If one argument
// is null, returns true only if both are null.
//
// Threads: not safe while another thread changes the chain.
bool IsChildOf(const ORVX_DataSource* child, const ORVX_DataSource* ancestor);

// Deletes the sources from `from` up to, but not including, `stop`; if `stop` is null, to the end
// of the chain. Always stops after deleting a clone: the parents of the clone belong to all its
// copies. With a null `from`, deletes nothing. No other function of this library deletes a chain.
//
// Threads: not safe; no other thread may use the deleted sources.
void DeleteDataSourceTo(const ORVX_DataSource* from, const ORVX_DataSource* stop);

// OwnedChain owns a source with its chain of parents.
struct DeleteChain {
  void operator()(ORVX_DataSource* chain) const { DeleteDataSourceTo(chain, nullptr); }
};
using OwnedChain = std::unique_ptr<ORVX_DataSource, DeleteChain>;

// Whether `ds` is built on a saved data file: the last source in its chain is a
// SystemFileDataSource. False for null.
//
// Threads: not safe while another thread changes the chain.
bool SystemFile(ORVX_DataSource const* ds);

}  // namespace sdm_internal

#endif  // SERVERDATAMANAGER_SOURCECHAIN_H_
