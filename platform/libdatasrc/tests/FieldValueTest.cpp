// Dates, times and truth values as text.

#include <gtest/gtest.h>
#include <libdatasrc/internal/FieldValue.h>
#include <rapidcheck/gtest.h>

#include <cmath>
#include <limits>
#include <stdexcept>
#include <string>

namespace {

using namespace sdm_internal;

constexpr double kDay = 86400;
constexpr double kFirst = -62135596800;  // 0001-01-01
constexpr double kEnd = 253402300800;    // the end of 9999-12-31

TEST(FieldValue, ADateIsTheStartOfItsDay) {
  EXPECT_EQ(ParseDate("1970-01-01"), 0);
  EXPECT_EQ(ParseDate("1969-12-31"), -kDay);
  EXPECT_EQ(ParseDate("2001-09-09"), 1e9 - 6400);
  EXPECT_EQ(ParseDate("0001-01-01"), kFirst);
  EXPECT_EQ(ParseDate("9999-12-31"), kEnd - kDay);
}

TEST(FieldValue, OnlyRealDaysAreDates) {
  EXPECT_TRUE(ParseDate("2024-02-29"));
  EXPECT_TRUE(ParseDate("2000-02-29"));
  for (const char* const text : {"2023-02-29", "1900-02-29", "2024-04-31", "2024-13-01",
                                 "2024-00-01", "2024-01-00", "2024-01-32", "0000-01-01"}) {
    EXPECT_FALSE(ParseDate(text)) << text;
  }
}

TEST(FieldValue, OnlyTheExtendedFormatOfIso8601IsADate) {
  for (const char* const text :
       {"", "2024", "2024-02", "20240229", "2024-2-29", "2024/02/29", "29-02-2024", "24-02-29",
        "2024-02-29 ", " 2024-02-29", "+2024-02-29", "2024-02-2x", "2024-02-29T00:00", "2024-W09-4",
        "-024-02-29", "2024-+2-29", "12024-02-29"}) {
    EXPECT_FALSE(ParseDate(text)) << text;
  }
  EXPECT_FALSE(ParseDate(std::string_view("2024-02-2\0", 10)));
}

TEST(FieldValue, ATimeIsSecondsSinceMidnight) {
  EXPECT_EQ(ParseTime("00:00"), 0);
  EXPECT_EQ(ParseTime("13:45"), 49500);
  EXPECT_EQ(ParseTime("13:45:30"), 49530);
  EXPECT_EQ(ParseTime("13:45:30.25"), 49530.25);
  EXPECT_EQ(ParseTime("13:45:30,25"), 49530.25);
  EXPECT_EQ(ParseTime("23:59:60"), kDay);
}

TEST(FieldValue, OnlyTheExtendedFormatOfIso8601IsATime) {
  for (const char* const text : {"", "13", "1345", "134500", "1:45", "13:4", "24:00", "13:60",
                                 "13:45:61", "13:45:", "13:45.5", "13:45:30.", "13:45:30.2x",
                                 "13:45 ", " 13:45", "13:45Z", "13:45:30 pm", "T13:45"}) {
    EXPECT_FALSE(ParseTime(text)) << text;
  }
}

TEST(FieldValue, DateAndTimeAreSeparatedByTOrABlankAndSecondsAreOptional) {
  EXPECT_EQ(ParseDateTime("2001-09-09T01:46:40"), 1e9);
  EXPECT_EQ(ParseDateTime("2001-09-09t01:46:40"), 1e9);
  EXPECT_EQ(ParseDateTime("2001-09-09 01:46:40"), 1e9);
  EXPECT_EQ(ParseDateTime("2001-09-09 01:46"), 1e9 - 40);
  EXPECT_EQ(ParseDateTime("2001-09-09T01:46:40.5"), 1e9 + 0.5);
  EXPECT_EQ(ParseDateTime("1969-12-31T23:59:59.75"), -0.25);
}

TEST(FieldValue, AZoneConvertsToUtcAndNoZoneMeansUtc) {
  EXPECT_EQ(ParseDateTime("2001-09-09T01:46:40Z"), 1e9);
  EXPECT_EQ(ParseDateTime("2001-09-09T01:46:40z"), 1e9);
  EXPECT_EQ(ParseDateTime("2001-09-09T03:46:40+02:00"), 1e9);
  EXPECT_EQ(ParseDateTime("2001-09-09T03:46:40+0200"), 1e9);
  EXPECT_EQ(ParseDateTime("2001-09-09T03:46:40+02"), 1e9);
  EXPECT_EQ(ParseDateTime("2001-09-08 20:16:40.5-05:30"), 1e9 + 0.5);
  EXPECT_EQ(ParseDateTime("2001-09-09T01:46Z"), 1e9 - 40);
}

TEST(FieldValue, OtherTextsAreNotADateTime) {
  for (const char* const text :
       {"", "2001-09-09", "2001-09-09T", "2001-09-09T01", "2001-09-0901:46", "2001-09-09  01:46",
        "2001-09-09T01:46:40+", "2001-09-09T01:46:40+2",
        "2001-09-09T01:46:40+02:", "2001-09-09T01:46:40+24:00", "2001-09-09T01:46:40+02:60",
        "2001-09-09T01:46:40ZZ", "2001-09-09T01:46:40 +02:00", "2001-09-09T01:46:40 UTC",
        "2001-02-29T01:46:40", "20010909T014640", "2001-09-09T24:00", "2001-09-09T01:46:40."}) {
    EXPECT_FALSE(ParseDateTime(text)) << text;
  }
}

TEST(FieldValue, ManyDigitsOfAFractionAreRoundedToTheNearestNumber) {
  EXPECT_EQ(ParseTime("00:00:00.1000000000000000055511151231257827021181583404541015625"), 0.1);
  EXPECT_EQ(ParseTime("00:00:01." + std::string(100000, '9')), 2);
}

TEST(FieldValue, APatternNamesThePartsOfADate) {
  EXPECT_EQ(ParseByPattern("2.1.1970", "%d.%m.%Y"), kDay);
  EXPECT_EQ(ParseByPattern("02/01/70", "%d/%m/%y"), kDay);
  EXPECT_EQ(ParseByPattern("1/1/00", "%d/%m/%y"), ParseDate("2000-01-01"));
  EXPECT_EQ(ParseByPattern("March 5, 2024", "%B %d, %Y"), ParseDate("2024-03-05"));
  EXPECT_EQ(ParseByPattern("05-mar-2024", "%d-%b-%Y"), ParseDate("2024-03-05"));
  EXPECT_EQ(ParseByPattern("2024060", "%Y%j"), ParseDate("2024-02-29"));
  EXPECT_EQ(ParseByPattern("20240229", "%Y%m%d"), ParseDate("2024-02-29"));
  EXPECT_EQ(ParseByPattern("100%1970", "100%%%Y"), 0);
}

TEST(FieldValue, APatternNamesThePartsOfATime) {
  EXPECT_EQ(ParseByPattern("13.45", "%H.%M"), ParseTime("13:45"));
  EXPECT_EQ(ParseByPattern("1:45:30.5 pm", "%I:%M:%S.%f %p"), ParseTime("13:45:30.5"));
  EXPECT_EQ(ParseByPattern("12:00 AM", "%I:%M %p"), 0);
  EXPECT_EQ(ParseByPattern("12:00 PM", "%I:%M %p"), ParseTime("12:00"));
  EXPECT_EQ(ParseByPattern("2001-09-09 03:46:40 +0200", "%Y-%m-%d %H:%M:%S %z"), 1e9);
}

TEST(FieldValue, OtherTextsDoNotMatchAPattern) {
  EXPECT_FALSE(ParseByPattern("31.4.2024", "%d.%m.%Y"));
  EXPECT_FALSE(ParseByPattern("1.1.24", "%d.%m.%Y"));
  EXPECT_FALSE(ParseByPattern("1.1.2024 ", "%d.%m.%Y"));
  EXPECT_FALSE(ParseByPattern("Mars 5, 2024", "%B %d, %Y"));
  EXPECT_FALSE(ParseByPattern("2023366", "%Y%j"));
  EXPECT_FALSE(ParseByPattern("2024000", "%Y%j"));
  EXPECT_FALSE(ParseByPattern("13:00 PM", "%I:%M %p"));
  EXPECT_FALSE(ParseByPattern("25", "%H"));
  EXPECT_FALSE(ParseByPattern("", "%H"));
}

TEST(FieldValue, AnUnsupportedPatternIsRejectedWithTheReason) {
  const auto reason = [](const char* pattern, const char* directives) -> std::string {
    try {
      CheckDatePattern(pattern, directives);
    } catch (const std::invalid_argument& error) {
      return error.what();
    }
    return "accepted";
  };
  EXPECT_EQ(reason("%d.%m.%Y %%", "dmY"), "accepted");
  EXPECT_EQ(reason("%d.%m.%Y", "dm"), "'%Y' is not supported");
  EXPECT_EQ(reason("%Y-%", "Y"), "'%' is not supported");
  EXPECT_EQ(reason("%Y-%Y", "Y"), "'%Y' occurs twice");
  EXPECT_EQ(reason("any", "Ymd"), "it has no directive such as %Y");
  EXPECT_EQ(reason("%Y%y", "Yy"), "%Y and %y contradict each other");
  EXPECT_EQ(reason("%I:%M", "IMp"), "%I and %p need each other");
  EXPECT_EQ(reason("%I:%H %p", "IHp"), "%H and %I contradict each other");
  EXPECT_EQ(reason("%j.%m", "jm"), "%j and another day contradict each other");
}

TEST(FieldValue, OnlyTheWordsOfTheStandardAreTruthValues) {
  for (const char* const text : {"true", "True", "TRUE"}) EXPECT_EQ(ParseBoolean(text), true);
  for (const char* const text : {"false", "False", "FALSE"}) EXPECT_EQ(ParseBoolean(text), false);
  for (const char* const text : {"", "1", "0", "yes", "no", "T", "F", "tRUE", " true", "true "}) {
    EXPECT_FALSE(ParseBoolean(text)) << text;
  }
}

TEST(FieldValue, ADateIsFormattedOnlyForTheStartOfADay) {
  EXPECT_EQ(DateText(0), "1970-01-01");
  EXPECT_EQ(DateText(-kDay), "1969-12-31");
  EXPECT_EQ(DateText(kFirst), "0001-01-01");
  EXPECT_EQ(DateText(kEnd - kDay), "9999-12-31");
  for (const double value :
       {1.0, 0.5, kEnd, kFirst - kDay, 1e300, std::nan(""), std::numeric_limits<double>::infinity(),
        -std::numeric_limits<double>::infinity()}) {
    EXPECT_EQ(DateText(value), "") << value;
  }
}

TEST(FieldValue, ATimeIsFormattedWithTheShortestFraction) {
  EXPECT_EQ(TimeText(0), "00:00:00");
  EXPECT_EQ(TimeText(kDay - 1), "23:59:59");
  EXPECT_EQ(TimeText(49530.25), "13:45:30.25");
  EXPECT_EQ(TimeText(0.1), "00:00:00.1");
  EXPECT_EQ(TimeText(1e-9), "00:00:00.000000001");
  for (const double value : {-1.0, kDay, 1e-300, 1e300, std::nan("")}) {
    EXPECT_EQ(TimeText(value), "") << value;
  }
}

TEST(FieldValue, ADateTimeIsFormattedWithoutAZone) {
  EXPECT_EQ(DateTimeText(1e9), "2001-09-09T01:46:40");
  EXPECT_EQ(DateTimeText(1709210700.123456), "2024-02-29T12:45:00.123456");
  EXPECT_EQ(DateTimeText(-0.25), "1969-12-31T23:59:59.75");
  EXPECT_EQ(DateTimeText(kFirst), "0001-01-01T00:00:00");
  EXPECT_EQ(DateTimeText(kEnd - 1), "9999-12-31T23:59:59");
  for (const double value : {kEnd, kFirst - 1, -1e-300, 1e300, std::nan("")}) {
    EXPECT_EQ(DateTimeText(value), "") << value;
  }
}

RC_GTEST_PROP(FieldValueProperty, EveryDateParsesToItsValue, ()) {
  const auto day = *rc::gen::inRange<long>(-719162, 2932897);
  const double value = static_cast<double>(day) * kDay;

  RC_ASSERT(ParseDate(DateText(value)) == value);
}

RC_GTEST_PROP(FieldValueProperty, EveryMicrosecondWithin126YearsOf1970ParsesToItsValue, ()) {
  const auto second = *rc::gen::inRange<long>(-4000000000, 4000000000);
  const auto microsecond = *rc::gen::inRange<long>(0, 1000000);
  const double value = static_cast<double>(second) + static_cast<double>(microsecond) / 1e6;

  RC_ASSERT(ParseDateTime(DateTimeText(value)) == value);
}

RC_GTEST_PROP(FieldValueProperty, TheTextOfAnyNumberIsEmptyOrParsesToTheNumber, ()) {
  const auto value = *rc::gen::arbitrary<double>();
  const double time = std::fmod(std::fabs(value), kDay);
  const std::string dateTime = DateTimeText(value);
  const std::string timeText = TimeText(time);

  RC_ASSERT(dateTime.empty() || ParseDateTime(dateTime) == value);
  RC_ASSERT(timeText.empty() || ParseTime(timeText) == time);
}

}  // namespace
