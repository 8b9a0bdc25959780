// VariableWire: encoding and decoding for each type of field, then the fields of a variable.

#include <liborvxdemg/internal/VariableWire.h>

#include <cmath>
#include <string>
#include <type_traits>
#include <utility>

#include <libvserial/VStream.h>
#include <ServerDataManager/ErrorMessageGlue.h>

namespace DEMessages {
namespace {

// The minimum size of an encoded T in bytes. VStream::Count uses it to check the count of a list.
template <class T>
constexpr std::size_t kSmallest = 0;
template <>
constexpr std::size_t kSmallest<std::string> = 4;
template <>
constexpr std::size_t kSmallest<DataValue> = 5;
template <>
constexpr std::size_t kSmallest<std::vector<std::string>> = 4;
template <>
constexpr std::size_t kSmallest<ORVX_Variable> = 38;

void Transfer(VStream& stream, LocallyUniqueID& id) {
  SerializeID(stream, id);
}

void Transfer(VStream& stream, std::string& text) {
  stream.String(text);
}

// Encodes or decodes a tag, 0 for a number and 1 for a string, then the value.
void Transfer(VStream& stream, DataValue& value) {
  const std::size_t start = stream.Position();
  auto tag = static_cast<std::uint8_t>(value.index());
  stream.Uint8(tag);
  if (tag > 1) throw VStreamError(start, "a value tag, 0 or 1", std::to_string(tag));
  if (value.index() != tag) value = tag == 0 ? DataValue(0.0) : DataValue(std::string());
  if (tag == 0) {
    stream.Double(std::get<double>(value));
  } else {
    stream.String(std::get<std::string>(value));
  }
}

constexpr unsigned int LastOf(VariableFormat::Kind) {
  return static_cast<unsigned int>(VariableFormat::Kind::DateTime);
}
constexpr unsigned int LastOf(MeasurementLevel) {
  return static_cast<unsigned int>(MeasurementLevel::Ratio);
}

template <class Enum>
requires std::is_enum_v<Enum>
void Transfer(VStream& stream, Enum& value) {
  const std::size_t start = stream.Position();
  auto number = static_cast<std::uint8_t>(value);
  stream.Uint8(number);
  if (number > LastOf(value)) {
    throw VStreamError(start, "at most " + std::to_string(LastOf(value)), std::to_string(number));
  }
  value = static_cast<Enum>(number);
}

void Transfer(VStream& stream, VariableFormat& format) {
  Transfer(stream, format.kind);
  stream.Int32(format.width);
  stream.Int32(format.decimals);
}

template <class T>
void Transfer(VStream& stream, std::vector<T>& list) {
  const std::uint32_t count = stream.Count(list.size(), kSmallest<T>);
  if (!stream.Writing()) list.resize(count);
  for (T& element : list) Transfer(stream, element);
}

bool CanBeKey(const std::string&) {
  return true;
}

bool CanBeKey(const DataValue& value) {
  const double* number = std::get_if<double>(&value);
  return number == nullptr || !std::isnan(*number);
}

// Decodes a map. The keys must be in ascending order, so that equal maps have equal bytes and
// duplicate keys are detected.
template <class Key, class Value>
void Read(VStream& stream, std::uint32_t count, std::map<Key, Value>& map) {
  map.clear();
  for (; count > 0; --count) {
    const std::size_t start = stream.Position();
    std::pair<Key, Value> entry;
    Transfer(stream, entry.first);
    Transfer(stream, entry.second);
    const bool ascends = map.empty() || map.rbegin()->first < entry.first;
    if (!CanBeKey(entry.first) || !ascends) {
      throw VStreamError(start, "an entry that sorts after the one before it", "one that does not");
    }
    map.insert(map.end(), std::move(entry));
  }
}

template <class Key, class Value>
void Transfer(VStream& stream, std::map<Key, Value>& map) {
  const std::uint32_t count = stream.Count(map.size(), kSmallest<Key> + kSmallest<Value>);
  if (!stream.Writing()) return Read(stream, count, map);
  for (auto& [key, value] : map) {
    Key written = key;
    Transfer(stream, written);
    Transfer(stream, value);
  }
}

void Transfer(VStream& stream, MissingValues& missing) {
  Transfer(stream, missing.values);
}

void SerializeType(VStream& stream, ORVX_Variable& variable) {
  const std::size_t start = stream.Position();
  int type = variable.GetType();
  stream.Int32(type);
  if (type < 0) {
    throw VStreamError(start, "0 or the width of a string", std::to_string(type));
  }
  if (!stream.Writing()) variable.SetType(type);
}

// Encodes the result of the getter `get`, or decodes a value and passes it to the setter `set`.
template <class Get, class Set>
void Field(VStream& stream, ORVX_Variable& variable, Get get, Set set) {
  auto value = (std::as_const(variable).*get)();
  Transfer(stream, value);
  if (!stream.Writing()) (variable.*set)(std::move(value));
}

}  // namespace

void SerializeVariable(VStream& stream, ORVX_Variable& variable) {
  using V = ORVX_Variable;
  Field(stream, variable, &V::GetID, &V::SetID);
  Field(stream, variable, &V::GetName, &V::SetName);
  Field(stream, variable, &V::GetLabel, &V::SetLabel);
  SerializeType(stream, variable);
  Field(stream, variable, &V::GetFormat, &V::SetFormat);
  Field(stream, variable, &V::GetValueLabels, &V::SetValueLabels);
  Field(stream, variable, &V::GetMissingValues, &V::SetMissingValues);
  Field(stream, variable, &V::GetMeasurementLevel, &V::SetMeasurementLevel);
  Field(stream, variable, &V::GetAttributes, &V::SetAttributes);
}

void SerializeVariables(VStream& stream, std::vector<ORVX_Variable>& variables) {
  const std::uint32_t count = stream.Count(variables.size(), kSmallest<ORVX_Variable>);
  if (!stream.Writing()) variables.resize(count);
  for (ORVX_Variable& variable : variables) SerializeVariable(stream, variable);
}

}  // namespace DEMessages
