// ORVX_TrendsInfo: what a dataset knows of itself as a time series.

#ifndef LIBDATASRC_ORVX_TRENDSINFO_H_
#define LIBDATASRC_ORVX_TRENDSINFO_H_

#include <ServerDataManager/LocallyUniqueID.h>

#include <vector>

// A plain value. A fresh one says that the dataset is no time series.
//
// Threads: one object at a time on one thread, or only read.
struct ORVX_TrendsInfo {
  // The variables that say when a case was observed, from the slowest (year) to the fastest (hour).
  // Deleting a variable leaves this list as it is.
  std::vector<LocallyUniqueID> dateVariables;

  int periodicity = 0;  // observations in a cycle, 12 for monthly data; 0 for none

  // The cases in use, counted from 1, both included; 0 and 0 for all.
  long long firstCase = 0;
  long long lastCase = 0;

  bool operator==(const ORVX_TrendsInfo&) const = default;
};

#endif  // LIBDATASRC_ORVX_TRENDSINFO_H_
