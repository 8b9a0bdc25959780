// MoveVariable: moves a variable to another position of a dictionary.
//
//   MoveVariable(survey, 2, 0);  // the third variable becomes the first

#ifndef LIBDATASRC_MOVEVARIABLE_H_
#define LIBDATASRC_MOVEVARIABLE_H_

#include <ServerDataManager/Export.h>

class ORVX_DataSource;

// Moves the variable at position `from` to the position `to`. Deletes and inserts the variable,
// then restores weight, filter and split. Identifiers must be unique and not null. Throws
// std::out_of_range for a wrong position and changes nothing. If memory runs out, throws
// std::bad_alloc; the variable may then be missing, or dropped from weight, filter or split.
//
// Threads: as for a non-const operation of ORVX_DataSource.
SDM_EXPORT void MoveVariable(ORVX_DataSource& source, int from, int to);

#endif  // LIBDATASRC_MOVEVARIABLE_H_
