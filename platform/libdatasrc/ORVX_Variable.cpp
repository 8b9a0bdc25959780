// The shared record of a variable, copied on write.

#include <libdatasrc/internal/SameNumber.h>
#include <libdatasrc/internal/VariableSequence.h>
#include <libdatasrc/ORVX_Variable.h>

#include <algorithm>
#include <atomic>
#include <stdexcept>

using namespace sdm_internal;

namespace {

// The serial of the next identifier.
std::atomic<unsigned int> nextSerial{0};
constexpr unsigned int kVariableDomain = 1;

int CheckedType(int type) {
  if (type < 0) {
    throw std::invalid_argument("ORVX_Variable: negative type " + std::to_string(type));
  }
  return type;
}

bool SameValue(const DataValue& a, const DataValue& b) {
  const double* number = std::get_if<double>(&a);
  const double* other = std::get_if<double>(&b);
  return number != nullptr && other != nullptr ? SameNumber(*number, *other) : a == b;
}

bool SameLabels(const ValueLabels& a, const ValueLabels& b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](const auto& left, const auto& right) {
                      return SameValue(left.first, right.first) && left.second == right.second;
                    });
}

}  // namespace

bool MissingValues::operator==(const MissingValues& other) const {
  return std::equal(values.begin(), values.end(), other.values.begin(), other.values.end(),
                    SameValue);
}

struct ORVX_Variable::Record {
  Record() = default;
  Record(LocallyUniqueID identifier, std::string givenName, int givenType)
      : id(identifier), type(CheckedType(givenType)), name(std::move(givenName)) {}
  // The copy has a reference count of 1.
  Record(const Record& other)
      : id(other.id),
        type(other.type),
        name(other.name),
        label(other.label),
        format(other.format),
        valueLabels(other.valueLabels),
        missingValues(other.missingValues),
        level(other.level),
        attributes(other.attributes) {}
  Record& operator=(const Record&) = delete;

  void AddReference() { references.fetch_add(1, std::memory_order_relaxed); }
  void Release() {
    if (references.fetch_sub(1, std::memory_order_acq_rel) == 1) delete this;
  }
  // Acquire order: other owners' last accesses happen before the caller's writes.
  bool IsShared() const { return references.load(std::memory_order_acquire) > 1; }

  bool SameFields(const Record& other) const {
    return id == other.id && type == other.type && name == other.name && label == other.label &&
           format == other.format && SameLabels(valueLabels, other.valueLabels) &&
           missingValues == other.missingValues && level == other.level &&
           attributes == other.attributes;
  }

  // Threads: several at the same time, because all store the same hash.
  void CacheHash(const VariableHash& hash) {
    highHash.store(hash.high, std::memory_order_relaxed);
    lowHash.store(hash.low, std::memory_order_release);
  }
  void ForgetHash() { lowHash.store(0, std::memory_order_relaxed); }

  std::atomic<unsigned int> references{1};
  LocallyUniqueID id;
  int type = 0;
  std::string name;
  std::string label;
  VariableFormat format;
  ValueLabels valueLabels;
  MissingValues missingValues;
  MeasurementLevel level = MeasurementLevel::Unknown;
  VariableAttributes attributes;
  // The cached hash; none if lowHash is 0.
  std::atomic<std::uint64_t> highHash{0};
  std::atomic<std::uint64_t> lowHash{0};
};

// Never freed: variables with static lifetime may outlive every other static object.
ORVX_Variable::Record* ORVX_Variable::EmptyRecord() {
  static Record* const empty = new Record;
  empty->AddReference();
  return empty;
}

ORVX_Variable::ORVX_Variable() : record_(EmptyRecord()) {}

ORVX_Variable::ORVX_Variable(LocallyUniqueID id, std::string name, int type)
    : record_(new Record(id, std::move(name), type)) {}

ORVX_Variable::ORVX_Variable(const ORVX_Variable& other) noexcept : record_(other.record_) {
  record_->AddReference();
}

ORVX_Variable& ORVX_Variable::operator=(const ORVX_Variable& other) {
  ORVX_Variable copy(other);
  if (block_ != nullptr) {
    block_->Touch();
    if (GetID() != copy.GetID()) block_->Rename(*this, copy.GetID());
  }
  std::swap(record_, copy.record_);
  return *this;
}

ORVX_Variable::~ORVX_Variable() {
  record_->Release();
}

LocallyUniqueID ORVX_Variable::NextID() {
  return LocallyUniqueID(kVariableDomain, nextSerial.fetch_add(1, std::memory_order_relaxed));
}

bool ORVX_Variable::operator==(const ORVX_Variable& other) const {
  return record_ == other.record_ || record_->SameFields(*other.record_);
}

ORVX_Variable::Record& ORVX_Variable::Detach() {
  if (record_->IsShared()) {
    Record* copy = new Record(*record_);
    record_->Release();
    record_ = copy;
  }
  record_->ForgetHash();
  if (block_ != nullptr) block_->Touch();
  return *record_;
}

LocallyUniqueID ORVX_Variable::GetID() const {
  return record_->id;
}

void ORVX_Variable::SetID(LocallyUniqueID id) {
  if (id == GetID()) return;
  Record& record = Detach();
  if (block_ != nullptr) block_->Rename(*this, id);
  record.id = id;
}

const std::string& ORVX_Variable::GetName() const {
  return record_->name;
}
void ORVX_Variable::SetName(std::string name) {
  Detach().name = std::move(name);
}

const std::string& ORVX_Variable::GetLabel() const {
  return record_->label;
}
void ORVX_Variable::SetLabel(std::string label) {
  Detach().label = std::move(label);
}

int ORVX_Variable::GetType() const {
  return record_->type;
}
void ORVX_Variable::SetType(int type) {
  CheckedType(type);
  Detach().type = type;
}

const VariableFormat& ORVX_Variable::GetFormat() const {
  return record_->format;
}
void ORVX_Variable::SetFormat(const VariableFormat& format) {
  const VariableFormat copy = format;  // `format` may be a field of the old record
  Detach().format = copy;
}

const ValueLabels& ORVX_Variable::GetValueLabels() const {
  return record_->valueLabels;
}
void ORVX_Variable::SetValueLabels(ValueLabels labels) {
  Detach().valueLabels = std::move(labels);
}

const MissingValues& ORVX_Variable::GetMissingValues() const {
  return record_->missingValues;
}
void ORVX_Variable::SetMissingValues(MissingValues missing) {
  Detach().missingValues = std::move(missing);
}

MeasurementLevel ORVX_Variable::GetMeasurementLevel() const {
  return record_->level;
}
void ORVX_Variable::SetMeasurementLevel(MeasurementLevel level) {
  Detach().level = level;
}

const VariableAttributes& ORVX_Variable::GetAttributes() const {
  return record_->attributes;
}
void ORVX_Variable::SetAttributes(VariableAttributes attributes) {
  Detach().attributes = std::move(attributes);
}

VariableHash ORVX_Variable::Hash(VariableHash (*hashOf)(const ORVX_Variable&)) const {
  const std::uint64_t low = record_->lowHash.load(std::memory_order_acquire);
  if (low != 0) return {record_->highHash.load(std::memory_order_relaxed), low};
  const VariableHash hash = hashOf(*this);
  record_->CacheHash(hash);
  return hash;
}
