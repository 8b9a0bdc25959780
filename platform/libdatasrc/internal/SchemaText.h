// The schema that is saved beside a data file.

#ifndef LIBDATASRC_INTERNAL_SCHEMATEXT_H_
#define LIBDATASRC_INTERNAL_SCHEMATEXT_H_

#include <string>

class ORVX_DataSource;

namespace sdm_internal {

// The dictionary of `source` as a Frictionless Table Schema. Throws std::invalid_argument if a
// variable has no name, or the name of another, or if a text is not UTF-8.
std::string SchemaText(const ORVX_DataSource& source);

}  // namespace sdm_internal

#endif  // LIBDATASRC_INTERNAL_SCHEMATEXT_H_
