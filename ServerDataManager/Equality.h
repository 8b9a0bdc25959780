// Equality of the data-source library's types, where that library leaves it to its users.
// Inequality is always the negation of that library's equality.

#ifndef SERVERDATAMANAGER_EQUALITY_H_
#define SERVERDATAMANAGER_EQUALITY_H_

#include <libdatasrc/DatasourceAttributes.h>
#include <libdatasrc/ORVX_DataSource.h>
#include <libdatasrc/ORVX_TrendsInfo.h>
#include <libdatasrc/ORVX_Variable.h>
#include <libdatasrc/VariableSets.h>

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

// The order of the members matters.
inline bool operator==(const VariableSetImpl& a, const VariableSetImpl& b) {
  return a.kind == b.kind && a.labelFromVariable == b.labelFromVariable &&
         a.categoriesFromCountedValue == b.categoriesFromCountedValue && a.name == b.name &&
         a.label == b.label && a.countedValue == b.countedValue && a.members == b.members;
}

#endif  // SERVERDATAMANAGER_EQUALITY_H_
