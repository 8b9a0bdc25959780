// VariableWire: the encoding of a variable in change messages.

#ifndef LIBORVXDEMG_INTERNAL_VARIABLEWIRE_H_
#define LIBORVXDEMG_INTERNAL_VARIABLEWIRE_H_

#include <vector>

#include <libdatasrc/ORVX_Variable.h>

class VStream;

namespace DEMessages {

// SerializeVariable encodes or decodes all fields of a variable. SerializeVariables does so for a
// list: the number of variables, then each variable. Decoding throws VStreamError for an invalid
// field, such as an unknown enumerator, a negative type, the label of a NaN, or value labels or
// attributes that are not in ascending order; the variable or list is then partly decoded. Encoding
// also throws VStreamError for an unknown enumerator.
void SerializeVariable(VStream& stream, ORVX_Variable& variable);
void SerializeVariables(VStream& stream, std::vector<ORVX_Variable>& variables);

}  // namespace DEMessages

#endif  // LIBORVXDEMG_INTERNAL_VARIABLEWIRE_H_
