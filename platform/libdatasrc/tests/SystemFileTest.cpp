// Saved data files: columns, schema and cases.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bit>
#include <cstdint>
#include <limits>

#include "Files.h"

namespace {

using testing::ElementsAre;

class SystemFile : public testing::Test {
 protected:
  std::unique_ptr<SystemFileDataSource> Open(std::string_view text) const {
    return SystemFileDataSource::Open(folder.Write("data.csv", text));
  }
  std::unique_ptr<SystemFileDataSource> Open(std::string_view text, std::string_view schema) const {
    folder.Write("data.schema.json", schema);
    return Open(text);
  }

  Folder folder;
};

std::string Names(const ORVX_DataSource& source) {
  std::string names;
  for (int i = 0; i < source.ColumnCount(); ++i) names += source.GetVariable(i).GetName() + "|";
  return names;
}

TEST_F(SystemFile, IsCleanLoadedAndHasARowCountAfterOpening) {
  const auto source = Open("a,b\n1,2\n3,4\n");

  EXPECT_FALSE(source->IsDirty());
  EXPECT_TRUE(source->IsLoaded());
  EXPECT_EQ(source->RowCount(), 2);
  EXPECT_EQ(source->NParents(), 0);
  EXPECT_EQ(source->GetFileSpec(), folder.Path("data.csv"));
  EXPECT_EQ(source->GetLabel(), nullptr);
}

TEST_F(SystemFile, HasANewIdentifierPerVariable) {
  const auto once = Open("a,b\n1,2\n");
  const auto again = Open("a,b\n1,2\n");

  EXPECT_NE(once->GetVariable(0).GetID(), once->GetVariable(1).GetID());
  EXPECT_EQ(again->FindVarIndex(once->GetVariable(0).GetID()), -1);
}

TEST_F(SystemFile, TakesTheDelimiterFromTheHeader) {
  EXPECT_EQ(Names(*Open("a\tb,c\td\n1\t2,3\t4\n")), "a|b,c|d|");
  EXPECT_EQ(Names(*Open("a,b\tc,d\n1,2\t3,4\n")), "a|b\tc|d|");
  EXPECT_EQ(Names(*Open("\"a\t\t\t\",b\n1,2\n")), "a\t\t\t|b|");
  EXPECT_EQ(Names(*Open("alone\n1\n")), "alone|");
}

TEST_F(SystemFile, ReadsQuotedFields) {
  const auto source = Open("a,b\n\"x,\"\"y\"\"\",\"two\nlines\"\n,\"\"\n");

  EXPECT_THAT(Rows(*source),
              ElementsAre("[x,\"y\"   ] [two\nlines       ]", "[        ] [                ]"));
}

TEST_F(SystemFile, ReadsBothLineEndsWithOrWithoutAFinalLineEnd) {
  for (const char* text :
       {"a,b\n1,2\n3,4\n", "a,b\n1,2\n3,4", "a,b\r\n1,2\r\n3,4\r\n", "a,b\r\n1,2\r\n3,4",
        "\xEF\xBB\xBF"
        "a,b\n1,2\n3,4\n"}) {
    const auto source = Open(text);
    EXPECT_EQ(Names(*source), "a|b|") << text;
    EXPECT_THAT(Rows(*source), ElementsAre("1 2", "3 4")) << text;
  }
}

TEST_F(SystemFile, ReadsAnEmptyLastField) {
  EXPECT_THAT(Rows(*Open("a,b\n1,")), ElementsAre("1 ."));
  EXPECT_THAT(Rows(*Open("a,b\n1,\n")), ElementsAre("1 ."));
  EXPECT_THAT(Rows(*Open("a,b\n,\"\"")), ElementsAre(". ."));
}

TEST_F(SystemFile, WithOnlyAHeaderHasNoRows) {
  const auto source = Open("a,b\n");

  EXPECT_EQ(source->RowCount(), 0);
  EXPECT_EQ(source->ColumnCount(), 2);
  EXPECT_THAT(Rows(*source), ElementsAre());
}

TEST_F(SystemFile, AnEmptyLineIsACaseOnlyInAFileOfOneColumn) {
  EXPECT_THAT(Rows(*Open("a\n1\n\r\n\n2\n")), ElementsAre("1", ".", ".", "2"));
  EXPECT_THAT(Rows(*Open("a,b\n\n1,2\n\r\n3,4\n\n")), ElementsAre("1 2", "3 4"));
}

TEST_F(SystemFile, AColumnIsNumericIfAllFieldsAreNumbersOrEmpty) {
  const auto source = Open("a,b,c\n1,,x\n -2.5e1 ,,2\n,,3\n+.5,  ,\n");

  EXPECT_EQ(source->GetVariable(0).GetType(), 0);
  EXPECT_EQ(source->GetVariable(1).GetType(), 0);
  EXPECT_EQ(source->GetVariable(2).GetType(), 1);
  EXPECT_THAT(Rows(*source), ElementsAre("1 . [x       ]", "-25 . [2       ]", ". . [3       ]",
                                         "0.5 . [        ]"));
}

TEST_F(SystemFile, OnlyDecimalNumbersAreNumbers) {
  const char* texts[] = {"0x10", "inf", "nan", "1e999", "1,5", "--1", "+-1",  "1 2",
                         "e5",   "-",   "-.",  "+",     "1e",  "..",  "1.2.3"};
  for (const std::string text : texts) {
    EXPECT_GT(Open("a\n\"" + text + "\"\n")->GetVariable(0).GetType(), 0) << text;
  }
  for (const std::string text : {"0", "1.", ".5", "0.5", "1E-3", "-0"}) {
    EXPECT_EQ(Open("a\n" + text + "\n")->GetVariable(0).GetType(), 0) << text;
  }
}

// Whether all bits of kQuietNaN are set, as in every quiet NaN (binary64).
bool IsQuietNaN(double number) {
  constexpr std::uint64_t kQuietNaN = 0x7FF8000000000000;
  return (std::bit_cast<std::uint64_t>(number) & kQuietNaN) == kQuietNaN;
}

TEST_F(SystemFile, MissingNumbersAreQuietNaNsOfIeee754) {
  const auto source = Open("empty,text,was\n,x,x\n");
  source->GetVariable(1).SetType(0);
  source->MakeVariable(ORVX_Variable(ORVX_Variable::NextID(), "elsewhere"), nullptr);
  source->DeleteVariables(2, 2);
  std::vector<OBS> row(3);
  ASSERT_TRUE(std::unique_ptr<ObsIterator>(source->MakeIterator(row.data()))->Next());

  for (const OBS cell : row) EXPECT_TRUE(IsQuietNaN(cell.number)) << cell.number;
}

TEST_F(SystemFile, TheLowestFiniteNumberIsNotMissing) {
  const auto source = Open("a\n-1.7976931348623157e308\n");
  OBS cell;
  ASSERT_TRUE(std::unique_ptr<ObsIterator>(source->MakeIterator(&cell))->Next());

  EXPECT_EQ(cell.number, std::numeric_limits<double>::lowest());
  EXPECT_THAT(Rows(*source), ElementsAre("-1.79769e+308"));
}

TEST_F(SystemFile, AStringIsAsWideAsItsLongestValue) {
  const auto source = Open("a,b\nM\xC3\xBCnchen,x\nUlm,123456789\n");

  EXPECT_EQ(source->GetVariable(0).GetType(), 8);
  EXPECT_EQ(source->GetVariable(1).GetType(), 9);
  EXPECT_EQ(source->GetObsAreaSize(), 1 + 2);
  EXPECT_THAT(Rows(*source),
              ElementsAre("[M\xC3\xBCnchen] [x               ]", "[Ulm     ] [123456789       ]"));
}

TEST_F(SystemFile, NumbersAndStringsHaveThePlainFormat) {
  const auto source = Open("a,b,c\n1,1,x\n2,2.5,y\n");

  for (int i = 0; i < 3; ++i) EXPECT_EQ(source->GetVariable(i).GetFormat(), VariableFormat());
}

TEST_F(SystemFile, DerivesTheMeasurementLevelFromCategoriesAndType) {
  const auto source = Open("number,text,named,ordered\n1,x,1,1\n", R"({"fields": [
      {"name": "number", "type": "number"},
      {"name": "named", "categories": [1, 2]},
      {"name": "ordered", "categories": [1, 2], "categoriesOrdered": true}
    ]})");

  const auto level = [&](int position) {
    return source->GetVariable(position).GetMeasurementLevel();
  };
  EXPECT_EQ(level(0), MeasurementLevel::Unknown);
  EXPECT_EQ(level(1), MeasurementLevel::Nominal);
  EXPECT_EQ(level(2), MeasurementLevel::Nominal);
  EXPECT_EQ(level(3), MeasurementLevel::Ordinal);
}

