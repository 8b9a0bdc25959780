// Properties of a dictionary in JSON.

#include "DictionaryJson.h"

#include "DictionaryWords.h"
#include "VariableJson.h"

#include <string>
#include <string_view>

namespace sdmsh {
namespace {

// Null for a variable that is not there.
Json Name(const NamedVariable& variable) {
  return variable.name.empty() ? Json(nullptr) : Json(variable.name);
}

Json Names(const std::vector<NamedVariable>& variables) {
  Json json = Json::array();
  for (const NamedVariable& variable : variables) json.push_back(Name(variable));
  return json;
}

// Any bytes: two hexadecimal digits for each.
std::string Hexadecimal(std::string_view bytes) {
  std::string digits;
  for (const char byte : bytes) {
    const auto number = static_cast<unsigned char>(byte);
    digits += "0123456789abcdef"[number >> 4];
    digits += "0123456789abcdef"[number & 0xF];
  }
  return digits;
}

}  // namespace

Json IdentifiersInJson(const std::vector<NamedVariable>& variables) {
  Json json = Json::array();
  for (const NamedVariable& variable : variables) json.push_back(IdentifierInJson(variable.id));
  return json;
}

Json UseInJson(const NamedVariable& variable) {
  return {{"variable", IdentifierInJson(variable.id)}, {"name", Name(variable)}};
}

Json SplitInJson(const Split& split) {
  return {{"variables", IdentifiersInJson(split.variables)},
          {"separate", split.separate},
          {"names", Names(split.variables)}};
}

Json TimeSeriesInJson(const TimeSeries& trends) {
  return {{"timeVariables", IdentifiersInJson(trends.timeVariables)},
          {"seasonalPeriod", trends.seasonalPeriod},
          {"names", Names(trends.timeVariables)}};
}

Json SetsInJson(const std::vector<NamedSet>& sets) {
  Json json = Json::array();
  for (const auto& [set, members] : sets) {
    json.push_back({{"name", set.name},
                    {"label", set.label},
                    {"kind", SetKindInWords(set.kind)},
                    {"selectedValue", set.selectedValue},
                    {"firstFlag", set.firstFlag},
                    {"secondFlag", set.secondFlag},
                    {"members", IdentifiersInJson(members)},
                    {"names", Names(members)}});
  }
  return json;
}

Json ExtensionInJson(const Block& block) {
  return {{"type", block->GetType()},
          {"version", block->GetVersion()},
          {"bytes", Hexadecimal(block->GetBytes())}};
}

Json RowCountInJson(long long rowCount) {
  return rowCount < 0 ? Json(nullptr) : Json(rowCount);
}

Json DictionaryInJson(const DictionaryFacts& facts) {
  return {{"label", facts.label},
          {"variableCount", facts.variableCount},
          {"rowCount", RowCountInJson(facts.rowCount)},
          {"fileSpec", facts.fileSpec},
          {"rowsPerImputation", facts.rowsPerImputation},
          {"weight", UseInJson(facts.weight)},
          {"filter", UseInJson(facts.filter)},
          {"split", SplitInJson(facts.split)},
          {"trends", TimeSeriesInJson(facts.trends)},
          {"responseSets", SetsInJson(facts.responseSets)},
          {"variableSets", SetsInJson(facts.variableSets)},
          {"extension", ExtensionInJson(facts.extension)},
          {"attributes", facts.attributes.All()},
          {"modified", facts.modified}};
}

}  // namespace sdmsh
