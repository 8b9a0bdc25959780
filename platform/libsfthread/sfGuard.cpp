#include <libsfthread/sfGuard.h>

#include <stdexcept>
#include <string>

sfGuard::sfGuard(sfMutex& mutex, int lockType) : mutex_(mutex) {
  if (lockType != 1) {
    throw std::invalid_argument("sfGuard: lock type " + std::to_string(lockType) +
                                ", expected 1 (hold for the scope)");
  }
  mutex_.lock();
}

sfGuard::~sfGuard() {
  mutex_.unlock();
}
