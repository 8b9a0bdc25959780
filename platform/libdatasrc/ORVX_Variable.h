// ORVX_Variable: the definition of one variable of a dictionary, as an implicitly shared value.
//
//   ORVX_Variable age(ORVX_Variable::NextID(), "age");
//   age.SetLabel("Age in years");
//   ORVX_Variable copy = age;        // shares the record of age
//   copy.SetLabel("Age");            // copy gets its own record; age keeps its label

#ifndef LIBDATASRC_ORVX_VARIABLE_H_
#define LIBDATASRC_ORVX_VARIABLE_H_

#include <ServerDataManager/Export.h>
#include <ServerDataManager/LocallyUniqueID.h>
#include <ServerDataManager/VariableListHash.h>

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <variant>
#include <vector>

// How values are displayed. Plain shows a number in decimal and a string as it is. The other kinds
// are named as in a Frictionless Table Schema and use the extended format of ISO 8601: 2024-02-29,
// 13:45:00, 2024-02-29T13:45:00. Date and DateTime show a date value (iDMY2Orvx.h), Time seconds
// since midnight.
struct VariableFormat {
  enum class Kind : std::uint8_t { Plain, Date, Time, DateTime };

  Kind kind = Kind::Plain;
  int width = 0;     // in characters; 0: as wide as the value
  int decimals = 0;  // digits after the decimal point, if `width` is not 0

  bool operator==(const VariableFormat&) const = default;
};

// The scales of Stevens, "On the Theory of Scales of Measurement", Science 103 (1946).
enum class MeasurementLevel : std::uint8_t { Unknown, Nominal, Ordinal, Interval, Ratio };

// One value of a variable: a number, or a string without padding blanks.
struct DataValue : std::variant<double, std::string> {
  using variant::variant;
  DataValue() = default;
  // Copies the string first, because the copy constructor of libstdc++'s variant has undefined
  // behaviour if copying the string throws.
  DataValue(const DataValue& other) : variant(0.0) {
    if (const auto* const number = std::get_if<double>(&other)) {
      emplace<double>(*number);
    } else {
      std::string copy = std::get<std::string>(other);
      emplace<std::string>(std::move(copy));
    }
  }
  DataValue(DataValue&&) = default;
  DataValue& operator=(DataValue other) noexcept {
    variant::operator=(std::move(static_cast<variant&>(other)));
    return *this;
  }
};

// Labels by value. A key is never a NaN, which cannot be ordered.
using ValueLabels = std::map<DataValue, std::string>;

// The values declared missing, the `missingValues` of a Frictionless Table Schema.
struct SDM_EXPORT MissingValues {
  std::vector<DataValue> values;

  // Numbers are equal if their bits are equal, so that a NaN equals itself.
  bool operator==(const MissingValues&) const;
};

// Maps attribute names to their values: one value, or several values for an array attribute.
using VariableAttributes = std::map<std::string, std::vector<std::string>>;

namespace sdm_internal {
class VariableBlock;
}

// Holds two pointers: to the reference-counted record, which copies share, and to the block of the
// dictionary that contains this object, if any. A copy is in no dictionary. There are no move
// operations: std::move copies, and the original keeps its value.
//
// This class must not define operator!=: callers define their own.
//
// Threads: any thread may use its own copy, even if the record is shared. Several threads may read
// an object, or one thread may change it.
class SDM_EXPORT ORVX_Variable {
 public:
  // Null identifier, empty name, numeric. Only the first call in a process allocates memory.
  ORVX_Variable();

  // Throws std::invalid_argument for a negative `type`.
  ORVX_Variable(LocallyUniqueID id, std::string name, int type = 0);

  ORVX_Variable(const ORVX_Variable& other) noexcept;

  // A variable in a dictionary keeps its position. If the identifier changes, the dictionary is
  // updated, which may throw std::bad_alloc and then changes nothing.
  ORVX_Variable& operator=(const ORVX_Variable& other);

  ~ORVX_Variable();

  // A new identifier: domain 1, consecutive serials. Repeats after 2^28 calls.
  // Threads: any.
  static LocallyUniqueID NextID();

  // Compares all fields, including the identifier; fast if both share a record. Numbers are equal
  // if their bits are equal.
  bool operator==(const ORVX_Variable& other) const;

  // A setter first copies the record if it is shared. If a setter throws, nothing has changed. A
  // reference from a getter is valid until the object is next changed, assigned to or destroyed.

  LocallyUniqueID GetID() const;
  void SetID(LocallyUniqueID id);  // in a dictionary: see operator=

  const std::string& GetName() const;
  void SetName(std::string name);

  const std::string& GetLabel() const;  // empty for none
  void SetLabel(std::string label);

  // 0 for a number, otherwise the width of a string in bytes. A negative type throws
  // std::invalid_argument. SetType changes no other field, not even format and labels.
  int GetType() const;
  void SetType(int type);

  const VariableFormat& GetFormat() const;
  void SetFormat(const VariableFormat& format);

  const ValueLabels& GetValueLabels() const;
  void SetValueLabels(ValueLabels labels);

  const MissingValues& GetMissingValues() const;
  void SetMissingValues(MissingValues missing);

  MeasurementLevel GetMeasurementLevel() const;
  void SetMeasurementLevel(MeasurementLevel level);

  const VariableAttributes& GetAttributes() const;
  void SetAttributes(VariableAttributes attributes);

 private:
  friend class sdm_internal::VariableBlock;
  struct Record;

  // Returns the hash that `hashOf` computes of this variable. Caches the hash in the shared record
  // until the record changes. See ORVX_DataSource::HashOfVariables.
  VariableHash Hash(VariableHash (*hashOf)(const ORVX_Variable& variable)) const;

  static Record* EmptyRecord();

  Record& Detach();

  Record* record_;                                // shared, never null
  sdm_internal::VariableBlock* block_ = nullptr;  // borrowed; null outside a dictionary
};

#endif  // LIBDATASRC_ORVX_VARIABLE_H_
