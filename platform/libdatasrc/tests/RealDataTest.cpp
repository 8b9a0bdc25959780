// Opens the two real data files of the examples.

#include <gtest/gtest.h>

#include "Files.h"

namespace {

std::string Example(const std::string& name) {
  return std::string(EXAMPLE_DATA_DIR "/") + name;
}

const ORVX_Variable& Named(const ORVX_DataSource& source, const std::string& name) {
  int position = 0;
  while (source.GetVariable(position).GetName() != name) ++position;
  return source.GetVariable(position);
}

TEST(RealData, TheSurveyHasItsVariablesWithTheirLabels) {
  const auto survey = SystemFileDataSource::Open(Example("survey.tsv"));

  EXPECT_STREQ(survey->GetLabel(), "American National Election Study 1996 (subset)");
  EXPECT_EQ(survey->GetFileSpec(), Example("survey.tsv"));
  EXPECT_EQ(survey->RowCount(), 944);
  EXPECT_EQ(survey->ColumnCount(), 10);
  EXPECT_EQ(survey->GetObsAreaSize(), 10);
  EXPECT_EQ(survey->GetVariable(0).GetName(), "popul");
  EXPECT_EQ(survey->GetVariable(9).GetName(), "vote");
  EXPECT_EQ(Named(*survey, "age").GetLabel(), "Age of respondent");
  EXPECT_EQ(Named(*survey, "age").GetMeasurementLevel(), MeasurementLevel::Unknown);
  EXPECT_EQ(Named(*survey, "income").GetValueLabels().size(), 24U);
  EXPECT_EQ(Named(*survey, "vote").GetValueLabels(),
            (ValueLabels{{0.0, "Clinton"}, {1.0, "Dole"}}));
  EXPECT_EQ(Named(*survey, "vote").GetMeasurementLevel(), MeasurementLevel::Nominal);
}

TEST(RealData, TheSurveyHasItsRows) {
  const auto survey = SystemFileDataSource::Open(Example("survey.tsv"));
  const std::vector<std::string> rows = Rows(*survey);

  ASSERT_EQ(rows.size(), 944U);
  EXPECT_EQ(rows.front(), "0 7 7 1 6 6 36 3 1 1");
  EXPECT_EQ(rows[1], "190 1 3 3 5 1 20 4 1 0");
  EXPECT_EQ(rows.back(), "18 7 4 2 6 3 61 7 24 1");
}

TEST(RealData, TheBirdStrikesHaveStringsAndNumbers) {
  const auto strikes = SystemFileDataSource::Open(Example("birdstrikes.csv"));

  EXPECT_STREQ(strikes->GetLabel(),
               "Records of reported wildlife strikes received by the U.S. FAA");
  EXPECT_EQ(strikes->RowCount(), 10000);
  EXPECT_EQ(strikes->ColumnCount(), 14);
  EXPECT_EQ(Named(*strikes, "Airport Name").GetType(), 38);
  EXPECT_EQ(Named(*strikes, "Flight Date").GetType(), 0);
  EXPECT_EQ(Named(*strikes, "Flight Date").GetFormat().kind, VariableFormat::Kind::Date);
  EXPECT_EQ(Named(*strikes, "Cost Total $").GetType(), 0);
}

TEST(RealData, TheBirdStrikesHaveTheirRows) {
  const auto strikes = SystemFileDataSource::Open(Example("birdstrikes.csv"));
  const std::vector<std::string> rows = Rows(*strikes);

  ASSERT_EQ(rows.size(), 10000U);
  EXPECT_EQ(rows.front(),
            "[BARKSDALE AIR FORCE BASE ARPT           ] [T-38A                   ] "
            "[None            ] 6.31757e+08 [MILITARY                        ] "
            "[Louisiana       ] [Climb           ] [Large   ] [Turkey vulture          ] "
            "[Day     ] 0 0 0 300");
  EXPECT_NE(rows.back().find("[EMB-145 "), std::string::npos);
  EXPECT_NE(rows.back().find("[Pennsylvania    ]"), std::string::npos);
}

}  // namespace
