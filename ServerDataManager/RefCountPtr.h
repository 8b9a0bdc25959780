// RefCountPtr: a pointer that shares an intrusively counted object.
//
//   RefCountPtr<Record> mine(new Record);   // one reference
//   RefCountPtr<Record> yours = mine;       // two
//   yours.Unshared()->Rename("copy");       // yours now has a Record of its own
//
// Header-only, and independent of the class that carries the count.

#ifndef SERVERDATAMANAGER_REFCOUNTPTR_H_
#define SERVERDATAMANAGER_REFCOUNTPTR_H_

// Shares a T, or is empty. T carries its own count: AddReference(), RemoveReference() (destroys the
// object with the last reference), IsShared() const (more than one reference) and IsShareable()
// const; T must also be copyable, for Unshared() and for objects marked unshareable.
//
// Moving copies: the source keeps its reference.
//
// Assigning releases the present object before it takes the next. So `p = p->next` is not allowed
// where the present object may be all that keeps the next alive: keep a pointer to the next first.
//
// Threads: one pointer object belongs to one thread at a time. Different pointers to one object may
// be used from different threads as far as T's count allows.
template <class T>
class RefCountPtr {
 public:
  // Shares `object`, which may be null, or a fresh copy of it where it is not shareable. Where
  // making that copy throws, the exception passes on and no reference is held.
  RefCountPtr(T* object) : pointer_(object) { Init(); }
  RefCountPtr(const RefCountPtr& other) : pointer_(other.pointer_) { Init(); }
  ~RefCountPtr() { Release(); }

  // Releases the present object, then shares the other's; the same object on both sides changes
  // nothing. Where copying an unshareable object throws, the pointer is left null.
  RefCountPtr& operator=(const RefCountPtr& other) { return *this = other.pointer_; }
  RefCountPtr& operator=(T* object) {
    if (pointer_ == object) return *this;
    Release();
    pointer_ = object;
    Init();
    return *this;
  }

  // Identity of the objects, not their values.
  bool operator==(const RefCountPtr& other) const { return pointer_ == other.pointer_; }
  bool operator!=(const RefCountPtr& other) const { return pointer_ != other.pointer_; }
  bool operator==(const T* object) const { return pointer_ == object; }
  bool operator!=(const T* object) const { return pointer_ != object; }

  // Unchecked. The const forms give the object as const.
  T& operator*() { return *pointer_; }
  const T& operator*() const { return *pointer_; }
  T* operator->() { return pointer_; }
  const T* operator->() const { return pointer_; }
  T* get() { return pointer_; }
  const T* get() const { return pointer_; }

  bool IsValid() const { return pointer_ != nullptr; }

  // Not for callers: constructors and assignments run it, once for each new object. Takes a
  // reference on the object just pointed at, on a copy of it where it is not shareable. Where
  // copying throws, the pointer is left null.
  void Init() {
    if (pointer_ == nullptr) return;
    if (!pointer_->IsShareable()) PointAtCopyOf(pointer_);
    pointer_->AddReference();
  }

  // Detaches from the other owners before a write: afterwards this pointer is the only one to its
  // object. Returns the object. Not for an empty pointer. Where copying throws, the pointer is left
  // null.
  //
  // The reference goes before the copy is made: at least one other owner keeps the object until
  // this returns.
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
  // No reference is held yet, neither on the original nor on the copy.
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
