// The bootstrap specification of a dataset.

#include "Arguments.h"
#include "BootstrapWords.h"
#include "CommandError.h"
#include "Commands.h"
#include "Shell.h"
#include "Variables.h"
#include "WholeFile.h"
#include "Words.h"
#include "Writing.h"

#include <ServerDataManager/SvrBootstrapSpecsSerializer.h>

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <system_error>
#include <utility>
#include <vector>

namespace sdmsh {
namespace {

// ---------------------------------------------------------------------------------------------
// Settings

// Makes one setting in a record. The source, null for none, knows where variables stand.
using Setting = std::function<void(SvrBootstrapSpecs&, const ORVX_DataSource*)>;

Setting TakeMethod(Arguments& arguments) {
  const auto method =
      static_cast<SvrBootstrapSpecs::SampMethods>(arguments.TakeOneOf(SamplingMethodWords()));
  return [method](SvrBootstrapSpecs& specs, const ORVX_DataSource*) {
    specs.SetSamplingMethod(method);
  };
}

// "none" beside other words is the name of a variable.
template <void (SvrBootstrapSpecs::*Set)(const std::vector<int>&)>
Setting TakeVariables(Arguments& arguments) {
  std::vector<std::string> names = arguments.TakeRest("\"none\" or VARIABLE");
  if (names == std::vector<std::string>{"none"}) names.clear();
  return [names](SvrBootstrapSpecs& specs, const ORVX_DataSource* source) {
    if (source == nullptr && !names.empty()) {
      throw CommandError("there are no variables without a data source; `source` gives one");
    }
    (specs.*Set)(names.empty() ? std::vector<int>() : PositionsOf(*source, names));
  };
}

Setting TakeLevel(Arguments& arguments) {
  const double percent = arguments.TakeReal("PERCENT");
  return
      [percent](SvrBootstrapSpecs& specs, const ORVX_DataSource*) { specs.SetCILevelPct(percent); };
}

Setting TakeInterval(Arguments& arguments) {
  const auto interval =
      static_cast<SvrBootstrapSpecs::CITypes>(arguments.TakeOneOf(IntervalWords()));
  return
      [interval](SvrBootstrapSpecs& specs, const ORVX_DataSource*) { specs.SetCIType(interval); };
}

Setting TakeSamples(Arguments& arguments) {
  const int samples = arguments.TakeInteger("NUMBER");
  return
      [samples](SvrBootstrapSpecs& specs, const ORVX_DataSource*) { specs.SetNSamples(samples); };
}

Setting TakeUserMissing(Arguments& arguments) {
  const bool excluded = arguments.TakeOneOf({"excluded", "included"}) == 0;
  return [excluded](SvrBootstrapSpecs& specs, const ORVX_DataSource*) {
    specs.SetExcludeUserMiss(excluded);
  };
}

Setting TakeSplitEnds(Arguments& arguments) {
  std::vector<std::uint32_t> ends;
  if (!arguments.Accept("none")) {
    do {
      ends.push_back(arguments.TakeUnsigned("\"none\" or NUMBER"));
    } while (!arguments.AtEnd());
  }
  return [ends](SvrBootstrapSpecs& specs, const ORVX_DataSource*) { specs.SplitEnds() = ends; };
}

Setting TakeCaseStats(Arguments& arguments) {
  std::vector<std::pair<double, std::uint32_t>> stats;
  if (!arguments.Accept("none")) {
    do {
      const double value = arguments.TakeReal("\"none\" or VALUE");
      stats.emplace_back(value, arguments.TakeUnsigned("NUMBER"));
    } while (!arguments.AtEnd());
  }
  return [stats](SvrBootstrapSpecs& specs, const ORVX_DataSource*) { specs.CaseStats() = stats; };
}

Setting TakeSetting(Arguments& arguments) {
  using Specs = SvrBootstrapSpecs;
  static const std::vector<std::pair<const char*, Setting (*)(Arguments&)>> settings = {
      {"method", TakeMethod},
      {"strata", TakeVariables<&Specs::SetStrataVarList>},
      {"dependents", TakeVariables<&Specs::SetDependVarList>},
      {"inputs", TakeVariables<&Specs::SetInputVarList>},
      {"predicted", TakeVariables<&Specs::SetPredictedVarList>},
      {"residuals", TakeVariables<&Specs::SetResidualVarList>},
      {"level", TakeLevel},
      {"interval", TakeInterval},
      {"samples", TakeSamples},
      {"user-missing", TakeUserMissing},
      {"split-ends", TakeSplitEnds},
      {"case-stats", TakeCaseStats},
  };
  std::vector<const char*> keywords;
  for (const auto& [keyword, take] : settings) keywords.push_back(keyword);
  const auto& [keyword, take] = settings[arguments.TakeOneOf(keywords)];
  const Setting setting = take(arguments);
  arguments.End();
  return setting;
}

// ---------------------------------------------------------------------------------------------
// Forms of the command

// The record in place of the present one, which the writer's dataset then owns.
void Replace(SvrDMWriteableDataSource& writer, SvrBootstrapSpecs specs) {
  writer.SetBootstrapSpecs(std::make_unique<SvrBootstrapSpecs>(std::move(specs)).release());
}

void Set(Shell& shell, Caller& caller, Arguments& arguments, const DatasetPtr& dataset) {
  const Setting setting = TakeSetting(arguments);
  SvrBootstrapSpecs specs;
  Write(caller, *dataset, [&](SvrDMWriteableDataSource& writer) {
    if (const SvrBootstrapSpecs* const present = writer.GetBootstrapSpecs()) specs = *present;
    setting(specs, *writer);
    Replace(writer, specs);
  });
  shell.Say(BootstrapChanged{caller.Name(), dataset->Name(), specs});
}

void Display(Shell& shell, Caller& caller, Arguments& arguments, const DatasetPtr& dataset) {
  arguments.End();
  BootstrapShown shown{dataset->Name(), std::nullopt};
  shell.Locks().Read(caller, dataset, [&](SvrDMInputDataSource& reader) {
    if (const SvrBootstrapSpecs* const specs = reader.GetBootstrapSpecs()) shown.specs = *specs;
  });
  shell.Say(std::move(shown));
}

bool IsTooLong(const std::string& file) {
  std::error_code error;
  const std::uintmax_t size = std::filesystem::file_size(file, error);
  return !error && size > kMaxFileBytes;
}

bool HoldsSpecsOrNothing(const std::string& file) {
  if (IsTooLong(file)) return false;
  const std::string bytes = ReadWholeFile(file);
  return bytes.empty() || SvrBootstrapSpecsSerializer::checkSpecs(bytes).IsWhole();
}

// Refuses to replace a file of something else. One that cannot be read could be anything.
void RefuseOtherContent(const std::string& file) {
  if (!IsThere(file) || HoldsSpecsOrNothing(file)) return;
  throw CommandError(file + ": holds something else than a bootstrap specification, and is kept");
}

void WriteToFile(Shell& shell, Caller& caller, Arguments& arguments, const DatasetPtr& dataset) {
  BootstrapWritten written{caller.Name(), dataset->Name(), arguments.TakeFile(), 0};
  arguments.End();
  shell.Locks().Read(caller, dataset, [&](SvrDMInputDataSource& reader) {
    const SvrBootstrapSpecs* const specs = reader.GetBootstrapSpecs();
    if (specs == nullptr) {
      throw CommandError(dataset->Name() + " has no bootstrap specification");
    }
    std::string bytes;
    SvrBootstrapSpecsSerializer::serializeSpecs(*specs, bytes);
    RefuseOtherContent(written.file);
    WriteWholeFile(written.file, bytes);
    written.size = bytes.size();
  });
  shell.Say(std::move(written));
}

// Refuses bytes that are not one whole bootstrap specification and nothing else.
SvrBootstrapSpecs SpecsIn(const std::string& bytes, const std::string& file) {
  const auto check = SvrBootstrapSpecsSerializer::checkSpecs(bytes);
  if (!check.IsWhole()) {
    throw CommandError(file + ": no whole bootstrap specification: " + FindingInWords(check));
  }
  if (check.size < bytes.size()) {
    const auto more = static_cast<long long>(bytes.size() - check.size);
    throw CommandError(file + ": " + Counted(more, "byte", "bytes") +
                       " more than the bootstrap specification, which ends at offset " +
                       std::to_string(check.offset));
  }
  SvrBootstrapSpecs specs;
  SvrBootstrapSpecsSerializer::deserializeSpecs(bytes, specs);
  return specs;
}

void ReadFromFile(Shell& shell, Caller& caller, Arguments& arguments, const DatasetPtr& dataset) {
  BootstrapChanged changed{caller.Name(), dataset->Name(), std::nullopt, arguments.TakeFile()};
  arguments.End();
  Write(caller, *dataset, [&](SvrDMWriteableDataSource& writer) {
    changed.specs = SpecsIn(ReadWholeFile(changed.file), changed.file);
    Replace(writer, *changed.specs);
  });
  shell.Say(std::move(changed));
}

void CheckFile(Shell& shell, Caller& caller, Arguments& arguments, const DatasetPtr& dataset) {
  const std::string file = arguments.TakeFile();
  arguments.End();
  std::string bytes;
  caller.Do([&] { bytes = ReadWholeFile(file); });
  shell.Say(BootstrapChecked{dataset->Name(), file, bytes.size(),
                             SvrBootstrapSpecsSerializer::checkSpecs(bytes)});
}

void Remove(Shell& shell, Caller& caller, Arguments& arguments, const DatasetPtr& dataset) {
  arguments.End();
  Write(caller, *dataset,
        [](SvrDMWriteableDataSource& writer) { writer.SetBootstrapSpecs(nullptr); });
  shell.Say(BootstrapChanged{caller.Name(), dataset->Name(), std::nullopt});
}

}  // namespace

void Bootstrap(Shell& shell, Caller& caller, Arguments& arguments) {
  const DatasetPtr dataset = shell.Find(caller, arguments.Take("DATASET"));
  using Form = void (*)(Shell&, Caller&, Arguments&, const DatasetPtr&);
  static constexpr Form kForms[] = {Set, Display, WriteToFile, ReadFromFile, CheckFile, Remove};
  const std::size_t form = arguments.TakeOneOf({"set", "display", "to", "from", "check", "off"});
  kForms[form](shell, caller, arguments, dataset);
}

}  // namespace sdmsh
