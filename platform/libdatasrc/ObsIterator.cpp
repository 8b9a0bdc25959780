// The destructor is defined here so that only this library has the vtable.

#include <libdatasrc/ObsIterator.h>

ObsIterator::~ObsIterator() = default;
