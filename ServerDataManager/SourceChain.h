// Chains of data sources: a filtered or derived source points to the source that it reads from.
// A clone's parent link that is set only while an iterator is made is no part of a chain, so other
// threads may make iterators meanwhile.

#ifndef SERVERDATAMANAGER_SOURCECHAIN_H_
#define SERVERDATAMANAGER_SOURCECHAIN_H_

#include <memory>

class ORVX_DataSource;

namespace sdm_internal {

// True when `ancestor` is `child` itself or one of its parents. Null is a child of null only, and
// nothing else is a child of null.
//
// Threads: not safe; nobody may change the chain meanwhile.
bool IsChildOf(const ORVX_DataSource* child, const ORVX_DataSource* ancestor);

// Deletes the sources from `from` up to, not including, `stop`. Stops after deleting a clone: the
// sources above it belong to the clone and its copies. A null `stop` deletes the whole chain, and a
// null `from` nothing. The only place in this library that deletes a data source.
//
// Threads: not safe; the caller is the only user of the sources that go.
void DeleteDataSourceTo(const ORVX_DataSource* from, const ORVX_DataSource* stop);

// Owns a source with its chain.
struct DeleteChain {
  void operator()(ORVX_DataSource* chain) const { DeleteDataSourceTo(chain, nullptr); }
};
using OwnedChain = std::unique_ptr<ORVX_DataSource, DeleteChain>;

// True when the source at the top of the chain of parents of `ds` is a SystemFileDataSource: a
// source layered over a saved data file counts as that file. False for null.
//
// Threads: not safe; nobody may change the chain meanwhile.
bool SystemFile(ORVX_DataSource const* ds);

}  // namespace sdm_internal

#endif  // SERVERDATAMANAGER_SOURCECHAIN_H_
