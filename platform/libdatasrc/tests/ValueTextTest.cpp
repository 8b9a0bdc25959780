// Tests of dates and times as text, by the format of their variable.

#include <gtest/gtest.h>
#include <libdatasrc/OBS.h>
#include <libdatasrc/ValueText.h>

#include <limits>
#include <optional>

namespace {

constexpr VariableFormat kPlain{VariableFormat::Kind::Plain, 8, 2};
constexpr VariableFormat kDate{VariableFormat::Kind::Date};
constexpr VariableFormat kTime{VariableFormat::Kind::Time};
constexpr VariableFormat kDateTime{VariableFormat::Kind::DateTime};
constexpr double kLeapDay = 1709164800;  // 2024-02-29

TEST(ValueText, ShowsADateAndATimeByTheKindOfTheFormat) {
  EXPECT_EQ(FormatValue(kDate, kLeapDay), "2024-02-29");
  EXPECT_EQ(FormatValue(kTime, 49530.5), "13:45:30.5");
  EXPECT_EQ(FormatValue(kDateTime, kLeapDay + 49530), "2024-02-29T13:45:30");
}

TEST(ValueText, ShowsTheTimeOfADateThatIsNotTheStartOfADay) {
  EXPECT_EQ(FormatValue(kDate, kLeapDay + 43200), "2024-02-29T12:00:00");
}

TEST(ValueText, ShowsNothingForOtherNumbers) {
  EXPECT_EQ(FormatValue(kPlain, kLeapDay), "");
  EXPECT_EQ(FormatValue(kDate, 1e18), "");
  EXPECT_EQ(FormatValue(kTime, -1), "");
  for (const VariableFormat& format : {kPlain, kDate, kTime, kDateTime}) {
    EXPECT_EQ(FormatValue(format, kMissingNumber), "");
    EXPECT_EQ(FormatValue(format, std::numeric_limits<double>::infinity()), "");
  }
}

TEST(ValueText, ParsesTheTextsOfItsFormatAndNumbers) {
  EXPECT_EQ(ParseValue(kDate, "2024-02-29"), kLeapDay);
  EXPECT_EQ(ParseValue(kDate, "2024-02-29T12:00:00"), kLeapDay + 43200);
  EXPECT_EQ(ParseValue(kDateTime, "2024-02-29"), kLeapDay);
  EXPECT_EQ(ParseValue(kTime, "00:01"), 60);
  EXPECT_EQ(ParseValue(kDate, "1.5"), 1.5);
  EXPECT_EQ(ParseValue(kPlain, "1.5"), 1.5);
}

TEST(ValueText, ParsesNoOtherText) {
  EXPECT_EQ(ParseValue(kPlain, "2024-02-29"), std::nullopt);
  EXPECT_EQ(ParseValue(kDate, "2023-02-29"), std::nullopt);
  EXPECT_EQ(ParseValue(kDate, "13:45"), std::nullopt);
  EXPECT_EQ(ParseValue(kDate, ""), std::nullopt);
  EXPECT_EQ(ParseValue(kPlain, "inf"), std::nullopt);
  EXPECT_EQ(ParseValue(kPlain, "nan"), std::nullopt);
}

}  // namespace
