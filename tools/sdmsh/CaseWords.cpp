// Values of cases in words.

#include "CaseWords.h"

#include "VariableWords.h"
#include "Words.h"

namespace sdmsh {
std::string CaseValueInWords(const DataValue& value) {
  if (const double* const number = std::get_if<double>(&value)) return NumberInWords(*number);
  return OnOneLine(std::get<std::string>(value));
}

std::string CasesOf(const std::string& dataset) {
  return "the cases of " + dataset;
}

}  // namespace sdmsh
