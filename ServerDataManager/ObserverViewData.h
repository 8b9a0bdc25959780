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

  // Behind the fields that other binaries know.
  // Whether variables, row count, weight, filter, trends or split differed; nothing else counts.
  // Kept until the attributes have been compared, by a later comparison where this one fails.
  bool anyChange = false;
  // As last reported. Where the view has fewer, variables that it lost were split variables.
  unsigned int splitCount = 0;
};

#endif  // SERVERDATAMANAGER_OBSERVERVIEWDATA_H_
