// DictionaryMirror: applies messages as edits of a dictionary, with an undo log.

#include <client/DictionaryMirror.h>

#include <libdatasrc/DataFreeDataSource.h>
#include <libdatasrc/VariableSets.h>
#include <liborvxdemg/DataSetModifiedMsg.h>
#include <liborvxdemg/DataSetMsgVisitor.h>
#include <liborvxdemg/DeleteVarsMsg.h>
#include <liborvxdemg/ExtensionsMsg.h>
#include <liborvxdemg/ExtensionTypes.h>
#include <liborvxdemg/FileLabelChangeMsg.h>
#include <liborvxdemg/FileSpecChangeMsg.h>
#include <liborvxdemg/FilterVarMsg.h>
#include <liborvxdemg/ImputationInfoMsg.h>
#include <liborvxdemg/InsertVarsMsg.h>
#include <liborvxdemg/ModifyVarMsg.h>
#include <liborvxdemg/MoveVarsMsg.h>
#include <liborvxdemg/ResetClientDataMsg.h>
#include <liborvxdemg/ResetUndoMsg.h>
#include <liborvxdemg/SplitFileMsg.h>
#include <liborvxdemg/TrendsInfoMsg.h>
#include <liborvxdemg/WeightVarMsg.h>
#include <ServerDataManager/SplitOfAnySize.h>

#include <algorithm>
#include <cstddef>
#include <functional>
#include <iterator>
#include <string>
#include <string_view>
#include <utility>

using namespace DEMessages;

namespace {

std::string Described(LocallyUniqueID id) {
  if (id.IsNull()) return "the null identifier";
  return "identifier " + id.ToString();
}

std::string Described(const ORVX_Variable& variable) {
  return "variable \"" + variable.GetName() + "\" with " + Described(variable.GetID());
}

std::string Outside(const char* name, int position, int size) {
  return std::string(name) + " " + std::to_string(position) + " is outside a list of " +
         std::to_string(size);
}

std::string LabelOf(const ORVX_DataSource& dictionary) {
  const char* const label = dictionary.GetLabel();
  return label != nullptr ? label : "";
}

void SplitBy(ORVX_DataSource& dictionary, const std::vector<int>& positions, bool separate) {
  sdm_internal::SetSplitOfAnySize(dictionary, static_cast<unsigned int>(positions.size()),
                                  positions.data(), separate);
}

std::vector<VariableSetImpl> SetsIn(std::string_view text, int type) {
  std::vector<VariableSetImpl> sets;
  for (const VariableSet& set : ReadExtension(text, type)) sets.push_back(set.Impl());
  return sets;
}

}  // namespace

MirrorError::~MirrorError() = default;

class SDM_HIDDEN DictionaryMirror::Mirrored final : public DataFreeDataSource {
 public:
  long long RowCount() const override { return rowCount_; }
  void SetRowCount(long long rowCount) { rowCount_ = rowCount; }

 private:
  long long rowCount_ = -1;
};

// Applies the messages of one pass. The destructor undoes all changes unless Commit was called.
//
// Deleting variables also changes weight, filter and split, so these are not in the undo log: the
// destructor restores the variables, then sets weight, filter and split as they were before the
// pass.
class SDM_HIDDEN DictionaryMirror::Pass final : public DataSetMsgVisitor {
 public:
  explicit Pass(Mirrored& dictionary) : dictionary_(dictionary), usesBefore_(dictionary) {}
  Pass(const Pass&) = delete;
  Pass& operator=(const Pass&) = delete;
  ~Pass();

  // Applies one message. Error texts begin with the signature of the message and the text that
  // `position()` returns, such as ", message 2 of 5".
  template <class Position>
  void Apply(const DataSetMsg& message, Position position);
  void Commit() { committed_ = true; }

  void Visit(const InsertVarsMsg& message) override;
  void Visit(const DeleteVarsMsg& message) override;
  void Visit(const MoveVarsMsg& message) override;
  void Visit(const ModifyVarMsg& message) override;
  void Visit(const ResetUndoMsg&) override {}  // no effect on a dictionary
  void Visit(const ImputationInfoMsg& message) override;
  void Visit(const FileSpecChangeMsg& message) override;
  void Visit(const FileLabelChangeMsg& message) override;
  void Visit(const WeightVarMsg& message) override;
  void Visit(const FilterVarMsg& message) override;
  void Visit(const TrendsInfoMsg& message) override;
  void Visit(const SplitFileMsg& message) override;
  void Visit(const ExtensionsMsg& message) override;
  void Visit(const ResetClientDataMsg& message) override;
  void Visit(const DataSetModifiedMsg& message) override;

