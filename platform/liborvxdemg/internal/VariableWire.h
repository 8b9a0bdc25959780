// VariableWire: the wire form of a variable, as the change messages carry it. Not for users of the
// library.

#ifndef LIBORVXDEMG_INTERNAL_VARIABLEWIRE_H_
#define LIBORVXDEMG_INTERNAL_VARIABLEWIRE_H_

#include <vector>

#include <libdatasrc/ORVX_Variable.h>

class VStream;

namespace DEMessages {

// Transfer a variable with all its fields, and a counted list of them. Reading throws VStreamError
// where a field cannot be: an unknown enumerator, a negative type, or value labels or attributes
// that do not ascend by value or name. The variable is then read in part.
void SerializeVariable(VStream& stream, ORVX_Variable& variable);
void SerializeVariables(VStream& stream, std::vector<ORVX_Variable>& variables);

}  // namespace DEMessages

#endif  // LIBORVXDEMG_INTERNAL_VARIABLEWIRE_H_
