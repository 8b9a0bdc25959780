// What a dictionary says beside its variables, in JSON.

#ifndef SDMSH_DICTIONARYJSON_H_
#define SDMSH_DICTIONARYJSON_H_

#include "DictionaryFacts.h"
#include "Json.h"

#include <vector>

namespace sdmsh {

// Each is an object, where nothing else is said. A variable goes by its identifier, and beside it
// by its name, which is null where the dictionary has no such variable.

// An array; the identifiers alone.
Json IdentifiersInJson(const std::vector<NamedVariable>& variables);

// Of a variable that is used as the weight or the filter; two nulls for none.
Json UseInJson(const NamedVariable& variable);

Json SplitInJson(const Split& split);

Json TimeSeriesInJson(const TimeSeries& trends);

// An array of objects.
Json SetsInJson(const std::vector<NamedSet>& sets);

// Its bytes come as two hexadecimal digits each.
Json ExtensionInJson(const Block& block);

// A number; null while unknown.
Json RowCountInJson(long long rowCount);

// All of the above, with what is plain text or a plain number.
Json DictionaryInJson(const DictionaryFacts& facts);

}  // namespace sdmsh

#endif  // SDMSH_DICTIONARYJSON_H_
