// Snapshot: the dictionary of a dataset as observers were last notified of it, and state kept
// between comparisons. SvrDMObserverView::Data is a snapshot; tests make snapshots of their own.

#ifndef SERVERDATAMANAGER_OBSERVERVIEWDATA_H_
#define SERVERDATAMANAGER_OBSERVERVIEWDATA_H_

#include <libdatasrc/DataFreeDataSource.h>
#include <ServerDataManager/ObserverView.h>

namespace sdm_internal {

struct Snapshot {
  explicit Snapshot(SvrDMItem& owner) : item(owner) { view.SetDirty(false); }

  // The order of the fields is fixed: other binaries depend on it.
  SvrDMItem& item;          // borrowed: receives the messages
  DataFreeDataSource view;  // the dictionary as last reported
  // The row count as last reported. Initially -2, which is never a row count, so that the first
  // comparison reports the row count.
  long long rowCount = -2;
  bool resetClientData = false;  // whether a ResetClientDataMsg is due
  bool bulkVarMoves = false;     // whether the next update is a bulk replacement

  // The order of the fields below is not fixed.

  // Whether variables, row count, weight, filter, trends or split have changed since the attributes
  // were last compared; other changes do not count.
  bool anyChange = false;
  // The number of split variables as last reported. The view has fewer split variables if some were
  // deleted or moved since.
  unsigned int splitCount = 0;
};

// See SvrDMObserverView::Update.
void UpdateSnapshot(Snapshot& snapshot);

}  // namespace sdm_internal

// Has only the fields of Snapshot, so it begins with the fields whose order is fixed.
struct SvrDMObserverView::Data : sdm_internal::Snapshot {
  using Snapshot::Snapshot;
};

#endif  // SERVERDATAMANAGER_OBSERVERVIEWDATA_H_
