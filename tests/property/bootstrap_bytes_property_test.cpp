// Tests decoding random bootstrap specifications in both byte orders, and arbitrary bytes.

#include <ServerDataManager/SvrBootstrapSpecs.h>
#include <ServerDataManager/SvrBootstrapSpecsSerializer.h>
#include <tests/property/ForAll.h>
#include <tests/support/BootstrapRecords.h>

#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace {

using support::All;
using support::BytesOf;
using support::CheckOf;
using support::ReadFrom;

using Specs = SvrBootstrapSpecs;
using Check = SvrBootstrapSpecsSerializer::Check;

constexpr int kBytesRuns = 1000;

// ---- random bootstrap specifications and bytes --------------------------------------------------

template <class T>
T Any() {
  return *rc::gen::arbitrary<T>();
}

// The list has at most 0, 3 or 39 elements; each of these limits is equally likely.
template <class T>
std::vector<T> AnyList() {
  const auto size = *rc::gen::inRange<std::size_t>(0, *rc::gen::element(1U, 4U, 40U));
  return *rc::gen::container<std::vector<T>>(size, rc::gen::arbitrary<T>());
}

// Generates any bits, including NaNs, infinities and denormal numbers.
double AnyDouble() {
  return std::bit_cast<double>(
      *rc::gen::oneOf(rc::gen::arbitrary<std::uint64_t>(),
                      rc::gen::map(rc::gen::inRange<std::uint64_t>(0, 1U << 20),
                                   [](std::uint64_t low) { return 0x7FF0000000000000U | low; })));
}

Specs AnySpecs() {
  Specs specs;
  specs.SetSamplingMethod(static_cast<Specs::SampMethods>(Any<std::int32_t>()));
  specs.SetStrataVarList(AnyList<int>());
  specs.SetDependVarList(AnyList<int>());
  specs.SetInputVarList(AnyList<int>());
  specs.SetPredictedVarList(AnyList<int>());
  specs.SetResidualVarList(AnyList<int>());
  specs.SplitEnds() = AnyList<std::uint32_t>();
  for (const std::uint32_t number : AnyList<std::uint32_t>()) {
    specs.CaseStats().emplace_back(AnyDouble(), number);
  }
  specs.SetCILevelPct(AnyDouble());
  specs.SetCIType(static_cast<Specs::CITypes>(Any<std::int32_t>()));
  specs.SetNSamples(Any<std::int32_t>());
  specs.SetExcludeUserMiss(Any<bool>());
  return specs;
}

// Reverses the bytes of each field of an encoded bootstrap specification, independently of the
// decoder.
class Turner {
 public:
  explicit Turner(std::string bytes) : bytes_(std::move(bytes)) {}

  std::string Turned() && {
    Turn({2, 4, 4});
    for (int list = 0; list < 6; ++list) TurnList({4});
    TurnList({8, 4});
    Turn({8, 4, 4, 1});
    return std::move(bytes_);
  }

 private:
  void Turn(std::initializer_list<std::ptrdiff_t> sizes) {
    for (const std::ptrdiff_t size : sizes) {
      std::reverse(bytes_.begin() + at_, bytes_.begin() + at_ + size);
      at_ += size;
    }
  }

  void TurnList(std::initializer_list<std::ptrdiff_t> element) {
    std::uint32_t count = 0;
    std::memcpy(&count, bytes_.data() + at_, sizeof count);
    Turn({4});
    for (; count != 0; --count) Turn(element);
  }

  std::string bytes_;
  std::ptrdiff_t at_ = 0;
};

std::string InTheOtherByteOrder(const std::string& bytes) {
  return Turner(bytes).Turned();
}

// Generates an encoded bootstrap specification in either byte order.
std::string AnyWholeBytes() {
  const std::string bytes = BytesOf(AnySpecs());
  return Any<bool>() ? InTheOtherByteOrder(bytes) : bytes;
}

// Generates a valid byte-order mark and version, then mostly zero bytes, so that the lists have few
// elements.
std::string AnyLikelyBytes() {
  const auto byte = rc::gen::weightedElement<char>(
      {{500, '\0'}, {6, '\1'}, {2, '\2'}, {1, '\3'}, {1, '\x7F'}, {1, '\xFF'}});
  const auto size = *rc::gen::inRange<std::size_t>(0, 120);
  const std::string behind = *rc::gen::container<std::string>(size, byte);
  const std::string begin = BytesOf(Specs()).substr(0, 6);
  return (Any<bool>() ? begin : InTheOtherByteOrder(BytesOf(Specs())).substr(0, 6)) + behind;
}

