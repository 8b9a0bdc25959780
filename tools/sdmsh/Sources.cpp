#include "Sources.h"

#include "Arguments.h"
#include "Output.h"

#include <libdatasrc/SystemFileDataSource.h>

#include <functional>

namespace sdmsh {

ImportOptions TakeImportOptions(Arguments& arguments) {
  ImportOptions options;
  for (;;) {
    if (arguments.Accept("delimiter")) {
      const std::size_t word = arguments.TakeOneOf({"comma", "tab", "semicolon", "bar", "space"});
      options.delimiter = ",\t;| "[word];
    } else if (arguments.Accept("decimal")) {
      options.decimalMark = ".,"[arguments.TakeOneOf({"point", "comma"})];
    } else if (arguments.Accept("encoding")) {
      options.encoding = arguments.Take("ENCODING");
    } else {
      return options;
    }
  }
}

std::unique_ptr<SystemFileDataSource> OpenDataFile(Output& output, const std::string& file,
                                                   const ImportOptions& options) {
  ProgressBar bar(output);
  return SystemFileDataSource::Open(file, options, std::ref(bar));
}

}  // namespace sdmsh
