// Json: what a program reads of the shell.

#ifndef SDMSH_JSON_H_
#define SDMSH_JSON_H_

#include <nlohmann/json.hpp>

namespace sdmsh {

// Members stay in the order in which they are given: a person reads these lines too.
using Json = nlohmann::ordered_json;

}  // namespace sdmsh

#endif  // SDMSH_JSON_H_
