// Sources: opens data files as data sources.

#ifndef SDMSH_SOURCES_H_
#define SDMSH_SOURCES_H_

#include <libdatasrc/ImportOptions.h>

#include <memory>
#include <string>

class SystemFileDataSource;

namespace sdmsh {

class Arguments;
class Output;

// Takes "delimiter WORD", "decimal WORD" and "encoding NAME", in any order, or nothing.
ImportOptions TakeImportOptions(Arguments& arguments);

// Opens a data file, with a progress bar. Throws what SystemFileDataSource::Open throws, and
// CommandError after ctrl-C.
std::unique_ptr<SystemFileDataSource> OpenDataFile(Output& output, const std::string& file,
                                                   const ImportOptions& options);

}  // namespace sdmsh

#endif  // SDMSH_SOURCES_H_
