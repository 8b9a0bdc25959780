// Conversion of rows of one dictionary to rows of another dictionary.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <libdatasrc/DataFreeDataSource.h>
#include <libdatasrc/ObsProjector.h>

#include <cstring>
#include <limits>

#include "Files.h"
#include "Variables.h"

namespace {

using testing::ElementsAre;

// A variable of a dictionary: its identifier and its type.
struct Column {
  unsigned int serial;
  int type;
};

std::unique_ptr<ORVX_DataSource> Dictionary(const std::vector<Column>& columns) {
  auto source = std::make_unique<DataFreeDataSource>();
  for (const Column& column : columns) {
    source->MakeVariable(ORVX_Variable(Serial(column.serial), "v", column.type), nullptr);
  }
  return source;
}

OBS Number(double number) {
  OBS cell;
  cell.number = number;
  return cell;
}

// The cells of a string, padded with blanks.
std::vector<OBS> Text(const std::string& text) {
  std::vector<OBS> cells((text.size() + sizeof(OBS) - 1) / sizeof(OBS));
  const std::string padded = text + std::string(cells.size() * sizeof(OBS) - text.size(), ' ');
  std::memcpy(cells.data(), padded.data(), padded.size());
  return cells;
}

std::vector<OBS> Row(const std::vector<std::vector<OBS>>& values) {
  std::vector<OBS> row;
  for (const auto& cells : values) row.insert(row.end(), cells.begin(), cells.end());
  return row;
}

// Projects a row of `from` to `to` and formats the result, whose cells initially contain '#'.
std::string Projected(const std::vector<Column>& from, const std::vector<OBS>& row,
                      const std::vector<Column>& to) {
  const auto target = Dictionary(to);
  const ObsProjector projector(*Dictionary(from), *target);
  EXPECT_EQ(projector.GetFromAreaSize(), static_cast<long>(row.size()));
  std::vector<OBS> area(static_cast<std::size_t>(projector.GetToAreaSize()));
  for (OBS& cell : area) std::memcpy(cell.text, "########", sizeof cell);
  projector.Project(row.data(), area.data());

  return RowText(*target, area.data());
}

TEST(ObsProjector, CopiesARowForTheSameDictionary) {
  EXPECT_EQ(Projected({{1, 0}, {2, 9}, {3, 0}}, Row({{Number(1)}, Text("123456789"), {Number(3)}}),
                      {{1, 0}, {2, 9}, {3, 0}}),
            "1 [123456789       ] 3");
}

TEST(ObsProjector, HandlesMovedAndDeletedVariables) {
  const std::vector<Column> from = {{1, 0}, {2, 9}, {3, 0}, {4, 0}};
  const std::vector<OBS> row = Row({{Number(1)}, Text("123456789"), {Number(3)}, {Number(4)}});

  EXPECT_EQ(Projected(from, row, {{4, 0}, {2, 9}, {1, 0}}), "4 [123456789       ] 1");
  EXPECT_EQ(Projected(from, row, {{2, 9}, {3, 0}}), "[123456789       ] 3");
  EXPECT_EQ(Projected(from, row, {{3, 0}, {4, 0}, {1, 0}}), "3 4 1");
  EXPECT_EQ(Projected(from, row, {}), "");
}

TEST(ObsProjector, AnUnknownVariableIsMissing) {
  EXPECT_EQ(Projected({{1, 0}}, {Number(1)}, {{5, 9}, {1, 0}, {6, 0}}), "[                ] 1 .");
  EXPECT_EQ(Projected({{1, 0}, {2, 0}}, Row({{Number(1)}, {Number(2)}}), {{1, 0}, {5, 0}, {2, 0}}),
            "1 . 2");
}

TEST(ObsProjector, ReadsTheFirstOfTwoVariablesWithTheSameIdentifier) {
  EXPECT_EQ(Projected({{1, 0}, {1, 0}}, Row({{Number(1)}, {Number(2)}}), {{1, 0}, {1, 0}}), "1 1");
}

TEST(ObsProjector, ConvertsAStringToTheNumberThatItSpells) {
  const auto asNumber = [](const std::string& text) {
    return Projected({{1, static_cast<int>(text.size())}}, Text(text), {{1, 0}});
  };
  EXPECT_EQ(asNumber("12"), "12");
  EXPECT_EQ(asNumber(" -2.5e1 "), "-25");
  EXPECT_EQ(asNumber("x"), ".");
  EXPECT_EQ(asNumber("   "), ".");
  EXPECT_EQ(asNumber("1e999"), ".");
}

TEST(ObsProjector, ConvertsANumberToItsShortestTextOrBlanksIfTooWide) {
  const auto asText = [](double number, int width) {
    return Projected({{1, 0}}, {Number(number)}, {{1, width}});
  };
  EXPECT_EQ(asText(0.1, 3), "[0.1     ]");
  EXPECT_EQ(asText(0.1, 2), "[        ]");
  EXPECT_EQ(asText(-1234567, 9), "[-1234567        ]");
  EXPECT_EQ(asText(kMissingNumber, 8), "[        ]");
  EXPECT_EQ(asText(-std::numeric_limits<double>::infinity(), 8), "[        ]");
  EXPECT_EQ(asText(kMissingNumber, 40), "[" + std::string(40, ' ') + "]");
  EXPECT_EQ(asText(std::numeric_limits<double>::lowest(), 24), "[-1.7976931348623157e+308]");
}

TEST(ObsProjector, CutsAStringBetweenCharactersOrPadsIt) {
  EXPECT_EQ(Projected({{1, 5}}, Text("m\xC3\xBC\xC3\xBC"), {{1, 4}}), "[m\xC3\xBC     ]");
  EXPECT_EQ(Projected({{1, 5}}, Text("m\xC3\xBC\xC3\xBC"), {{1, 9}}),
            "[m\xC3\xBC\xC3\xBC           ]");
  EXPECT_EQ(Projected({{1, 16}}, Text("0123456789abcdef"), {{1, 8}}), "[01234567]");
}

TEST(ObsProjector, ReadsNoBytesBeyondTheWidthOfAString) {
  std::vector<OBS> row = Text("12345678");  // only the first three bytes are the value
  EXPECT_EQ(Projected({{1, 3}}, row, {{1, 0}}), "123");
  EXPECT_EQ(Projected({{1, 3}}, row, {{1, 5}}), "[123     ]");
}

TEST(ObsProjector, CopiesANumberBitForBit) {
  const ObsProjector projector(*Dictionary({{1, 0}, {2, 0}}), *Dictionary({{2, 0}, {1, 0}}));
  const std::vector<OBS> row = Row({{Number(kMissingNumber)}, {Number(-0.0)}});
  std::vector<OBS> area(2);

  projector.Project(row.data(), area.data());

  EXPECT_EQ(std::memcmp(&area[0], &row[1], sizeof(OBS)), 0);
  EXPECT_EQ(std::memcmp(&area[1], &row[0], sizeof(OBS)), 0);
}

TEST(ObsProjector, KeepsNoReferenceToTheDictionaries) {
  auto from = Dictionary({{1, 0}, {2, 0}});
  auto to = Dictionary({{2, 0}});
  const ObsProjector projector(*from, *to);
  from->DeleteVariables(0, 1);
  to.reset();
  from.reset();

  std::vector<OBS> area(1);
  projector.Project(Row({{Number(1)}, {Number(2)}}).data(), area.data());

  EXPECT_EQ(area[0].number, 2);
}

// Like Projected above, but the rows of the source have the layout of the dictionary `layout`. The
// source's own dictionary is `from`.
std::string Projected(const std::vector<Column>& layout, const std::vector<OBS>& row,
                      const std::vector<Column>& from, const std::vector<Column>& to) {
  const auto rows = Dictionary(layout);
  PassedOn source(rows.get());
  source.CopyDictionary(Dictionary(from).get());
  const auto target = Dictionary(to);
  const ObsProjector projector(source, *target);
  EXPECT_EQ(projector.GetFromAreaSize(), static_cast<long>(row.size()));
  std::vector<OBS> area(static_cast<std::size_t>(projector.GetToAreaSize()));
  projector.Project(row.data(), area.data());
  return RowText(*target, area.data());
}

TEST(ObsProjector, ReadsValuesByTheRowLayout) {
  const std::vector<Column> layout = {{1, 0}, {2, 9}, {3, 0}};
  const std::vector<OBS> row = Row({{Number(1)}, Text("123456789"), {Number(3)}});

  EXPECT_EQ(Projected(layout, row, {{3, 0}, {1, 0}, {2, 9}}, {{1, 0}, {2, 9}, {3, 0}}),
            "1 [123456789       ] 3");
  EXPECT_EQ(Projected(layout, row, {{3, 0}, {4, 0}}, {{4, 0}, {3, 0}}), ". 3");
}

TEST(ObsProjector, ADeletedVariableIsMissingEvenIfTheRowsHaveIt) {
  EXPECT_EQ(
      Projected({{1, 0}, {2, 0}}, Row({{Number(1)}, {Number(2)}}), {{2, 0}}, {{1, 0}, {2, 0}}),
      ". 2");
}

TEST(ObsProjector, ConvertsToTheSourcesOwnTypeFirst) {
  EXPECT_EQ(Projected({{1, 0}}, {Number(1.5)}, {{1, 3}}, {{1, 3}}), "[1.5     ]");
  EXPECT_EQ(Projected({{1, 0}}, {Number(1.5)}, {{1, 3}}, {{1, 0}}), "1.5");
  EXPECT_EQ(Projected({{1, 0}}, {Number(1.25)}, {{1, 3}}, {{1, 0}}), ".");  // 1.25 needs 4 bytes
  EXPECT_EQ(Projected({{1, 9}}, Text("123456789"), {{1, 3}}, {{1, 9}}), "[123             ]");
  EXPECT_EQ(Projected({{1, 9}}, Text("0x       "), {{1, 0}}, {{1, 9}}), "[                ]");
  EXPECT_EQ(Projected({{1, 9}}, Text("123456789"), {{1, 0}}, {{1, 20}}),
            "[123456789               ]");
}

// If the types of a data file's variables are changed, the file's iterator converts the values by
// the rules of ObsProjector.
TEST(ObsProjector, ConvertsLikeADataFile) {
  const Folder folder;
  const auto file = SystemFileDataSource::Open(folder.Write(
      "data.csv", "n,s,w\n0.1,12,m\xC3\xBC\xC3\xBC\n-1234567,x,ab\n,,\n1e300, 7,zz\n"));
  DataFreeDataSource to;
  to.CopyDictionary(file.get());
  to.GetVariable(0).SetType(4);
  to.GetVariable(1).SetType(0);
  to.GetVariable(2).SetType(4);
  const ObsProjector projector(*file, to);
  std::vector<OBS> row(static_cast<std::size_t>(file->GetObsAreaSize()));
  std::vector<OBS> projected(static_cast<std::size_t>(to.GetObsAreaSize()));
  std::unique_ptr<ObsIterator> rows(file->MakeIterator(row.data()));
  std::vector<std::string> converted;
  while (rows->Next()) {
    projector.Project(row.data(), projected.data());
    converted.push_back(RowText(to, projected.data()));
  }

  file->GetVariable(0).SetType(4);
  file->GetVariable(1).SetType(0);
  file->GetVariable(2).SetType(4);
  EXPECT_EQ(converted, Rows(*file));
  EXPECT_THAT(converted, ElementsAre("[0.1     ] 12 [m\xC3\xBC     ]", "[        ] . [ab      ]",
                                     "[        ] . [        ]", "[        ] 7 [zz      ]"));
}

}  // namespace
