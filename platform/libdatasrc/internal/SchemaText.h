// The schema that is saved beside a data file.

#ifndef LIBDATASRC_INTERNAL_SCHEMATEXT_H_
#define LIBDATASRC_INTERNAL_SCHEMATEXT_H_

#include <string>

class ORVX_DataSource;

namespace sdm_internal {

// The dictionary of `source` as a Frictionless Table Schema. Throws std::invalid_argument for a
// variable without a name, for two variables with the same name, for a format with a negative width
// or decimals, and for a text that is not UTF-8.
std::string SchemaText(const ORVX_DataSource& source);

}  // namespace sdm_internal

#endif  // LIBDATASRC_INTERNAL_SCHEMATEXT_H_
