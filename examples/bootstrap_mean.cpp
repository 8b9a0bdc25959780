// Bootstraps the mean of one variable. Several threads draw resamples. Each thread has its own
// clone over the same cases, and receives the bootstrap specification as bytes.
//
//   bootstrap_mean examples/data/survey.tsv age

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <exception>
#include <future>
#include <memory>
#include <numeric>
#include <random>
#include <stdexcept>
#include <string>
#include <variant>
#include <vector>

#include <libdatasrc/CaseReader.h>
#include <libdatasrc/Summary.h>
#include <libdatasrc/SystemFileDataSource.h>
#include <ServerDataManager/SvrBootstrapSpecs.h>
#include <ServerDataManager/SvrBootstrapSpecsSerializer.h>
#include <ServerDataManager/SvrDMCloneDataSource.h>

namespace {

constexpr int kThreads = 4;

int PositionOfNumber(const ORVX_DataSource& source, const std::string& name) {
  for (int position = 0; position < source.ColumnCount(); ++position) {
    const ORVX_Variable& variable = source.GetVariable(position);
    if (variable.GetName() == name && variable.GetType() == 0) return position;
  }
  throw std::runtime_error("no numeric variable " + name);
}

// Deletes all variables except the variable at `position` from the clone's dictionary. The rows do
// not change.
void KeepOnly(int position, SvrDMCloneDataSource& clone) {
  clone.DeleteVariables(position + 1, clone.ColumnCount() - 1);
  clone.DeleteVariables(0, position - 1);
}

// The values of the only variable, without missing numbers and, if `excludeUserMiss`, without the
// values that the variable declares missing.
std::vector<double> Values(const SvrDMCloneDataSource& clone, bool excludeUserMiss) {
  const ORVX_Variable& variable = clone.GetVariable(0);
  std::vector<double> values;
  for (CaseReader cases(clone); cases.Next();) {
    const DataValue value = cases.Values().front();
    const double number = std::get<double>(value);
    const bool isMissing =
        excludeUserMiss ? Summary::IsMissing(variable, value) : std::isnan(number);
    if (!isMissing) values.push_back(number);
  }
  if (values.empty()) throw std::runtime_error("every case is missing");
  return values;
}

double Mean(const std::vector<double>& values) {
  return std::accumulate(values.begin(), values.end(), 0.0) / static_cast<double>(values.size());
}

SvrBootstrapSpecs ReadSpecs(const std::string& bytes) {
  if (!SvrBootstrapSpecsSerializer::checkSpecs(bytes).IsWhole()) {
    throw std::runtime_error("invalid bootstrap specification");
  }
  SvrBootstrapSpecs specs;
  SvrBootstrapSpecsSerializer::deserializeSpecs(bytes, specs);
  return specs;
}

// Draws this thread's share of the resamples and returns their means.
std::vector<double> MeansOfResamples(SvrDMCloneDataSource clone, const std::string& bytes,
                                     int thread) {
  const SvrBootstrapSpecs specs = ReadSpecs(bytes);
  KeepOnly(specs.GetInputVarList().front(), clone);
  const std::vector<double> values = Values(clone, specs.GetExcludeUserMiss());
  std::mt19937_64 random(static_cast<unsigned long long>(thread));
  std::vector<double> means;
  for (int sample = thread; sample < specs.GetNSamples(); sample += kThreads) {
    double sum = 0;
    for (std::size_t drawn = 0; drawn < values.size(); ++drawn) {
      sum += values[random() % values.size()];
    }
    means.push_back(sum / static_cast<double>(values.size()));
  }
  return means;
}

// Returns the means of all resamples, in ascending order. Several threads draw the resamples.
std::vector<double> SortedMeans(const SvrDMCloneDataSource& clone, const std::string& bytes) {
  std::vector<std::future<std::vector<double>>> shares;
  for (int thread = 0; thread < kThreads; ++thread) {
    shares.push_back(std::async(std::launch::async, MeansOfResamples, clone, bytes, thread));
  }
  std::vector<double> means;
  for (auto& share : shares) {
    const std::vector<double> some = share.get();
    means.insert(means.end(), some.begin(), some.end());
  }
  std::sort(means.begin(), means.end());
  return means;
}

// This example supports only simple sampling and percentile intervals.
void Run(const std::string& file, const std::string& name) {
  const auto clone = SvrDMCloneDataSource::Adopt(SystemFileDataSource::Open(file));
  const int position = PositionOfNumber(*clone, name);
  SvrBootstrapSpecs specs;
  specs.SetInputVarList({position});
  std::string bytes;
  SvrBootstrapSpecsSerializer::serializeSpecs(specs, bytes);

  const std::vector<double> means = SortedMeans(*clone, bytes);
  const double tail = (100 - specs.GetCILevelPct()) / 200;
  const auto cut = static_cast<std::size_t>(tail * static_cast<double>(means.size()));
  KeepOnly(position, *clone);
  std::printf("%s: mean %.2f, %g %% interval from %.2f to %.2f (%d resamples)\n", name.c_str(),
              Mean(Values(*clone, specs.GetExcludeUserMiss())), specs.GetCILevelPct(), means[cut],
              means[means.size() - 1 - cut], specs.GetNSamples());
}

}  // namespace

int main(int argumentCount, char** arguments) {
  if (argumentCount != 3) {
    std::fprintf(stderr, "usage: bootstrap_mean FILE VARIABLE\n");
    return 2;
  }
  try {
    Run(arguments[1], arguments[2]);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "bootstrap_mean: %s\n", error.what());
    return 1;
  }
}
