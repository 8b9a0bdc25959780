#include <ServerDataManager/SvrBootstrapSpecsSerializer.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <limits>
#include <type_traits>
#include <utility>
#include <vector>

#include <ServerDataManager/SvrBootstrapSpecs.h>

namespace {

using Check = SvrBootstrapSpecsSerializer::Check;
using CaseStat = std::pair<double, std::uint32_t>;

constexpr std::uint16_t kByteOrderMark = 1;
constexpr std::uint32_t kVersion = 1;
constexpr std::size_t kCaseStatSize = sizeof(double) + sizeof(std::uint32_t);

// The format assumes these sizes.
static_assert(sizeof(int) == 4 && sizeof(double) == 8 && std::numeric_limits<double>::is_iec559 &&
              sizeof(CaseStat) == 16);

// ---- writing ------------------------------------------------------------------------------------

// The functions below append to `bytes`, which already has enough capacity.

template <class Number>
void Write(Number number, std::string& bytes) {
  const auto raw = std::bit_cast<std::array<char, sizeof(Number)>>(number);
  bytes.append(raw.data(), raw.size());
}

template <class Number>
void WriteList(const std::vector<Number>& list, std::string& bytes) {
  Write(static_cast<std::uint32_t>(list.size()), bytes);
  bytes.append(reinterpret_cast<const char*>(list.data()), list.size() * sizeof(Number));
}

// Packs several pairs at a time into a buffer, which is faster than appending each number. In
// memory, a pair ends with padding, which is not encoded: the next pair overwrites the padding.
void WriteList(const std::vector<CaseStat>& list, std::string& bytes) {
  Write(static_cast<std::uint32_t>(list.size()), bytes);
  constexpr std::ptrdiff_t kPairsAtOnce = 256;
  constexpr std::size_t kPadding = sizeof(CaseStat) - kCaseStatSize;
  std::array<char, kPairsAtOnce * kCaseStatSize + kPadding> buffer;
  for (auto next = list.begin(); next != list.end();) {
    char* end = buffer.data();
    const auto stop = next + std::min(kPairsAtOnce, list.end() - next);
    for (; next != stop; ++next, end += kCaseStatSize) {
      std::memcpy(end, &*next, sizeof(CaseStat));
    }
    bytes.append(buffer.data(), end);
  }
}

std::size_t EncodedSize(const SvrBootstrapSpecs& specs) {
  const std::size_t integers = specs.GetStrataVarList().size() + specs.GetDependVarList().size() +
                               specs.GetInputVarList().size() + specs.GetPredictedVarList().size() +
                               specs.GetResidualVarList().size() + specs.SplitEnds().size();
  return 55 + 4 * integers + kCaseStatSize * specs.CaseStats().size();
}

// ---- reading ------------------------------------------------------------------------------------

template <class Number>
using UnsignedOf = std::conditional_t<
    sizeof(Number) == 8, std::uint64_t,
    std::conditional_t<sizeof(Number) == 4, std::uint32_t,
                       std::conditional_t<sizeof(Number) == 2, std::uint16_t, std::uint8_t>>>;

template <class Unsigned>
Unsigned Swapped(Unsigned bits) {
  if constexpr (sizeof bits == 8) return __builtin_bswap64(bits);
  if constexpr (sizeof bits == 4) return __builtin_bswap32(bits);
  if constexpr (sizeof bits == 2) return __builtin_bswap16(bits);
  return bits;
}

// Returns the number at `place`, which need not be aligned. Swaps the bytes in an integer, not in
// a double, because swapped bytes may be a signalling NaN, and copying a NaN may change it.
template <class Number, bool kSwapped>
Number NumberAt(const char* place) {
  UnsignedOf<Number> bits;
  std::memcpy(&bits, place, sizeof bits);
  return std::bit_cast<Number>(kSwapped ? Swapped(bits) : bits);
}

template <class Number>
Number NumberAt(const char* place, bool swapped) {
  return swapped ? NumberAt<Number, true>(place) : NumberAt<Number, false>(place);
}

// Reverses the bytes of each of `count` 4-byte words. Works on 16 bytes at a time, because
// compilers do not vectorise a loop over __builtin_bswap32 for every processor.
void SwapWords(char* words, std::size_t count) {
  using Halves = std::uint16_t __attribute__((vector_size(16)));
  using Words = std::uint32_t __attribute__((vector_size(16)));
  for (; count >= 4; count -= 4, words += sizeof(Words)) {
    Halves halves;
    std::memcpy(&halves, words, sizeof halves);
    const auto bytesSwapped = std::bit_cast<Words>((halves << 8) | (halves >> 8));
    const Words swapped = (bytesSwapped << 16) | (bytesSwapped >> 16);
    std::memcpy(words, &swapped, sizeof swapped);
  }
  for (; count > 0; --count, words += 4) DoSwapBytes(words, 4);
}

// Returns whether `mark` is not 1 in native byte order: every other mark counts as swapped.
bool IsSwapped(const char* mark) {
  return NumberAt<std::uint16_t, false>(mark) != kByteOrderMark;
}

template <class Element, bool kSwapped>
struct Decoder {
  static constexpr std::ptrdiff_t kSize = sizeof(Element);
  static Element At(const char* place) { return NumberAt<Element, kSwapped>(place); }
};

template <bool kSwapped>
struct Decoder<CaseStat, kSwapped> {
  static constexpr std::ptrdiff_t kSize = kCaseStatSize;
  static CaseStat At(const char* place) {
    return {NumberAt<double, kSwapped>(place),
            NumberAt<std::uint32_t, kSwapped>(place + sizeof(double))};
  }
};

// Iterates over encoded elements and decodes each when it is read, so that a list is decoded while
// it is filled.
template <class Element, bool kSwapped>
class EncodedIterator {
 public:
  using iterator_category = std::forward_iterator_tag;
  using value_type = Element;
  using difference_type = std::ptrdiff_t;
  using pointer = const Element*;
  using reference = Element;

