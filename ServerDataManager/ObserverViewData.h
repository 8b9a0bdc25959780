// SvrDMObserverView::Data: the snapshot, and state kept between comparisons.

#ifndef SERVERDATAMANAGER_OBSERVERVIEWDATA_H_
#define SERVERDATAMANAGER_OBSERVERVIEWDATA_H_

#include <libdatasrc/DataFreeDataSource.h>
#include <ServerDataManager/ObserverView.h>

struct SvrDMObserverView::Data {
  explicit Data(SvrDMItem& owner) : item(owner) { view.SetDirty(false); }

  // The order of the fields is fixed: other binaries depend on it.
  SvrDMItem& item;          // borrowed; the item owns this view
  DataFreeDataSource view;  // the dictionary as last reported
  // The row count as last reported. Initially -2, which is never a row count, so that the first
  // comparison reports the row count.
  long long rowCount = -2;
  bool resetClientData = false;  // a message must reset the clients' case data
  bool bulkVarMoves = false;     // the next Update replaces the whole variable list

  // The fields below are not part of the fixed layout.

  // Whether variables, row count, weight, filter, trends or split changed; other changes do not
  // count. Cleared after the comparison of the attributes; if an Update throws before that, a later
  // Update clears it.
  bool anyChange = false;
  // The number of split variables as last reported. The view has fewer split variables if some were
  // deleted since.
  unsigned int splitCount = 0;
};

#endif  // SERVERDATAMANAGER_OBSERVERVIEWDATA_H_
