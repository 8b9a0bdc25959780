// Sets of variables: those that a user picks variables from, and multiple-response sets.
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

// One set as a data source stores it. Two are equal when all fields are; the order of the members
// matters.
//
// Threads: a plain value, like VariableSet; any thread may use its own copy.
struct VariableSetImpl {
  std::int32_t kind = kPlain;

  // Two marks that applications may give a set. They have no meaning here.
  bool firstFlag = false;
  bool secondFlag = false;

  std::string name;
  std::string label;
  std::string selectedValue;  // of indicators: the value of one whose answer was given
  std::vector<LocallyUniqueID> members;

  bool operator==(const VariableSetImpl&) const = default;

  static constexpr std::int32_t kPlain = 0;       // no multiple-response set
  static constexpr std::int32_t kIndicators = 1;  // each variable says whether one answer was given
  static constexpr std::int32_t kAnswers = 2;     // each variable holds one of the answers given
};

// One set in the form from which extension text is made and into which it is read: whole, whatever
// became of its variables.
class SDM_EXPORT VariableSet {
 public:
  explicit VariableSet(VariableSetImpl set);

  // Borrowed until this set goes.
  const VariableSetImpl& Impl() const { return set_; }

  bool operator==(const VariableSet&) const = default;

 private:
  VariableSetImpl set_;
};

// Which of a data source's two lists of sets.
using VarSetsType = int;
inline constexpr VarSetsType kVariableSets = 0;
inline constexpr VarSetsType kMRSets = 1;

// Copies of the sets of `source`, in its order. Throws std::invalid_argument for any other `which`.
// Threads: any that may read the source.
SDM_EXPORT std::vector<VariableSet> VariableSets(const ORVX_DataSource& source, VarSetsType which);

// Writes the sets to the end of `text`, as extensions of type 5 (variable sets), 7 and 19
// (multiple-response sets) carry them: a line for each set, with its fields between tabs. Members
// are written by identifier, so renaming a variable leaves the text right. Throws
// std::invalid_argument for any other type, and leaves the text as it was; where memory runs out,
// std::bad_alloc passes on and the text may end with some of the sets.
// Threads: any, like ReadExtension; nothing is shared.
SDM_EXPORT void MakeExtension(const std::vector<VariableSet>& sets, std::string& text, int type);

// The sets in such a text. Throws std::invalid_argument, which names the line and what is wrong
// there, for a text that MakeExtension does not write, and for any other type. Whether the members
// are variables of some dictionary is not looked at.
SDM_EXPORT std::vector<VariableSet> ReadExtension(std::string_view text, int type);

#endif  // LIBDATASRC_VARIABLESETS_H_
