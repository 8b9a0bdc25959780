// The command for the bootstrap specification of a dataset, and for files that store one.

#include "Arguments.h"
#include "CommandError.h"
#include "Commands.h"
#include "DictionaryJson.h"
#include "Shell.h"
#include "Variables.h"

#include <liborvxdemg/DictionaryText.h>
#include <ServerDataManager/SvrBootstrapSpecs.h>
#include <ServerDataManager/SvrBootstrapSpecsSerializer.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>
#include <sstream>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

namespace sdmsh {
namespace {

using Check = SvrBootstrapSpecsSerializer::Check;

// The words are in the order of the enumerators, which start at 0.
std::vector<const char*> Methods() {
  return {"simple", "stratified", "residual", "wild"};
}
std::vector<const char*> Intervals() {
  return {"percentile", "bca"};
}

// ---------------------------------------------------------------------------------------------
// Settings

using Specs = SvrBootstrapSpecs;

// Changes one setting of a bootstrap specification. Finds the positions of variables in the source,
// which may be null.
using Setting = std::function<void(Specs&, const ORVX_DataSource*)>;

template <class Value>
Setting Make(void (Specs::*set)(Value), Value value) {
  return [set, value](Specs& specs, const ORVX_DataSource*) { (specs.*set)(value); };
}

// Takes names of variables, or "none" for no variables. Among other names, "none" is the name of a
// variable.
template <void (Specs::*set)(const std::vector<int>&)>
Setting TakeVariables(Arguments& arguments) {
  std::vector<std::string> names = arguments.TakeRest("\"none\" or VARIABLE");
  if (names == std::vector<std::string>{"none"}) names.clear();
  return [names](Specs& specs, const ORVX_DataSource* source) {
    if (source == nullptr && !names.empty()) {
      throw CommandError("there are no variables without a data source; `source` gives one");
    }
    (specs.*set)(names.empty() ? std::vector<int>() : PositionsOf(*source, names));
  };
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

Setting TakeSplitEnds(Arguments& arguments) {
  const auto ends = TakeList(
      arguments, [&]() -> std::uint32_t { return arguments.TakeUnsigned("\"none\" or NUMBER"); });
  return [ends](Specs& specs, const ORVX_DataSource*) { specs.SplitEnds() = ends; };
}

Setting TakeCaseStats(Arguments& arguments) {
  const auto stats = TakeList(arguments, [&]() -> std::pair<double, std::uint32_t> {
    const double value = arguments.TakeReal("\"none\" or VALUE");
    return {value, arguments.TakeUnsigned("NUMBER")};
  });
  return [stats](Specs& specs, const ORVX_DataSource*) { specs.CaseStats() = stats; };
}

// The names of the settings, each with the function that takes its value.
constexpr std::pair<const char*, Setting (*)(Arguments&)> kSettings[] = {
    {"method",
     [](Arguments& arguments) {
       return Make(&Specs::SetSamplingMethod,
                   static_cast<Specs::SampMethods>(arguments.TakeOneOf(Methods())));
     }},
    {"strata", TakeVariables<&Specs::SetStrataVarList>},
    {"dependents", TakeVariables<&Specs::SetDependVarList>},
    {"inputs", TakeVariables<&Specs::SetInputVarList>},
    {"predicted", TakeVariables<&Specs::SetPredictedVarList>},
    {"residuals", TakeVariables<&Specs::SetResidualVarList>},
    {"level",
     [](Arguments& arguments) {
       return Make(&Specs::SetCILevelPct, arguments.TakeReal("PERCENT"));
     }},
    {"interval",
     [](Arguments& arguments) {
       return Make(&Specs::SetCIType,
                   static_cast<Specs::CITypes>(arguments.TakeOneOf(Intervals())));
     }},
    {"samples",
     [](Arguments& arguments) {
       return Make(&Specs::SetNSamples, arguments.TakeInteger("NUMBER"));
     }},
    {"user-missing",
     [](Arguments& arguments) {
       return Make(&Specs::SetExcludeUserMiss, arguments.TakeOneOf({"excluded", "included"}) == 0);
     }},
    {"split-ends", TakeSplitEnds},
    {"case-stats", TakeCaseStats},
};

Setting TakeSetting(Arguments& arguments) {
  std::vector<const char*> words;
  for (const auto& [word, take] : kSettings) words.push_back(word);
  return kSettings[arguments.TakeOneOf(words)].second(arguments);
}

// ---------------------------------------------------------------------------------------------
// Files

constexpr std::uintmax_t kMaxFileBytes = std::uintmax_t{16} << 20;

[[noreturn]] void Refuse(const std::string& path, const std::string& reason) {
  throw CommandError(path + ": " + reason);
}

std::string TextOfError(int number) {
  return std::generic_category().message(number);
}

// Opens only regular files, because opening another file, such as a named pipe, may block.
std::string ReadFile(const std::string& path) {
  std::error_code error;
  const std::filesystem::file_status status = std::filesystem::status(path, error);
  if (error) Refuse(path, error.message());
  if (is_directory(status)) Refuse(path, TextOfError(EISDIR));
  if (!is_regular_file(status)) Refuse(path, "not a regular file");
  if (std::filesystem::file_size(path, error) > kMaxFileBytes) {
    Refuse(path, "longer than " + std::to_string(kMaxFileBytes) + " bytes");
  }
  std::ifstream file(path, std::ios::binary);
  if (!file) Refuse(path, TextOfError(errno));
  return {std::istreambuf_iterator<char>(file), {}};
}

// Writes a new file in the same folder and renames it to `path`, so that the file at `path` always
// has either its former bytes or all of the new bytes. Keeps the permissions of an existing file.
// Follows symbolic links, and does not replace them.
void WriteFile(const std::string& path, std::string_view bytes) {
  std::error_code error;
  const std::filesystem::path target = std::filesystem::weakly_canonical(path, error);
  if (error) Refuse(path, error.message());
  const std::filesystem::path part =
      target.parent_path() / ("sdmsh-" + std::to_string(getpid()) + ".part");
  std::FILE* const file = std::fopen(part.c_str(), "wbx");
  if (file == nullptr) Refuse(path, TextOfError(errno));
  const bool isWritten = std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
  std::error_code ignored;
  if (std::fclose(file) != 0 || !isWritten) {
    error.assign(errno, std::generic_category());
  } else {
    const std::filesystem::file_status present = std::filesystem::status(target, ignored);
    if (exists(present)) std::filesystem::permissions(part, present.permissions(), ignored);
    std::filesystem::rename(part, target, error);
  }
  if (!error) return;
  std::filesystem::remove(part, ignored);
  Refuse(path, error.message());
}

// Throws if the file exists, is not empty, and does not begin with a bootstrap specification.
void RefuseOtherContent(const std::string& path) {
  std::error_code error;
  if (!std::filesystem::exists(path, error)) return;
  const std::string bytes = ReadFile(path);
  if (bytes.empty() || SvrBootstrapSpecsSerializer::checkSpecs(bytes).IsWhole()) return;
  Refuse(path, "not a bootstrap specification, and not replaced");
}

std::string BytesText(std::size_t count) {
  return DictionaryText::Counted(static_cast<long long>(count), "byte");
}

// Returns a text such as "it ends within the field at offset 50".
std::string FindingText(const Check& check) {
  const std::string offset = " at offset " + std::to_string(check.offset);
  if (check.finding == Check::Finding::Truncated) return "it ends within the field" + offset;
  if (check.finding == Check::Finding::UnknownVersion) return "the version" + offset + " is not 1";
  return "the list" + offset + " is longer than the file";
}

const char* FindingInJson(Check::Finding finding) {
  if (finding == Check::Finding::Whole) return "whole";
  if (finding == Check::Finding::Truncated) return "truncated";
  return finding == Check::Finding::UnknownVersion ? "unknownVersion" : "listTooLong";
}

// Decodes a bootstrap specification. Refuses invalid bytes, incomplete bytes and trailing bytes.
std::unique_ptr<Specs> SpecsIn(const std::string& bytes, const std::string& path) {
  const Check check = SvrBootstrapSpecsSerializer::checkSpecs(bytes);
  if (!check.IsWhole()) Refuse(path, "not a bootstrap specification: " + FindingText(check));
  if (check.size < bytes.size()) {
    Refuse(path, BytesText(bytes.size() - check.size) +
                     " after the bootstrap specification, which ends at offset " +
                     std::to_string(check.offset));
  }
  auto specs = std::make_unique<Specs>();
  SvrBootstrapSpecsSerializer::deserializeSpecs(bytes, *specs);
  return specs;
}

// ---------------------------------------------------------------------------------------------
// Forms of the command

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

std::string TextOf(const Specs& specs) {
  std::ostringstream lines;
  specs.Display(lines);
  std::string text = lines.str();
  if (text.ends_with('\n')) text.pop_back();
  return text;
}

// Replaces the bootstrap specification of the dataset, or removes it if `specs` is null. Prints the
// change; if `words` is empty, only as JSON. `file` is the file from which `specs` was read, or
// empty.
void Replace(Call& call, SvrDMWriteableDataSource& writer, std::unique_ptr<Specs> specs,
             const std::string& words, const std::string& file = "") {
  const Specs* const present = specs.get();
  writer.SetBootstrapSpecs(specs.release());
  if (words.empty() && !call.shell.Out().IsJson()) return;
  call.Say("bootstrapChanged", words, [&] {
    Json json = {{"specs", SpecsInJson(present)}};
    if (!file.empty()) json["file"] = file;
    return json;
  });
}

// Prints no words, because they would only repeat the command.
Action Set(Call& call) {
  const Setting setting = TakeSetting(call);
  return [=, &call](SvrDMWriteableDataSource& writer) {
    auto specs = std::make_unique<Specs>();
    if (const Specs* const present = writer.GetBootstrapSpecs()) *specs = *present;
    setting(*specs, *writer);
    Replace(call, writer, std::move(specs), /*words=*/"");
  };
}

Action Display(Call& call) {
  return ReadWork([&call](SvrDMInputDataSource& reader) {
    const Specs* const specs = reader.GetBootstrapSpecs();
    const std::string dataset = call.dataset->Name();
    call.shell.Say(
        [&] { return specs ? TextOf(*specs) : dataset + " has no bootstrap specification"; },
        [&]() -> Json {
          return {{"event", "bootstrap"}, {"dataset", dataset}, {"specs", SpecsInJson(specs)}};
        });
  });
}

Action WriteToFile(Call& call) {
  const std::string file = call.TakeFile();
  return ReadWork([=, &call](SvrDMInputDataSource& reader) {
    const std::string dataset = call.dataset->Name();
    const Specs* const specs = reader.GetBootstrapSpecs();
    if (specs == nullptr) throw CommandError(dataset + " has no bootstrap specification");
    std::string bytes;
    SvrBootstrapSpecsSerializer::serializeSpecs(*specs, bytes);
    RefuseOtherContent(file);
    WriteFile(file, bytes);
    call.Say("bootstrapWritten",
             "wrote the bootstrap specification of " + dataset + " to " + file + ": " +
                 BytesText(bytes.size()),
             [&]() -> Json {
               return {{"file", file}, {"size", bytes.size()}};
             });
  });
}

Action ReadFromFile(Call& call) {
  const std::string file = call.TakeFile();
  return [=, &call](SvrDMWriteableDataSource& writer) {
    Replace(call, writer, SpecsIn(ReadFile(file), file),
            "read the bootstrap specification of " + call.dataset->Name() + " from " + file, file);
  };
}

std::string CheckText(const std::string& file, const Check& check, std::size_t fileSize) {
  if (!check.IsWhole()) return file + ": not a bootstrap specification: " + FindingText(check);
  const bool native = check.byteOrder == Check::ByteOrder::Native;
  std::string words = file + ": a bootstrap specification of " + BytesText(check.size) +
                      (native ? ", in this machine's byte order" : ", in the other byte order");
  if (check.size < fileSize) words += ", then " + BytesText(fileSize - check.size) + " more";
  return words;
}

Action CheckFile(Call& call) {
  const std::string file = call.TakeFile();
  return [=, &call] {
    const std::string bytes = ReadFile(file);
    const Check check = SvrBootstrapSpecsSerializer::checkSpecs(bytes);
    const bool native = check.byteOrder == Check::ByteOrder::Native;
    call.shell.Say(CheckText(file, check, bytes.size()), [&]() -> Json {
      return {{"event", "bootstrapChecked"},
              {"dataset", call.dataset->Name()},
              {"file", file},
              {"fileSize", bytes.size()},
              {"finding", FindingInJson(check.finding)},
              {"byteOrder", native ? "native" : "swapped"},
              {"size", check.size},
              {"offset", check.offset}};
    });
  };
}

Action Remove(Call& call) {
  return [&call](SvrDMWriteableDataSource& writer) {
    Replace(call, writer, nullptr, call.dataset->Name() + " has no bootstrap specification");
  };
}

}  // namespace

Action Bootstrap(Call& call) {
  static constexpr CommandFunction* kForms[] = {Set,          Display,   WriteToFile,
                                                ReadFromFile, CheckFile, Remove};
  return kForms[call.TakeOneOf({"set", "display", "to", "from", "check", "off"})](call);
}

}  // namespace sdmsh
