// Variables: finds the variables of a dictionary by name.
//
// "Refuses" means: throws CommandError and changes nothing.

#ifndef SDMSH_VARIABLES_H_
#define SDMSH_VARIABLES_H_

#include <libdatasrc/ORVX_Variable.h>
#include <ServerDataManager/LocallyUniqueID.h>

#include <string>
#include <vector>

class ORVX_DataSource;

namespace sdmsh {

// Copies of all variables, in the order of the source.
std::vector<ORVX_Variable> VariablesOf(const ORVX_DataSource& source);

// The split variables; empty if there is no split.
std::vector<LocallyUniqueID> SplitOf(const ORVX_DataSource& source);

// The position of the variable with this name; -1 if there is none.
int FindByName(const ORVX_DataSource& source, const std::string& name);

// PositionOf, NumberPositionOf and PositionsOf return positions from 0, and refuse a name that no
// variable has. Names are case-sensitive.
int PositionOf(const ORVX_DataSource& source, const std::string& name);
// Also refuses a string variable. `does` is the part of the error text that gives the purpose of
// the variable: "weight cases".
int NumberPositionOf(const ORVX_DataSource& source, const std::string& name,
                     const std::string& does);
// Also refuses a name that occurs twice in `names`.
std::vector<int> PositionsOf(const ORVX_DataSource& source, const std::vector<std::string>& names);

// Refuses an empty name, and a name that a variable of the source has already.
void RefuseTakenName(const ORVX_DataSource& source, const std::string& name);

// Converts a word to a value of the variable: the word itself for a string variable; otherwise a
// decimal number, or a date or time if the format of the variable is for dates or times. Refuses
// any other word, and a string longer than the variable.
DataValue ValueFor(const ORVX_Variable& variable, const std::string& word);

// The value as it is shown: a string as it is, a date or time by the format of the variable, any
// other number as DictionaryText::Number.
std::string ValueText(const ORVX_Variable& variable, const DataValue& value);

}  // namespace sdmsh

#endif  // SDMSH_VARIABLES_H_