 private:
  // The weight, filter and split that a dictionary had when this object was constructed.
  class Uses {
   public:
    explicit Uses(const ORVX_DataSource& dictionary);
    void SetIn(ORVX_DataSource& dictionary) const;

   private:
    LocallyUniqueID weight_;
    LocallyUniqueID filter_;
    std::vector<LocallyUniqueID> split_;
    bool splitSeparate_;
  };

  // Runs `edit`, and logs `undo`, which reverts it. `edit` must change nothing if it throws.
  template <class Edit>
  void MakeEdit(Edit edit, std::function<void()> undo);
  // Sets a property to `now` with `set`, and logs an undo operation that sets it to `before`.
  template <class Value, class Set>
  void Replace(Value before, const Value& now, Set set);

  void InsertAt(int position, const ORVX_Variable& variable);
  void DeleteRange(int first, int last);

  int PositionOf(LocallyUniqueID id, const char* purpose) const;
  int RunLength(int first, const std::vector<ORVX_Variable>& variables, std::size_t start) const;
  int UsedPosition(LocallyUniqueID id, const char* purpose) const;

  void SetSets(ORVX_DataSource::ExtensionType type, std::string_view text);
  void SetAttributes(std::string_view text);

  // For const access: the non-const GetVariable counts as a write (ORVX_DataSource.h).
  const ORVX_DataSource& Read() const { return dictionary_; }

  Mirrored& dictionary_;
  const Uses usesBefore_;
  std::vector<std::function<void()>> undoLog_;
  bool committed_ = false;
};

DictionaryMirror::Pass::Uses::Uses(const ORVX_DataSource& dictionary)
    : weight_(dictionary.GetWeightVariableID()),
      filter_(dictionary.GetFilterVariableID()),
      splitSeparate_(dictionary.GetSplitqSeparate()) {
  const unsigned int splitCount = dictionary.GetNSplitVars();
  for (unsigned int i = 0; i < splitCount; ++i) split_.push_back(dictionary.GetSplitVarID(i));
}

void DictionaryMirror::Pass::Uses::SetIn(ORVX_DataSource& dictionary) const {
  const auto position = [&dictionary](LocallyUniqueID id) {
    return id.IsNull() ? -1 : dictionary.FindVarIndex(id);
  };
  std::vector<int> split;
  std::transform(split_.begin(), split_.end(), std::back_inserter(split), position);
  dictionary.SetWeightVar(position(weight_));
  dictionary.SetFilterVar(position(filter_));
  SplitBy(dictionary, split, splitSeparate_);
}

// Ends the process if an undo operation throws, because no exception may leave a destructor.
DictionaryMirror::Pass::~Pass() {
  if (committed_) return;
  std::for_each(undoLog_.rbegin(), undoLog_.rend(), [](const auto& undo) { undo(); });
  usesBefore_.SetIn(dictionary_);
}

template <class Edit>
void DictionaryMirror::Pass::MakeEdit(Edit edit, std::function<void()> undo) {
  undoLog_.push_back(std::move(undo));
  try {
    edit();
  } catch (...) {
    undoLog_.pop_back();
    throw;
  }
}

template <class Value, class Set>
void DictionaryMirror::Pass::Replace(Value before, const Value& now, Set set) {
  undoLog_.emplace_back([this, before = std::move(before), set] { set(dictionary_, before); });
  set(dictionary_, now);
}

void DictionaryMirror::Pass::InsertAt(int position, const ORVX_Variable& variable) {
  MakeEdit([&] { dictionary_.InsertVariable(position, variable); },
           [this, position] { dictionary_.DeleteVariables(position, position); });
}

void DictionaryMirror::Pass::DeleteRange(int first, int last) {
  std::vector<ORVX_Variable> deleted;
  for (int position = first; position <= last; ++position) {
    deleted.push_back(Read().GetVariable(position));
  }
  MakeEdit([&] { dictionary_.DeleteVariables(first, last); },
           [this, first, deleted = std::move(deleted)] {
             int position = first;
             for (const ORVX_Variable& variable : deleted) {
               dictionary_.InsertVariable(position++, variable);
             }
           });
}

// `purpose` ends the error text, for example "to weight by".
int DictionaryMirror::Pass::PositionOf(LocallyUniqueID id, const char* purpose) const {
  const int position = dictionary_.FindVarIndex(id);
  if (position < 0) throw MirrorError("no variable with " + Described(id) + " " + purpose);
  return position;
}

