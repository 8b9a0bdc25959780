// Changes in JSON.

#ifndef SDMSH_CHANGEJSON_H_
#define SDMSH_CHANGEJSON_H_

#include "Change.h"
#include "Json.h"

namespace sdmsh {

// An object: what all messages carry, then the message's name and arguments, then what the shell
// knows besides.
Json ChangeInJson(const Change& change);

}  // namespace sdmsh

#endif  // SDMSH_CHANGEJSON_H_
