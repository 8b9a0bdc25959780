// How the shell speaks of changes.

#ifndef SDMSH_CHANGEWORDS_H_
#define SDMSH_CHANGEWORDS_H_

#include "Change.h"

#include <string>

namespace sdmsh {

// "weighted by "popul" from now on": what an observer is told, for somebody who analyses data.
std::string InWords(const Change& change);

}  // namespace sdmsh

#endif  // SDMSH_CHANGEWORDS_H_
