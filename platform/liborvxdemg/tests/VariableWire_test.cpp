// The encoding of variables in messages.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <liborvxdemg/ModifyVarMsg.h>
#include <tests/support/MessageBytes.h>

#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace std::string_literals;

std::string BytesOfVariable(const ORVX_Variable& variable) {
  ModifyVarMsg message(0, LocallyUniqueID(), 0, variable);
  return BytesOf(message);
}

ORVX_Variable VariableIn(std::string_view bytes) {
  ModifyVarMsg message;
  ReadAll(bytes, message);
  return message.GetVariable();
}

// Returns a variable in which every field differs from the default.
ORVX_Variable FullVariable() {
  ORVX_Variable variable(LocallyUniqueID(1, 0x0ABCDEF), "größe", 12);
  variable.SetLabel("Größe\nin cm");
  variable.SetFormat({VariableFormat::Kind::DateTime, 20, -1});
  variable.SetValueLabels({{1.5, "some"}, {-0.0, "none"}, {"x\0y"s, "letters"}, {"", "blank"}});
  variable.SetMissingValues({{99.0, "NA", std::numeric_limits<double>::quiet_NaN()}});
  variable.SetMeasurementLevel(MeasurementLevel::Ratio);
  variable.SetAttributes({{"source", {"register", ""}}, {"empty", {}}});
  return variable;
}

TEST(VariableEncoding, RoundTrips) {
  EXPECT_EQ(VariableIn(BytesOfVariable(FullVariable())), FullVariable());
}

TEST(VariableEncoding, RoundTripsEachFieldSeparately) {
  const std::vector<std::function<void(ORVX_Variable&)>> changes = {
      [](auto& v) { v.SetID(LocallyUniqueID(2, 9)); },
      [](auto& v) { v.SetName("n"); },
      [](auto& v) { v.SetLabel("l"); },
      [](auto& v) { v.SetType(1); },
      [](auto& v) { v.SetFormat({VariableFormat::Kind::Date}); },
      [](auto& v) {
        v.SetFormat({VariableFormat::Kind::Plain, 9});
      },
      [](auto& v) {
        v.SetFormat({VariableFormat::Kind::Plain, 0, 3});
      },
      [](auto& v) {
        v.SetValueLabels({{1.0, ""}});
      },
      [](auto& v) { v.SetMissingValues({{1.0}}); },
      [](auto& v) { v.SetMeasurementLevel(MeasurementLevel::Nominal); },
      [](auto& v) {
        v.SetAttributes({{"a", {"1"}}});
      },
  };
  const ORVX_Variable plain;
  for (std::size_t i = 0; i < changes.size(); ++i) {
    ORVX_Variable changed = plain;
    changes[i](changed);
    const ORVX_Variable arrived = VariableIn(BytesOfVariable(changed));
    EXPECT_EQ(arrived, changed) << "change " << i;
    EXPECT_FALSE(arrived == plain) << "change " << i;
  }
}

TEST(VariableEncoding, DecodingReplacesTheOldContent) {
  ModifyVarMsg message(0, LocallyUniqueID(), 0, FullVariable());
  ReadAll(BytesOfVariable(ORVX_Variable()), message);
  EXPECT_EQ(message.GetVariable(), ORVX_Variable());
}

// clang-format off
const std::string kFromFormatOn =
    "\x03" "\x13\0\0\0" "\x06\0\0\0"                                  // format: date and time
    "\x02\0\0\0"                                                        // two value labels
    "\0" "\0\0\0\0\0\0\xF0\x3F" "\x03\0\0\0one"
    "\x01" "\x01\0\0\0x" "\0\0\0\0"                                    // the label of a string
    "\x01\0\0\0" "\0" "\0\0\0\0\0\0\0\x40"                             // one missing value
    "\x04"                                                              // level: ratio
    "\x01\0\0\0" "\x01\0\0\0" "a" "\x01\0\0\0" "\x02\0\0\0" "b2"s;  // attributes
