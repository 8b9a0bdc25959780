// Agreement: whether a client's dictionary is the server's, looked at field by field.

#ifndef TESTS_SUPPORT_AGREEMENT_H_
#define TESTS_SUPPORT_AGREEMENT_H_

#include <libdatasrc/ORVX_DataSource.h>

#include <string>
#include <vector>

namespace support {

// In order and in full.
bool HaveTheSameVariables(const ORVX_DataSource& source, const ORVX_DataSource& mirror);

// In everything that messages carry in full, and a digest covers. One line for each thing that
// differs; "" where nothing does.
std::string DifferencesBetween(const ORVX_DataSource& source, const ORVX_DataSource& mirror);

// In everything else that a mirror can hold, of extensions in those of `types`.
std::string DifferencesBesideTheDigest(const ORVX_DataSource& source, const ORVX_DataSource& mirror,
                                       const std::vector<ORVX_DataSource::ExtensionType>& types);

}  // namespace support

#endif  // TESTS_SUPPORT_AGREEMENT_H_
