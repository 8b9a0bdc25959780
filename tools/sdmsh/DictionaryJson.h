// DictionaryJson: variables, dictionaries and change messages in JSON; docs/usage.md lists the
// members.
//
// A reference to a variable has two members, its identifier and its name. The name is null if the
// dictionary has no such variable.

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

// "7:3"; null for the null identifier.
Json IdentifierInJson(LocallyUniqueID id);
Json IdentifiersInJson(const std::vector<LocallyUniqueID>& ids);

// Null for a missing number, a NaN. An infinity is a string, "Infinity" or "-Infinity".
Json NumberInJson(double number);

// A string, or a number as NumberInJson returns it.
Json ValueInJson(const DataValue& value);

// The number; null if it is negative, which means unknown.
Json RowCountInJson(long long rowCount);

// The text; null if it is empty.
Json TextOrNull(const std::string& text);

// An array with an object for each variable, with everything that defines the variable.
Json VariablesInJson(const std::vector<ORVX_Variable>& variables);

// An object with everything in the dictionary but the variables.
Json DictionaryInJson(const ORVX_DataSource& dictionary);

// An object with the members that all messages have, the name of the message and its arguments, and
// names and old values from `before`, the dictionary before the message is applied.
Json ChangeInJson(const DEMessages::DataSetMsg& message, const ORVX_DataSource& before);

}  // namespace sdmsh

#endif  // SDMSH_DICTIONARYJSON_H_
