// Compares the reader of data files with simple readers. All read the same random texts; the reader
// of data files reads them in blocks of many sizes. Compiled with the internals of the library.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <libdatasrc/internal/ByteGroup.h>
#include <libdatasrc/internal/ColumnPart.h>
#include <libdatasrc/internal/DataFile.h>
#include <libdatasrc/internal/DelimitedText.h>
#include <libdatasrc/internal/NumberText.h>
#include <libdatasrc/internal/RecordBlock.h>

#include <array>
#include <bit>
#include <cmath>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "Files.h"

namespace sdm_internal {
namespace {

using Records = std::vector<std::vector<std::string>>;

class Random {
 public:
  explicit Random(unsigned int seed) : engine_(seed) {}
  std::size_t Below(std::size_t limit) {
    return std::uniform_int_distribution<std::size_t>(0, limit - 1)(engine_);
  }
  template <class Choices>
  const auto& OneOf(const Choices& choices) {
    return choices[Below(std::size(choices))];
  }

 private:
  std::mt19937 engine_;
};

// --- Groups of bytes ---

TEST(ByteGroup, FindsTheSameBytesAsAPlainLoop) {
  Random random(1);
  for (int turn = 0; turn < 2000; ++turn) {
    std::array<char, kGroupBytes> bytes;
    constexpr std::string_view kAll("a,\"\n\r\0\x80\xFF\x01\x7F,", 12);
    const std::string_view few = kAll.substr(random.Below(6), 1 + random.Below(6));
    for (char& byte : bytes) byte = random.OneOf(few);
    std::uint64_t commas = 0;
    for (std::size_t i = 0; i < bytes.size(); ++i) commas |= std::uint64_t{bytes[i] == ','} << i;
    const std::string_view text(bytes.data(), bytes.size());
    const bool hasZero = text.find('\0') != text.npos;
    const bool isAscii = text.find('\x80') == text.npos && text.find('\xFF') == text.npos;
    const auto check = [&](const auto& group) {
      EXPECT_EQ(group.MaskOf(','), commas);
      EXPECT_EQ(group.HasZeroByte(), hasZero);
      EXPECT_EQ(group.IsAscii(), isAscii);
    };
    check(ByteGroup(bytes.data()));
    check(PlainByteGroup(bytes.data()));
  }
}

// --- Whole files ---

// Splits a valid text into records and fields, byte by byte.
Records PlainRecords(std::string_view text) {
  Records records(1, {""});
  bool inQuotes = false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    std::string& field = records.back().back();
    if (text[i] == '"' && inQuotes && text.substr(i + 1, 1) == "\"") {
      field += text[i++];
    } else if (text[i] == '"') {
      inQuotes = !inQuotes;
    } else if (inQuotes) {
      field += text[i];
    } else if (text[i] == ',') {
      records.back().emplace_back();
    } else if (text[i] == '\n') {
      records.push_back({""});
    } else if (text[i] != '\r') {
      field += text[i];
    }
  }
  return records;
}

std::string RandomField(Random& random) {
  constexpr std::string_view kFields[] = {"",
                                          "1",
                                          "-2.5",
                                          "x",
                                          "\"\"",
                                          "\"a,b\"",
                                          "\"two\nlines\"",
                                          "\"\"\"\"",
                                          "NA",
                                          "\"3\"",
                                          "\xC3\xBC",
                                          "\"\r\n,\"",
                                          "\"\"\"q\"",
                                          "2024-01-31",
                                          "true",
                                          "  4 ",
                                          " \t",
                                          "12345.678",
                                          "007",
                                          "long enough to cross many blocks"};
  return std::string(random.OneOf(kFields));
}

// Returns the text of a random file. In each column, most fields have the same text.
std::string RandomText(Random& random) {
  const std::size_t columns = 1 + random.Below(4);
  const std::string lineEnd = random.Below(2) == 0 ? "\n" : "\r\n";
  std::string text = random.Below(5) == 0 ? "\xEF\xBB\xBF" : "";
  std::vector<std::string> usual(columns);
  for (std::size_t i = 0; i < columns; ++i) {
    text += (i > 0 ? ",c" : "c") + std::to_string(i);
    usual[i] = RandomField(random);
  }
  const std::size_t rows = random.Below(30);
  for (std::size_t row = 0; row < rows; ++row) {
    text += lineEnd;
    if (random.Below(8) == 0) continue;
    for (std::size_t i = 0; i < columns; ++i) {
      text += (i > 0 ? "," : "") + (random.Below(10) == 0 ? RandomField(random) : usual[i]);
    }
  }
  return random.Below(2) == 0 ? text : text + lineEnd;
}

// Opens a file. Returns its number of rows, report, types and values as one text, or the error
// text.
std::string Read(const std::string& path, const BlockSettings& settings) {
  try {
    const DataFile file = ReadDataFile(path, ImportOptions(), {}, settings);
    std::string text = std::to_string(file.cases.RowCount()) + " rows\n" + file.report.Text();
    for (const ORVX_Variable& variable : file.variables) {
      text += variable.GetName() + " " + std::to_string(variable.GetType()) + ":";
      const CaseColumn& column = *file.cases.Find(variable.GetID());
      for (std::size_t row = 0; row < file.cases.RowCount(); ++row) {
        const auto* const numbers = std::get_if<NumberColumn>(&column);
        text += numbers != nullptr ? " " + ShortestText((*numbers)[row])
                                   : " [" + std::string(std::get<TextColumn>(column)[row]) + "]";
      }
      text += "\n";
    }
    return text;
  } catch (const DataFileError& error) {
    return error.what();
  }
}

// Returns settings with many sizes of blocks, for one thread and for three threads.
std::vector<BlockSettings> AllSettings(std::size_t bytes) {
  std::vector<BlockSettings> all;
  for (std::size_t size = 1; size < bytes; size += 1 + size / 7) {
    all.push_back({size, size, 1});
    all.push_back({size, 1 + size / 2, 3});
  }
  return all;
}

bool IsMissing(const std::string& field) {
  return field.empty() || field == "NA";
}

// Checks that a column has the type and the values that its fields should give.
void ExpectColumn(const DataFile& file, std::size_t index, const std::vector<std::string>& fields) {
  const CaseColumn& column = *file.cases.Find(file.variables[index].GetID());
  const auto isA = [&](auto parse) {
    return std::all_of(fields.begin(), fields.end(), [&](const std::string& field) {
      return IsMissing(field) || Trimmed(field).empty() || parse(field);
    });
  };
  const bool isNumeric = isA(
      [](const std::string& field) { return field != "007" && ParseNumber(field).has_value(); });
  const bool isOther = isA([](const std::string& field) { return field == "true"; }) ||
                       isA([](const std::string& field) { return field == "2024-01-31"; });
  const auto* const numbers = std::get_if<NumberColumn>(&column);
  ASSERT_EQ(numbers != nullptr, isNumeric || isOther);
  for (std::size_t row = 0; row < fields.size(); ++row) {
    const bool isMissing = IsMissing(fields[row]);
    if (numbers == nullptr) {
      EXPECT_EQ(std::get<TextColumn>(column)[row], isMissing ? "" : fields[row]);
    } else if (isMissing || Trimmed(fields[row]).empty()) {
      EXPECT_TRUE(std::isnan((*numbers)[row]));
    } else if (isNumeric) {
      EXPECT_EQ((*numbers)[row], *ParseNumber(fields[row]));
    } else {
      EXPECT_EQ((*numbers)[row], fields[row] == "true" ? 1 : 1706659200);
    }
  }
}

void ExpectRecords(const std::string& path, std::string_view text) {
  if (text.starts_with("\xEF\xBB\xBF")) text.remove_prefix(3);
  Records records = PlainRecords(text);
  const std::size_t columns = records.front().size();
  const auto isEmptyLine = [&](const auto& record) { return record == Records::value_type{""}; };
  if (isEmptyLine(records.back()) && text.ends_with('\n')) records.pop_back();
  if (columns > 1) std::erase_if(records, isEmptyLine);
  const DataFile file = ReadDataFile(path, ImportOptions(), {});
  ASSERT_EQ(file.cases.RowCount(), records.size() - 1);
  for (std::size_t i = 0; i < columns; ++i) {
    std::vector<std::string> fields;
    for (std::size_t row = 1; row < records.size(); ++row) fields.push_back(records[row][i]);
    ExpectColumn(file, i, fields);
  }
}

TEST(DataFileRead, GivesTheFieldsOfRandomTextsInBlocksOfAnySize) {
  const Folder folder;
  for (unsigned int seed = 0; seed < 200; ++seed) {
    Random random(seed);
    const std::string text = RandomText(random);
    SCOPED_TRACE(std::to_string(seed) + ":\n" + text);
    const std::string path = folder.Write("data.csv", text);
    ExpectRecords(path, text);
    const std::string expected = Read(path, BlockSettings());
    for (const BlockSettings& settings : AllSettings(text.size() + 3)) {
      ASSERT_EQ(Read(path, settings), expected) << settings.bytes << " " << settings.threads;
    }
    if (testing::Test::HasFailure()) return;
  }
}

TEST(DataFileRead, ReportsAMissingRequiredValueInBlocksOfAnySize) {
  const Folder folder;
  folder.Write("data.schema.json", R"({"fields": [
      {"name": "c0", "constraints": {"required": true}},
      {"name": "c1", "constraints": {"required": true}, "missingValues": []},
      {"name": "c2", "type": "number", "constraints": {"required": true}},
      {"name": "c3", "type": "string", "constraints": {"required": true}}],
      "fieldsMatch": "partial"})");
  for (unsigned int seed = 0; seed < 100; ++seed) {
    Random random(seed);
    const std::string text = RandomText(random);
    SCOPED_TRACE(std::to_string(seed) + ":\n" + text);
    const std::string path = folder.Write("data.csv", text);
    const std::string expected = Read(path, BlockSettings());
    for (const BlockSettings& settings : AllSettings(text.size() + 3)) {
      ASSERT_EQ(Read(path, settings), expected) << settings.bytes << " " << settings.threads;
    }
  }
}

