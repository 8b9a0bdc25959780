#include <libdatasrc/internal/DataFile.h>
#include <libdatasrc/SystemFileDataSource.h>

using namespace sdm_internal;

SystemFileDataSource::SystemFileDataSource(CaseTable cases, ImportReport report)
    : MemoryDataSource(std::move(cases)), report_(std::move(report)) {}

SystemFileDataSource::~SystemFileDataSource() = default;

std::unique_ptr<SystemFileDataSource> SystemFileDataSource::Open(
    const std::string& path, const std::function<void()>& check) {
  return FromFile(path, ReadDataFile(path, ImportOptions(), {check, {}}));
}

std::unique_ptr<SystemFileDataSource> SystemFileDataSource::Open(const std::string& path,
                                                                 const ImportOptions& options,
                                                                 const Progress& progress) {
  return FromFile(path, ReadDataFile(path, options, {{}, progress}));
}

std::unique_ptr<SystemFileDataSource> SystemFileDataSource::FromFile(const std::string& path,
                                                                     DataFile file) {
  std::unique_ptr<SystemFileDataSource> source(
      new SystemFileDataSource(std::move(file.cases), std::move(file.report)));
  for (const ORVX_Variable& variable : file.variables) source->MakeVariable(variable, nullptr);
  if (file.label) source->SetLabel(file.label->c_str());
  source->SetWeightVar(file.weight);
  source->SetFilterVar(file.filter);
  source->SetSplit(static_cast<unsigned int>(file.split.size()), file.split.data(),
                   file.splitSeparate);
  source->SetAttributes(file.attributes);
  source->SetFileSpec(path.c_str());
  return source;
}
