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

// by "year", "month"; period 12; cases 1 to 120
std::string TimeSeriesInWords(const TimeSeries& trends);

// "$news" (3 variables), "$issues" (1 variable)
std::string SetsInWords(const std::vector<NamedSet>& sets);

// "dichotomies"
const char* SetKindInWords(int kind);

}  // namespace sdmsh

#endif  // SDMSH_DICTIONARYWORDS_H_
