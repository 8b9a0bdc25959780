// How the shell speaks of the values of cases.

#ifndef SDMSH_CASEWORDS_H_
#define SDMSH_CASEWORDS_H_

#include "Event.h"

#include <string>

namespace sdmsh {

// A number as it would be typed, a string as it is but OnOneLine.
std::string CaseValueInWords(const DataValue& value);

// "the cases of survey"
std::string CasesOf(const std::string& dataset);

}  // namespace sdmsh

#endif  // SDMSH_CASEWORDS_H_
