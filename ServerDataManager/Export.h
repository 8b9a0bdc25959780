// SDM_EXPORT: marks what a shared library built with hidden visibility shows to its users.

#ifndef SERVERDATAMANAGER_EXPORT_H_
#define SERVERDATAMANAGER_EXPORT_H_

#define SDM_EXPORT __attribute__((visibility("default")))

#endif  // SERVERDATAMANAGER_EXPORT_H_