// Inserts one or two random bytes into a text, often after a quote.
std::string Damaged(std::string text, Random& random) {
  constexpr std::string_view kBytes("\",\r\nx\0\xC3\xFF", 8);
  for (std::size_t i = 1 + random.Below(2); i > 0; --i) {
    std::size_t at = random.Below(text.size() + 1);
    const std::size_t quote = text.find('"', at);
    if (quote != text.npos && random.Below(2) == 0) at = quote + 1;
    text.insert(at, 1, random.OneOf(kBytes));
  }
  return text;
}

// Returns the first error in a text, as the simple reader DelimitedText reports it. Returns
// "" if the text has no error.
std::string FirstError(const std::string& path, std::string_view text) {
  try {
    const bool hasMark = text.starts_with("\xEF\xBB\xBF");
    DelimitedText records(path, text.substr(hasMark ? 3 : 0), {1, hasMark ? 4 : 1}, ',');
    if (!records.Next()) return "";
    const std::size_t columns = records.FieldCount();
    while (records.Next()) {
      if (records.FieldCount() == columns || records.IsEmptyLine()) continue;
      const std::string counts = std::to_string(records.FieldCount()) +
                                 " fields, but the header has " + std::to_string(columns);
      const bool isLong = records.FieldCount() > columns;
      records.Fail(isLong ? records.FieldPosition(columns) : records.End(), counts);
    }
  } catch (const DataFileError& error) {
    return error.what();
  }
  return "";
}

