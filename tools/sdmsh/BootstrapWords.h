// How the shell speaks of bootstrap specifications.

#ifndef SDMSH_BOOTSTRAPWORDS_H_
#define SDMSH_BOOTSTRAPWORDS_H_

#include <ServerDataManager/SvrBootstrapSpecs.h>
#include <ServerDataManager/SvrBootstrapSpecsSerializer.h>

#include <string>
#include <vector>

namespace sdmsh {

// The words that users type, in the order of the enumerators, from 0.
const std::vector<const char*>& SamplingMethodWords();
const std::vector<const char*>& IntervalWords();

// "stratified"; null for a value that has no word.
const char* SamplingMethodInWords(SvrBootstrapSpecs::SampMethods method);
// "percentile"; likewise.
const char* IntervalInWords(SvrBootstrapSpecs::CITypes interval);

// "it ends before the field at offset 50 does": what is wrong with bytes that hold no whole
// bootstrap specification.
std::string FindingInWords(const SvrBootstrapSpecsSerializer::Check& check);

}  // namespace sdmsh

#endif  // SDMSH_BOOTSTRAPWORDS_H_
