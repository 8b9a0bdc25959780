#include <libsfthread/sfMutexRW.h>

#include <atomic>

namespace {
std::atomic<long> calls{0};
}

long vendorLockCalls() {
  return calls;
}

void sfMutexRW::readLock() {
  ++calls;
  std::unique_lock lock(mutex_);
  changed_.wait(lock, [this] { return MayRead(); });
  ++readers_;
}

void sfMutexRW::writeLock() {
  ++calls;
  std::unique_lock lock(mutex_);
  changed_.wait(lock, [this] { return MayWrite(); });
  isWritten_ = true;
}

bool sfMutexRW::tryReadLock() {
  const std::lock_guard lock(mutex_);
  if (!MayRead()) return false;
  ++readers_;
  return true;
}

bool sfMutexRW::tryWriteLock() {
  const std::lock_guard lock(mutex_);
  if (!MayWrite()) return false;
  isWritten_ = true;
  return true;
}

void sfMutexRW::unlock() {
  {
    const std::lock_guard lock(mutex_);
    if (isWritten_) {
      isWritten_ = false;
    } else if (readers_ > 0) {
      --readers_;
    }
  }
  changed_.notify_all();
}
