// What else a writer can do with its dataset.

#include "Arguments.h"
#include "BlankCases.h"
#include "CommandError.h"
#include "Commands.h"
#include "Interrupt.h"
#include "Shell.h"
#include "Variables.h"
#include "Writing.h"

#include <libdatasrc/DataFreeDataSource.h>
#include <libdatasrc/FilteredDataSource.h>
#include <libdatasrc/SystemFileDataSource.h>

#include <memory>
#include <utility>

namespace sdmsh {
namespace {

std::unique_ptr<ORVX_DataSource> BlankCasesOf(const OpenDataset& dataset,
                                              const ORVX_DataSource* source, int count) {
  if (source == nullptr) throw CommandError(dataset.Name() + " has no dictionary to keep");
  return std::make_unique<BlankCases>(*source, count);
}

// On top of the present source, which stays with the dataset.
std::unique_ptr<ORVX_DataSource> CasesSelectedBy(const std::string& name, ORVX_DataSource& source) {
  const ORVX_Variable& selector =
      source.GetVariable(NumberPositionOf(source, name, "selects cases"));
  auto selected = std::make_unique<FilteredDataSource>(&source, selector.GetID());
  selected->SetDirty(source.IsDirty());  // no part of the dictionary
  return selected;
}

}  // namespace

void ReplaceSource(Shell& shell, Caller& caller, Arguments& arguments) {
  const DatasetPtr dataset = shell.Find(caller, arguments.Take("DATASET"));
  enum { kFile, kBlank, kDictionary, kFiltered, kNone };
  const std::size_t kind = arguments.TakeOneOf({"file", "blank", "dictionary", "filtered", "none"});
  const std::string file = kind == kFile ? arguments.TakeFile() : "";
  const int caseCount = kind == kBlank ? arguments.TakeNumber("COUNT") : 0;
  if (kind == kFiltered) arguments.Expect("by");
  const std::string selector = kind == kFiltered ? arguments.Take("VARIABLE") : "";
  arguments.End();

  Write(caller, *dataset, [&](SvrDMWriteableDataSource& writer) {
    std::unique_ptr<ORVX_DataSource> source;
    if (kind == kFile) source = SystemFileDataSource::Open(file, GiveUpIfInterrupted);
    if (kind == kBlank) source = BlankCasesOf(*dataset, *writer, caseCount);
    if (kind == kDictionary) source = std::make_unique<DataFreeDataSource>();
    if (kind == kFiltered) source = CasesSelectedBy(selector, SourceOf(writer, *dataset));
    writer.SetDataSet(std::move(source));
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
