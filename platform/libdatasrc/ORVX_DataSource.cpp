#include <libdatasrc/internal/ObsCells.h>
#include <libdatasrc/internal/VariableSequence.h>
#include <libdatasrc/ObsIterator.h>
#include <libdatasrc/ORVX_DataSource.h>

#include <atomic>
#include <cstddef>
#include <map>
#include <new>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

using namespace sdm_internal;

namespace {

class NoRows : public ObsIterator {
 public:
  bool Next() override { return false; }
};

// Weight, filter and split of a dictionary, by identifier. A null identifier means off.
struct Uses {
  LocallyUniqueID weight;
  LocallyUniqueID filter;
  std::vector<LocallyUniqueID> split;
  bool splitSeparate = false;

  LocallyUniqueID SplitID(unsigned int i) const {
    return i < split.size() ? split[i] : LocallyUniqueID();
  }

  template <class IsGone>
  void DropIf(IsGone isGone) noexcept {
    if (isGone(weight)) weight = LocallyUniqueID();
    if (isGone(filter)) filter = LocallyUniqueID();
    std::erase_if(split, isGone);
    if (split.empty()) splitSeparate = false;
  }
  void Drop(LocallyUniqueID id) noexcept {
    DropIf([id](LocallyUniqueID used) { return used == id; });
  }
};

RefCountPtr<ORVX_ExtensionImpl> EmptyBlock(int type) {
  // Every release of a writer compares extension 0. If it is absent, one shared block avoids an
  // allocation. The block is never freed: threads may still read while the process exits.
  static const auto& ofTypeZero =
      *new const RefCountPtr<ORVX_ExtensionImpl>(new ORVX_ExtensionImpl(0, 1, 0, nullptr));
  if (type == 0) return ofTypeZero;
  return new ORVX_ExtensionImpl(type, 1, 0, nullptr);
}

[[noreturn]] void ThrowWrongPosition(const char* operation, long position, int size) {
  throw std::out_of_range(std::string(operation) + ": position " + std::to_string(position) +
                          " in a dictionary of " + std::to_string(size) + " variables");
}

}  // namespace

struct ORVX_DataSource::Data {
  // The properties that many dictionaries lack.
  struct RareProperties {
    std::optional<std::string> label;
    std::vector<VariableSetImpl> mrSets;
    std::vector<VariableSetImpl> variableSets;
    std::map<ExtensionType, Extension> extensions;
    DatasourceAttributes attributes;
  };

  explicit Data(ORVX_DataSource* source)
      : variables([this](LocallyUniqueID id) { uses.Drop(id); }), parent(source) {}

  // The identifier of the variable at `position`. Throws if there is no such variable, or if its
  // identifier is null: weight, filter and split need an identifier.
  LocallyUniqueID UsableID(const char* operation, int position) const {
    if (position < 0 || position >= variables.Size()) {
      ThrowWrongPosition(operation, position, variables.Size());
    }
    const LocallyUniqueID id = variables.At(position).GetID();
    if (id.IsNull()) {
      throw std::invalid_argument(std::string(operation) + ": the variable at position " +
                                  std::to_string(position) + " has no identifier");
    }
    return id;
  }

  const RareProperties& Rare() const { return rare != nullptr ? *rare : NoRareProperties(); }
  RareProperties& EditRare() {
    if (rare == nullptr) rare = std::make_unique<RareProperties>();
    return *rare;
  }
  // Never destroyed: threads may still read while the process exits.
  static const RareProperties& NoRareProperties() {
    alignas(RareProperties) static std::byte memory[sizeof(RareProperties)];
    static const RareProperties& none = *new (memory) RareProperties;
    return none;
  }

  RefCountPtr<ORVX_ExtensionImpl> Block(ExtensionType type) const;

  int PositionInUse(LocallyUniqueID id) const { return id.IsNull() ? -1 : variables.Find(id); }

