// Agreement: whether a client's dictionary is the server's in everything that messages carry,
// looked at field by field.

#ifndef TESTS_PROPERTY_AGREEMENT_H_
#define TESTS_PROPERTY_AGREEMENT_H_

#include <libdatasrc/ORVX_DataSource.h>

#include <string>

// In order and in full.
bool HaveTheSameVariables(const ORVX_DataSource& source, const ORVX_DataSource& mirror);

// One line for each thing that differs; "" where nothing does.
std::string DifferencesBetween(const ORVX_DataSource& source, const ORVX_DataSource& mirror);

#endif  // TESTS_PROPERTY_AGREEMENT_H_