  explicit EncodedIterator(const char* place) : place_(place) {}

  Element operator*() const { return Decoder<Element, kSwapped>::At(place_); }
  EncodedIterator& operator++() {
    place_ += Decoder<Element, kSwapped>::kSize;
    return *this;
  }
  EncodedIterator operator++(int) {
    const EncodedIterator before = *this;
    ++*this;
    return before;
  }
  bool operator==(const EncodedIterator&) const = default;

 private:
  const char* place_;
};

// Decodes the fields after the byte-order mark one by one. Does not check where the bytes end.
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

  // Reads the number of elements, then the elements, and appends them to `list`.
  template <class Element>
  void AppendList(std::vector<Element>& list) {
    const auto count = Next<std::uint32_t>();
    if (!swapped_) {
      Append<Element, false>(list, count);
    } else if constexpr (sizeof(Element) == 4) {
      AppendSwapped(list, count);
    } else {
      Append<Element, true>(list, count);
    }
  }

 private:
  template <class Element, bool kSwapped>
  void Append(std::vector<Element>& list, std::uint32_t count) {
    using Iterator = EncodedIterator<Element, kSwapped>;
    const char* const end = next_ + Decoder<Element, kSwapped>::kSize * count;
    list.insert(list.end(), Iterator(next_), Iterator(end));
    next_ = end;
  }

  // Appends the words in groups. Swaps the bytes of the words in a group right after appending it,
  // while the group is in the fastest cache.
  template <class Word>
  void AppendSwapped(std::vector<Word>& list, std::uint32_t count) {
    constexpr std::uint32_t kWordsAtOnce = 128;
    const std::size_t size = list.size() + count;
    if (size > list.capacity()) list.reserve(std::max(size, 2 * list.size()));
    while (list.size() < size) {
      const std::size_t group = list.size();
      const std::uint32_t words = std::min(kWordsAtOnce, count);
      Append<Word, false>(list, words);
      SwapWords(reinterpret_cast<char*>(list.data() + group), words);
      count -= words;
    }
  }

  bool swapped_;
  const char* next_;
};

using ListSetter = void (SvrBootstrapSpecs::*)(std::vector<int>&&);

// Decodes a list and stores it in `specs`. If the list is empty, `specs` keeps its own list.
void ReadList(Fields& fields, SvrBootstrapSpecs& specs, ListSetter set) {
  std::vector<int> list;
  fields.AppendList(list);
  if (!list.empty()) (specs.*set)(std::move(list));
}

void ReadAfterVersion(Fields& fields, SvrBootstrapSpecs& specs) {
  using Specs = SvrBootstrapSpecs;
  specs.SetSamplingMethod(static_cast<Specs::SampMethods>(fields.Next<std::int32_t>()));
  ReadList(fields, specs, &Specs::SetStrataVarList);
  ReadList(fields, specs, &Specs::SetDependVarList);
  ReadList(fields, specs, &Specs::SetInputVarList);
  ReadList(fields, specs, &Specs::SetPredictedVarList);
  ReadList(fields, specs, &Specs::SetResidualVarList);
  fields.AppendList(specs.SplitEnds());
  fields.AppendList(specs.CaseStats());
  specs.SetCILevelPct(fields.Next<double>());
  specs.SetCIType(static_cast<Specs::CITypes>(fields.Next<std::int32_t>()));
  specs.SetNSamples(fields.Next<std::int32_t>());
  specs.SetExcludeUserMiss((fields.Next<std::uint8_t>() & 1) != 0);
}

// ---- checking -----------------------------------------------------------------------------------

// Checks a specification, whose bytes may end anywhere, by skipping its fields. Each Skip function
// returns whether it succeeded. After the first failure, which sets the finding, call only Result.
class Inspection {
 public:
  explicit Inspection(std::string_view bytes) : bytes_(bytes) {}

