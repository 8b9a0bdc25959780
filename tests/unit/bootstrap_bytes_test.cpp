// SvrBootstrapSpecsSerializer: encoding, decoding, and checking of invalid bytes.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <ServerDataManager/SvrBootstrapSpecs.h>
#include <ServerDataManager/SvrBootstrapSpecsSerializer.h>
#include <tests/support/BootstrapRecords.h>

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <ostream>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

static std::ostream& operator<<(std::ostream& stream,
                                const SvrBootstrapSpecsSerializer::Check& check) {
  const char* const findings[] = {"whole", "truncated", "unknown version", "list too long"};
  const char* const orders[] = {"native", "swapped"};
  return stream << findings[static_cast<int>(check.finding)] << ", "
                << orders[static_cast<int>(check.byteOrder)] << ", size " << check.size
                << ", offset " << check.offset;
}

namespace {

using support::All;
using support::BytesOf;
using support::CheckOf;
using support::FullBootstrapSpecs;
using support::ReadFrom;
using support::SwappedBytesOf;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using testing::SizeIs;

using Serializer = SvrBootstrapSpecsSerializer;
using Specs = SvrBootstrapSpecs;
using Check = Serializer::Check;
using enum Check::Finding;
using enum Check::ByteOrder;

// Converts hexadecimal text to bytes: "01 ff" is two bytes.
std::string Bytes(const char* hexadecimal) {
  std::istringstream stream(hexadecimal);
  std::string bytes;
  for (unsigned int byte = 0; stream >> std::hex >> byte;) bytes += static_cast<char>(byte);
  return bytes;
}

std::string Hexadecimal(std::string_view bytes) {
  std::string text;
  for (const char byte : bytes) {
    const auto number = static_cast<unsigned char>(byte);
    text += "0123456789abcdef"[number >> 4];
    text += "0123456789abcdef"[number & 15];
    text += ' ';
  }
  return text;
}

// FullBootstrapSpecs, encoded in both byte orders.
const std::string kLittleEndian = Bytes(
    "01 00                                          "  // byte-order mark
    "01 00 00 00                                    "  // version
    "02 00 00 00                                    "  // sampling method
    "02 00 00 00  03 00 00 00  07 00 00 00          "  // strata
    "01 00 00 00  ff ff ff ff                       "  // dependent
    "03 00 00 00  04 03 02 01  ff ff ff 7f  00 00 00 80  "
    "04 00 00 00  05 00 00 00  06 00 00 00  07 00 00 00  08 00 00 00  "
    "01 00 00 00  09 00 00 00                       "  // residual
    "02 00 00 00  0a 00 00 00  00 28 6b ee          "  // split ends
    "02 00 00 00                                    "  // case statistics
    "ad fa 5c 6d 45 4a 93 40  02 00 00 00           "
    "00 00 00 00 00 00 e0 bf  fe ff ff ff           "
    "00 00 00 00 00 e0 58 40                        "  // level
    "01 00 00 00                                    "  // interval type
    "ec ff ff ff                                    "  // samples
    "00                                             ");
const std::string kBigEndian = Bytes(
    "00 01                                          "  // byte-order mark
    "00 00 00 01                                    "  // version
    "00 00 00 02                                    "  // sampling method
    "00 00 00 02  00 00 00 03  00 00 00 07          "  // strata
    "00 00 00 01  ff ff ff ff                       "  // dependent
    "00 00 00 03  01 02 03 04  7f ff ff ff  80 00 00 00  "
    "00 00 00 04  00 00 00 05  00 00 00 06  00 00 00 07  00 00 00 08  "
    "00 00 00 01  00 00 00 09                       "  // residual
    "00 00 00 02  00 00 00 0a  ee 6b 28 00          "  // split ends
    "00 00 00 02                                    "  // case statistics
    "40 93 4a 45 6d 5c fa ad  00 00 00 02           "
    "bf e0 00 00 00 00 00 00  ff ff ff fe           "
    "40 58 e0 00 00 00 00 00                        "  // level
    "00 00 00 01                                    "  // interval type
    "ff ff ff ec                                    "  // samples
    "00                                             ");

constexpr bool kThisMachineIsLittleEndian = std::endian::native == std::endian::little;
const std::string& kNative = kThisMachineIsLittleEndian ? kLittleEndian : kBigEndian;
const std::string& kSwapped = kThisMachineIsLittleEndian ? kBigEndian : kLittleEndian;

// The offsets of the fields of FullBootstrapSpecs.
constexpr std::size_t kVersionAt = 2;
constexpr std::size_t kCountsAt[] = {10, 22, 30, 46, 66, 74, 86};
constexpr std::size_t kLevelAt = 114;
constexpr std::size_t kWholeSize = 131;
// The offsets of the counts, and the size, if all lists are empty.
constexpr std::size_t kEmptyCountsAt[] = {10, 14, 18, 22, 26, 30, 34};
constexpr std::size_t kEmptySize = 55;

// Returns `bytes` with `number` written at `offset`, in native byte order.
template <class Number>
std::string With(std::size_t offset, Number number, std::string bytes) {
  std::memcpy(bytes.data() + offset, &number, sizeof number);
  return bytes;
}

std::string WithLastByte(char byte, std::string bytes) {
  bytes.back() = byte;
  return bytes;
}

// ---- writing ------------------------------------------------------------------------------------

TEST(BootstrapBytes, OfAFullSpecificationHaveThisEncoding) {
  EXPECT_EQ(Hexadecimal(BytesOf(FullBootstrapSpecs())), Hexadecimal(kNative));
}

TEST(BootstrapBytes, OfADefaultSpecificationAre55Bytes) {
  const std::string bytes = BytesOf(Specs());

  EXPECT_THAT(bytes, SizeIs(55));
  const std::string little = Bytes("01 00 01 00 00 00 00 00 00 00");
  const std::string big = Bytes("00 01 00 00 00 01 00 00 00 00");
  EXPECT_EQ(Hexadecimal(bytes.substr(0, 10)),
            Hexadecimal(kThisMachineIsLittleEndian ? little : big));
  EXPECT_EQ(bytes.substr(10, 7 * 4), std::string(7 * 4, '\0'));
  EXPECT_EQ(bytes.back(), '\x01');
}

TEST(BootstrapBytes, OfADefaultSpecificationRoundTrip) {
  EXPECT_EQ(All(ReadFrom(BytesOf(Specs()))), All(Specs()));
}

TEST(BootstrapBytes, GrowByFourBytesPerListElementAndTwelvePerCaseStatistic) {
  Specs specs;
  specs.SetPredictedVarList({1, 2, 3});
  EXPECT_THAT(BytesOf(specs), SizeIs(55 + 4 * 3));
  specs.SplitEnds() = {1, 2};
  EXPECT_THAT(BytesOf(specs), SizeIs(55 + 4 * 5));
  specs.CaseStats() = {{0.5, 1}, {0.5, 2}, {0.5, 3}};
  EXPECT_THAT(BytesOf(specs), SizeIs(55 + 4 * 5 + 12 * 3));
}

TEST(BootstrapBytes, AreAppendedToTheOutput) {
  std::string bytes = "before";
  Serializer::serializeSpecs(FullBootstrapSpecs(), bytes);
  EXPECT_EQ(Hexadecimal(bytes), Hexadecimal("before" + kNative));
}

TEST(BootstrapBytes, ASecondSpecificationIsDecodedAfterTheFirst) {
  Specs first;
  first.SetNSamples(17);
  std::string bytes = BytesOf(first);
  Serializer::serializeSpecs(FullBootstrapSpecs(), bytes);

  EXPECT_EQ(All(ReadFrom(bytes)), All(first));
  EXPECT_EQ(All(ReadFrom(bytes.substr(kEmptySize))), All(FullBootstrapSpecs()));
}

TEST(BootstrapBytes, AppendingManyTimesRarelyReallocates) {
  std::string bytes;
  int moves = 0;
  for (int i = 0; i < 1000; ++i) {
    const std::size_t capacity = bytes.capacity();
    Serializer::serializeSpecs(FullBootstrapSpecs(), bytes);
    if (bytes.capacity() != capacity) ++moves;
  }
  EXPECT_THAT(bytes, SizeIs(1000 * kWholeSize));
  EXPECT_LT(moves, 50);
}

// ---- reading ------------------------------------------------------------------------------------

TEST(BootstrapBytes, LittleEndianBytesAreDecoded) {
  EXPECT_EQ(All(ReadFrom(kLittleEndian)), All(FullBootstrapSpecs()));
}

TEST(BootstrapBytes, BigEndianBytesAreDecoded) {
  EXPECT_EQ(All(ReadFrom(kBigEndian)), All(FullBootstrapSpecs()));
}

// The decoder reverses the bytes of each number of a list: in groups of 128 numbers, and within a
// group 4 numbers at a time.
TEST(BootstrapBytes, ListsOfAnyLengthInTheOtherByteOrderAreDecoded) {
  for (const int length : {0, 1, 3, 4, 5, 127, 128, 129, 131, 255, 256, 300}) {
    Specs specs;
    std::vector<int> list;
    for (int i = 0; i < length; ++i) {
      list.push_back(0x01020304 * (i % 100) - i);
      specs.SplitEnds().push_back(0x04030201U * static_cast<unsigned int>(i));
      specs.CaseStats().emplace_back(i / 3.0, 0x01030204U + static_cast<unsigned int>(i));
    }
    specs.SetStrataVarList(list);
    specs.SetResidualVarList(list);
    const std::string bytes = SwappedBytesOf(specs);
    EXPECT_EQ(All(ReadFrom(bytes)), All(specs)) << length << " elements";

    Specs twice = ReadFrom(bytes);
    Serializer::deserializeSpecs(bytes, twice);
    EXPECT_THAT(twice.SplitEnds(), SizeIs(2 * specs.SplitEnds().size()));
  }
}

// The test shortens the string in place: the decoder finds the missing bytes behind the string's
// new end.
TEST(BootstrapBytes, ThatAreTruncatedAreReadPastTheirEnd) {
  for (std::size_t length = 0; length < kNative.size(); ++length) {
    std::string bytes = kNative;
    bytes.resize(length);
    bytes.data()[length] = kNative[length];  // instead of the terminator
    EXPECT_EQ(All(ReadFrom(bytes)), All(FullBootstrapSpecs())) << "cut after " << length;
  }
}

TEST(BootstrapBytes, WithAnyMarkOtherThan1AreDecodedAsSwapped) {
  const std::string swapped = kSwapped.substr(2);
  for (const int mark : {0, 2, 7, 0x0101, 0x0700, 0xFFFF}) {
    std::string bytes(2, '\0');
    bytes = With(0, static_cast<std::uint16_t>(mark), bytes) + swapped;
    EXPECT_EQ(All(ReadFrom(bytes)), All(FullBootstrapSpecs())) << "mark " << mark;
  }
}

TEST(BootstrapBytes, OfAnotherVersionChangeNothing) {
  for (const std::uint32_t version : {0U, 2U, 0x01000000U, 0xFFFFFFFFU}) {
    Specs specs = FullBootstrapSpecs();
    Serializer::deserializeSpecs(With(kVersionAt, version, BytesOf(Specs())), specs);
    EXPECT_EQ(All(specs), All(FullBootstrapSpecs())) << "version " << version;
  }
}

TEST(BootstrapBytes, OfAnotherVersionInTheOtherByteOrderChangeNothing) {
  // Unswapped, the version would be 1; but the byte-order mark requires swapping.
  std::string bytes = kSwapped;
  std::reverse(bytes.begin() + 2, bytes.begin() + 6);
  Specs specs;
  Serializer::deserializeSpecs(bytes, specs);
  EXPECT_EQ(All(specs), All(Specs()));
}

TEST(BootstrapBytes, OfAnotherVersionMayEndAfterTheVersion) {
  Specs specs = FullBootstrapSpecs();
  Serializer::deserializeSpecs(With(kVersionAt, 2U, kNative).substr(0, 6), specs);
  EXPECT_EQ(All(specs), All(FullBootstrapSpecs()));
}

TEST(BootstrapBytes, DecodingAnEmptyStrataListKeepsTheOldStrata) {
  Specs specs;
  specs.SetStrataVarList({5});
  Serializer::deserializeSpecs(BytesOf(Specs()), specs);
  EXPECT_THAT(specs.GetStrataVarList(), ElementsAre(5));
}

TEST(BootstrapBytes, DecodingEmptyListsKeepsTheOldListsAndSetsTheOtherFields) {
  Specs specs = FullBootstrapSpecs();
  Serializer::deserializeSpecs(BytesOf(Specs()), specs);

  Specs expected = FullBootstrapSpecs();
  expected.SetSamplingMethod(Specs::Simple);
  expected.SetCILevelPct(95.0);
  expected.SetCIType(Specs::Percentile);
  expected.SetNSamples(1000);
  expected.SetExcludeUserMiss(true);
  EXPECT_EQ(All(specs), All(expected));
}

TEST(BootstrapBytes, DecodingAVariableListThatIsNotEmptyReplacesTheOldList) {
  Specs specs;
  specs.SetStrataVarList({100, 101, 102});
  specs.SetResidualVarList({103, 104});
  Serializer::deserializeSpecs(kNative, specs);
  EXPECT_EQ(All(specs), All(FullBootstrapSpecs()));
}

TEST(BootstrapBytes, DecodingAppendsSplitEndsAndCaseStatistics) {
  Specs specs;
  specs.SplitEnds() = {1};
  specs.CaseStats() = {{0.25, 1}};
  Serializer::deserializeSpecs(kNative, specs);
  EXPECT_THAT(specs.SplitEnds(), ElementsAre(1U, 10U, 4000000000U));
  EXPECT_THAT(specs.CaseStats(),
              ElementsAre(Pair(0.25, 1U), Pair(1234.5678, 2U), Pair(-0.5, 0xFFFFFFFEU)));
}

TEST(BootstrapBytes, DecodingTwiceDuplicatesOnlySplitEndsAndCaseStatistics) {
  Specs specs;
  Serializer::deserializeSpecs(kNative, specs);
  Serializer::deserializeSpecs(kNative, specs);

  Specs expected = FullBootstrapSpecs();
  expected.SplitEnds() = {10, 4000000000U, 10, 4000000000U};
  expected.CaseStats() = {{1234.5678, 2}, {-0.5, 0xFFFFFFFEU}, {1234.5678, 2}, {-0.5, 0xFFFFFFFEU}};
  EXPECT_EQ(All(specs), All(expected));
}

TEST(BootstrapBytes, HaveTheExcludeUserMissingFlagInTheLowestBitOfTheLastByte) {
  const std::pair<int, bool> flags[] = {{0, false}, {1, true},    {2, false},
                                        {3, true},  {254, false}, {255, true}};
  for (const auto& [byte, flag] : flags) {
    for (const std::string& bytes : {kNative, kSwapped}) {
      Specs specs;
      specs.SetExcludeUserMiss(!flag);
      Serializer::deserializeSpecs(WithLastByte(static_cast<char>(byte), bytes), specs);
      EXPECT_EQ(specs.GetExcludeUserMiss(), flag) << "byte " << byte;
    }
  }
}

TEST(BootstrapBytes, KeepUnknownEnumerators) {
  Specs specs;
  specs.SetSamplingMethod(static_cast<Specs::SampMethods>(-1));
  specs.SetCIType(static_cast<Specs::CITypes>(77));
  specs.SetNSamples(std::numeric_limits<int>::min());
  specs.SetCILevelPct(-1e300);

  const Specs read = ReadFrom(BytesOf(specs));

  EXPECT_EQ(static_cast<int>(read.GetSamplingMethod()), -1);
  EXPECT_EQ(static_cast<int>(read.GetCIType()), 77);
  EXPECT_EQ(read.GetNSamples(), std::numeric_limits<int>::min());
  EXPECT_EQ(read.GetCILevelPct(), -1e300);
}

// Doubles whose bits could change if they were copied or swapped as floating-point numbers.
const std::uint64_t kUncommonDoubles[] = {
    0x7FF8000000000000,  // a quiet NaN
    0xFFF8000000000001,  // another NaN
    0x7FF0000000000001,  // a signalling NaN
    0x7FF0000000000000,  // infinity
    0xFFF0000000000000,  // negative infinity
    0x8000000000000000,  // -0
    0x0000000000000001,  // the smallest positive number
};

TEST(BootstrapBytes, KeepUncommonDoublesBitForBit) {
  Specs specs;
  for (const std::uint64_t bits : kUncommonDoubles) {
    const auto value = std::bit_cast<double>(bits);
    specs.SetCILevelPct(value);
    specs.CaseStats().emplace_back(value, 1U);
    EXPECT_EQ(All(ReadFrom(BytesOf(specs))), All(specs));
  }
}

TEST(BootstrapBytes, KeepUncommonDoublesOfTheOtherByteOrderBitForBit) {
  for (const std::uint64_t bits : kUncommonDoubles) {
    std::string bytes = With(kLevelAt, bits, kSwapped);
    std::reverse(bytes.begin() + kLevelAt, bytes.begin() + kLevelAt + 8);
    EXPECT_EQ(std::bit_cast<std::uint64_t>(ReadFrom(bytes).GetCILevelPct()), bits);
  }
}

// ---- swapping -----------------------------------------------------------------------------------

TEST(SwappedBytes, OnlyTheGivenNumberOfBytesIsReversed) {
  const std::pair<unsigned int, const char*> expected[] = {{0, "<abcdefgh>"}, {1, "<abcdefgh>"},
                                                           {2, "<bacdefgh>"}, {3, "<cbadefgh>"},
                                                           {4, "<dcbaefgh>"}, {8, "<hgfedcba>"}};
  for (const auto& [count, swapped] : expected) {
    std::string bytes = "<abcdefgh>";
    DoSwapBytes(bytes.data() + 1, count);
    EXPECT_EQ(bytes, swapped) << count;
  }
}

// ---- checking -----------------------------------------------------------------------------------

// Matches the result of checkSpecs.
MATCHER_P4(Is, finding, byteOrder, size, offset, "") {
  return arg.finding == finding && arg.byteOrder == byteOrder && arg.size == size &&
         arg.offset == offset && arg.IsWhole() == (finding == Whole);
}

TEST(BootstrapCheck, FindsAWholeSpecificationInEitherByteOrder) {
  EXPECT_THAT(CheckOf(kNative), Is(Whole, Native, kWholeSize, kWholeSize));
  EXPECT_THAT(CheckOf(kSwapped), Is(Whole, Swapped, kWholeSize, kWholeSize));
  EXPECT_THAT(CheckOf(BytesOf(Specs())), Is(Whole, Native, kEmptySize, kEmptySize));
}

TEST(BootstrapCheck, FindsAWholeSpecificationWithTrailingBytes) {
  EXPECT_THAT(CheckOf(kNative + "more"), Is(Whole, Native, kWholeSize, kWholeSize));
  EXPECT_THAT(CheckOf(kSwapped + '\0'), Is(Whole, Swapped, kWholeSize, kWholeSize));
}

TEST(BootstrapCheck, RejectsEmptyInput) {
  EXPECT_THAT(Serializer::checkSpecs(std::string_view()), Is(Truncated, Native, 0U, 0U));
  EXPECT_THAT(CheckOf(""), Is(Truncated, Native, 0U, 0U));
}

// A field of FullBootstrapSpecs. A list is two fields: the count, and the elements. If elements are
// missing, the reported offset is the offset of the count.
struct FullField {
  std::size_t end;
  Check::Finding finding;  // the finding if the bytes end within the field
  std::size_t offset;      // the offset reported with this finding
};

constexpr FullField kFullFields[] = {
    {2, Truncated, 0},       // byte-order mark
    {6, Truncated, 2},       // version
    {10, Truncated, 6},      // sampling method
    {14, Truncated, 10},     // strata
    {22, ListTooLong, 10},   //
    {26, Truncated, 22},     // dependent
    {30, ListTooLong, 22},   //
    {34, Truncated, 30},     // input
    {46, ListTooLong, 30},   //
    {50, Truncated, 46},     // predicted
    {66, ListTooLong, 46},   //
    {70, Truncated, 66},     // residual
    {74, ListTooLong, 66},   //
    {78, Truncated, 74},     // split ends
    {86, ListTooLong, 74},   //
    {90, Truncated, 86},     // case statistics
    {114, ListTooLong, 86},  //
    {122, Truncated, 114},   // level
    {126, Truncated, 122},   // interval type
    {130, Truncated, 126},   // samples
    {131, Truncated, 130},   // user-missing values
};

void ExpectEveryPrefixRefused(const std::string& bytes, Check::ByteOrder byteOrder) {
  const FullField* field = kFullFields;
  for (std::size_t length = 0; length < bytes.size(); ++length) {
    if (length == field->end) ++field;
    EXPECT_THAT(CheckOf(bytes.substr(0, length)),
                Is(field->finding, length < 2 ? Native : byteOrder, 0U, field->offset))
        << "of " << length << " bytes";
  }
}

TEST(BootstrapCheck, ReportsTheTruncatedFieldOfEveryPrefix) {
  ExpectEveryPrefixRefused(kNative, Native);
  ExpectEveryPrefixRefused(kSwapped, Swapped);
}

TEST(BootstrapCheck, RejectsAnotherVersionEvenIfTheBytesEndAfterIt) {
  for (const std::uint32_t version : {0U, 2U, 0x01000000U, 0xFFFFFFFFU}) {
    const std::string bytes = With(kVersionAt, version, kNative);
    EXPECT_THAT(CheckOf(bytes), Is(UnknownVersion, Native, 0U, kVersionAt));
    EXPECT_THAT(CheckOf(bytes.substr(0, 6)), Is(UnknownVersion, Native, 0U, kVersionAt));
  }
}

TEST(BootstrapCheck, ReadsTheVersionInTheByteOrderOfTheMark) {
  const std::string nativeMark = kNative.substr(0, 2) + kSwapped.substr(2);
  const std::string swappedMark = kSwapped.substr(0, 2) + kNative.substr(2);
  EXPECT_THAT(CheckOf(nativeMark), Is(UnknownVersion, Native, 0U, kVersionAt));
  EXPECT_THAT(CheckOf(swappedMark), Is(UnknownVersion, Swapped, 0U, kVersionAt));
}

TEST(BootstrapCheck, TreatsAnyMarkOtherThan1AsSwapped) {
  for (const int mark : {0, 2, 7, 0x0101, 0xFFFF}) {
    const std::string bytes = With(0, static_cast<std::uint16_t>(mark), kSwapped);
    EXPECT_THAT(CheckOf(bytes), Is(Whole, Swapped, kWholeSize, kWholeSize));
  }
}

// All counts are too large. Some would overflow 32 bits if multiplied by the size of an element.
TEST(BootstrapCheck, RejectsCountsBeyondTheBytes) {
  for (std::size_t list = 0; list < std::size(kCountsAt); ++list) {
    for (const std::uint32_t count : {0xFFFFFFFFU, 0x80000000U, 0x40000000U, 0x40000001U,
                                      0x3FFFFFFFU, 0x15555556U, 0x55555555U, 0xAAAAAAABU, 100U}) {
      SCOPED_TRACE("list " + std::to_string(list) + ", count " + std::to_string(count));
      const std::size_t offset = kCountsAt[list];
      const std::string bytes = With(offset, count, kNative);
      EXPECT_THAT(CheckOf(bytes), Is(ListTooLong, Native, 0U, offset));
      std::string swapped = With(offset, count, kSwapped);
      DoSwapBytes(swapped.data() + offset, 4);
      EXPECT_THAT(CheckOf(swapped), Is(ListTooLong, Swapped, 0U, offset));
    }
  }
}

TEST(BootstrapCheck, RejectsOneElementTooMany) {
  for (std::size_t list = 0; list < std::size(kEmptyCountsAt); ++list) {
    SCOPED_TRACE("list " + std::to_string(list));
    const std::size_t offset = kEmptyCountsAt[list];
    const std::size_t elementSize = list == 6 ? 12 : 4;
    const std::size_t held = (kEmptySize - (offset + 4)) / elementSize;
    const auto check = [&](std::size_t count) {
      return CheckOf(With(offset, static_cast<std::uint32_t>(count), BytesOf(Specs())));
    };
    EXPECT_THAT(check(held + 1), Is(ListTooLong, Native, 0U, offset));
    // The maximum count that fits leaves too few bytes for the next field.
    EXPECT_THAT(check(held), Is(Truncated, Native, 0U, offset + 4 + held * elementSize));
  }
}

TEST(BootstrapCheck, ChecksNoValueButTheVersion) {
  std::string bytes = WithLastByte('\xFF', kNative);
  for (const std::size_t offset : {6U, 14U, 78U, 90U, 98U, 114U, 118U, 122U, 126U}) {
    bytes = With(offset, 0xFFFFFFFFU, bytes);
  }
  EXPECT_THAT(CheckOf(bytes), Is(Whole, Native, kWholeSize, kWholeSize));
}

TEST(BootstrapCheck, ReadsFromAnyAddress) {
  for (std::size_t shift = 0; shift < 8; ++shift) {
    const std::string shifted = std::string(shift, 'x') + kNative;
    EXPECT_THAT(Serializer::checkSpecs(std::string_view(shifted).substr(shift)),
                Is(Whole, Native, kWholeSize, kWholeSize));
  }
}

}  // namespace
