// A dictionary beside its mirror, in words.

#ifndef SDMSH_MIRRORWORDS_H_
#define SDMSH_MIRRORWORDS_H_

#include "Event.h"

#include <string>
#include <vector>

namespace sdmsh {

struct ComparedRow {
  std::string name;    // "weight"
  std::string source;  // "popul" in quotes
  std::string mirror;  // "none", or "the same"
  std::string remark;  // empty where they are the same
};

using ComparedRows = std::vector<ComparedRow>;

// The properties, then the variables as far as they differ, then the digests.
ComparedRows Compared(const MirrorComparison& both);

}  // namespace sdmsh

#endif  // SDMSH_MIRRORWORDS_H_