TEST(DataFileRead, ReportsTheFirstErrorOfDamagedTextsInBlocksOfAnySize) {
  const Folder folder;
  int errors = 0;
  for (unsigned int seed = 0; seed < 300; ++seed) {
    Random random(seed);
    const std::string text = Damaged(RandomText(random), random);
    SCOPED_TRACE(std::to_string(seed) + ":\n" + text);
    const std::string path = folder.Write("data.csv", text);
    const std::string expected = Read(path, BlockSettings());
    const std::string first = FirstError(path, text);
    if (!first.empty() && expected.find("column") == expected.npos) {
      ASSERT_EQ(expected, first);
      ++errors;
    }
    for (const BlockSettings& settings : AllSettings(text.size() + 3)) {
      ASSERT_EQ(Read(path, settings), expected) << settings.bytes << " " << settings.threads;
    }
  }
  EXPECT_GT(errors, 100);
}

// --- Numbers ---

std::string RandomNumber(Random& random) {
  constexpr std::string_view kDigits = "0123456789";
  std::string text(random.Below(4) == 0 ? "-" : "");
  for (std::size_t i = random.Below(12); i > 0; --i) text += random.OneOf(kDigits);
  if (random.Below(2) == 0) text += '.';
  for (std::size_t i = random.Below(12); i > 0; --i) text += random.OneOf(kDigits);
  if (random.Below(10) == 0)
    text.insert(random.Below(text.size() + 1), 1, "x.-+eE /:"[random.Below(9)]);
  return text;
}

// Reads a field as a number, with the reader of data files. Returns nothing if the field is not a
// number.
std::optional<double> ReadField(const std::string& field) {
  RecordBlock block;
  const std::string text = field + "\n";
  text.copy(block.Reserve(text.size(), 0), text.size());
  block.SetText(text.size(), /*isLast=*/true);
  EXPECT_TRUE(block.Scan(',', 1));
  const std::vector<std::string> missing = {""};
  const MissingWords words(missing);
  ColumnRules rules;
  rules.missing = &words;
  FieldRules number;
  number.type = FieldRules::Type::Number;
  rules.field = &number;
  ColumnPart part;
  ReadColumn(block, 0, ImportReport::Type::Number, rules, part);
  if (part.refutedBy == 0) return std::nullopt;
  return part.numbers.at(0);
}

TEST(DataFileRead, NumbersHaveTheSameBitsAsFromParseNumber) {
  Random random(1);
  int numbers = 0;
  for (int turn = 0; turn < 100000; ++turn) {
    const std::string text = RandomNumber(random);
    if (Trimmed(text).empty()) continue;
    const std::optional<double> expected = ParseNumber(text);
    const std::optional<double> read = ReadField(text);
    ASSERT_EQ(read.has_value(), expected.has_value()) << text;
    if (!expected) continue;
    ASSERT_EQ(std::bit_cast<std::uint64_t>(*read), std::bit_cast<std::uint64_t>(*expected)) << text;
    ++numbers;
  }
  EXPECT_GT(numbers, 50000);
}

}  // namespace
}  // namespace sdm_internal
