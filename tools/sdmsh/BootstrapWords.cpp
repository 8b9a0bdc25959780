// Bootstrap specifications in words.

#include "BootstrapWords.h"

namespace sdmsh {
namespace {

const char* NameOf(std::int32_t value, const std::vector<const char*>& names) {
  const auto index = static_cast<std::size_t>(value);  // a huge one for a negative value
  return index < names.size() ? names[index] : nullptr;
}

}  // namespace

const std::vector<const char*>& SamplingMethodWords() {
  static const std::vector<const char*> words = {"simple", "stratified", "residual", "wild"};
  return words;
}

const std::vector<const char*>& IntervalWords() {
  static const std::vector<const char*> words = {"percentile", "bca"};
  return words;
}

const char* SamplingMethodInWords(SvrBootstrapSpecs::SampMethods method) {
  return NameOf(method, SamplingMethodWords());
}

const char* IntervalInWords(SvrBootstrapSpecs::CITypes interval) {
  return NameOf(interval, IntervalWords());
}

}  // namespace sdmsh
