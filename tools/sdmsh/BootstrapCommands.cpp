// The command `bootstrap`: the bootstrap specification of a dataset, in memory and in files.

#include "Arguments.h"
#include "CommandError.h"
#include "Commands.h"
#include "Shell.h"
#include "Variables.h"

#include <liborvxdemg/DictionaryText.h>
#include <ServerDataManager/BootstrapFile.h>
#include <ServerDataManager/SvrBootstrapSpecs.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <sstream>
#include <utility>
#include <vector>

namespace sdmsh {
namespace {

using Check = SvrBootstrapSpecsSerializer::Check;
using Specs = SvrBootstrapSpecs;

// The words for SampMethods and CITypes, in the order of the enumerators, which start at 0.
std::vector<const char*> Methods() {
  return {"simple", "stratified", "residual", "wild"};
}
std::vector<const char*> Intervals() {
  return {"percentile", "bca"};
}

Json WordOrNumber(const std::vector<const char*>& words, std::int32_t number) {
  const auto index = static_cast<std::size_t>(number);  // out of range for a negative number
  return index < words.size() ? Json(words[index]) : Json(number);
}

// Returns a JSON null for a null pointer.
Json SpecsInJson(const Specs* specs) {
  if (specs == nullptr) return nullptr;
  Json caseStats = Json::array();
  for (const auto& [value, number] : specs->CaseStats()) {
    caseStats.push_back(Json::array({NumberInJson(value), number}));
  }
  return {{"method", WordOrNumber(Methods(), specs->GetSamplingMethod())},
          {"strata", specs->GetStrataVarList()},
          {"dependents", specs->GetDependVarList()},
          {"inputs", specs->GetInputVarList()},
          {"predicted", specs->GetPredictedVarList()},
          {"residuals", specs->GetResidualVarList()},
          {"splitEnds", specs->SplitEnds()},
          {"caseStats", caseStats},
          {"level", NumberInJson(specs->GetCILevelPct())},
          {"interval", WordOrNumber(Intervals(), specs->GetCIType())},
          {"samples", specs->GetNSamples()},
          {"userMissingExcluded", specs->GetExcludeUserMiss()}};
}

// Replaces the bootstrap specification of the dataset, or removes it if `specs` is null. Prints the
// change; if `words` is empty, prints it only in JSON. `file` is the file from which `specs` was
// read, or empty.
void Replace(const Call& call, SvrDMWriteableDataSource& writer, std::unique_ptr<Specs> specs,
             const std::string& words, const std::string& file = "") {
  const Specs* const present = specs.get();
  writer.SetBootstrapSpecs(specs.release());
  Output& output = call.shell.Out();
  if (words.empty() && !output.IsJson()) return;
  output.Say(words, [&] {
    Json json = {{"event", "bootstrapChanged"},
                 {"caller", call.caller.Name()},
                 {"dataset", call.dataset->Name()},
                 {"specs", SpecsInJson(present)}};
    if (!file.empty()) json["file"] = file;
    return json;
  });
}

// ---------------------------------------------------------------------------------------------
// Settings

// Changes one setting: calls `set` with the bootstrap specification and the value. Prints no words,
// because they would only repeat the command.
template <class Set, class Value>
void Change(Call& call, Set set, const Value& value) {
  SvrDMWriteableDataSource& writer = call.Writer();
  auto specs = std::make_unique<Specs>();
  if (const Specs* const present = writer.GetBootstrapSpecs()) *specs = *present;
  std::invoke(set, *specs, value);
  Replace(call, writer, std::move(specs), /*words=*/"");
}

// Takes names of variables. "none" alone means no variables; among other names, "none" is the name
// of a variable.
template <void (Specs::*set)(const std::vector<int>&)>
void ChangeVariables(Call& call) {
  const std::vector<std::string> names = call.TakeRest("\"none\" or VARIABLE");
  std::vector<int> positions;
  if (names != std::vector<std::string>{"none"}) {
    const ORVX_DataSource* const source = *call.Writer();
    if (source == nullptr) {
      throw CommandError("there are no variables without a data source; `source` gives one");
    }
    positions = PositionsOf(*source, names);
  }
  Change(call, set, positions);
}

// Takes "none" for an empty list, or calls `take` for each element until the end of the line.
template <class Take>
auto TakeList(Arguments& arguments, Take take) {
  std::vector<decltype(take())> list;
  if (arguments.Accept("none")) return list;
  do list.push_back(take());
  while (!arguments.AtEnd());
  return list;
}

void ChangeSplitEnds(Call& call) {
  const auto take = [&] { return call.TakeUnsigned("\"none\" or NUMBER"); };
  const auto set = [](Specs& specs, const auto& ends) { specs.SplitEnds() = ends; };
  Change(call, set, TakeList(call, take));
}

void ChangeCaseStats(Call& call) {
  const auto take = [&]() -> std::pair<double, std::uint32_t> {
    const double value = call.TakeReal("\"none\" or VALUE");
    return {value, call.TakeUnsigned("NUMBER")};
  };
  const auto set = [](Specs& specs, const auto& stats) { specs.CaseStats() = stats; };
  Change(call, set, TakeList(call, take));
}

// The names of the settings, each with a function that takes the value and changes the setting.
constexpr std::pair<const char*, CommandFunction*> kSettings[] = {
    {"method",
     [](Call& call) {
       Change(call, &Specs::SetSamplingMethod,
              static_cast<Specs::SampMethods>(call.TakeOneOf(Methods())));
     }},
    {"strata", ChangeVariables<&Specs::SetStrataVarList>},
    {"dependents", ChangeVariables<&Specs::SetDependVarList>},
    {"inputs", ChangeVariables<&Specs::SetInputVarList>},
    {"predicted", ChangeVariables<&Specs::SetPredictedVarList>},
    {"residuals", ChangeVariables<&Specs::SetResidualVarList>},
    {"level", [](Call& call) { Change(call, &Specs::SetCILevelPct, call.TakeReal("PERCENT")); }},
    {"interval",
     [](Call& call) {
       Change(call, &Specs::SetCIType, static_cast<Specs::CITypes>(call.TakeOneOf(Intervals())));
     }},
    {"samples", [](Call& call) { Change(call, &Specs::SetNSamples, call.TakeInteger("NUMBER")); }},
    {"user-missing",
     [](Call& call) {
       Change(call, &Specs::SetExcludeUserMiss, call.TakeOneOf({"excluded", "included"}) == 0);
     }},
    {"split-ends", ChangeSplitEnds},
    {"case-stats", ChangeCaseStats},
};

void Set(Call& call) {
  std::vector<const char*> words;
  for (const auto& [word, change] : kSettings) words.push_back(word);
  kSettings[call.TakeOneOf(words)].second(call);
}

// ---------------------------------------------------------------------------------------------
// Forms of the command

std::string BytesText(std::size_t count) {
  return DictionaryText::Counted(static_cast<long long>(count), "byte");
}

void Display(Call& call) {
  const Specs* const specs = call.Reader().GetBootstrapSpecs();
  const std::string dataset = call.dataset->Name();
  const auto words = [&] {
    if (specs == nullptr) return dataset + " has no bootstrap specification";
    std::ostringstream lines;
    specs->Display(lines);
    return WithoutLastLineFeed(lines.str());
  };
  call.Show("bootstrap", words, [&]() -> Json { return {{"specs", SpecsInJson(specs)}}; });
}

void WriteToFile(Call& call) {
  const std::string file = call.TakeFile();
  const Specs* const specs = call.Reader().GetBootstrapSpecs();
  const std::string dataset = call.dataset->Name();
  if (specs == nullptr) throw CommandError(dataset + " has no bootstrap specification");
  const std::size_t size = BootstrapFile::Save(*specs, file);
  call.Say(
      "bootstrapWritten",
      "wrote the bootstrap specification of " + dataset + " to " + file + ": " + BytesText(size),
      {{"file", file}, {"size", size}});
}

void ReadFromFile(Call& call) {
  const std::string file = call.TakeFile();
  SvrDMWriteableDataSource& writer = call.Writer();
  Replace(call, writer, BootstrapFile::Load(file),
          "read the bootstrap specification of " + call.dataset->Name() + " from " + file, file);
}

void CheckFile(Call& call) {
  // The words for Check::Finding, in the order of the enumerators.
  static constexpr const char* kFindings[] = {"whole", "truncated", "unknownVersion",
                                              "listTooLong"};
  const std::string file = call.TakeFile();
  call.End();
  const BootstrapFile::Checked checked = BootstrapFile::Check(file);
  const Check& check = checked.check;
  const bool native = check.byteOrder == Check::ByteOrder::Native;
  const auto words = [&] {
    if (!check.IsWhole()) return file + ": " + check.Problem();
    const std::size_t more = checked.fileSize - check.size;
    return file + ": a bootstrap specification of " + BytesText(check.size) +
           (native ? ", in this machine's byte order" : ", in the other byte order") +
           (more == 0 ? "" : ", then " + BytesText(more) + " more");
  };
  call.Show("bootstrapChecked", words, [&]() -> Json {
    return {{"file", file},
            {"fileSize", checked.fileSize},
            {"finding", kFindings[static_cast<std::size_t>(check.finding)]},
            {"byteOrder", native ? "native" : "swapped"},
            {"size", check.size},
            {"offset", check.offset}};
  });
}

void Remove(Call& call) {
  Replace(call, call.Writer(), nullptr, call.dataset->Name() + " has no bootstrap specification");
}

}  // namespace

void Bootstrap(Call& call) {
  static constexpr CommandFunction* kForms[] = {Set,          Display,   WriteToFile,
                                                ReadFromFile, CheckFile, Remove};
  kForms[call.TakeOneOf({"set", "display", "to", "from", "check", "off"})](call);
}

}  // namespace sdmsh