  VariableSequence variables;
  Uses uses;
  // Borrowed. Atomic because a clone changes its parent while other threads read the clone.
  std::atomic<ORVX_DataSource*> parent;
  std::string fileSpec;
  long long rowsPerImputation = 0;
  bool dirty = false;
  ORVX_TrendsInfo trends;
  std::unique_ptr<RareProperties> rare;        // null until a rare property is set
  const ORVX_DataSource* rowLayout = nullptr;  // borrowed; the source itself until SetRowLayout
};

ORVX_DataSource::ORVX_DataSource(ORVX_DataSource* parent) : data_(std::make_unique<Data>(parent)) {
  data_->rowLayout = this;
}

ORVX_DataSource::~ORVX_DataSource() = default;

unsigned int ORVX_DataSource::GetNSplitVars() const {
  return static_cast<unsigned int>(data_->uses.split.size());
}

int ORVX_DataSource::GetSplitVarIndex(unsigned int i) const {
  return data_->PositionInUse(data_->uses.SplitID(i));
}

LocallyUniqueID ORVX_DataSource::GetSplitVarID(unsigned int i) const {
  return data_->uses.SplitID(i);
}

bool ORVX_DataSource::GetSplitqSeparate() const {
  return data_->uses.splitSeparate;
}

ObsIterator* ORVX_DataSource::MakeIterator(OBS*) const {
  return new NoRows;
}

long ORVX_DataSource::GetObsAreaSize() const {
  const ORVX_DataSource* const layout = RowLayout();
  if (layout != this) return layout != nullptr ? layout->GetObsAreaSize() : 0;
  long cells = 0;
  for (int i = 0; i < data_->variables.Size(); ++i) {
    cells += ObsCells(data_->variables.At(i).GetType());
  }
  return cells;
}

long long ORVX_DataSource::RowCount() const {
  return 0;
}

bool ORVX_DataSource::IsLoaded() const {
  return true;
}

int ORVX_DataSource::NParents() const {
  const ORVX_DataSource* const parent = GetParentSource();
  return parent != nullptr ? 1 + parent->NParents() : 0;
}

int ORVX_DataSource::ColumnCount() const {
  return data_->variables.Size();
}

ORVX_Variable& ORVX_DataSource::GetVariable(int position) {
  const VariableSequence& variables = data_->variables;
  if (position < 0 || position >= variables.Size()) {
    ThrowWrongPosition("GetVariable", position, variables.Size());
  }
  return variables.At(position);
}

const ORVX_Variable& ORVX_DataSource::GetVariable(int position) const {
  return const_cast<ORVX_DataSource*>(this)->GetVariable(position);
}

int ORVX_DataSource::FindVarIndex(LocallyUniqueID id) const {
  return data_->variables.Find(id);
}

void ORVX_DataSource::DeleteVariables(int first, int last) {
  const int size = data_->variables.Size();
  if (first < 0 || first > size) ThrowWrongPosition("DeleteVariables", first, size);
  if (last < first - 1 || last >= size) ThrowWrongPosition("DeleteVariables", last, size);
  if (last >= first) data_->variables.Delete(first, last);
}

void ORVX_DataSource::InsertVariable(long position, const ORVX_Variable& variable) {
  const int size = data_->variables.Size();
  if (position < 0 || position > size) ThrowWrongPosition("InsertVariable", position, size);
  data_->variables.Insert(static_cast<int>(position), variable);
}

void ORVX_DataSource::MakeVariable(const ORVX_Variable& variable, unsigned int* position) {
  const int end = data_->variables.Size();
  data_->variables.Insert(end, variable);
  if (position != nullptr) *position = static_cast<unsigned int>(end);
}

ORVX_DataSource::Block ORVX_DataSource::BlockAt(int position) const {
  const VariableSequence& variables = data_->variables;
  if (position < 0 || position >= variables.Size()) {
    ThrowWrongPosition("BlockAt", position, variables.Size());
  }
  int first = 0;
  VariableBlock& block = variables.BlockAt(position, first);
  return {first, {block.Variables(), static_cast<std::size_t>(block.Size())}, block.stamp};
}

