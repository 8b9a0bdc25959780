// Anchors the vtable of ObsIterator.

#include <libdatasrc/ObsIterator.h>

ObsIterator::~ObsIterator() = default;
