// What else a writer can do with its dataset.

#include "Arguments.h"
#include "BlankCases.h"
#include "CommandError.h"
#include "Commands.h"
#include "Shell.h"
#include "Writing.h"

#include <libdatasrc/DataFreeDataSource.h>
#include <libdatasrc/SystemFileDataSource.h>

#include <memory>

namespace sdmsh {
namespace {

std::unique_ptr<ORVX_DataSource> BlankCasesOf(const OpenDataset& dataset,
                                              const ORVX_DataSource* source, int count) {
  if (source == nullptr) throw CommandError(dataset.Name() + " has no dictionary to keep");
  return std::make_unique<BlankCases>(*source, count);
}

}  // namespace

void ReplaceSource(Shell& shell, Caller& caller, Arguments& arguments) {
  const DatasetPtr dataset = shell.Find(caller, arguments.Take("DATASET"));
  enum { kFile, kBlank, kDictionary, kNone };
  const std::size_t kind = arguments.TakeOneOf({"file", "blank", "dictionary", "none"});
  const std::string file = kind == kFile ? arguments.Take("FILE") : "";
  const int caseCount = kind == kBlank ? arguments.TakeNumber("COUNT") : 0;
  arguments.End();

  Write(caller, *dataset, [&](SvrDMWriteableDataSource& writer) {
    std::unique_ptr<ORVX_DataSource> source;
    if (kind == kFile) source = SystemFileDataSource::Open(file);
    if (kind == kBlank) source = BlankCasesOf(*dataset, *writer, caseCount);
    if (kind == kDictionary) source = std::make_unique<DataFreeDataSource>();
    writer.SetDataSet(source.release());  // the dataset owns it now
  });
}

void RaiseCaseSequence(Shell& shell, Caller& caller, Arguments& arguments) {
  const DatasetPtr dataset = shell.Find(caller, arguments.Take("DATASET"));
  arguments.End();
  Write(caller, *dataset, [](SvrDMWriteableDataSource& writer) { writer.IncrementCaseSequence(); });
}

void AskForBulkMoves(Shell& shell, Caller& caller, Arguments& arguments) {
  const DatasetPtr dataset = shell.Find(caller, arguments.Take("DATASET"));
  arguments.End();
  Write(caller, *dataset, [](SvrDMWriteableDataSource& writer) { writer.BulkVarMoves(); });
}

}  // namespace sdmsh
