// RefCountPtr: a shared pointer to an object with an intrusive reference count.
//
//   RefCountPtr<Record> mine(new Record);   // one reference
//   RefCountPtr<Record> yours = mine;       // two
//   yours.Unshared()->Rename("copy");       // yours now has its own Record
//
// Header-only.

#ifndef SERVERDATAMANAGER_REFCOUNTPTR_H_
#define SERVERDATAMANAGER_REFCOUNTPTR_H_

#include <utility>

// Shares a T, or is empty. T supplies the reference count: AddReference(), RemoveReference()
// (deletes the object with the last reference), IsShared() const (more than one reference) and
// IsShareable() const (if false, each pointer makes a copy of its own). T must be copyable, for
// Unshared() and for unshareable objects.
//
// A move copies: the source keeps its reference.
//
// Assignment releases the old object before it shares the new object. So do not write `p = p->next`
// if the old object may hold the only reference to the next object: first copy `p->next` to another
// RefCountPtr.
//
// Threads: a pointer belongs to one thread at a time. Different threads may have pointers to one
// object if T's reference count is thread-safe.
template <class T>
class RefCountPtr {
 public:
  // Shares `object`, which may be null. If the object is not shareable, shares a new copy instead;
  // if copying throws, no reference is held.
  RefCountPtr(T* object) : pointer_(object) { Init(); }
  RefCountPtr(const RefCountPtr& other) : pointer_(other.pointer_) { Init(); }
  ~RefCountPtr() { Release(); }

  // Releases the old object, then shares the new one; does nothing if both are the same object. If
  // copying an unshareable object throws, this pointer is null.
  RefCountPtr& operator=(const RefCountPtr& other) { return *this = other.pointer_; }
  RefCountPtr& operator=(T* object) {
    if (pointer_ == object) return *this;
    Release();
    pointer_ = object;
    Init();
    return *this;
  }

  // Compares addresses, not values.
  bool operator==(const RefCountPtr& other) const { return pointer_ == other.pointer_; }
  bool operator!=(const RefCountPtr& other) const { return pointer_ != other.pointer_; }
  bool operator==(const T* object) const { return pointer_ == object; }
  bool operator!=(const T* object) const { return pointer_ != object; }

  // Exchanges the objects of two pointers; no count changes.
  void Swap(RefCountPtr& other) noexcept { std::swap(pointer_, other.pointer_); }

  // The operators require a pointer that is not null; get() may return null. The const overloads
  // give const access.
  T& operator*() { return *pointer_; }
  const T& operator*() const { return *pointer_; }
  T* operator->() { return pointer_; }
  const T* operator->() const { return pointer_; }
  T* get() { return pointer_; }
  const T* get() const { return pointer_; }

  bool IsValid() const { return pointer_ != nullptr; }

  // Internal: constructors and assignments call Init after they have stored a pointer. Adds a
  // reference to the object. If the object is not shareable, points at a copy of it instead; if
  // copying throws, this pointer is null.
  void Init() {
    if (pointer_ == nullptr) return;
    if (!pointer_->IsShareable()) PointAtCopyOf(pointer_);
    pointer_->AddReference();
  }

  // Detaches from other owners before a write: copies the object if it is shared, and returns an
  // object to which only this pointer refers. The pointer must not be empty. If copying throws,
  // this pointer is null.
  //
  // The reference is released before the copy is made: another owner must keep the object alive
  // until Unshared returns.
  T* Unshared() {
    if (pointer_->IsShared()) {
      const T* const shared = pointer_;
      Release();
      PointAtCopyOf(shared);
      Init();
    }
    return pointer_;
  }

 private:
  // Adds no reference, neither to the original nor to the copy.
  void PointAtCopyOf(const T* original) {
    pointer_ = nullptr;
    pointer_ = new T(*original);
  }

  void Release() {
    if (pointer_ != nullptr) pointer_->RemoveReference();
    pointer_ = nullptr;
  }

  T* pointer_;
};

#endif  // SERVERDATAMANAGER_REFCOUNTPTR_H_
