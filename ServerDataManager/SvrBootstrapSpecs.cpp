#include <ServerDataManager/SvrBootstrapSpecs.h>

#include <ostream>
#include <utility>

namespace {

const char* DisplayWord(SvrBootstrapSpecs::SampMethods method) {
  switch (method) {
    case SvrBootstrapSpecs::Simple:
      return "Simple";
    case SvrBootstrapSpecs::Stratified:
      return "Stratified";
    case SvrBootstrapSpecs::Residual:
      return "Residual";
    case SvrBootstrapSpecs::Wild:
      return "Wild";
  }
  return "unknown";
}

const char* DisplayWord(SvrBootstrapSpecs::CITypes type) {
  switch (type) {
    case SvrBootstrapSpecs::Percentile:
      return "Percentile";
    case SvrBootstrapSpecs::BCA:
      return "BCA";
  }
  return "unknown";
}

// `label` must not end with a blank, because a blank is printed before each element.
void DisplayList(std::ostream& stream, const char* label, const std::vector<int>& variables) {
  stream << label;
  for (const int variable : variables) stream << " " << variable;
  if (variables.empty()) stream << " none";
  stream << std::endl;
}

}  // namespace

SvrBootstrapSpecs::SvrBootstrapSpecs() = default;

SvrBootstrapSpecs::~SvrBootstrapSpecs() = default;

void SvrBootstrapSpecs::SetSamplingMethod(SampMethods method) {
  samplingMethod_ = method;
}

SvrBootstrapSpecs::SampMethods SvrBootstrapSpecs::GetSamplingMethod() const {
  return samplingMethod_;
}

void SvrBootstrapSpecs::SetStrataVarList(const std::vector<int>& variables) {
  strataVars_ = variables;
}
void SvrBootstrapSpecs::SetStrataVarList(std::vector<int>&& variables) {
  strataVars_ = std::move(variables);
}

const std::vector<int>& SvrBootstrapSpecs::GetStrataVarList() const {
  return strataVars_;
}

void SvrBootstrapSpecs::SetDependVarList(const std::vector<int>& variables) {
  dependVars_ = variables;
}
void SvrBootstrapSpecs::SetDependVarList(std::vector<int>&& variables) {
  dependVars_ = std::move(variables);
}

const std::vector<int>& SvrBootstrapSpecs::GetDependVarList() const {
  return dependVars_;
}

void SvrBootstrapSpecs::SetInputVarList(const std::vector<int>& variables) {
  inputVars_ = variables;
}
void SvrBootstrapSpecs::SetInputVarList(std::vector<int>&& variables) {
  inputVars_ = std::move(variables);
}

const std::vector<int>& SvrBootstrapSpecs::GetInputVarList() const {
  return inputVars_;
}

void SvrBootstrapSpecs::SetPredictedVarList(const std::vector<int>& variables) {
  predictedVars_ = variables;
}
void SvrBootstrapSpecs::SetPredictedVarList(std::vector<int>&& variables) {
  predictedVars_ = std::move(variables);
}

const std::vector<int>& SvrBootstrapSpecs::GetPredictedVarList() const {
  return predictedVars_;
}

void SvrBootstrapSpecs::SetResidualVarList(const std::vector<int>& variables) {
  residualVars_ = variables;
}
void SvrBootstrapSpecs::SetResidualVarList(std::vector<int>&& variables) {
  residualVars_ = std::move(variables);
}

const std::vector<int>& SvrBootstrapSpecs::GetResidualVarList() const {
  return residualVars_;
}

void SvrBootstrapSpecs::SetCILevelPct(double percent) {
  ciLevelPct_ = percent;
}

double SvrBootstrapSpecs::GetCILevelPct() const {
  return ciLevelPct_;
}

void SvrBootstrapSpecs::SetCIType(CITypes type) {
  ciType_ = type;
}

SvrBootstrapSpecs::CITypes SvrBootstrapSpecs::GetCIType() const {
  return ciType_;
}

void SvrBootstrapSpecs::SetNSamples(int samples) {
  nSamples_ = samples;
}

int SvrBootstrapSpecs::GetNSamples() const {
  return nSamples_;
}

void SvrBootstrapSpecs::SetExcludeUserMiss(bool exclude) {
  excludeUserMiss_ = exclude;
}

bool SvrBootstrapSpecs::GetExcludeUserMiss() const {
  return excludeUserMiss_;
}

std::vector<std::uint32_t>& SvrBootstrapSpecs::SplitEnds() {
  return splitEnds_;
}

const std::vector<std::uint32_t>& SvrBootstrapSpecs::SplitEnds() const {
  return splitEnds_;
}

std::vector<std::pair<double, std::uint32_t>>& SvrBootstrapSpecs::CaseStats() {
  return caseStats_;
}

const std::vector<std::pair<double, std::uint32_t>>& SvrBootstrapSpecs::CaseStats() const {
  return caseStats_;
}

std::ostream& SvrBootstrapSpecs::Display(std::ostream& stream) const {
  stream << "Start displaying Bootstrap Specifications\n\n";
  stream << "Sampling Method = " << DisplayWord(samplingMethod_) << std::endl;
  DisplayList(stream, "Strata Variables =", strataVars_);
  DisplayList(stream, "Dependent Variables =", dependVars_);
  DisplayList(stream, "Input Variables =", inputVars_);
  DisplayList(stream, "Predicted Value Variables =", predictedVars_);
  DisplayList(stream, "Residual Value Variables =", residualVars_);
  stream << "Confidence Interval Level as percent = " << ciLevelPct_ << std::endl;
  stream << "Confidence Interval Type = " << DisplayWord(ciType_) << std::endl;
  stream << "Number of samples = " << nSamples_ << std::endl;
  stream << (excludeUserMiss_ ? "User-missing variable values are excluded\n"
                              : "User-missing variable values are included\n");
  return stream << "\nEnd displaying Bootstrap Specifications\n";
}
