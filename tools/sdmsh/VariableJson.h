// Variables in JSON, and the identifiers and numbers that other subjects have too.

#ifndef SDMSH_VARIABLEJSON_H_
#define SDMSH_VARIABLEJSON_H_

#include "Json.h"

#include <libdatasrc/ORVX_Variable.h>
#include <ServerDataManager/LocallyUniqueID.h>

#include <vector>

namespace sdmsh {

// "7:3"; null for none.
Json IdentifierInJson(LocallyUniqueID id);

// Null for a missing number, a NaN. An infinity is a string, "Infinity" or "-Infinity".
Json NumberInJson(double number);

// An object with everything that defines the variable.
Json VariableInJson(const ORVX_Variable& variable);
// An array of them.
Json VariablesInJson(const std::vector<ORVX_Variable>& variables);

}  // namespace sdmsh

#endif  // SDMSH_VARIABLEJSON_H_
