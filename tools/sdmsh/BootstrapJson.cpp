// Bootstrap specifications in JSON.

#include "BootstrapJson.h"

#include "BootstrapWords.h"
#include "VariableJson.h"

#include <cstdint>

namespace sdmsh {
namespace {

using Check = SvrBootstrapSpecsSerializer::Check;

// The word of an enumerator, or its number where it has none.
Json WordOrNumber(const char* word, std::int32_t number) {
  return word != nullptr ? Json(word) : Json(number);
}

const char* FindingWord(Check::Finding finding) {
  switch (finding) {
    case Check::Finding::Whole:
      return "whole";
    case Check::Finding::Truncated:
      return "truncated";
    case Check::Finding::UnknownVersion:
      return "unknownVersion";
    case Check::Finding::ListTooLong:
      return "listTooLong";
  }
  return "unknown";
}

}  // namespace

Json BootstrapInJson(const std::optional<SvrBootstrapSpecs>& specs) {
  if (!specs) return nullptr;
  Json caseStats = Json::array();
  for (const auto& [value, number] : specs->CaseStats()) {
    caseStats.push_back(Json::array({NumberInJson(value), number}));
  }
  const auto method = specs->GetSamplingMethod();
  const auto interval = specs->GetCIType();
  return {{"method", WordOrNumber(SamplingMethodInWords(method), method)},
          {"strata", specs->GetStrataVarList()},
          {"dependents", specs->GetDependVarList()},
          {"inputs", specs->GetInputVarList()},
          {"predicted", specs->GetPredictedVarList()},
          {"residuals", specs->GetResidualVarList()},
          {"splitEnds", specs->SplitEnds()},
          {"caseStats", caseStats},
          {"level", NumberInJson(specs->GetCILevelPct())},
          {"interval", WordOrNumber(IntervalInWords(interval), interval)},
          {"samples", specs->GetNSamples()},
          {"userMissingExcluded", specs->GetExcludeUserMiss()}};
}

Json CheckInJson(const Check& check) {
  const bool native = check.byteOrder == Check::ByteOrder::Native;
  return {{"finding", FindingWord(check.finding)},
          {"byteOrder", native ? "native" : "swapped"},
          {"size", check.size},
          {"offset", check.offset}};
}

}  // namespace sdmsh