bool ORVX_DataSource::ContainsVariable(LocallyUniqueID id) const {
  return data_->variables.Contains(id);
}

bool ORVX_DataSource::HasUniqueIDs() const {
  return data_->variables.HasUniqueIDs();
}

bool ORVX_DataSource::VariablesAreKnownToEqual(const ORVX_DataSource& other) const {
  return data_->variables.IsKnownToEqual(other.data_->variables);
}

void ORVX_DataSource::MatchVariables(ORVX_DataSource& other) {
  if (&other == this) return;
  data_->variables.Match(other.data_->variables);
  data_->uses.DropIf([this](LocallyUniqueID id) { return !data_->variables.Contains(id); });
}

void ORVX_DataSource::DropUses(LocallyUniqueID id) {
  data_->uses.Drop(id);
}

VariableListHash ORVX_DataSource::HashOfVariables(
    VariableHash (*hashOf)(const ORVX_Variable&)) const {
  return data_->variables.Hash(hashOf);
}

int ORVX_DataSource::GetWeightVarIndex() const {
  return data_->PositionInUse(data_->uses.weight);
}

LocallyUniqueID ORVX_DataSource::GetWeightVariableID() const {
  return data_->uses.weight;
}

void ORVX_DataSource::SetWeightVar(int position) {
  data_->uses.weight =
      position == -1 ? LocallyUniqueID() : data_->UsableID("SetWeightVar", position);
}

int ORVX_DataSource::GetFilterVarIndex() const {
  return data_->PositionInUse(data_->uses.filter);
}

LocallyUniqueID ORVX_DataSource::GetFilterVariableID() const {
  return data_->uses.filter;
}

void ORVX_DataSource::SetFilterVar(int position) {
  data_->uses.filter =
      position == -1 ? LocallyUniqueID() : data_->UsableID("SetFilterVar", position);
}

void ORVX_DataSource::SetSplit(unsigned int count, const int* indices, bool separate) {
  if (count > kMaxSplitVars) {
    throw std::length_error("SetSplit: " + std::to_string(count) + " variables, but at most " +
                            std::to_string(kMaxSplitVars) + " can split a file");
  }
  SetSplitOfAnySize(count, indices, separate);
}

void ORVX_DataSource::SetSplitOfAnySize(unsigned int count, const int* indices, bool separate) {
  std::vector<LocallyUniqueID> split(count);
  for (unsigned int i = 0; i < count; ++i) split[i] = data_->UsableID("SetSplit", indices[i]);
  data_->uses.split = std::move(split);
  data_->uses.splitSeparate = separate && count > 0;
}

bool ORVX_DataSource::IsDirty() const {
  return data_->dirty;
}
void ORVX_DataSource::SetDirty(bool dirty) {
  data_->dirty = dirty;
}

const char* ORVX_DataSource::GetFileSpec() const {
  return data_->fileSpec.c_str();
}

void ORVX_DataSource::SetFileSpec(const char* fileSpec) {
  data_->fileSpec = std::string(fileSpec != nullptr ? fileSpec : "");
}

const char* ORVX_DataSource::GetLabel() const {
  const std::optional<std::string>& label = data_->Rare().label;
  return label ? label->c_str() : nullptr;
}

void ORVX_DataSource::SetLabel(const char* label) {
  if (label != nullptr) {
    data_->EditRare().label = std::optional<std::string>(label);
  } else if (data_->rare != nullptr) {
    data_->rare->label.reset();
  }
}

long long ORVX_DataSource::RowsPerImputation() const {
  return data_->rowsPerImputation;
}
void ORVX_DataSource::RowsPerImputation(long long rows) {
  data_->rowsPerImputation = rows;
}

