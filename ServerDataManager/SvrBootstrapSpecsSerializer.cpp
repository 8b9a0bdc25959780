// SvrBootstrapSpecsSerializer: encoding, decoding and checking, each a list of the fields in order.

#include <ServerDataManager/SvrBootstrapSpecsSerializer.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <utility>
#include <vector>

#include <ServerDataManager/SvrBootstrapSpecs.h>

namespace {

using Check = SvrBootstrapSpecsSerializer::Check;
using CaseStat = std::pair<double, std::uint32_t>;

constexpr std::uint16_t kByteOrderMark = 1;
constexpr std::uint32_t kVersion = 1;

// Assumptions of the format.
static_assert(sizeof(int) == 4 && sizeof(double) == 8 && std::numeric_limits<double>::is_iec559);

// ---- writing ------------------------------------------------------------------------------------

template <class Number>
void Write(Number number, std::string& bytes) {
  const auto raw = std::bit_cast<std::array<char, sizeof(Number)>>(number);
  bytes.append(raw.data(), raw.size());
}

template <class Element>
void WriteCount(const std::vector<Element>& list, std::string& bytes) {
  Write(static_cast<std::uint32_t>(list.size()), bytes);
}

template <class Number>
void WriteList(const std::vector<Number>& list, std::string& bytes) {
  WriteCount(list, bytes);
  for (const Number number : list) Write(number, bytes);
}

// Member by member: a pair has padding, the format has none.
void WriteList(const std::vector<CaseStat>& list, std::string& bytes) {
  WriteCount(list, bytes);
  for (const auto& [value, count] : list) {
    Write(value, bytes);
    Write(count, bytes);
  }
}

// ---- reading ------------------------------------------------------------------------------------

// The number at `place`, which need not be aligned. Swaps bytes, not numbers: a swapped double may
// be a signalling NaN, which copying may change.
template <class Number>
Number NumberAt(const char* place, bool swapped) {
  std::array<char, sizeof(Number)> raw;
  std::memcpy(raw.data(), place, raw.size());
  if (swapped) DoSwapBytes(raw.data(), static_cast<unsigned int>(raw.size()));
  return std::bit_cast<Number>(raw);
}

// Any mark other than 1 in native order means the other byte order, not only a swapped 1.
bool IsSwapped(const char* mark) {
  return NumberAt<std::uint16_t>(mark, /*swapped=*/false) != kByteOrderMark;
}

std::unique_ptr<char[]> CopyOf(const std::string& bytes) {
  auto copy = std::make_unique_for_overwrite<char[]>(bytes.size());
  bytes.copy(copy.get(), bytes.size());
  return copy;
}

// Returns the fields after the mark one by one, without checking for the end of the bytes.
class Fields {
 public:
  explicit Fields(const char* bytes)
      : swapped_(IsSwapped(bytes)), next_(bytes + sizeof kByteOrderMark) {}

  template <class Number>
  Number Next() {
    const char* const place = next_;
    next_ += sizeof(Number);
    return NumberAt<Number>(place, swapped_);
  }

 private:
  bool swapped_;
  const char* next_;
};

using ListSetter = void (SvrBootstrapSpecs::*)(const std::vector<int>&);

// An empty list is not set: the object keeps its own.
void ReadList(Fields& fields, SvrBootstrapSpecs& specs, ListSetter set) {
  const auto count = fields.Next<std::uint32_t>();
  if (count == 0) return;
  std::vector<int> list(count);
  for (int& variable : list) variable = fields.Next<std::int32_t>();
  (specs.*set)(list);
}

// Appends to the list of the object.
void ReadSplitEnds(Fields& fields, SvrBootstrapSpecs& specs) {
  const auto count = fields.Next<std::uint32_t>();
  for (std::uint32_t i = 0; i < count; ++i) {
    specs.SplitEnds().push_back(fields.Next<std::uint32_t>());
  }
}

// Appends to the list of the object.
void ReadCaseStats(Fields& fields, SvrBootstrapSpecs& specs) {
  const auto count = fields.Next<std::uint32_t>();
  for (std::uint32_t i = 0; i < count; ++i) {
    const auto value = fields.Next<double>();
    specs.CaseStats().emplace_back(value, fields.Next<std::uint32_t>());
  }
}

void ReadBehindVersion(Fields& fields, SvrBootstrapSpecs& specs) {
  using Specs = SvrBootstrapSpecs;
  specs.SetSamplingMethod(static_cast<Specs::SampMethods>(fields.Next<std::int32_t>()));
  ReadList(fields, specs, &Specs::SetStrataVarList);
  ReadList(fields, specs, &Specs::SetDependVarList);
  ReadList(fields, specs, &Specs::SetInputVarList);
  ReadList(fields, specs, &Specs::SetPredictedVarList);
  ReadList(fields, specs, &Specs::SetResidualVarList);
  ReadSplitEnds(fields, specs);
  ReadCaseStats(fields, specs);
  specs.SetCILevelPct(fields.Next<double>());
  specs.SetCIType(static_cast<Specs::CITypes>(fields.Next<std::int32_t>()));
  specs.SetNSamples(fields.Next<std::int32_t>());
  specs.SetExcludeUserMiss((fields.Next<std::uint8_t>() & 1) != 0);
}

// ---- looking through ----------------------------------------------------------------------------

// Skips the fields of bytes that may end anywhere. Each step returns whether it succeeded. After
// the first failure, which sets the finding, only Result may be called.
class Inspection {
 public:
  explicit Inspection(std::string_view bytes) : bytes_(bytes) {}