TEST_F(SystemFile, TakesLabelsFromTheSchemaByName) {
  const auto source = Open("sex,age\n1,30\n2,40\n", R"({
    "title": "People",
    "fields": [
      {"name": "age", "title": "Age in years"},
      {"name": "sex", "type": "integer", "categoriesOrdered": true,
       "categories": [{"value": 1, "label": "male"}, {"value": "2", "label": "female"}, 3]}
    ]})");

  EXPECT_STREQ(source->GetLabel(), "People");
  EXPECT_EQ(Names(*source), "sex|age|");
  EXPECT_EQ(source->GetVariable(0).GetValueLabels(), (ValueLabels{{1.0, "male"}, {2.0, "female"}}));
  EXPECT_EQ(source->GetVariable(0).GetMeasurementLevel(), MeasurementLevel::Ordinal);
  EXPECT_EQ(source->GetVariable(1).GetLabel(), "Age in years");
}

TEST_F(SystemFile, ASchemaCanMakeNumbersAString) {
  const auto source = Open("code\n007\n1\n", R"({"fields": [{"name": "code", "type": "string",
      "categories": [{"value": "007", "label": "agent"}, {"value": 1, "label": "other"}]}]})");

  EXPECT_EQ(source->GetVariable(0).GetType(), 3);
  EXPECT_EQ(source->GetVariable(0).GetValueLabels(),
            (ValueLabels{{std::string("007"), "agent"}, {std::string("1"), "other"}}));
  EXPECT_THAT(Rows(*source), ElementsAre("[007     ]", "[1       ]"));
}