  bool SkipMark() {
    if (!Holds(sizeof kByteOrderMark)) return Stop(Check::Finding::Truncated);
    swapped_ = IsSwapped(bytes_.data());
    return Skip(sizeof kByteOrderMark);
  }

  bool SkipVersion() {
    if (!Holds(sizeof kVersion)) return Stop(Check::Finding::Truncated);
    if (UnsignedHere() != kVersion) return Stop(Check::Finding::UnknownVersion);
    return Skip(sizeof kVersion);
  }

  bool SkipList(std::uint64_t elementSize) {
    if (!Holds(sizeof(std::uint32_t))) return Stop(Check::Finding::Truncated);
    const std::uint64_t size = sizeof(std::uint32_t) + UnsignedHere() * elementSize;
    if (!Holds(size)) return Stop(Check::Finding::ListTooLong);
    return Skip(size);
  }

  bool SkipField(std::uint64_t size) {
    if (!Holds(size)) return Stop(Check::Finding::Truncated);
    return Skip(size);
  }

  Check Result() const {
    return {finding_, swapped_ ? Check::ByteOrder::Swapped : Check::ByteOrder::Native,
            finding_ == Check::Finding::Whole ? offset_ : 0, offset_};
  }

 private:
  bool Holds(std::uint64_t size) const { return size <= bytes_.size() - offset_; }

  // Returns the number at `offset_`, in 64 bits so that products do not overflow.
  std::uint64_t UnsignedHere() const {
    return NumberAt<std::uint32_t>(bytes_.data() + offset_, swapped_);
  }

  bool Skip(std::uint64_t size) {
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

bool SkipVariableLists(Inspection& inspection) {
  for (int list = 0; list < 5; ++list) {
    if (!inspection.SkipList(sizeof(std::int32_t))) return false;
  }
  return true;
}

}  // namespace

void SvrBootstrapSpecsSerializer::serializeSpecs(const SvrBootstrapSpecs& specs,
                                                 std::string& output) {
  // Only `reserve` may throw; `output` is then unchanged.
  output.reserve(output.size() + EncodedSize(specs));
  Write(kByteOrderMark, output);
  Write(kVersion, output);
  Write(specs.GetSamplingMethod(), output);
  WriteList(specs.GetStrataVarList(), output);
  WriteList(specs.GetDependVarList(), output);
  WriteList(specs.GetInputVarList(), output);
  WriteList(specs.GetPredictedVarList(), output);
  WriteList(specs.GetResidualVarList(), output);
  WriteList(specs.SplitEnds(), output);
  WriteList(specs.CaseStats(), output);
  Write(specs.GetCILevelPct(), output);
  Write(specs.GetCIType(), output);
  Write(specs.GetNSamples(), output);
  Write(static_cast<std::uint8_t>(specs.GetExcludeUserMiss()), output);
}

void SvrBootstrapSpecsSerializer::deserializeSpecs(const std::string& input,
                                                   SvrBootstrapSpecs& specs) {
  Fields fields(input.data());
  if (fields.Next<std::uint32_t>() != kVersion) {
    // Leaks a copy of the input, an oddity that is kept. Callers avoid the leak with checkSpecs.
    char* const copy = new char[input.size()];
    input.copy(copy, input.size());
    asm volatile("" : : "r"(copy) : "memory");  // the compiler must keep the copy
    return;
  }
  ReadAfterVersion(fields, specs);
}

std::string SvrBootstrapSpecsSerializer::Check::Problem() const {
  const std::string start = "not a bootstrap specification: ";
  const std::string at = " at offset " + std::to_string(offset);
  switch (finding) {
    case Finding::Whole:
      return "";
    case Finding::Truncated:
      return start + "it ends within the field" + at;
    case Finding::UnknownVersion:
      return start + "the version" + at + " is not 1";
    case Finding::ListTooLong:
      return start + "the list" + at + " is longer than the file";
  }
  return start;
}

SvrBootstrapSpecsSerializer::Check SvrBootstrapSpecsSerializer::checkSpecs(
    std::string_view bytes) noexcept {
  Inspection inspection(bytes);
  static_cast<void>(inspection.SkipMark() && inspection.SkipVersion() &&
                    inspection.SkipField(sizeof(SvrBootstrapSpecs::SampMethods)) &&
                    SkipVariableLists(inspection) &&
                    inspection.SkipList(sizeof(std::uint32_t)) &&  // split ends
                    inspection.SkipList(kCaseStatSize) &&          // case statistics
                    inspection.SkipField(sizeof(double)) &&        // the level
                    inspection.SkipField(sizeof(SvrBootstrapSpecs::CITypes)) &&
                    inspection.SkipField(sizeof(std::int32_t)) &&  // the number of samples
                    inspection.SkipField(sizeof(std::uint8_t)));   // user-missing values
  return inspection.Result();
}

void DoSwapBytes(char* bytes, unsigned int count) {
  std::reverse(bytes, bytes + count);
}
