#include "Sources.h"

#include "Arguments.h"
#include "CommandError.h"
#include "Output.h"

#include <libdatasrc/DataFreeDataSource.h>
#include <libdatasrc/ObsIterator.h>
#include <libdatasrc/ObsProjector.h>
#include <libdatasrc/SystemFileDataSource.h>

#include <functional>

namespace sdmsh {
namespace {

class BlankRows final : public ObsIterator {
 public:
  BlankRows(const ORVX_DataSource& dictionary, long long count, OBS* area)
      : blank_(DataFreeDataSource(), dictionary), left_(count), area_(area) {}

  bool Next() override {
    GiveUpIfInterrupted();  // per row: a filtered source may skip all rows in one Next()
    if (left_ == 0) return false;
    --left_;
    blank_.Project(/*from=*/nullptr, area_);
    return true;
  }

 private:
  const ObsProjector blank_;  // its input has no variables, so each value is blank
  long long left_;
  OBS* const area_;
};

}  // namespace

BlankCases::BlankCases(const ORVX_DataSource& dictionary, long long rowCount)
    : rowCount_(rowCount) {
  CopyDictionary(&dictionary);
}

ObsIterator* BlankCases::MakeIterator(OBS* area) const {
  return new BlankRows(*this, rowCount_, area);
}

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
