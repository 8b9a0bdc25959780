// Access to plain fields (counters, flags and pointers) that several threads read and write without
// a lock.
//
// The fields keep their plain types because other binaries depend on the layout; std::atomic_ref
// prevents data races. Only single accesses are atomic: two fields read one after the other may be
// inconsistent.

#ifndef SERVERDATAMANAGER_PLAINFIELD_H_
#define SERVERDATAMANAGER_PLAINFIELD_H_

#include <atomic>
#include <type_traits>

namespace sdm_internal {

template <class T>
T LoadField(const T& field, std::memory_order order = std::memory_order_relaxed) noexcept {
  // Before C++26, std::atomic_ref takes no const object. Removing const is safe, because a load
  // changes nothing.
  return std::atomic_ref<T>(const_cast<T&>(field)).load(order);
}

template <class T>
void StoreField(T& field, std::type_identity_t<T> value,
                std::memory_order order = std::memory_order_relaxed) noexcept {
  std::atomic_ref<T>(field).store(value, order);
}

// Sets a flag atomically. Returns false if it was already set.
inline bool SetFlag(bool& flag) noexcept {
  return !std::atomic_ref<bool>(flag).exchange(true, std::memory_order_relaxed);
}

template <class T>
void AddToField(T& field, std::type_identity_t<T> amount) noexcept {
  std::atomic_ref<T>(field).fetch_add(amount, std::memory_order_relaxed);
}

}  // namespace sdm_internal

#endif  // SERVERDATAMANAGER_PLAINFIELD_H_
