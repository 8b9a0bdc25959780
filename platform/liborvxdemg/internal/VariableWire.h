// VariableWire: the encoding of a variable in change messages.

#ifndef LIBORVXDEMG_INTERNAL_VARIABLEWIRE_H_
#define LIBORVXDEMG_INTERNAL_VARIABLEWIRE_H_

#include <vector>

#include <libdatasrc/ORVX_Variable.h>

class VStream;

namespace DEMessages {

// Encode or decode a variable with all its fields, or a counted list of variables. Decoding throws
// VStreamError for an invalid field, such as an unknown enumerator, a negative type, the label of a
// NaN, or value labels or attributes that are not in ascending order. The variable is then partly
// decoded.
void SerializeVariable(VStream& stream, ORVX_Variable& variable);
void SerializeVariables(VStream& stream, std::vector<ORVX_Variable>& variables);

}  // namespace DEMessages

#endif  // LIBORVXDEMG_INTERNAL_VARIABLEWIRE_H_
