// A dictionary and its mirror, compared word by word.

#include "MirrorWords.h"

#include "DictionaryWords.h"
#include "VariableWords.h"
#include "Words.h"

#include <algorithm>

namespace sdmsh {
namespace {

constexpr const char* kDiffers = "<- differs";

void CompareProperties(const DictionaryFacts& source, const DictionaryFacts& mirror,
                       ComparedRows& rows) {
  const std::vector<Property> there = PropertiesInWords(source);
  const std::vector<Property> here = PropertiesInWords(mirror);
  for (std::size_t i = 0; i < there.size(); ++i) {
    const auto& [name, value, usual, told] = there[i];
    if (value != here[i].value) {
      rows.push_back({name, value, here[i].value, told ? kDiffers : "<- differs; not always told"});
    } else if (usual || value != "none") {
      rows.push_back({name, value, "the same", ""});
    }
  }
}

const ORVX_Variable* FindByID(const std::vector<ORVX_Variable>& variables, LocallyUniqueID id) {
  const auto found =
      std::find_if(variables.begin(), variables.end(),
                   [id](const ORVX_Variable& variable) { return variable.GetID() == id; });
  return found == variables.end() ? nullptr : &*found;
}

std::string NamesInWords(const std::vector<ORVX_Variable>& variables) {
  std::vector<std::string> names;
  for (const ORVX_Variable& variable : variables) names.push_back(Quoted(variable.GetName()));
  return OrNone(Joined(names));
}

// Variables that one side alone has, and those that both have with other definitions.
void CompareVariables(const MirrorComparison& both, ComparedRows& rows) {
  for (const ORVX_Variable& variable : both.source.variables) {
    const std::string name = Quoted(variable.GetName());
    const ORVX_Variable* const mirrored = FindByID(both.mirror.variables, variable.GetID());
    if (mirrored == nullptr) {
      rows.push_back({name, "there", "not there", kDiffers});
      continue;
    }
    for (const Difference& difference : Differences(variable, *mirrored)) {
      rows.push_back({name + " " + difference.what, difference.from, difference.to, kDiffers});
    }
  }
  for (const ORVX_Variable& variable : both.mirror.variables) {
    if (FindByID(both.source.variables, variable.GetID()) != nullptr) continue;
    rows.push_back({Quoted(variable.GetName()), "not there", "there", kDiffers});
  }
}

void CompareOrder(const MirrorComparison& both, ComparedRows& rows) {
  const auto sameID = [](const ORVX_Variable& a, const ORVX_Variable& b) {
    return a.GetID() == b.GetID();
  };
  const std::vector<ORVX_Variable>& source = both.source.variables;
  const std::vector<ORVX_Variable>& mirror = both.mirror.variables;
  if (std::equal(source.begin(), source.end(), mirror.begin(), mirror.end(), sameID)) return;
  if (!std::is_permutation(source.begin(), source.end(), mirror.begin(), mirror.end(), sameID)) {
    return;  // other variables, so of course in another order
  }
  rows.push_back({"order", NamesInWords(source), NamesInWords(mirror), kDiffers});
}

}  // namespace

ComparedRows Compared(const MirrorComparison& both) {
  ComparedRows rows;
  CompareProperties(both.source.facts, both.mirror.facts, rows);
  CompareVariables(both, rows);
  CompareOrder(both, rows);
  const bool same = both.source.digest == both.mirror.digest;
  rows.push_back(
      {"digest", both.source.digest.AsText(), both.mirror.digest.AsText(), same ? "" : kDiffers});
  return rows;
}

}  // namespace sdmsh
