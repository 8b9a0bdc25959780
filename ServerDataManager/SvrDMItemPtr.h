// SvrDMItemPtr: a shared reference to a dataset's item.

#ifndef SERVERDATAMANAGER_SVRDMITEMPTR_H_
#define SERVERDATAMANAGER_SVRDMITEMPTR_H_

#include <ServerDataManager/RefCountPtr.h>
#include <ServerDataManager/svrdmitem.h>

// RefCountPtr for items. Never call Unshared(): items cannot be copied.
class SvrDMItemPtr : public RefCountPtr<SvrDMItem> {
 public:
  // Shares `item`, which may be null.
  SvrDMItemPtr(SvrDMItem* item) : RefCountPtr<SvrDMItem>(item) {}
  SvrDMItemPtr(const SvrDMItemPtr&) = default;

  SvrDMItemPtr& operator=(const SvrDMItemPtr&) = default;
  // Move assignment copies, so the source keeps its reference.
  SvrDMItemPtr& operator=(SvrDMItemPtr&& other) {
    return *this = static_cast<const SvrDMItemPtr&>(other);
  }
};

#endif  // SERVERDATAMANAGER_SVRDMITEMPTR_H_
