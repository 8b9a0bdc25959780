// DictionaryMirror: one pass of messages, applied to a copy that then takes the mirror's place.

#include <client/DictionaryMirror.h>

#include <algorithm>
#include <cstddef>
#include <functional>
#include <iterator>
#include <optional>
#include <string>
#include <unordered_set>
#include <utility>

#include <liborvxdemg/DataSetMsgVisitor.h>
#include <liborvxdemg/DeleteVarsMsg.h>
#include <liborvxdemg/InsertVarsMsg.h>
#include <liborvxdemg/ModifyVarMsg.h>
#include <liborvxdemg/MoveVarsMsg.h>
#include <liborvxdemg/ResetUndoMsg.h>

namespace {

using Identifiers = std::unordered_set<LocallyUniqueID>;

std::string Described(LocallyUniqueID id) {
  if (id.IsNull()) return "the null identifier";
  return "identifier " + std::to_string(id.Domain()) + ":" + std::to_string(id.Serial());
}

std::string Described(const ORVX_Variable& variable) {
  return "variable \"" + variable.GetName() + "\" with " + Described(variable.GetID());
}

std::string Outside(const char* name, int position, std::ptrdiff_t size) {
  return std::string(name) + " " + std::to_string(position) + " is outside a list of " +
         std::to_string(size);
}

}  // namespace

MirrorError::~MirrorError() = default;

// Applies messages to a copy of the dictionary. A message that throws may have been applied in
// part: the copy is worth nothing then.
class DictionaryMirror::Pass final : public DataSetMsgVisitor {
 public:
  explicit Pass(const Dictionary& before) : dictionary_(before) {}

  void Take(const DataSetMsg& message, const std::string& place);
  Dictionary Result() && { return std::move(dictionary_); }

  void Visit(const InsertVarsMsg& message) override;
  void Visit(const DeleteVarsMsg& message) override;
  void Visit(const MoveVarsMsg& message) override;
  void Visit(const ModifyVarMsg& message) override;
  // Nothing of the list of variables.
  void Visit(const ResetUndoMsg&) override {}
  void Visit(const ImputationInfoMsg&) override {}
  void Visit(const FileSpecChangeMsg&) override {}
  void Visit(const FileLabelChangeMsg&) override {}
  void Visit(const WeightVarMsg&) override {}
  void Visit(const FilterVarMsg&) override {}
  void Visit(const TrendsInfoMsg&) override {}
  void Visit(const SplitFileMsg&) override {}
  void Visit(const ExtensionsMsg&) override {}
  void Visit(const ResetClientDataMsg&) override {}
  void Visit(const DataSetModifiedMsg&) override {}

 private:
  using Variables = std::vector<ORVX_Variable>;

  Variables::iterator Find(LocallyUniqueID id);
  Identifiers& Present();

  Dictionary dictionary_;
  // Where the last search ended. Messages of one pass go through the list from front to back, so
  // the next search mostly ends nearby.
  std::size_t lastFound_ = 0;
  // Identifiers of all variables, once a message has asked.
  std::optional<Identifiers> present_;
};

// The variable with this identifier, or the end of the list.
DictionaryMirror::Pass::Variables::iterator DictionaryMirror::Pass::Find(LocallyUniqueID id) {
  Variables& variables = dictionary_.variables;
  const auto matches = [id](const ORVX_Variable& variable) { return variable.GetID() == id; };
  const auto start =
      variables.begin() + static_cast<std::ptrdiff_t>(std::min(lastFound_, variables.size()));
  auto found = std::find_if(start, variables.end(), matches);
  if (found == variables.end()) {
    found = std::find_if(variables.begin(), start, matches);
    if (found == start) return variables.end();
  }
  lastFound_ = static_cast<std::size_t>(found - variables.begin());
  return found;
}

Identifiers& DictionaryMirror::Pass::Present() {
  if (!present_) {
    present_.emplace();
    for (const ORVX_Variable& variable : dictionary_.variables) present_->insert(variable.GetID());
  }
  return *present_;
}

void DictionaryMirror::Pass::Visit(const InsertVarsMsg& message) {
  for (const ORVX_Variable& variable : message.GetVariables()) {
    if (variable.GetID().IsNull()) throw MirrorError(Described(variable) + " cannot be inserted");
    if (!Present().insert(variable.GetID()).second) {
      throw MirrorError(Described(variable) + " is already there");
    }
  }
  Variables& variables = dictionary_.variables;
  const LocallyUniqueID anchor = message.GetAnchor();
  const auto place = anchor.IsNull() ? variables.end() : Find(anchor);
  if (place == variables.end() && !anchor.IsNull()) {
    throw MirrorError("no variable with the anchor's " + Described(anchor));
  }
  variables.insert(place, message.GetVariables().begin(), message.GetVariables().end());
}

void DictionaryMirror::Pass::Visit(const DeleteVarsMsg& message) {
  Identifiers& staying = Present();
  for (const ORVX_Variable& variable : message.GetVariables()) {
    if (staying.erase(variable.GetID()) == 0) {
      throw MirrorError("no " + Described(variable) + " to delete");
    }
  }
  std::erase_if(dictionary_.variables, [&staying](const ORVX_Variable& variable) {
    return !staying.contains(variable.GetID());
  });
}

void DictionaryMirror::Pass::Visit(const MoveVarsMsg& message) {
  Variables& variables = dictionary_.variables;
  std::vector<int> positions = message.GetPositions();
  Variables moving;
  for (const int position : positions) {
    if (position < 0 || position >= std::ssize(variables)) {
      throw MirrorError(Outside("position", position, std::ssize(variables)));
    }
    moving.push_back(variables[static_cast<std::size_t>(position)]);
  }
  // From the back, so that the positions still to come keep their meaning.
  std::sort(positions.begin(), positions.end(), std::greater<>());
  if (std::adjacent_find(positions.begin(), positions.end()) != positions.end()) {
    throw MirrorError("one position is moved twice");
  }
  for (const int position : positions) variables.erase(variables.begin() + position);
  const int target = message.GetTarget();
  if (target < 0 || target > std::ssize(variables)) {
    throw MirrorError(Outside("target", target, std::ssize(variables)));
  }
  variables.insert(variables.begin() + target, moving.begin(), moving.end());
}

void DictionaryMirror::Pass::Visit(const ModifyVarMsg& message) {
  const ORVX_Variable& variable = message.GetVariable();
  const auto place = Find(variable.GetID());
  if (place == dictionary_.variables.end()) {
    throw MirrorError("no " + Described(variable) + " to modify");
  }
  *place = variable;
}

// `place` is added to the message's name in an error.
void DictionaryMirror::Pass::Take(const DataSetMsg& message, const std::string& place) {
  try {
    message.Accept(*this);
  } catch (const MirrorError& error) {
    throw MirrorError(message.VSConcreteSignature() + place + ": " + error.what());
  }
}

void DictionaryMirror::Apply(const std::vector<DataSetMsg*>& pass) {
  Pass next(dictionary_);
  for (std::size_t i = 0; i < pass.size(); ++i) {
    next.Take(*pass[i],
              ", message " + std::to_string(i + 1) + " of " + std::to_string(pass.size()));
  }
  dictionary_ = std::move(next).Result();
}

void DictionaryMirror::Apply(const DataSetMsg& message) {
  Pass next(dictionary_);
  next.Take(message, "");
  dictionary_ = std::move(next).Result();
}
