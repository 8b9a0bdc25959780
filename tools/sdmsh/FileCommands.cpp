// The commands on the data file of a dataset.

#include "Arguments.h"
#include "CommandError.h"
#include "Commands.h"
#include "Shell.h"

#include <libdatasrc/SystemFileDataSource.h>
#include <liborvxdemg/DictionaryText.h>
#include <ServerDataManager/SaveDataset.h>
#include <ServerDataManager/serverdatamgr.h>
#include <ServerDataManager/SvrDMWriteableDataSource.h>

#include <functional>

namespace sdmsh {
namespace {

// The data file that a source reads, directly or through clones and filtered sources; null if there
// is none. `source` may be null.
const SystemFileDataSource* DataFileUnder(const ORVX_DataSource* source) {
  while (source != nullptr) {
    source = source->RowLayout();  // the source itself, or the source below a clone
    if (source == nullptr) return nullptr;
    if (const auto* const file = dynamic_cast<const SystemFileDataSource*>(source)) return file;
    source = source->GetParentSource();
  }
  return nullptr;
}

// If `fileOrDataset` is the file name of a dataset, returns that file name. Otherwise
// `fileOrDataset` must name a dataset; returns the file name of that dataset.
std::string FileMeant(const Shell& shell, const Caller& caller, const std::string& fileOrDataset) {
  for (const DatasetPtr& dataset : shell.Datasets()) {
    const std::string file = dataset->Handle().GetFileName();
    if (!file.empty() && SameName(file, fileOrDataset)) return file;
  }
  const DatasetPtr dataset = shell.Find(caller, fileOrDataset);
  const std::string file = dataset->Handle().GetFileName();
  if (file.empty()) throw CommandError(dataset->Name() + " has no file");
  return file;
}

// Refuses to replace changes that another program made to the file.
void RefuseTouched(const Call& call, const std::string& file) {
  if (!call.shell.Registry().SavFileExternallyChanged(file)) return;
  const std::string name = call.dataset->Name();
  throw CommandError(file + " was changed by another program; " +
                     CommandText(call.caller.Name(), {"save", name, "as", file}) +
                     " replaces it all the same");
}

// Returns the delimiter for saving the dataset over `file`: the delimiter with which the shell last
// opened or saved `file`. Returns 0, with which the name of the file determines the delimiter, in
// three cases: if the name ends with .tsv or .tab, if the shell has neither opened nor saved
// `file`, and if the delimiter is a space, because a file cannot be saved with spaces.
char KeptDelimiter(const OpenDataset& dataset, const std::string& file) {
  if (file.ends_with(".tsv") || file.ends_with(".tab")) return 0;
  const char delimiter = dataset.DelimiterOf(file);
  return delimiter == ' ' ? '\0' : delimiter;
}

}  // namespace

void ShowImport(Call& call) {
  const SvrDMInputDataSource& reader = call.Reader();
  const SystemFileDataSource* const file = DataFileUnder(*reader);
  if (file == nullptr) {
    throw CommandError("the data source of " + call.dataset->Name() + " does not read a data file");
  }
  const ImportReport& report = file->Report();
  call.Show(
      "import", [&] { return WithoutLastLineFeed(report.Text()); },
      [&] { return Json::parse(report.Json()); });
}

void SaveFile(Call& call) {
  const std::string newFile = call.Accept("as") ? call.TakeFile() : "";
  const char wanted = call.Accept("delimiter")
                          ? ",\t;|"[call.TakeOneOf({"comma", "tab", "semicolon", "bar"})]
                          : '\0';
  SvrDMWriteableDataSource& writer = call.Writer();
  const std::string name = call.dataset->Name();
  const std::string file = newFile.empty() ? writer.GetFileName() : newFile;
  if (file.empty()) {
    throw CommandError(name + " has no file; " +
                       CommandText(call.caller.Name(), {"save", name, "as", "FILE"}) +
                       " gives it one");
  }
  if (newFile.empty()) RefuseTouched(call, file);
  SaveOptions options = {wanted};
  if (wanted == 0 && newFile.empty()) options.delimiter = KeptDelimiter(*call.dataset, file);
  {
    ProgressBar bar(call.shell.Out());
    SaveDataset(writer, file, options, std::ref(bar));
  }
  call.dataset->SetDelimiter(file, options.delimiter);
  call.Say("saved", name + " is saved in " + file,
           {{"file", file}, {"cases", RowCountInJson(writer->RowCount())}});
}

void SetFileName(Call& call) {
  const std::string file = call.Take("FILE");
  call.End();
  call.dataset->Handle().SetFileName(file);
}

void AskWhetherTouched(Call& call) {
  const std::string fileOrDataset = call.Take("FILE or DATASET");
  call.End();
  const std::string file = FileMeant(call.shell, call.caller, fileOrDataset);
  const bool touched = call.shell.Registry().SavFileExternallyChanged(file);
  call.shell.Out().Say(file + (touched ? " was" : " was not") + " changed by another program",
                       [&]() -> Json {
                         return {{"event", "touched"}, {"file", file}, {"touched", touched}};
                       });
}

}  // namespace sdmsh
