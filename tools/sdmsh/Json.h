// Json: what a program reads of the shell.

#ifndef SDMSH_JSON_H_
#define SDMSH_JSON_H_

#include "Output.h"

namespace sdmsh {}  // namespace sdmsh

#endif  // SDMSH_JSON_H_
