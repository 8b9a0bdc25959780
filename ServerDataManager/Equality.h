// operator!= for types of libdatasrc: the negation of their operator==.

#ifndef SERVERDATAMANAGER_EQUALITY_H_
#define SERVERDATAMANAGER_EQUALITY_H_

#include <libdatasrc/DatasourceAttributes.h>
#include <libdatasrc/ORVX_DataSource.h>
#include <libdatasrc/ORVX_TrendsInfo.h>
#include <libdatasrc/ORVX_Variable.h>

inline bool operator!=(const ORVX_Variable& a, const ORVX_Variable& b) {
  return !(a == b);
}

inline bool operator!=(const ORVX_TrendsInfo& a, const ORVX_TrendsInfo& b) {
  return !(a == b);
}

inline bool operator!=(const DatasourceAttributes& a, const DatasourceAttributes& b) {
  return !(a == b);
}

inline bool operator!=(const ORVX_DataSource::Extension& a, const ORVX_DataSource::Extension& b) {
  return !(a == b);
}

#endif  // SERVERDATAMANAGER_EQUALITY_H_
