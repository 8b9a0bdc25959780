// ORVX_RefCntObject: the base of objects that carry their own reference count.
//
//   class Record : public ORVX_RefCntObject { ... };
//   auto* record = new Record;     // count 0: nobody has a reference yet
//   record->AddReference();        // 1
//   record->RemoveReference();     // 0: deleted

#ifndef LIBDATASTR_ORVX_REFCNTOBJECT_H_
#define LIBDATASTR_ORVX_REFCNTOBJECT_H_

#include <ServerDataManager/Export.h>
#include <atomic>

// The count belongs to the object in its place, not to its value: it starts at 0 and neither
// copying nor assigning carries it over. An object is shareable until MarkUnshareable().
//
// Threads: AddReference, RemoveReference, IsShared and ReferenceCount may be called from any thread
// that knows of a reference to the object. What a thread did to the object before it gave its
// reference up is seen by whoever deletes it, and by whoever then finds IsShared() false.
class SDM_EXPORT ORVX_RefCntObject {
 public:
  ORVX_RefCntObject() noexcept = default;

  // A copy starts with its own count, 0, and is shareable whatever the original is.
  ORVX_RefCntObject(const ORVX_RefCntObject&) noexcept {}
  // Count and flag of the object assigned to stay as they are.
  ORVX_RefCntObject& operator=(const ORVX_RefCntObject&) noexcept { return *this; }

  virtual ~ORVX_RefCntObject();

  void AddReference() const noexcept { count_.fetch_add(1, std::memory_order_relaxed); }

  // Deletes this object, which then must come from `new`, when the last reference goes. Only for a
  // reference that AddReference() counted.
  void RemoveReference() const {
    if (count_.fetch_sub(1, std::memory_order_acq_rel) == 1) DeleteThis();
  }

  // More than one reference. The holder of a reference that finds false is alone with the object
  // and may change it.
  bool IsShared() const noexcept { return ReferenceCount() > 1; }

  unsigned ReferenceCount() const noexcept { return count_.load(std::memory_order_acquire); }

  // False: whoever wants to share this object is to take a copy instead.
  bool IsShareable() const noexcept { return shareable_; }

  // For good. Threads: not safe; before the object is shown to other threads.
  void MarkUnshareable() noexcept { shareable_ = false; }

 private:
  void DeleteThis() const;

  mutable std::atomic<unsigned> count_{0};
  bool shareable_ = true;
};

#endif  // LIBDATASTR_ORVX_REFCNTOBJECT_H_
