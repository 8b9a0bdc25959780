// Home of the interface's type information.

#include <libdatasrc/ObsIterator.h>

ObsIterator::~ObsIterator() = default;
