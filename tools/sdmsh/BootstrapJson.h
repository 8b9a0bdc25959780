// Bootstrap specifications in JSON.

#ifndef SDMSH_BOOTSTRAPJSON_H_
#define SDMSH_BOOTSTRAPJSON_H_

#include "Json.h"

#include <ServerDataManager/SvrBootstrapSpecs.h>
#include <ServerDataManager/SvrBootstrapSpecsSerializer.h>

#include <optional>

namespace sdmsh {

// An object with every field; null for none.
Json BootstrapInJson(const std::optional<SvrBootstrapSpecs>& specs);

// An object: what was found in bytes that should hold a bootstrap specification, and where.
Json CheckInJson(const SvrBootstrapSpecsSerializer::Check& check);

}  // namespace sdmsh

#endif  // SDMSH_BOOTSTRAPJSON_H_