  bool PassMark() {
    if (!Holds(sizeof kByteOrderMark)) return Stop(Check::Finding::Truncated);
    swapped_ = IsSwapped(bytes_.data());
    return Pass(sizeof kByteOrderMark);
  }

  bool PassVersion() {
    if (!Holds(sizeof kVersion)) return Stop(Check::Finding::Truncated);
    if (UnsignedHere() != kVersion) return Stop(Check::Finding::UnknownVersion);
    return Pass(sizeof kVersion);
  }

  bool PassList(std::uint64_t elementSize) {
    if (!Holds(sizeof(std::uint32_t))) return Stop(Check::Finding::Truncated);
    const std::uint64_t size = sizeof(std::uint32_t) + UnsignedHere() * elementSize;
    if (!Holds(size)) return Stop(Check::Finding::ListTooLong);
    return Pass(size);
  }

  bool PassField(std::uint64_t size) {
    if (!Holds(size)) return Stop(Check::Finding::Truncated);
    return Pass(size);
  }

  Check Result() const {
    return {finding_, swapped_ ? Check::ByteOrder::Swapped : Check::ByteOrder::Native,
            finding_ == Check::Finding::Whole ? offset_ : 0, offset_};
  }

 private:
  bool Holds(std::uint64_t size) const { return size <= bytes_.size() - offset_; }

  // In 64 bits, so that products do not overflow.
  std::uint64_t UnsignedHere() const {
    return NumberAt<std::uint32_t>(bytes_.data() + offset_, swapped_);
  }

  bool Pass(std::uint64_t size) {
    offset_ += static_cast<std::size_t>(size);
    return true;
  }

  bool Stop(Check::Finding finding) {
    finding_ = finding;
    return false;
  }

  std::string_view bytes_;
  std::size_t offset_ = 0;  // at most the size of bytes_
  bool swapped_ = false;
  Check::Finding finding_ = Check::Finding::Whole;
};

bool PassVariableLists(Inspection& inspection) {
  for (int list = 0; list < 5; ++list) {
    if (!inspection.PassList(sizeof(std::int32_t))) return false;
  }
  return true;
}

bool PassSplitEnds(Inspection& inspection) {
  return inspection.PassList(sizeof(std::uint32_t));
}

bool PassCaseStats(Inspection& inspection) {
  return inspection.PassList(sizeof(double) + sizeof(std::uint32_t));
}

}  // namespace

void SvrBootstrapSpecsSerializer::serializeSpecs(const SvrBootstrapSpecs& specs,
                                                 std::string& output) {
  std::string bytes;
  Write(kByteOrderMark, bytes);
  Write(kVersion, bytes);
  Write(specs.GetSamplingMethod(), bytes);
  WriteList(specs.GetStrataVarList(), bytes);
  WriteList(specs.GetDependVarList(), bytes);
  WriteList(specs.GetInputVarList(), bytes);
  WriteList(specs.GetPredictedVarList(), bytes);
  WriteList(specs.GetResidualVarList(), bytes);
  WriteList(specs.SplitEnds(), bytes);
  WriteList(specs.CaseStats(), bytes);
  Write(specs.GetCILevelPct(), bytes);
  Write(specs.GetCIType(), bytes);
  Write(specs.GetNSamples(), bytes);
  Write(static_cast<std::uint8_t>(specs.GetExcludeUserMiss()), bytes);
  // One append, so that `output` is unchanged if it throws.
  output.append(bytes);
}

void SvrBootstrapSpecsSerializer::deserializeSpecs(const std::string& input,
                                                   SvrBootstrapSpecs& specs) {
  std::unique_ptr<char[]> buffer = CopyOf(input);
  Fields fields(buffer.get());
  if (fields.Next<std::uint32_t>() != kVersion) {
    // Leaks the buffer, an oddity that is kept. Callers avoid it with checkSpecs.
    static_cast<void>(buffer.release());
    return;
  }
  ReadBehindVersion(fields, specs);
}

SvrBootstrapSpecsSerializer::Check SvrBootstrapSpecsSerializer::checkSpecs(
    std::string_view bytes) noexcept {
  Inspection inspection(bytes);
  static_cast<void>(inspection.PassMark() && inspection.PassVersion() &&
                    inspection.PassField(sizeof(SvrBootstrapSpecs::SampMethods)) &&
                    PassVariableLists(inspection) && PassSplitEnds(inspection) &&
                    PassCaseStats(inspection) &&
                    inspection.PassField(sizeof(double)) &&  // the level
                    inspection.PassField(sizeof(SvrBootstrapSpecs::CITypes)) &&
                    inspection.PassField(sizeof(std::int32_t)) &&  // the number of samples
                    inspection.PassField(sizeof(std::uint8_t)));   // user-missing values
  return inspection.Result();
}

void DoSwapBytes(char* bytes, unsigned int count) {
  std::reverse(bytes, bytes + count);
}
