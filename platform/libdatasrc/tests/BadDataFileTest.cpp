// Errors in a data file or its schema are reported with file, line and column.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "Files.h"

namespace {

using testing::HasSubstr;
using testing::StartsWith;

class BadDataFile : public testing::Test {
 protected:
  // Opens a file. Returns the error text without the name of the folder; "opened" if there is no
  // error.
  std::string ErrorOf(const std::string& path) const {
    try {
      SystemFileDataSource::Open(path);
    } catch (const DataFileError& error) {
      EXPECT_THAT(error.what(), StartsWith(error.File()));
      const std::string text = error.what();
      return text.substr(std::min(folder.Path("").size(), text.size()));
    }
    return "opened";
  }
  std::string ErrorIn(std::string_view text) const {
    return ErrorOf(folder.Write("data.csv", text));
  }
  std::string ErrorInSchema(std::string_view schema, std::string_view text = "a,b\n1,x\n") const {
    folder.Write("data.schema.json", schema);
    return ErrorIn(text);
  }

  Folder folder;
};

TEST_F(BadDataFile, MissingFileIsReported) {
  EXPECT_EQ(ErrorOf(folder.Path("none.csv")),
            "none.csv: cannot be opened: No such file or directory");
}

TEST_F(BadDataFile, AFileNameThatIsEmptyOrHasAZeroByteIsRejected) {
  EXPECT_THROW(SystemFileDataSource::Open(""), DataFileError);
  EXPECT_THROW(SystemFileDataSource::Open(std::string("a\0b", 3)), DataFileError);
}

TEST_F(BadDataFile, AnErrorHasFileLineAndColumn) {
  try {
    SystemFileDataSource::Open(folder.Write("data.csv", "a,b\n1,2\n3\n"));
    FAIL() << "opened";
  } catch (const DataFileError& error) {
    EXPECT_EQ(error.File(), folder.Path("data.csv"));
    EXPECT_EQ(error.Line(), 3);
    EXPECT_EQ(error.Column(), 2);
  }
}

TEST_F(BadDataFile, AFolderIsRejected) {
  EXPECT_THAT(ErrorOf(folder.Path(".")), HasSubstr("a directory"));
}

TEST_F(BadDataFile, AFifoIsRejectedWithoutWaitingForAWriter) {
  ASSERT_EQ(mkfifo(folder.Path("pipe.csv").c_str(), 0600), 0);

  EXPECT_EQ(ErrorOf(folder.Path("pipe.csv")), "pipe.csv: not a data file but a FIFO");
}

TEST_F(BadDataFile, ADeviceIsRejected) {
  try {
    SystemFileDataSource::Open("/dev/zero");
    FAIL() << "opened";
  } catch (const DataFileError& error) {
    EXPECT_STREQ(error.what(), "/dev/zero: not a data file but a device");
  }
}

TEST_F(BadDataFile, AnEmptyFileIsRejected) {
  EXPECT_EQ(ErrorIn(""), "data.csv: empty file, without a header line");
  EXPECT_EQ(ErrorIn("\xEF\xBB\xBF"), "data.csv: empty file, without a header line");
}

TEST_F(BadDataFile, TooFewFieldsAreReportedAtTheEndOfTheRecord) {
  EXPECT_EQ(ErrorIn("a,b,c\n1,2,3\n4,5\n"), "data.csv:3:4: 2 fields, but the header has 3");
  EXPECT_EQ(ErrorIn("a,b\r\n1\r\n"), "data.csv:2:2: 1 fields, but the header has 2");
  EXPECT_EQ(ErrorIn("a,b\n1"), "data.csv:2:2: 1 fields, but the header has 2");
}

TEST_F(BadDataFile, TooManyFieldsAreReportedAtTheFirstExtraField) {
  EXPECT_EQ(ErrorIn("a,b\n1,22,3,4\n"), "data.csv:2:6: 4 fields, but the header has 2");
}

TEST_F(BadDataFile, AnUnclosedQuoteIsReportedWhereItOpens) {
  EXPECT_EQ(ErrorIn("a,b\n1,\"x\n2,3\n4,5\n"), "data.csv:2:3: unclosed quote");
  EXPECT_EQ(ErrorIn("a,b\n1,\"x\"\"y\n"), "data.csv:2:3: unclosed quote");
  EXPECT_EQ(ErrorIn("\"a,b\n1,2\n"), "data.csv:1:1: unclosed quote");
  EXPECT_EQ(ErrorIn("a,b\n1,\"x\"\"\""), "opened");
}

TEST_F(BadDataFile, AMisplacedQuoteIsReported) {
  EXPECT_EQ(ErrorIn("a,b\n1,x\"y\n"), "data.csv:2:4: quote inside an unquoted field");
  EXPECT_EQ(ErrorIn("a,b\n1,\"x\"y\n"), "data.csv:2:6: text after the closing quote of a field");
  EXPECT_EQ(ErrorIn("a,b\n\"x\" ,1\n"), "data.csv:2:4: text after the closing quote of a field");
}

TEST_F(BadDataFile, LineFeedsInQuotesCountAsLines) {
  EXPECT_EQ(ErrorIn("a,b\n\"1\n2\n3\",4\n5\n"), "data.csv:5:2: 1 fields, but the header has 2");
  EXPECT_EQ(ErrorIn("a,b\n\"1\n2\",4,5\n"), "data.csv:3:6: 3 fields, but the header has 2");
}

TEST_F(BadDataFile, InvalidUtf8IsReportedAtItsFirstByte) {
  EXPECT_EQ(ErrorIn("a,b\n1,x\xFFy\n"), "data.csv:2:4: not UTF-8");
  EXPECT_EQ(ErrorIn("a,b\n1,\xC3\xBC\xC3\n"), "data.csv:2:5: not UTF-8");
  EXPECT_EQ(ErrorIn("a,b\n1,\xC0\x80\n"), "data.csv:2:3: not UTF-8");
  EXPECT_EQ(ErrorIn("a,b\n1,\xED\xA0\x80\n"), "data.csv:2:3: not UTF-8");
  EXPECT_EQ(ErrorIn("a,b\n1,\xF4\x90\x80\x80\n"), "data.csv:2:3: not UTF-8");
  EXPECT_EQ(ErrorIn("a,b\n1,\xE2\x82"), "data.csv:2:3: not UTF-8");
  EXPECT_EQ(ErrorIn("\xFE a"), "data.csv:1:1: not UTF-8");
  EXPECT_EQ(ErrorIn("a,b\n1,\xE2\x82\xAC\xF0\x9F\x98\x80\n"), "opened");
}

TEST_F(BadDataFile, AZeroByteIsReported) {
  EXPECT_EQ(ErrorIn(std::string_view("a,b\n1,\0\n", 8)), "data.csv:2:3: zero byte");
  EXPECT_EQ(ErrorIn(std::string_view("\0", 1)), "data.csv:1:1: zero byte");
}

TEST_F(BadDataFile, ALoneCarriageReturnIsReported) {
  EXPECT_EQ(ErrorIn("a,b\r1,2\r"), "data.csv:1:4: carriage return without a line feed after it");
  EXPECT_EQ(ErrorIn("a,b\n1,2\r"), "data.csv:2:4: carriage return without a line feed after it");
  EXPECT_EQ(ErrorIn("a,b\n1,\"x\ry\"\n"), "opened");
}

TEST_F(BadDataFile, ColumnNamesMustBeUniqueAndNotEmpty) {
  EXPECT_EQ(ErrorIn("a,,c\n1,2,3\n"), "data.csv:1:3: column without a name");
  EXPECT_EQ(ErrorIn("a,\"\"\n1,2\n"), "data.csv:1:3: column without a name");
  EXPECT_EQ(ErrorIn("\n1\n"), "data.csv:1:1: column without a name");
  EXPECT_EQ(ErrorIn("a,b,a\n1,2,3\n"), "data.csv:1:5: duplicate column name 'a'");
}

TEST_F(BadDataFile, AByteOrderMarkCountsAsThreeBytesOfTheFirstLine) {
  EXPECT_EQ(ErrorIn("\xEF\xBB\xBF"
                    "a,,c\n"),
            "data.csv:1:6: column without a name");
}

TEST_F(BadDataFile, TheFirstOfSeveralErrorsIsReported) {
  EXPECT_THAT(ErrorIn("a,b\n1\n\xFF,2\n"), StartsWith("data.csv:2:2: 1 fields"));
  EXPECT_THAT(ErrorIn("a,b\n1,x\"\xFF\n"), StartsWith("data.csv:2:4: quote inside"));
  EXPECT_THAT(ErrorIn("a,b\n1,\xFFx\"\n"), StartsWith("data.csv:2:3: not UTF-8"));
}

TEST_F(BadDataFile, ErrorsAfterManyBlocksHaveTheirLine) {
  std::string text = "a,b\n";
  for (int i = 0; i < 100000; ++i) text += "1234567,\"x\"\n";
  text += "1,2,3\n";

  EXPECT_EQ(ErrorIn(text), "data.csv:100002:5: 3 fields, but the header has 2");
}

TEST_F(BadDataFile, AGibibyteOfZeroesIsRejectedAtItsFirstByte) {
  const std::string path = folder.Write("data.csv", "");
  std::filesystem::resize_file(path, std::uintmax_t{1} << 30);

  EXPECT_EQ(ErrorOf(path), "data.csv:1:1: zero byte");
}

TEST_F(BadDataFile, ARecordLongerThanTheLimitIsRejected) {
  const std::string endless(SystemFileDataSource::kMaxRecordBytes + 1, 'a');

  EXPECT_EQ(ErrorIn(endless), "data.csv:1:1: record longer than 16777216 bytes");
  EXPECT_EQ(ErrorIn("a,b\n1,2\n3," + endless), "data.csv:3:1: record longer than 16777216 bytes");
  EXPECT_EQ(ErrorIn("a,b\n1,2\n3,\"" + endless),
            "data.csv:3:3: quote not closed within 16777216 bytes");
}

TEST_F(BadDataFile, AFieldOfTheWrongTypeIsReported) {
  EXPECT_EQ(ErrorInSchema(R"({"fields": [{"name": "b", "type": "number"}]})", "a,b\n1,2\n1, x1\n"),
            "data.csv:3:3: ' x1' in column 'b' is not a number");
  EXPECT_EQ(ErrorInSchema(R"({"fields": [{"name": "b", "type": "integer"}]})", "a,b\n1,2\n1,2.5\n"),
            "data.csv:3:3: '2.5' in column 'b' is not a whole number");
}

TEST_F(BadDataFile, ErrorTextsShortenALongFieldToOneLine) {
  const std::string text = "a\n\"x\ny" + std::string(100, 'z') + "\"\n";

  EXPECT_EQ(ErrorInSchema(R"({"fields": [{"name": "a", "type": "number"}]})", text),
            "data.csv:2:1: 'x y" + std::string(37, 'z') + "...' in column 'a' is not a number");
}

TEST_F(BadDataFile, AnInvalidJsonSchemaIsReportedWithThePosition) {
  EXPECT_THAT(ErrorInSchema(""), StartsWith("data.schema.json:1:1: not JSON"));
  EXPECT_THAT(ErrorInSchema("{\"fields\": [\n  nul]}"),
              StartsWith("data.schema.json:2:6: not JSON: invalid literal"));
  EXPECT_THAT(ErrorInSchema("{\"fields\": []} x"), StartsWith("data.schema.json:1:16: not JSON"));
  EXPECT_EQ(ErrorInSchema("{\"title\": \"\xFF\"}"), "data.schema.json:1:12: not UTF-8");
  EXPECT_THAT(ErrorInSchema("{\"title\": 1e999}"), StartsWith("data.schema.json:1:15: not JSON"));
  EXPECT_EQ(ErrorInSchema("{\"fields\": [],\n \"fields\": []}"),
            "data.schema.json:2:2: 'fields' is a duplicate key");
}

TEST_F(BadDataFile, ATooDeeplyNestedSchemaIsRejected) {
  EXPECT_EQ(ErrorInSchema("{\"fields\":" + std::string(100000, '[')),
            "data.schema.json:1:74: nested too deeply");
}

TEST_F(BadDataFile, ASchemaWithWrongMembersIsReportedWithThePosition) {
  EXPECT_EQ(ErrorInSchema("[]"), "data.schema.json:1:1: the schema must be an object");
  EXPECT_EQ(ErrorInSchema("\n {}"), "data.schema.json:2:2: missing member 'fields'");
  EXPECT_EQ(ErrorInSchema(R"({"fields": {}})"), "data.schema.json:1:12: 'fields' must be an array");
  EXPECT_EQ(ErrorInSchema(R"({"title": 1, "fields": []})"),
            "data.schema.json:1:11: 'title' must be a string");
  EXPECT_EQ(ErrorInSchema("{\"fields\": [1,\n2]}"),
            "data.schema.json:1:13: a field must be an object");
  EXPECT_EQ(ErrorInSchema(R"({"fields": [{"title": "x"}]})"),
            "data.schema.json:1:13: missing member 'name'");
  EXPECT_EQ(ErrorInSchema(R"({"fields": [{"name": null}]})"),
            "data.schema.json:1:22: 'name' must be a string");
  EXPECT_EQ(ErrorInSchema(R"({"fields": [{"name": "a", "title": []}]})"),
            "data.schema.json:1:36: 'title' must be a string");
  EXPECT_EQ(ErrorInSchema(R"({"fields": [{"name": "a", "type": "flaot"}]})"),
            "data.schema.json:1:35: 'flaot' is not a field type");
  EXPECT_EQ(ErrorInSchema(R"({"fields": [{"name": "a", "categories": 3}]})"),
            "data.schema.json:1:41: 'categories' must be an array");
  EXPECT_EQ(ErrorInSchema(R"({"fields": [{"name": "a", "categories": [1, true]}]})"),
            "data.schema.json:1:45: the value of a category must be a number or a string");
  EXPECT_EQ(ErrorInSchema(R"({"fields": [{"name": "a", "categories": [{"label": "x"}]}]})"),
            "data.schema.json:1:42: category without a value");
  EXPECT_EQ(ErrorInSchema(R"({"fields": [{"name": "a", "categoriesOrdered": 1}]})"),
            "data.schema.json:1:48: 'categoriesOrdered' must be true or false");
  EXPECT_EQ(ErrorInSchema(R"({"fields": [], "missingValues": [-9]})"),
            "data.schema.json:1:34: a missing value must be a string");
}

TEST_F(BadDataFile, ASchemaThatDoesNotMatchTheDataIsReportedWithThePosition) {
  EXPECT_EQ(ErrorInSchema("{\"fields\": [{\"name\": \"a\"},\n{\"name\": \"z\"}]}"),
            "data.schema.json:2:10: the data file has no column 'z'");
  EXPECT_EQ(ErrorInSchema(R"({"fields": [{"name": "a"}, {"name": "a"}]})"),
            "data.schema.json:1:37: duplicate field name 'a'");
  EXPECT_EQ(ErrorInSchema(R"({"fields": [{"name": "a", "categories": ["x"]}]})"),
            "data.schema.json:1:42: 'x' is not a number, but the column is numeric");
  EXPECT_EQ(ErrorInSchema(R"({"fields": [{"name": "a", "categories":
                           [{"value": 1, "label": "x"}, {"value": "1.0", "label": "y"}]}]})"),
            "data.schema.json:2:67: second label for the same value");
}

TEST_F(BadDataFile, ASchemaThatIsNotARegularFileIsRejected) {
  ASSERT_EQ(mkfifo(folder.Path("data.schema.json").c_str(), 0600), 0);

  EXPECT_EQ(ErrorIn("a\n1\n"), "data.schema.json: not a data file but a FIFO");
}

TEST_F(BadDataFile, ASchemaLargerThanTheLimitIsRejected) {
  EXPECT_EQ(ErrorInSchema(std::string(SystemFileDataSource::kMaxRecordBytes + 1, ' ')),
            "data.schema.json: schema larger than 16777216 bytes");
}

}  // namespace