// clang-format on

TEST(VariableEncoding, KeepsItsEncoding) {
  ORVX_Variable variable;
  variable.SetFormat({VariableFormat::Kind::DateTime, 19, 6});
  variable.SetValueLabels({{1.0, "one"}, {"x", ""}});
  variable.SetMissingValues({{2.0}});
  variable.SetMeasurementLevel(MeasurementLevel::Ratio);
  variable.SetAttributes({{"a", {"b2"}}});
  EXPECT_THAT(BytesOfVariable(variable), testing::EndsWith(kFromFormatOn));
}

TEST(VariableEncoding, EncodedSizeIsAtLeastTheMinimumThatTheListCheckAssumes) {
  constexpr std::size_t kMessageHead = 4 + 24 + 4 + 12;
  EXPECT_EQ(BytesOfVariable(ORVX_Variable()).size() - kMessageHead, 38U);
}

TEST(VariableEncoding, IsRejectedAtEveryTruncation) {
  ExpectEveryTruncationRefused(BytesOfVariable(FullVariable()), VariableIn);
}

TEST(VariableEncoding, IsDecodedOrRejectedAfterAnyByteChange) {
  ExpectChangedBytesReadOrRefused(BytesOfVariable(FullVariable()), VariableIn);
}

// Encodes a variable and replaces `part` of the bytes, which must occur exactly once, by `other`.
std::string Replaced(const ORVX_Variable& variable, const std::string& part,
                     const std::string& other) {
  std::string bytes = BytesOfVariable(variable);
  const std::size_t place = bytes.find(part);
  EXPECT_NE(place, std::string::npos);
  EXPECT_EQ(bytes.find(part, place + 1), std::string::npos);
  return bytes.replace(place, part.size(), other);
}

TEST(VariableEncoding, IsRejectedWithAnUnknownEnumerator) {
  ORVX_Variable variable;
  variable.SetFormat({VariableFormat::Kind::DateTime, 0x2211, 0});
  variable.SetMissingValues({{"m"}});
  variable.SetMeasurementLevel(MeasurementLevel::Ratio);
  EXPECT_NO_THROW(VariableIn(Replaced(variable, "\x03\x11\x22"s, "\x02\x11\x22"s)));
  EXPECT_THROW(VariableIn(Replaced(variable, "\x03\x11\x22"s, "\x04\x11\x22"s)), VStreamError);
  EXPECT_NO_THROW(VariableIn(Replaced(variable, "m\x04"s, "m\x03"s)));
  EXPECT_THROW(VariableIn(Replaced(variable, "m\x04"s, "m\x05"s)), VStreamError);
}

TEST(VariableEncoding, IsRejectedWithANegativeType) {
  ORVX_Variable variable;
  variable.SetType(0x11223344);
  EXPECT_THROW(VariableIn(Replaced(variable, "\x44\x33\x22\x11"s, "\xFF\xFF\xFF\xFF"s)),
               VStreamError);
}

TEST(VariableEncoding, IsRejectedIfAValueIsLabelledTwice) {
  ORVX_Variable variable;
  variable.SetValueLabels({{"k1", "first"}, {"k2", "second"}});
  EXPECT_THROW(VariableIn(Replaced(variable, "k2", "k1")), VStreamError);
}

TEST(VariableEncoding, IsRejectedIfANaNIsLabelled) {
  ORVX_Variable variable;
  variable.SetValueLabels({{1.0, "one"}});
  EXPECT_THROW(VariableIn(Replaced(variable, "\xF0\x3F"s, "\xF8\x7F"s)), VStreamError);
}

TEST(VariableEncoding, IsRejectedIfAnAttributeIsDuplicate) {
  ORVX_Variable variable;
  variable.SetAttributes({{"k1", {}}, {"k2", {}}});
  EXPECT_THROW(VariableIn(Replaced(variable, "k2", "k1")), VStreamError);
}

}  // namespace