void DictionaryMirror::Pass::Visit(const InsertVarsMsg& message) {
  const LocallyUniqueID anchor = message.GetAnchor();
  int position = anchor.IsNull() ? dictionary_.ColumnCount() : dictionary_.FindVarIndex(anchor);
  if (position < 0) throw MirrorError("no anchor variable with " + Described(anchor));
  for (const ORVX_Variable& variable : message.GetVariables()) {
    if (variable.GetID().IsNull()) throw MirrorError(Described(variable) + " cannot be inserted");
    if (dictionary_.FindVarIndex(variable.GetID()) >= 0) {
      throw MirrorError(Described(variable) + " already exists");
    }
    InsertAt(position++, variable);
  }
}

// Compares the identifiers of the dictionary from position `first` on with the identifiers of
// `variables` from index `start` on. Returns the number of identifiers before the first difference.
int DictionaryMirror::Pass::RunLength(int first, const std::vector<ORVX_Variable>& variables,
                                      std::size_t start) const {
  int length = 0;
  while (start < variables.size() && first + length < dictionary_.ColumnCount() &&
         Read().GetVariable(first + length).GetID() == variables[start].GetID()) {
    ++length;
    ++start;
  }
  return length;
}

// Deletes adjacent variables with one edit, so deleting the whole list is one edit.
void DictionaryMirror::Pass::Visit(const DeleteVarsMsg& message) {
  const std::vector<ORVX_Variable>& variables = message.GetVariables();
  for (std::size_t i = 0; i < variables.size();) {
    const int first = dictionary_.FindVarIndex(variables[i].GetID());
    if (first < 0) throw MirrorError("no " + Described(variables[i]) + " to delete");
    const int length = RunLength(first, variables, i);
    DeleteRange(first, first + length - 1);
    i += static_cast<std::size_t>(length);
  }
}

void DictionaryMirror::Pass::Visit(const MoveVarsMsg& message) {
  const int size = dictionary_.ColumnCount();
  std::vector<int> positions = message.GetPositions();
  std::vector<ORVX_Variable> moving;
  for (const int position : positions) {
    if (position < 0 || position >= size) throw MirrorError(Outside("position", position, size));
    moving.push_back(Read().GetVariable(position));
  }
  // In descending order, so that the remaining positions stay valid.
  std::sort(positions.begin(), positions.end(), std::greater<>());
  if (std::adjacent_find(positions.begin(), positions.end()) != positions.end()) {
    throw MirrorError("duplicate position");
  }
  const int target = message.GetTarget();
  const int left = size - static_cast<int>(positions.size());
  if (target < 0 || target > left) throw MirrorError(Outside("target", target, left));
  for (const int position : positions) DeleteRange(position, position);
  int position = target;
  for (const ORVX_Variable& variable : moving) InsertAt(position++, variable);
}

void DictionaryMirror::Pass::Visit(const ModifyVarMsg& message) {
  const ORVX_Variable& variable = message.GetVariable();
  const int position = dictionary_.FindVarIndex(variable.GetID());
  if (position < 0) throw MirrorError("no " + Described(variable) + " to modify");
  Replace(Read().GetVariable(position), variable,
          [position](Mirrored& dictionary, const ORVX_Variable& now) {
            dictionary.GetVariable(position) = now;
          });
}

void DictionaryMirror::Pass::Visit(const ImputationInfoMsg& message) {
  Replace(Read().RowsPerImputation(), message.RowsPerImputation(),
          [](Mirrored& dictionary, long long rows) { dictionary.RowsPerImputation(rows); });
}

void DictionaryMirror::Pass::Visit(const FileSpecChangeMsg& message) {
  Replace(std::string(Read().GetFileSpec()), message.GetFileSpec(),
          [](Mirrored& dictionary, const std::string& fileSpec) {
            dictionary.SetFileSpec(fileSpec.c_str());
          });
}

void DictionaryMirror::Pass::Visit(const FileLabelChangeMsg& message) {
  Replace(LabelOf(dictionary_), message.GetLabel(),
          [](Mirrored& dictionary, const std::string& label) {
            dictionary.SetLabel(label.empty() ? nullptr : label.c_str());
          });
}

int DictionaryMirror::Pass::UsedPosition(LocallyUniqueID id, const char* purpose) const {
  return id.IsNull() ? -1 : PositionOf(id, purpose);
}

void DictionaryMirror::Pass::Visit(const WeightVarMsg& message) {
  dictionary_.SetWeightVar(UsedPosition(message.GetVariableID(), "to weight by"));
}

void DictionaryMirror::Pass::Visit(const FilterVarMsg& message) {
  dictionary_.SetFilterVar(UsedPosition(message.GetVariableID(), "to filter by"));
}

