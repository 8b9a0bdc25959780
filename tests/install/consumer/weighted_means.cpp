// Prints the weighted mean of each numeric variable of a data file, which is read under the
// dataset's read lock.
//
//   weighted_means FILE WEIGHT_VARIABLE

#include <cmath>
#include <cstddef>
#include <cstdio>
#include <exception>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <libdatasrc/OBS.h>
#include <libdatasrc/ObsIterator.h>
#include <libdatasrc/SystemFileDataSource.h>
#include <ServerDataManager/serverdatamgr.h>
#include <ServerDataManager/SvrDMInputDataSource.h>
#include <ServerDataManager/SvrDMWriteableDataSource.h>

namespace {

struct Mean {
  std::string name;
  std::size_t cell;  // the index of the first cell in the row
  double sum = 0;
  double weights = 0;
};

std::vector<Mean> NumericVariables(const ORVX_DataSource& source) {
  std::vector<Mean> means;
  std::size_t cell = 0;
  for (int i = 0; i < source.ColumnCount(); ++i) {
    const ORVX_Variable& variable = source.GetVariable(i);
    const auto width = static_cast<std::size_t>(variable.GetType());
    if (width == 0) means.push_back({.name = variable.GetName(), .cell = cell});
    cell += width == 0 ? 1 : (width + sizeof(OBS) - 1) / sizeof(OBS);
  }
  return means;
}

std::size_t WeightCell(const ORVX_DataSource& source, const std::vector<Mean>& numeric) {
  const int position = source.GetWeightVarIndex();
  if (position == -1) throw std::runtime_error("the dataset has no weight");
  const std::string& name = source.GetVariable(position).GetName();
  for (const Mean& mean : numeric) {
    if (mean.name == name) return mean.cell;
  }
  throw std::runtime_error("the weight is no number");
}

std::vector<Mean> WeightedMeans(LocallyUniqueID dataset) {
  const SvrDMInputDataSource reader(dataset, /*tryOnly=*/false);
  const ORVX_DataSource& source = **reader;
  std::vector<Mean> means = NumericVariables(source);
  const std::size_t weightCell = WeightCell(source, means);

  std::vector<OBS> row(static_cast<std::size_t>(source.GetObsAreaSize()));
  const std::unique_ptr<ObsIterator> rows(source.MakeIterator(row.data()));
  while (rows->Next()) {
    const double weight = row[weightCell].number;
    if (!(weight > 0)) continue;  // a missing, zero or negative weight
    for (Mean& mean : means) {
      const double value = row[mean.cell].number;
      if (std::isnan(value)) continue;
      mean.sum += weight * value;
      mean.weights += weight;
    }
  }
  return means;
}

void SetWeight(LocallyUniqueID dataset, const std::string& name) {
  const SvrDMWriteableDataSource writer(dataset, /*tryOnly=*/false, /*originator=*/nullptr);
  for (int i = 0; i < writer->ColumnCount(); ++i) {
    if (writer->GetVariable(i).GetName() == name) writer->SetWeightVar(i);
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: weighted_means FILE WEIGHT_VARIABLE\n");
    return 2;
  }
  try {
    ServerDataManager& registry = ServerDataManager::GetInstance();
    const LocallyUniqueID dataset =
        registry.Add(SystemFileDataSource::Open(argv[1]), argv[1], /*quiet=*/false);
    SetWeight(dataset, argv[2]);
    for (const Mean& mean : WeightedMeans(dataset)) {
      std::printf("%s %.4f\n", mean.name.c_str(), mean.sum / mean.weights);
    }
  } catch (const std::exception& error) {
    std::fprintf(stderr, "weighted_means: %s\n", error.what());
    return 1;
  }
}
