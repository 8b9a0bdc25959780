// The monitor functions. Each compares one property of the snapshot `view` with the data source
// `ds`. If the values differ, the function queues extension messages on the item and copies the new
// value to the snapshot.
//
// Each monitor function returns whether it queued a message. Exceptions of the data source and of
// messages propagate; the snapshot then keeps the old value, and no message of that function stays
// queued.
//
// Threads: not safe; called in a notification pass.

#ifndef SERVERDATAMANAGER_MONITORS_H_
#define SERVERDATAMANAGER_MONITORS_H_

#include <libdatasrc/ORVX_DataSource.h>

#include <vector>

class SvrDMItem;

namespace sdm_internal {

// Compares the multiple-response sets, including their order. Queues two messages, of extension
// types 7 and 19.
bool MonitorMRSets(ORVX_DataSource& view, ORVX_DataSource& ds, SvrDMItem& item);

// Compares the variable sets, including their order. Queues one message, of extension type 5.
bool MonitorVariableSets(ORVX_DataSource& view, ORVX_DataSource const& ds, SvrDMItem& item);

// Compares the extension of the given type. Queues one message, which shares the extension's bytes
// with the data source.
bool MonitorExtension(ORVX_DataSource& view, ORVX_DataSource& ds,
                      ORVX_DataSource::ExtensionType type, SvrDMItem& item);

// Compares the attributes. Queues one message, of extension type 17. If the attributes are equal
// but something else changed (`anyChange`), the dashboard attributes describe the old data: removes
// them from the data source (ClearDashboardInfo), and queues the message if any were removed.
bool MonitorAttributes(ORVX_DataSource& view, ORVX_DataSource& ds, SvrDMItem& item, bool anyChange);

// Queues one message with an extension of the given type that contains the sets as text.
void SendSetExtension(ORVX_DataSource::ExtensionType type, std::vector<VariableSet> const& sets,
                      SvrDMItem& item);

}  // namespace sdm_internal

#endif  // SERVERDATAMANAGER_MONITORS_H_