TEST_F(SystemFile, TypeAnyIsInferredFromTheFields) {
  const auto source = Open("place,year,day\nx,1990,1970-01-01\n",
                           R"({"fields": [{"name": "place", "type": "any"},
                                          {"name": "year", "type": "any"}, {"name": "day"}]})");

  EXPECT_EQ(source->GetVariable(0).GetType(), 1);
  EXPECT_EQ(source->GetVariable(1).GetType(), 0);
  EXPECT_EQ(source->GetVariable(2).GetFormat().kind, VariableFormat::Kind::Date);
}

TEST_F(SystemFile, MissingValuesOfTheSchemaReadAsMissing) {
  const auto source = Open("a,b,c\nNA,NA,NA\n-9,-9,-9\n,x,\n", R"({
    "missingValues": ["NA", "-9"],
    "fields": [{"name": "a", "type": "number"}, {"name": "b"},
               {"name": "c", "missingValues": ["NA"]}]})");

  EXPECT_EQ(source->GetVariable(1).GetType(), 1);
  EXPECT_THAT(Rows(*source), ElementsAre(". [        ] .", ". [        ] -9", ". [x       ] ."));
}

// "a,b\n1,x\n", compressed.
constexpr unsigned char kGzip[] = {0x1F, 0x8B, 8,    0,    0,    0,    0,    0,    2, 3,
                                   0x4B, 0xD4, 0x49, 0xE2, 0x32, 0xD4, 0xA9, 0xE0, 2, 0,
                                   0xF4, 0xA0, 1,    0,    8,    0,    0,    0};
constexpr unsigned char kZstandard[] = {0x28, 0xB5, 0x2F, 0xFD, 0x24, 8,    0x41,
                                        0,    0,    0x61, 0x2C, 0x62, 0x0A, 0x31,
                                        0x2C, 0x78, 0x0A, 0x66, 3,    0x30, 0x1F};

template <std::size_t size>
std::string_view BytesOf(const unsigned char (&bytes)[size]) {
  return {reinterpret_cast<const char*>(bytes), size};
}

TEST_F(SystemFile, OpensACompressedFileWithTheSchemaBesideIt) {
  folder.Write("data.schema.json", R"({"fields": [{"name": "a", "title": "A"}]})");
  folder.Write("data.csv.gz", BytesOf(kGzip));
  folder.Write("data.csv.zst", BytesOf(kZstandard));

  for (const char* const name : {"data.csv.gz", "data.csv.zst"}) {
    const auto source = SystemFileDataSource::Open(folder.Path(name));
    EXPECT_THAT(Rows(*source), ElementsAre("1 [x       ]")) << name;
    EXPECT_EQ(source->GetVariable(0).GetLabel(), "A") << name;
  }
}

TEST_F(SystemFile, FindsTheSchemaIfFoldersHaveDotsAndFilesHaveNone) {
  std::filesystem::create_directory(folder.Path("v1.2"));
  folder.Write("v1.2/data.schema.json", R"({"title": "T", "fields": []})");

  const auto source = SystemFileDataSource::Open(folder.Write("v1.2/data", "a\n1\n"));

  EXPECT_STREQ(source->GetLabel(), "T");
}

TEST_F(SystemFile, OpeningStopsAtTheRecordWhereTheCheckThrows) {
  int records = 0;
  const auto check = [&records] {
    if (++records == 2) throw std::runtime_error("stop");
  };

  EXPECT_THROW(SystemFileDataSource::Open(folder.Write("data.csv", "a,b\n1,2\n3,4\n"), check),
               std::runtime_error);

  EXPECT_EQ(records, 2);
}

