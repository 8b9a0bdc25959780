#include <libsfthread/sfMutex.h>

void sfMutex::lock() {
  mutex_.lock();
}

bool sfMutex::tryLock() {
  return mutex_.try_lock();
}

void sfMutex::unlock() {
  mutex_.unlock();
}
