// How the shell speaks of variables.

#ifndef SDMSH_VARIABLEWORDS_H_
#define SDMSH_VARIABLEWORDS_H_

#include <libdatasrc/ORVX_Variable.h>

#include <string>
#include <vector>

namespace sdmsh {

// "numeric", "string of 8 bytes"
std::string TypeInWords(int type);
// "plain"
const char* FormatKindInWords(VariableFormat::Kind kind);
// "plain, width 8, decimals 2"
std::string FormatInWords(const VariableFormat& format);
// "nominal"
const char* LevelInWords(MeasurementLevel level);
// The shortest decimal text that is this number again; without an exponent from 0.0001 up to 10^15.
// "NaN", as IEEE 754 calls it, for a missing number.
std::string NumberInWords(double number);
// The number as it would be typed, or the string in quotes.
std::string ValueInWords(const DataValue& value);
// {source = "form" "page 2"}, or "none"
std::string AttributesInWords(const VariableAttributes& attributes);

// One property in which two definitions of a variable differ.
struct Difference {
  const char* what;  // "label"
  std::string from;  // in words
  std::string to;
};

// All of them, identifiers left out, in the order in which ORVX_Variable has them.
std::vector<Difference> Differences(const ORVX_Variable& before, const ORVX_Variable& after);

}  // namespace sdmsh

#endif  // SDMSH_VARIABLEWORDS_H_
