// SDM_EXPORT: marks what a shared library built with hidden visibility shows to its users.
// SDM_HIDDEN: takes a class out again that is nested in a shown one.

#ifndef SERVERDATAMANAGER_EXPORT_H_
#define SERVERDATAMANAGER_EXPORT_H_

#define SDM_EXPORT __attribute__((visibility("default")))
#define SDM_HIDDEN __attribute__((visibility("hidden")))

#endif  // SERVERDATAMANAGER_EXPORT_H_
