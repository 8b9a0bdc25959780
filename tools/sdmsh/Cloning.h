// Cloning: lets a second dataset share the cases of the first, each with a dictionary of its own.

#ifndef SDMSH_CLONING_H_
#define SDMSH_CLONING_H_

#include <memory>

class SvrDMCloneDataSource;
class SvrDMWriteableDataSource;

namespace sdmsh {

// A clone of the writer's data source, which is not null: the same dictionary, unsaved changes
// included, and the same cases. Of a source that is no clone yet, the dataset gets a clone in its
// place, equal in all of this, and the two clones own the source; that queues two messages of a
// replaced source. What the clones name as their Source() is one that passes the cases through and
// stands on top of the former source.
//
// Nothing is lost where it throws: the dataset has its source then, or the clone of it.
//
// Threads: that of the writer.
std::unique_ptr<SvrDMCloneDataSource> CloneSource(SvrDMWriteableDataSource& writer);

}  // namespace sdmsh

#endif  // SDMSH_CLONING_H_
