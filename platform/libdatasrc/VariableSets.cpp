#include <libdatasrc/VariableSets.h>

#include <libdatasrc/internal/TextFields.h>
#include <libdatasrc/ORVX_DataSource.h>

#include <algorithm>
#include <charconv>
#include <stdexcept>
#include <utility>

using namespace sdm_internal;

namespace {

// The fields of a line: name, label, selected value, kind, two flags, then the identifier of each
// member as a number.
constexpr std::size_t kFixedFields = 6;

void RequireSetsType(const char* operation, int type) {
  if (type == 5 || type == 7 || type == 19) return;
  throw std::invalid_argument(std::string(operation) + ": extension type " + std::to_string(type) +
                              " holds no sets");
}

std::vector<std::string> FieldsOf(const VariableSetImpl& set) {
  std::vector<std::string> fields{set.name,
                                  set.label,
                                  set.selectedValue,
                                  std::to_string(set.kind),
                                  set.firstFlag ? "1" : "0",
                                  set.secondFlag ? "1" : "0"};
  for (const LocallyUniqueID member : set.members) fields.push_back(std::to_string(member.Word()));
  return fields;
}

[[noreturn]] void ThrowWrongField(std::size_t line, const std::string& field,
                                  const char* expected) {
  throw std::invalid_argument("set on line " + std::to_string(line) + ": \"" + field + "\" where " +
                              expected + " was expected");
}

template <class Number>
Number ToNumber(const std::string& field, std::size_t line, const char* expected) {
  Number number{};
  const char* const end = field.data() + field.size();
  const auto [stop, error] = std::from_chars(field.data(), end, number);
  // No leading zeros: each number has exactly one text.
  if (error != std::errc() || stop != end || field != std::to_string(number)) {
    ThrowWrongField(line, field, expected);
  }
  return number;
}

bool ToFlag(const std::string& field, std::size_t line) {
  if (field != "0" && field != "1") ThrowWrongField(line, field, "0 or 1");
  return field == "1";
}

VariableSetImpl SetOf(std::vector<std::string> fields, std::size_t line) {
  if (fields.size() < kFixedFields) {
    throw std::invalid_argument("set on line " + std::to_string(line) + ": " +
                                std::to_string(fields.size()) + " fields, fewer than " +
                                std::to_string(kFixedFields));
  }
  VariableSetImpl set;
  set.kind = ToNumber<std::int32_t>(fields[3], line, "a kind of set");
  set.firstFlag = ToFlag(fields[4], line);
  set.secondFlag = ToFlag(fields[5], line);
  for (std::size_t i = kFixedFields; i < fields.size(); ++i) {
    const auto word = ToNumber<std::uint32_t>(fields[i], line, "an identifier");
    set.members.push_back(LocallyUniqueID::FromWord(word));
  }
  set.name = std::move(fields[0]);
  set.label = std::move(fields[1]);
  set.selectedValue = std::move(fields[2]);
  return set;
}

}  // namespace

VariableSet::VariableSet(VariableSetImpl set) : set_(std::move(set)) {}

std::vector<VariableSet> VariableSets(const ORVX_DataSource& source, VarSetsType which) {
  if (which != kVariableSets && which != kMRSets) {
    throw std::invalid_argument("VariableSets: no list of sets number " + std::to_string(which));
  }
  std::vector<VariableSet> sets;
  for (const VariableSetImpl& set :
       which == kMRSets ? source.GetMRSets() : source.GetVariableSets()) {
    sets.emplace_back(set);
  }
  return sets;
}

bool PutSet(std::vector<VariableSetImpl>& sets, const VariableSetImpl& set) {
  const auto found = std::ranges::find(sets, set.name, &VariableSetImpl::name);
  const bool exists = found != sets.end();
  if (set.members.empty()) {
    if (exists) sets.erase(found);
    return exists;
  }
  if (exists) {
    *found = set;
  } else {
    sets.push_back(set);
  }
  return true;
}

void MakeExtension(const std::vector<VariableSet>& sets, std::string& text, int type) {
  RequireSetsType("MakeExtension", type);
  for (const VariableSet& set : sets) AppendLine(FieldsOf(set.Impl()), text);
}

std::vector<VariableSet> ReadExtension(std::string_view text, int type) {
  RequireSetsType("ReadExtension", type);
  std::vector<VariableSet> sets;
  std::size_t line = 0;
  for (std::vector<std::string>& fields : ReadLines(text)) {
    sets.emplace_back(SetOf(std::move(fields), ++line));
  }
  return sets;
}
