// The monitors: each compares one more kind of property between the snapshot `view` and the data
// source `ds`, queues a difference on the item as extension messages, and copies the new value into
// the snapshot.
//
// Each returns whether it reported a change. An exception from the data source or from a message
// passes on; the snapshot then has the old value and nothing is queued.
//
// Threads: not safe; called in a notification pass.

#ifndef SERVERDATAMANAGER_MONITORS_H_
#define SERVERDATAMANAGER_MONITORS_H_

#include <libdatasrc/ORVX_DataSource.h>

#include <vector>

class SvrDMItem;

namespace sdm_internal {

// Multiple-response sets: two messages, of extension types 7 and 19. The order of the sets matters,
// here and below.
bool MonitorMRSets(ORVX_DataSource& view, ORVX_DataSource& ds, SvrDMItem& item);

// Variable sets: one message, of extension type 5.
bool MonitorVariableSets(ORVX_DataSource& view, ORVX_DataSource const& ds, SvrDMItem& item);

// The data source's own extension of the given type: one message, which shares the data source's
// block.
bool MonitorExtension(ORVX_DataSource& view, ORVX_DataSource& ds,
                      ORVX_DataSource::ExtensionType type, SvrDMItem& item);

// The attributes: one message, of extension type 17. Where they are equal but something else
// changed in this pass (`anyChange`), what describes a dashboard is removed from the data source's
// attributes first: it was made for data that are no more.
bool MonitorAttributes(ORVX_DataSource& view, ORVX_DataSource& ds, SvrDMItem& item, bool anyChange);

// Queues the sets as text of the given extension type.
void SendSetExtension(ORVX_DataSource::ExtensionType type, std::vector<VariableSet> const& sets,
                      SvrDMItem& item);

}  // namespace sdm_internal

#endif  // SERVERDATAMANAGER_MONITORS_H_
