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
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

// How values are shown or written: the letter says as what ('F' a number, 'E' a number with
// exponent, 'A' a string, 'D' a date, 'T' a time), then the width in characters and the digits
// after the point.
struct VariableFormat {
  char type = 'F';
  int width = 8;
  int decimals = 2;

  bool operator==(const VariableFormat&) const = default;
};

enum class MeasurementLevel : std::uint8_t { Unknown, Nominal, Ordinal, Scale };
enum class VariableRole : std::uint8_t { Input, Target, Both, None, Partition, Split };
enum class VariableAlignment : std::uint8_t { Left, Right, Center };

// One value of a variable: a number, or a string without the blanks that pad it to its width.
using DataValue = std::variant<double, std::string>;

// What each value stands for. A key is never a NaN, which has no place in an order.
using ValueLabels = std::map<DataValue, std::string>;

// The values that a user declared missing: single ones, and a range of numbers with both its ends.
struct SDM_EXPORT MissingValues {
  std::vector<DataValue> values;
  std::optional<std::pair<double, double>> range;

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
  // std::invalid_argument. The other fields stay as they are, formats and labels too.
  int GetType() const;
  void SetType(int type);

  const VariableFormat& GetPrintFormat() const;
  void SetPrintFormat(const VariableFormat& format);

  const VariableFormat& GetWriteFormat() const;
  void SetWriteFormat(const VariableFormat& format);

  const ValueLabels& GetValueLabels() const;
  void SetValueLabels(ValueLabels labels);

  const MissingValues& GetMissingValues() const;
  void SetMissingValues(MissingValues missing);

  MeasurementLevel GetMeasurementLevel() const;
  void SetMeasurementLevel(MeasurementLevel level);

  VariableRole GetRole() const;
  void SetRole(VariableRole role);

  VariableAlignment GetAlignment() const;
  void SetAlignment(VariableAlignment alignment);

  int GetDisplayWidth() const;  // columns in a data window
  void SetDisplayWidth(int width);

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
