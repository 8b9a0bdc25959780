// Variable sets, from which a user picks variables, and multiple-response sets.
//
//   std::string text;
//   MakeExtension(VariableSets(source, kMRSets), text, 7);
//   std::vector<VariableSet> same = ReadExtension(text, 7);

#ifndef LIBDATASRC_VARIABLESETS_H_
#define LIBDATASRC_VARIABLESETS_H_

#include <ServerDataManager/Export.h>
#include <ServerDataManager/LocallyUniqueID.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

class ORVX_DataSource;

// One set as a data source stores it. Equality includes the order of the members.
//
// Threads: a plain value; any thread may use its own copy.
struct VariableSetImpl {
  std::int32_t kind = kPlain;

  // Two flags for applications. The library does not interpret them.
  bool firstFlag = false;
  bool secondFlag = false;

  std::string name;
  std::string label;
  std::string selectedValue;  // kIndicators: the value that means "this answer was given"
  std::vector<LocallyUniqueID> members;

  bool operator==(const VariableSetImpl&) const = default;

  static constexpr std::int32_t kPlain = 0;       // not a multiple-response set
  static constexpr std::int32_t kIndicators = 1;  // a variable tells if an answer was given
  static constexpr std::int32_t kAnswers = 2;     // the value of a variable is an answer
};

// A set, as VariableSets and ReadExtension return it. Its members may include deleted variables.
class SDM_EXPORT VariableSet {
 public:
  explicit VariableSet(VariableSetImpl set);

  // Borrowed while this set lives.
  const VariableSetImpl& Impl() const { return set_; }

  bool operator==(const VariableSet&) const = default;

 private:
  VariableSetImpl set_;
};

// Selects one of the two lists of sets of a data source.
using VarSetsType = int;
inline constexpr VarSetsType kVariableSets = 0;
inline constexpr VarSetsType kMRSets = 1;

// Copies of the sets of `source`, in order. Throws std::invalid_argument for an unknown `which`.
// Threads: any that may read the source.
SDM_EXPORT std::vector<VariableSet> VariableSets(const ORVX_DataSource& source, VarSetsType which);

// Replaces the first set with the same name by `set`, or appends `set` if there is no such set. If
// `set` has no members, only deletes the set with the same name. Returns false if there is no set
// to delete. After std::bad_alloc, a set with the same name may be partly replaced.
// Threads: any.
SDM_EXPORT bool PutSet(std::vector<VariableSetImpl>& sets, const VariableSetImpl& set);

// Appends the sets to `text` in the format of extension types 5 (variable sets), 7 and 19
// (multiple-response sets): one line per set, fields separated by tabs. Members are written by
// identifier, so renaming a variable does not invalidate the text. Throws std::invalid_argument for
// any other type and leaves the text unchanged. After std::bad_alloc, the text may end with a part
// of the new lines.
// Threads: any.
SDM_EXPORT void MakeExtension(const std::vector<VariableSet>& sets, std::string& text, int type);

// Parses the text that MakeExtension writes. For any other text, throws std::invalid_argument with
// the line and the reason. Also throws std::invalid_argument for a type that MakeExtension rejects.
// Does not check that the members exist in a dictionary.
// Threads: any.
SDM_EXPORT std::vector<VariableSet> ReadExtension(std::string_view text, int type);

#endif  // LIBDATASRC_VARIABLESETS_H_
