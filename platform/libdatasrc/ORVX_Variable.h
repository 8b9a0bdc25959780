// ORVX_Variable: the definition of one variable of a dictionary, as an implicitly shared value.
//
//   ORVX_Variable age(ORVX_Variable::NextID(), "age");
//   age.SetLabel("Age in years");
//   ORVX_Variable copy = age;        // one count up; copy == age without looking inside
//   copy.SetLabel("Age");            // copy takes a record of its own; age keeps its label

#ifndef LIBDATASRC_ORVX_VARIABLE_H_
#define LIBDATASRC_ORVX_VARIABLE_H_

#include <ServerDataManager/Export.h>
#include <ServerDataManager/LocallyUniqueID.h>

#include <cstdint>
#include <map>
#include <string>
#include <variant>
#include <vector>

// How values are shown. Plain shows a number in decimal digits and a string as it is. The other
// kinds, named as in a Frictionless Table Schema, show a number as a date value (iDMY2Orvx.h) or,
// Time, as seconds since midnight, in the extended format of ISO 8601: 2024-02-29, 13:45:00,
// 2024-02-29T13:45:00.
struct VariableFormat {
  enum class Kind : std::uint8_t { Plain, Date, Time, DateTime };

  Kind kind = Kind::Plain;
  int width = 0;     // in characters; 0: as wide as each value needs
  int decimals = 0;  // with a width: the digits after the decimal point

  bool operator==(const VariableFormat&) const = default;
};

// The scales of Stevens, "On the Theory of Scales of Measurement", Science 103 (1946).
enum class MeasurementLevel : std::uint8_t { Unknown, Nominal, Ordinal, Interval, Ratio };

// One value of a variable: a number, or a string without the blanks that pad it to its width.
using DataValue = std::variant<double, std::string>;

// What each value stands for. A key is never a NaN, which has no place in an order.
using ValueLabels = std::map<DataValue, std::string>;

// The values that a user declared missing, the `missingValues` of a Frictionless Table Schema.
struct SDM_EXPORT MissingValues {
  std::vector<DataValue> values;

  // Numbers are equal when their bits are, so that a NaN equals itself.
  bool operator==(const MissingValues&) const;
};

// Name of an attribute to its values: one, or several for an attribute that is an array.
using VariableAttributes = std::map<std::string, std::vector<std::string>>;

namespace sdm_internal {
class VariableBlock;
}

// A value of two pointers: the record, counted and shared among copies, and the place in a
// dictionary that this object is, if it is one. Copies are always free of a place. A moved-from
// variable is a copy's original: it keeps its value.
//
// Inequality is left to the callers: this class must stay without an operator!= of its own.
//
// Threads: any thread may use its own copy, also of one shared record. One object may be read from
// several threads at once; changing it needs exclusion.
class SDM_EXPORT ORVX_Variable {
 public:
  // Null identifier, empty name, numeric. All such variables share one record: nothing is
  // allocated.
  ORVX_Variable();

  // Throws std::invalid_argument for a negative `type`, like SetType.
  ORVX_Variable(LocallyUniqueID id, std::string name, int type = 0);

  ORVX_Variable(const ORVX_Variable& other) noexcept;

  // A variable that stands in a dictionary stays in its place there; where the identifier differs,
  // the dictionary finds the place under the new one from then on. May then throw std::bad_alloc
  // and change nothing.
  ORVX_Variable& operator=(const ORVX_Variable& other);

  ~ORVX_Variable();

  // An identifier that this process has not handed out before: domain 1, running serials, repeating
  // after 2^28 calls.
  // Threads: any.
  static LocallyUniqueID NextID();

  // True at once for two copies that share a record, otherwise compares every field, the identifier
  // included. Numbers are equal when their bits are.
  bool operator==(const ORVX_Variable& other) const;

  // Each setter gives this object a record of its own first, if it shares one. A reference from a
  // getter is good until the object is next changed, assigned to or destroyed.

  LocallyUniqueID GetID() const;
  void SetID(LocallyUniqueID id);  // in a dictionary: as for assignment

  const std::string& GetName() const;
  void SetName(std::string name);

  const std::string& GetLabel() const;  // empty for none
  void SetLabel(std::string label);

  // 0 for a number, otherwise the width of a string in bytes. A negative type throws
  // std::invalid_argument. The other fields stay as they are, format and labels too.
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

  static Record* EmptyRecord();
  Record& Own();

  Record* record_;  // shared, never null
  // Borrowed: the part of a dictionary that this object stands in.
  sdm_internal::VariableBlock* place_ = nullptr;
};

#endif  // LIBDATASRC_ORVX_VARIABLE_H_
