// SvrBootstrapSpecs: the settings of a bootstrap resampling run, attached to a dataset.
//
//   SvrBootstrapSpecs specs;
//   specs.SetSamplingMethod(SvrBootstrapSpecs::Stratified);
//   specs.SetStrataVarList({3, 7});
//   specs.Display(std::cout);

#ifndef SERVERDATAMANAGER_SVRBOOTSTRAPSPECS_H_
#define SERVERDATAMANAGER_SVRBOOTSTRAPSPECS_H_

#include <cstdint>
#include <iosfwd>
#include <utility>
#include <vector>

#include <ServerDataManager/Export.h>

// Setters do not validate: they store any value, even unknown enumerators and negative numbers.
// Variables are identified by their index in the dictionary.
//
// Threads: a plain value; an object belongs to one thread at a time.
class SDM_EXPORT SvrBootstrapSpecs {
 public:
  enum SampMethods : int { Simple = 0, Stratified = 1, Residual = 2, Wild = 3 };
  enum CITypes : int { Percentile = 0, BCA = 1 };

  // Simple sampling, no variables, a 95 % percentile interval, 1000 samples, user-missing values
  // excluded.
  SvrBootstrapSpecs();
  ~SvrBootstrapSpecs();
  SvrBootstrapSpecs(const SvrBootstrapSpecs&) = default;
  SvrBootstrapSpecs& operator=(const SvrBootstrapSpecs&) = default;

  void SetSamplingMethod(SampMethods method);
  SampMethods GetSamplingMethod() const;

  // Each list setter copies or moves its argument. A copying setter accepts the object's own list
  // as its argument.
  void SetStrataVarList(const std::vector<int>& variables);
  void SetStrataVarList(std::vector<int>&& variables);
  const std::vector<int>& GetStrataVarList() const;
  void SetDependVarList(const std::vector<int>& variables);
  void SetDependVarList(std::vector<int>&& variables);
  const std::vector<int>& GetDependVarList() const;
  void SetInputVarList(const std::vector<int>& variables);
  void SetInputVarList(std::vector<int>&& variables);
  const std::vector<int>& GetInputVarList() const;
  void SetPredictedVarList(const std::vector<int>& variables);
  void SetPredictedVarList(std::vector<int>&& variables);
  const std::vector<int>& GetPredictedVarList() const;
  void SetResidualVarList(const std::vector<int>& variables);
  void SetResidualVarList(std::vector<int>&& variables);
  const std::vector<int>& GetResidualVarList() const;

  void SetCILevelPct(double percent);
  double GetCILevelPct() const;
  void SetCIType(CITypes type);
  CITypes GetCIType() const;
  void SetNSamples(int samples);
  int GetNSamples() const;
  void SetExcludeUserMiss(bool exclude);
  bool GetExcludeUserMiss() const;

  // These lists have no setters: change them in place. The library stores and encodes them without
  // interpreting them.
  std::vector<std::uint32_t>& SplitEnds();
  const std::vector<std::uint32_t>& SplitEnds() const;
  std::vector<std::pair<double, std::uint32_t>>& CaseStats();
  const std::vector<std::pair<double, std::uint32_t>>& CaseStats() const;

  // Prints everything but split ends and case statistics, as fourteen lines, some of them empty, in
  // the number format of the stream. Returns `stream`.
  std::ostream& Display(std::ostream& stream) const;

 private:
  // The order of the fields is fixed: other binaries depend on it.
  SampMethods samplingMethod_ = Simple;
  std::vector<int> strataVars_;
  std::vector<int> dependVars_;
  std::vector<int> inputVars_;
  std::vector<int> predictedVars_;
  std::vector<int> residualVars_;
  std::vector<std::uint32_t> splitEnds_;
  std::vector<std::pair<double, std::uint32_t>> caseStats_;
  double ciLevelPct_ = 95.0;
  CITypes ciType_ = Percentile;
  std::int32_t nSamples_ = 1000;
  bool excludeUserMiss_ = true;
};

#endif  // SERVERDATAMANAGER_SVRBOOTSTRAPSPECS_H_