ORVX_TrendsInfo* ORVX_DataSource::GetTrendsInfo() {
  return &data_->trends;
}
const ORVX_TrendsInfo* ORVX_DataSource::GetTrendsInfo() const {
  return &data_->trends;
}

const std::vector<VariableSetImpl>& ORVX_DataSource::GetMRSets() const {
  return data_->Rare().mrSets;
}
// Copies first, then moves: if the copy throws, the current sets are unchanged. The setters below
// do the same.
void ORVX_DataSource::SetMRSets(const std::vector<VariableSetImpl>& sets) {
  data_->EditRare().mrSets = std::vector<VariableSetImpl>(sets);
}

const std::vector<VariableSetImpl>& ORVX_DataSource::GetVariableSets() const {
  return data_->Rare().variableSets;
}
void ORVX_DataSource::SetVariableSets(const std::vector<VariableSetImpl>& sets) {
  data_->EditRare().variableSets = std::vector<VariableSetImpl>(sets);
}

void ORVX_DataSource::SetExtension(const Extension& extension) {
  data_->EditRare().extensions.insert_or_assign(extension.Impl()->GetType(), extension);
}

const DatasourceAttributes& ORVX_DataSource::GetAttributes() const {
  return data_->Rare().attributes;
}
void ORVX_DataSource::SetAttributes(const DatasourceAttributes& attributes) {
  data_->EditRare().attributes = DatasourceAttributes(attributes);
}

RefCountPtr<ORVX_ExtensionImpl> ORVX_DataSource::Data::Block(ExtensionType type) const {
  const std::map<ExtensionType, Extension>& extensions = Rare().extensions;
  const auto found = extensions.find(type);
  return found != extensions.end() ? found->second.Impl() : EmptyBlock(type);
}

ORVX_DataSource::Extension::Extension(const ORVX_DataSource& source, ExtensionType type)
    : block_(source.data_->Block(type)) {}

ORVX_DataSource::Extension::Extension(const RefCountPtr<ORVX_ExtensionImpl>& block)
    : block_(block) {
  if (!block.IsValid()) throw std::invalid_argument("Extension: null block");
}

bool ORVX_DataSource::Extension::operator==(const Extension& other) const {
  if (block_ == other.block_) return true;
  if (block_->GetType() != other.block_->GetType()) return false;
  if (block_->GetLength() == 0) return other.block_->GetLength() == 0;
  return block_->GetVersion() == other.block_->GetVersion() &&
         block_->GetBytes() == other.block_->GetBytes();
}

ORVX_DataSource* ORVX_DataSource::GetParentSource() const {
  return data_->parent;
}
void ORVX_DataSource::SetParentSource(ORVX_DataSource* parent) {
  data_->parent = parent;
}

const ORVX_DataSource* ORVX_DataSource::RowLayout() const {
  const ORVX_DataSource* layout = this;
  while (layout != nullptr && layout->data_->rowLayout != layout) {
    layout = layout->data_->rowLayout;
  }
  return layout;
}
void ORVX_DataSource::SetRowLayout(const ORVX_DataSource* source) {
  data_->rowLayout = source;
}

void ORVX_DataSource::CopyDictionary(const ORVX_DataSource* other) {
  if (other == nullptr || other == this) return;
  Data copy(nullptr);
  copy.variables.Copy(other->data_->variables);
  copy.fileSpec = other->data_->fileSpec;
  copy.trends = other->data_->trends;
  if (other->data_->rare != nullptr) {
    copy.rare = std::make_unique<Data::RareProperties>(*other->data_->rare);
  }
  copy.uses = other->data_->uses;

  data_->variables.Swap(copy.variables);
  data_->fileSpec.swap(copy.fileSpec);
  std::swap(data_->trends, copy.trends);
  data_->rare.swap(copy.rare);
  std::swap(data_->uses, copy.uses);
  data_->rowsPerImputation = other->data_->rowsPerImputation;
}
