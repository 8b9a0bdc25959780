// Variables, dictionaries and change messages in JSON; docs/usage.md lists the members.
//
// A variable goes by its identifier, and beside it by its name, which is null where the dictionary
// has no such variable.

#ifndef SDMSH_DICTIONARYJSON_H_
#define SDMSH_DICTIONARYJSON_H_

#include "Output.h"

#include <libdatasrc/ORVX_Variable.h>
#include <liborvxdemg/DEMessagesFwd.h>
#include <ServerDataManager/LocallyUniqueID.h>

#include <string>
#include <vector>

class ORVX_DataSource;

namespace sdmsh {

// "7:3"; null for none.
Json IdentifierInJson(LocallyUniqueID id);
Json IdentifiersInJson(const std::vector<LocallyUniqueID>& ids);

// Null for a missing number, a NaN. An infinity is a string, "Infinity" or "-Infinity".
Json NumberInJson(double number);

// Null while unknown.
Json RowCountInJson(long long rowCount);

Json TextOrNull(const std::string& text);

// An array of objects with everything that defines a variable.
Json VariablesInJson(const std::vector<ORVX_Variable>& variables);

// An object with everything but the variables.
Json DictionaryInJson(const ORVX_DataSource& dictionary);

// What all messages carry, then the name of the message and its arguments, then what `before`, the
// dictionary as it was before the message, says besides.
Json ChangeInJson(const DEMessages::DataSetMsg& message, const ORVX_DataSource& before);

}  // namespace sdmsh

#endif  // SDMSH_DICTIONARYJSON_H_
