// The extensions that change messages carry, by type. Not for users of the library.

#ifndef CLIENT_INTERNAL_EXTENSIONTYPES_H_
#define CLIENT_INTERNAL_EXTENSIONTYPES_H_

#include <libdatasrc/ORVX_DataSource.h>

// The data source's own block.
inline constexpr ORVX_DataSource::ExtensionType kOwnExtension = 0;

// Text of sets, as MakeExtension writes it, and of attributes, as DatasourceAttributes does.
inline constexpr ORVX_DataSource::ExtensionType kVariableSetsText = 5;
inline constexpr ORVX_DataSource::ExtensionType kMRSetsText = 7;
inline constexpr ORVX_DataSource::ExtensionType kAttributesText = 17;
inline constexpr ORVX_DataSource::ExtensionType kMRSetsExtendedText = 19;

#endif  // CLIENT_INTERNAL_EXTENSIONTYPES_H_
