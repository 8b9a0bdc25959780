#include <libdatasrc/internal/DataFile.h>
#include <libdatasrc/SystemFileDataSource.h>

using namespace sdm_internal;

SystemFileDataSource::SystemFileDataSource(CaseTable cases) : MemoryDataSource(std::move(cases)) {}

SystemFileDataSource::~SystemFileDataSource() = default;

std::unique_ptr<SystemFileDataSource> SystemFileDataSource::Open(
    const std::string& path, const std::function<void()>& check) {
  DataFile file = ReadDataFile(path, check);
  std::unique_ptr<SystemFileDataSource> source(new SystemFileDataSource(std::move(file.cases)));
  for (const ORVX_Variable& variable : file.variables) source->MakeVariable(variable, nullptr);
  if (file.label) source->SetLabel(file.label->c_str());
  source->SetFileSpec(path.c_str());
  return source;
}