// Changes one to three bytes. On average, at least half of the changes are in the first 40 bytes,
// where small inputs have the sizes of their lists. Sometimes appends bytes, and sometimes
// truncates the result.
void ChangeSomeBytes(std::string& bytes) {
  const int changes = *rc::gen::inRange(1, 4);
  for (int i = 0; i < changes; ++i) {
    const std::size_t end = Any<bool>() ? bytes.size() : 40;
    const auto place = *rc::gen::inRange<std::size_t>(0, end);
    bytes[place] = *rc::gen::oneOf(rc::gen::arbitrary<char>(), rc::gen::element('\0', '\1', '\2'));
  }
  if (*rc::gen::inRange(0, 4) == 0) bytes += Any<std::string>();
  if (*rc::gen::inRange(0, 4) == 0) bytes.resize(*rc::gen::inRange<std::size_t>(0, bytes.size()));
}

// ---- checks -------------------------------------------------------------------------------------

void AssertWhole(std::string_view bytes, Check::ByteOrder byteOrder) {
  const Check check = CheckOf(bytes);
  RC_ASSERT(check.finding == Check::Finding::Whole);
  RC_ASSERT(check.byteOrder == byteOrder);
  RC_ASSERT(check.size == bytes.size());
  RC_ASSERT(check.offset == bytes.size());
}

void AssertEveryPrefixRefused(const std::string& bytes) {
  for (std::size_t length = 0; length < bytes.size(); ++length) {
    const Check check = CheckOf(std::string_view(bytes).substr(0, length));
    RC_ASSERT(check.finding == Check::Finding::Truncated ||
              check.finding == Check::Finding::ListTooLong);
    RC_ASSERT(check.offset <= length);
    RC_ASSERT(check.size == 0U);
  }
}

// Counts how often each finding occurs.
class Verdicts {
 public:
  // Checks `bytes`. If they are whole, decodes and encodes them: the new bytes must have the same
  // size, check.size, and must decode to the same fields.
  void AssertRightAbout(const std::string& bytes) {
    const Check check = CheckOf(bytes);
    ++counts_[static_cast<std::size_t>(check.finding)];
    RC_ASSERT(check.offset <= bytes.size());
    if (!check.IsWhole()) return;
    // Decodes a copy without the trailing bytes, so that the address sanitizer detects a read past
    // the end. The sanitizer misses a read of the terminator, which std::string adds.
    const Specs read = ReadFrom(bytes.substr(0, check.size));
    RC_ASSERT(BytesOf(read).size() == check.size);
    RC_ASSERT(All(ReadFrom(BytesOf(read))) == All(read));
  }

  // If a finding is rare, the random bytes do not cover the interesting cases.
  void ExpectEachMadeOften() const {
    EXPECT_THAT(counts_, testing::Each(testing::Gt(kBytesRuns / 20)));
  }

 private:
  std::array<int, 4> counts_ = {};
};

// ---- properties ---------------------------------------------------------------------------------

TEST(BootstrapBytesProperty, NativeBytesRoundTripAndAreWhole) {
  ForAll(kBytesRuns, [] {
    const Specs specs = AnySpecs();
    const std::string bytes = BytesOf(specs);
    RC_ASSERT(All(ReadFrom(bytes)) == All(specs));
    AssertWhole(bytes, Check::ByteOrder::Native);
  });
}

TEST(BootstrapBytesProperty, SwappedBytesRoundTripAndAreWhole) {
  ForAll(kBytesRuns, [] {
    const Specs specs = AnySpecs();
    const std::string bytes = InTheOtherByteOrder(BytesOf(specs));
    RC_ASSERT(All(ReadFrom(bytes)) == All(specs));
    AssertWhole(bytes, Check::ByteOrder::Swapped);
  });
}

TEST(BootstrapBytesProperty, EveryPrefixIsRejected) {
  ForAll(kBytesRuns, [] { AssertEveryPrefixRefused(AnyWholeBytes()); });
}

TEST(BootstrapBytesProperty, TrailingBytesAreIgnored) {
  ForAll(kBytesRuns, [] {
    const std::string bytes = AnyWholeBytes();
    const std::string more = bytes + Any<std::string>();
    RC_ASSERT(CheckOf(more).IsWhole());
    RC_ASSERT(CheckOf(more).size == bytes.size());
    RC_ASSERT(All(ReadFrom(more)) == All(ReadFrom(bytes)));
  });
}

TEST(BootstrapBytesProperty, ChangedBytesAreRejectedOrDecodable) {
  Verdicts verdicts;
  ForAll(kBytesRuns, [&verdicts] {
    std::string bytes = AnyWholeBytes();
    ChangeSomeBytes(bytes);
    verdicts.AssertRightAbout(bytes);
  });
  verdicts.ExpectEachMadeOften();
}

TEST(BootstrapBytesProperty, AnyBytesAreRejectedOrDecodable) {
  Verdicts verdicts;
  ForAll(kBytesRuns, [&verdicts] {
    verdicts.AssertRightAbout(AnyLikelyBytes());
    verdicts.AssertRightAbout(Any<std::string>());
  });
  verdicts.ExpectEachMadeOften();
}

}  // namespace
