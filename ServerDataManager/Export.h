// SDM_EXPORT: exports a class or function from a shared library built with hidden visibility.
// SDM_HIDDEN: hides a declaration, such as a member of an exported class.

#ifndef SERVERDATAMANAGER_EXPORT_H_
#define SERVERDATAMANAGER_EXPORT_H_

#define SDM_EXPORT __attribute__((visibility("default")))
#define SDM_HIDDEN __attribute__((visibility("hidden")))

#endif  // SERVERDATAMANAGER_EXPORT_H_
