// The variables of a dictionary: all of them, or those whose names a command gives.

#ifndef SDMSH_VARIABLES_H_
#define SDMSH_VARIABLES_H_

#include <libdatasrc/ORVX_Variable.h>

#include <string>
#include <vector>

class ORVX_DataSource;

namespace sdmsh {

// Copies of all of them, in their order.
std::vector<ORVX_Variable> VariablesOf(const ORVX_DataSource& source);

// Positions from 0. Each operation refuses, with CommandError, a name that no variable has; names
// are told apart exactly.
int PositionOf(const ORVX_DataSource& source, const std::string& name);
// Refuses a string, too. `does` says for the error what the number is for: "weights cases".
int NumberPositionOf(const ORVX_DataSource& source, const std::string& name,
                     const std::string& does);
// Refuses a name that stands twice, too.
std::vector<int> PositionsOf(const ORVX_DataSource& source, const std::vector<std::string>& names);

// Refuses an empty name, and one that a variable has.
void RefuseTakenName(const ORVX_DataSource& source, const std::string& name);

}  // namespace sdmsh

#endif  // SDMSH_VARIABLES_H_
