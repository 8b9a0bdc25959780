// Bootstrap specifications in words.

#include "BootstrapWords.h"

#include "Words.h"

namespace sdmsh {

const std::vector<const char*>& SamplingMethodWords() {
  static const std::vector<const char*> words = {"simple", "stratified", "residual", "wild"};
  return words;
}

const std::vector<const char*>& IntervalWords() {
  static const std::vector<const char*> words = {"percentile", "bca"};
  return words;
}

const char* SamplingMethodInWords(SvrBootstrapSpecs::SampMethods method) {
  return WordOf(method, SamplingMethodWords(), nullptr);
}

const char* IntervalInWords(SvrBootstrapSpecs::CITypes interval) {
  return WordOf(interval, IntervalWords(), nullptr);
}

std::string FindingInWords(const SvrBootstrapSpecsSerializer::Check& check) {
  using Finding = SvrBootstrapSpecsSerializer::Check::Finding;
  const std::string offset = " at offset " + std::to_string(check.offset);
  switch (check.finding) {
    case Finding::Whole:
      return "it is whole";
    case Finding::Truncated:
      return "it ends before the field" + offset + " does";
    case Finding::UnknownVersion:
      return "the version" + offset + " is not 1";
    case Finding::ListTooLong:
      return "the number" + offset + " says more elements than there are bytes for";
  }
  return "unknown";
}

}  // namespace sdmsh
