// ORVX_RefCntObject: base class for objects with an intrusive reference count.
//
//   class Record : public ORVX_RefCntObject { ... };
//   auto* record = new Record;     // 0 references
//   record->AddReference();        // 1
//   record->RemoveReference();     // 0: deleted

#ifndef LIBDATASTR_ORVX_REFCNTOBJECT_H_
#define LIBDATASTR_ORVX_REFCNTOBJECT_H_

#include <ServerDataManager/Export.h>
#include <atomic>

// The count starts at 0; neither copying nor assignment copies the count. An object is shareable
// until MarkUnshareable().
//
// Threads: any thread may call AddReference, RemoveReference, IsShared and ReferenceCount while a
// reference exists. If a thread accesses the object and then removes its reference, the accesses
// happen before the deletion, and before IsShared() returns false on another thread.
class SDM_EXPORT ORVX_RefCntObject {
 public:
  ORVX_RefCntObject() noexcept = default;

  // A copy starts with count 0 and is shareable, even if the original is not.
  ORVX_RefCntObject(const ORVX_RefCntObject&) noexcept {}
  // Does not change the count of this object, nor whether it is shareable.
  ORVX_RefCntObject& operator=(const ORVX_RefCntObject&) noexcept { return *this; }

  virtual ~ORVX_RefCntObject();

  void AddReference() const noexcept { count_.fetch_add(1, std::memory_order_relaxed); }

  // Removes one reference; call it once for each AddReference(). When the count reaches 0, deletes
  // this object, which must have been created with `new`.
  void RemoveReference() const {
    if (count_.fetch_sub(1, std::memory_order_acq_rel) == 1) DeleteThis();
  }

  // Whether there is more than one reference. If false, the owner of the only reference may change
  // the object.
  bool IsShared() const noexcept { return ReferenceCount() > 1; }

  unsigned ReferenceCount() const noexcept { return count_.load(std::memory_order_acquire); }

  // Whether the object may be shared. If not, copy it instead.
  bool IsShareable() const noexcept { return shareable_; }

  // Makes the object permanently unshareable.
  // Threads: not safe; call before other threads use the object.
  void MarkUnshareable() noexcept { shareable_ = false; }

 private:
  void DeleteThis() const;

  mutable std::atomic<unsigned> count_{0};
  bool shareable_ = true;
};

#endif  // LIBDATASTR_ORVX_REFCNTOBJECT_H_
