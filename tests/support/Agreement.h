// Agreement: compares the dictionary of a client with the dictionary of the server, field by field.

#ifndef TESTS_SUPPORT_AGREEMENT_H_
#define TESTS_SUPPORT_AGREEMENT_H_

#include <libdatasrc/ORVX_DataSource.h>

#include <string>
#include <vector>

namespace support {

// Whether `source` and `mirror` have the same variables, with equal definitions, in the same order.
bool HaveTheSameVariables(const ORVX_DataSource& source, const ORVX_DataSource& mirror);

// Compares everything that digests include. Returns the differences as text; "" if there are none.
std::string DifferencesBetween(const ORVX_DataSource& source, const ORVX_DataSource& mirror);

// Compares properties that digests exclude: the file specification, the rows per imputation, and
// the extensions of the given `types`. Returns the differences as text; "" if there are none.
std::string DifferencesBesideTheDigest(const ORVX_DataSource& source, const ORVX_DataSource& mirror,
                                       const std::vector<ORVX_DataSource::ExtensionType>& types);

}  // namespace support

#endif  // TESTS_SUPPORT_AGREEMENT_H_
