// How the shell speaks of what a dictionary says beside its variables.

#ifndef SDMSH_DICTIONARYWORDS_H_
#define SDMSH_DICTIONARYWORDS_H_

#include "DictionaryFacts.h"

#include <string>
#include <vector>

namespace sdmsh {

// Each is "none" where there is nothing.

// "popul" in quotes, or the identifier of a variable that is not there.
std::string VariableInWords(const NamedVariable& variable);
std::string VariablesInWords(const std::vector<NamedVariable>& variables);

// "vote", "educ" (separately)
std::string SplitInWords(const Split& split);

// by "year", "month"; period 12
std::string TimeSeriesInWords(const TimeSeries& trends);

// "news" (3 variables), "issues" (1 variable)
std::string SetSizesInWords(const std::vector<NamedSet>& sets);

// "indicators"
const char* SetKindInWords(int kind);

// The bytes in quotes where they are a short text, otherwise how many there are.
std::string BlockInWords(const Block& block);

// One property of a dictionary.
struct Property {
  const char* name;   // "weight"
  std::string value;  // in full
  bool usual;         // one that people look for also where it is "none"
  // Whether messages tell of each change of it.
  bool told = true;
};

// All of them, always in one order.
std::vector<Property> PropertiesInWords(const DictionaryFacts& facts);

}  // namespace sdmsh

#endif  // SDMSH_DICTIONARYWORDS_H_