void DictionaryMirror::Pass::Visit(const SplitFileMsg& message) {
  std::vector<int> positions;
  for (const LocallyUniqueID id : message.GetVariableIDs()) {
    positions.push_back(PositionOf(id, "to split by"));
  }
  SplitBy(dictionary_, positions, message.GetSeparate());
}

void DictionaryMirror::Pass::Visit(const TrendsInfoMsg& message) {
  Replace(*Read().GetTrendsInfo(), message.GetTrendsInfo(),
          [](Mirrored& dictionary, ORVX_TrendsInfo now) {
            std::swap(*dictionary.GetTrendsInfo(), now);
          });
}

// The multiple-response sets come in two messages with the same text; each message sets them.
void DictionaryMirror::Pass::Visit(const ExtensionsMsg& message) {
  const ORVX_ExtensionImpl& block = *message.GetExtension();
  switch (block.GetType()) {
    case kVariableSetsText:
    case kMRSetsText:
    case kMRSetsSecondText:
      return SetSets(block.GetType(), block.GetBytes());
    case kAttributesText:
      return SetAttributes(block.GetBytes());
    default:
      Replace(ORVX_DataSource::Extension(dictionary_, block.GetType()),
              ORVX_DataSource::Extension(message.GetExtension()),
              [](Mirrored& dictionary, const ORVX_DataSource::Extension& extension) {
                dictionary.SetExtension(extension);
              });
  }
}

void DictionaryMirror::Pass::SetSets(ORVX_DataSource::ExtensionType type, std::string_view text) {
  using Sets = std::vector<VariableSetImpl>;
  const Sets sets = SetsIn(text, type);
  if (type == kVariableSetsText) {
    Replace(Read().GetVariableSets(), sets,
            [](Mirrored& dictionary, const Sets& now) { dictionary.SetVariableSets(now); });
  } else {
    Replace(Read().GetMRSets(), sets,
            [](Mirrored& dictionary, const Sets& now) { dictionary.SetMRSets(now); });
  }
}

void DictionaryMirror::Pass::SetAttributes(std::string_view text) {
  Replace(Read().GetAttributes(), DatasourceAttributes::Read(text),
          [](Mirrored& dictionary, const DatasourceAttributes& attributes) {
            dictionary.SetAttributes(attributes);
          });
}

void DictionaryMirror::Pass::Visit(const ResetClientDataMsg& message) {
  Replace(Read().RowCount(), message.GetRowCount(),
          [](Mirrored& dictionary, long long rowCount) { dictionary.SetRowCount(rowCount); });
}

void DictionaryMirror::Pass::Visit(const DataSetModifiedMsg& message) {
  Replace(Read().IsDirty(), message.GetModified(),
          [](Mirrored& dictionary, bool dirty) { dictionary.SetDirty(dirty); });
}

template <class Position>
void DictionaryMirror::Pass::Apply(const DataSetMsg& message, Position position) {
  const auto inMessage = [&](const std::exception& error) {
    return MirrorError(message.VSConcreteSignature() + position() + ": " + error.what());
  };
  try {
    message.Accept(*this);
  } catch (const MirrorError& error) {
    throw inMessage(error);
  } catch (const std::invalid_argument& error) {  // thrown for invalid text
    throw inMessage(error);
  }
}

DictionaryMirror::DictionaryMirror() : dictionary_(std::make_unique<Mirrored>()) {}
DictionaryMirror::~DictionaryMirror() = default;
DictionaryMirror::DictionaryMirror(DictionaryMirror&&) noexcept = default;
DictionaryMirror& DictionaryMirror::operator=(DictionaryMirror&&) noexcept = default;

template <class Messages>
void DictionaryMirror::ApplyAll(const Messages& pass, const Check& check) {
  Pass next(*dictionary_);
  for (std::size_t i = 0; i < pass.size(); ++i) {
    next.Apply(*pass[i], [&] {
      return ", message " + std::to_string(i + 1) + " of " + std::to_string(pass.size());
    });
  }
  if (check) check(*dictionary_);
  next.Commit();
}

void DictionaryMirror::Apply(const std::vector<DataSetMsg*>& pass, const Check& check) {
  ApplyAll(pass, check);
}

void DictionaryMirror::Apply(std::span<const std::unique_ptr<DataSetMsg>> pass,
                             const Check& check) {
  ApplyAll(pass, check);
}

void DictionaryMirror::Apply(const DataSetMsg& message) {
  Pass next(*dictionary_);
  next.Apply(message, [] { return std::string(); });
  next.Commit();
}

const ORVX_DataSource& DictionaryMirror::Dictionary() const {
  return *dictionary_;
}