TEST_F(SystemFile, OpeningCallsTheCheckForEmptyLinesToo) {
  int records = 0;

  SystemFileDataSource::Open(folder.Write("data.csv", "a,b\n1,2\n\n3,4\n"), [&] { ++records; });

  EXPECT_EQ(records, 3);
}

TEST_F(SystemFile, IteratorOutlivesItsSourceAndEdits) {
  auto source = Open("a,b\n1,x\n2,y\n");
  std::vector<OBS> area(2);
  const std::unique_ptr<ObsIterator> rows(source->MakeIterator(area.data()));

  source->DeleteVariables(0, 0);
  ASSERT_TRUE(rows->Next());
  EXPECT_EQ(area[0].number, 1);
  source.reset();
  ASSERT_TRUE(rows->Next());

  EXPECT_EQ(area[0].number, 2);
  EXPECT_EQ(std::string(area[1].text, 8), "y       ");
  EXPECT_FALSE(rows->Next());
  EXPECT_EQ(area[0].number, 2);
}

TEST_F(SystemFile, AVariableKeepsItsValuesWhenItIsMoved) {
  const auto source = Open("a,b,c\n1,x,3\n");
  const ORVX_Variable moved = source->GetVariable(0);

  source->DeleteVariables(0, 0);
  EXPECT_THAT(Rows(*source), ElementsAre("[x       ] 3"));
  source->InsertVariable(2, moved);

  EXPECT_THAT(Rows(*source), ElementsAre("[x       ] 3 1"));
}

TEST_F(SystemFile, VariableNotInTheFileReadsAsMissing) {
  const auto source = Open("a\n1\n");
  source->MakeVariable(ORVX_Variable(ORVX_Variable::NextID(), "n"), nullptr);
  source->InsertVariable(0, ORVX_Variable(ORVX_Variable::NextID(), "s", 9));

  EXPECT_THAT(Rows(*source), ElementsAre("[                ] 1 ."));
}

TEST_F(SystemFile, ARetypedVariableReadsConvertedValues) {
  const auto source = Open("n,s,w\n0.1,12,m\xC3\xBC\xC3\xBC\n-1234567,x,ab\n,,\n",
                           R"({"fields": [{"name": "s", "type": "string"}]})");
  source->GetVariable(0).SetType(4);
  source->GetVariable(1).SetType(0);
  source->GetVariable(2).SetType(4);

  EXPECT_THAT(Rows(*source), ElementsAre("[0.1     ] 12 [m\xC3\xBC     ]",
                                         "[        ] . [ab      ]", "[        ] . [        ]"));
}

TEST_F(SystemFile, AWidenedStringIsPadded) {
  const auto source = Open("s\nx\n");
  source->GetVariable(0).SetType(12);

  EXPECT_THAT(Rows(*source), ElementsAre("[x               ]"));
}

TEST_F(SystemFile, StoresWhetherItsPasswordIsMangled) {
  const auto source = Open("a\n1\n");

  EXPECT_FALSE(source->GetPasswordMangled());
  source->SetPasswordMangled(true);
  EXPECT_TRUE(source->GetPasswordMangled());
}

// The first block ends at byte 65536. The length of the filler makes the first copy of `record`
// cross this boundary at each of its bytes in turn.
TEST_F(SystemFile, DoesNotDependOnBlockBoundaries) {
  const std::string record = "\"q \"\"\xC3\xBC\"\",\r\n\",1\r\n";
  const std::string header = "name,b\r\n";
  for (std::size_t before = 0; before <= record.size(); ++before) {
    const std::string filler(65536 - header.size() - before - 4, 'x');
    const auto source = Open(header + filler + ",0\r\n" + record + record);
    source->GetVariable(0).SetType(9);

    EXPECT_THAT(Rows(*source), ElementsAre("[xxxxxxxxx       ] 0", "[q \"\xC3\xBC\",\r\n       ] 1",
                                           "[q \"\xC3\xBC\",\r\n       ] 1"));
  }
}

TEST_F(SystemFile, ReadsAHeaderLongerThanABlock) {
  const std::string name(70000, 'n');

  EXPECT_THAT(Names(*Open(name + "\tb\n1\t2\n")), name + "|b|");
}

TEST_F(SystemFile, ReadsARecordOfTheMaximumLength) {
  const std::string name(SystemFileDataSource::kMaxRecordBytes - 1, 'a');

  EXPECT_EQ(Open(name + "\n1\n")->GetVariable(0).GetName().size(), name.size());
}

}  // namespace
