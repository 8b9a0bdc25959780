// SvrDMObserverView::Data: the snapshot and what a comparison carries to the next one.

#ifndef SERVERDATAMANAGER_OBSERVERVIEWDATA_H_
#define SERVERDATAMANAGER_OBSERVERVIEWDATA_H_

#include <libdatasrc/DataFreeDataSource.h>
#include <ServerDataManager/ObserverView.h>

struct SvrDMObserverView::Data {
  explicit Data(SvrDMItem& owner) : item(owner) { view.SetDirty(false); }

  // The order of the fields is fixed: other binaries depend on it.
  SvrDMItem& item;          // borrowed: it owns this view
  DataFreeDataSource view;  // everything as last reported, but the row count
  // As last reported; -2 differs from whatever a data source answers, so the first comparison
  // reports it.
  long long rowCount = -2;
  bool resetClientData = false;  // clients must drop their case data
  bool bulkVarMoves = false;     // replace the whole variable list next time
};

#endif  // SERVERDATAMANAGER_OBSERVERVIEWDATA_H_
