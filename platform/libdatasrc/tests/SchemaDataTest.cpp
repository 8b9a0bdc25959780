// How a schema determines the variables and values of a data file, and which values it rejects.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <libdatasrc/DatasourceAttributes.h>

#include <algorithm>

#include "Files.h"
#include "Variables.h"

namespace {

using testing::ElementsAre;

class SchemaData : public testing::Test {
 protected:
  std::unique_ptr<SystemFileDataSource> Open(const std::string& text,
                                             const std::string& schema) const {
    folder.Write("data.schema.json", schema);
    return SystemFileDataSource::Open(folder.Write("data.csv", text));
  }
  // Opens a file with the only column "a", whose field has the given members.
  std::unique_ptr<SystemFileDataSource> OpenColumn(const std::string& values,
                                                   const std::string& members) const {
    return Open("a\n" + values, "{\"fields\": [{\"name\": \"a\", " + members + "}]}");
  }
  ORVX_Variable Variable(const std::string& values, const std::string& members) const {
    return OpenColumn(values, members)->GetVariable(0);
  }

  // The error text without the name of the folder; "opened" if there is no error.
  std::string ErrorIn(const std::string& text, const std::string& schema) const {
    try {
      Open(text, schema);
    } catch (const DataFileError& error) {
      return std::string(error.what()).substr(folder.Path("").size());
    }
    return "opened";
  }
  std::string ErrorInColumn(const std::string& values, const std::string& members) const {
    return ErrorIn("a\n" + values, "{\"fields\": [{\"name\": \"a\", " + members + "}]}");
  }

  Folder folder;
};

TEST_F(SchemaData, DatesAndTimesBecomeNumbersWithTheirFormat) {
  const auto source =
      Open("d,t,dt,p\n1970-01-02,00:01,1970-01-01T00:00:05Z,31/12/1969\n,,,\n",
           R"({"fields": [{"name": "d", "type": "date"}, {"name": "t", "type": "time"},
                     {"name": "dt", "type": "datetime"},
                     {"name": "p", "type": "date", "format": "%d/%m/%Y"}]})");

  EXPECT_THAT(Rows(*source), ElementsAre("86400 60 5 -86400", ". . . ."));
  const auto kind = [&](int i) { return source->GetVariable(i).GetFormat().kind; };
  EXPECT_EQ(kind(0), VariableFormat::Kind::Date);
  EXPECT_EQ(kind(1), VariableFormat::Kind::Time);
  EXPECT_EQ(kind(2), VariableFormat::Kind::DateTime);
  EXPECT_EQ(kind(3), VariableFormat::Kind::Date);
  EXPECT_EQ(source->GetVariable(0).GetMeasurementLevel(), MeasurementLevel::Interval);
  EXPECT_EQ(source->Report().variables[1].type, ImportReport::Type::Time);
}

TEST_F(SchemaData, BooleansBecomeLabelledNumbers) {
  const auto source = OpenColumn("J\nN\n\n", R"("type": "boolean", "trueValues": ["J"],
                                                 "falseValues": ["N"])");

  EXPECT_THAT(Rows(*source), ElementsAre("1", "0", "."));
  EXPECT_EQ(source->GetVariable(0).GetValueLabels(), (ValueLabels{{0.0, "false"}, {1.0, "true"}}));
  EXPECT_EQ(Variable("1\n", R"("type": "boolean", "categories": [{"value": "1", "label": "yes"}])")
                .GetValueLabels(),
            (ValueLabels{{1.0, "yes"}}));
}

TEST_F(SchemaData, NumbersAreReadWithTheMarksOfTheField) {
  EXPECT_THAT(Rows(*OpenColumn("\"1.234,5\"\n-0\n", R"("type": "number", "decimalChar": ",",
                                                     "groupChar": ".")")),
              ElementsAre("1234.5", "-0"));
  EXPECT_THAT(Rows(*OpenColumn("EUR 5\n7%\n", R"("type": "integer", "bareNumber": false)")),
              ElementsAre("5", "7"));
  EXPECT_THAT(Rows(*OpenColumn("1.000\n", R"("type": "integer", "groupChar": ".")")),
              ElementsAre("1000"));
}

TEST_F(SchemaData, NumbersMayBeInfiniteOrNaN) {
  EXPECT_THAT(Rows(*OpenColumn("NaN\n1\n", R"("type": "number")")), ElementsAre(".", "1"));
  EXPECT_THAT(Rows(*OpenColumn("INF\n\"-inf\"\n", R"("type": "number")")),
              ElementsAre("inf", "-inf"));
  EXPECT_THAT(Rows(*OpenColumn("\"1,5\"\n-INF\n", R"("type": "number", "decimalChar": ",")")),
              ElementsAre("1.5", "-inf"));
  EXPECT_THAT(Rows(*OpenColumn("INF\n1\n", R"("type": "number", "missingValues": ["INF"])")),
              ElementsAre(".", "1"));
  EXPECT_EQ(ErrorInColumn("INF\n", R"("type": "integer")"),
            "data.csv:2:1: 'INF' in column 'a' is not a whole number");
  EXPECT_EQ(ErrorInColumn("1\nINF\n", R"("type": "number", "constraints": {"maximum": 5})"),
            "data.csv:3:1: 'INF' in column 'a' breaks the rule of the schema: maximum 5");
  EXPECT_EQ(ErrorInColumn("1\n-inf\n-INF\n", R"("type": "number",
                                                "constraints": {"unique": true})"),
            "data.csv:4:1: '-INF' in column 'a' is repeated, against the rule of the schema: "
            "unique");
}

TEST_F(SchemaData, AnInfinityIsTextUnlessTheSchemaTypeIsNumber) {
  EXPECT_GT(Variable("1\nINF\n", R"("title": "no type")").GetType(), 0);
  EXPECT_GT(Variable("1\n-INF\n", R"("type": "any")").GetType(), 0);
}

TEST_F(SchemaData, LabelsMissingValuesAndLimitsMayBeInfinite) {
  const ORVX_Variable variable =
      Variable("1\nINF\n", R"("type": "number", "categories": [{"value": "INF", "label": "all"}],
                              "missing": ["-INF"], "missingValues": [],
                              "constraints": {"enum": [1, "INF"], "maximum": "INF"})");
  EXPECT_EQ(variable.GetValueLabels(), (ValueLabels{{kInfinity, "all"}}));
  EXPECT_EQ(variable.GetMissingValues().values, std::vector<DataValue>{-kInfinity});
  EXPECT_EQ(
      ErrorInColumn("INF\n", R"("type": "number", "constraints": {"exclusiveMaximum": "inf"})"),
      "data.csv:2:1: 'INF' in column 'a' breaks the rule of the schema: exclusiveMaximum "
      "INF");
}

TEST_F(SchemaData, LimitsMayNotBeNaN) {
  for (const char* const rule : {R"("minimum": "NaN")", R"("enum": [1, "NaN"])"}) {
    EXPECT_THAT(
        ErrorInColumn("1\n", std::string(R"("type": "number", "constraints": {)") + rule + "}"),
        testing::HasSubstr("must be a number"))
        << rule;
  }
}

TEST_F(SchemaData, TextsOfAnotherTypeAreRejected) {
  EXPECT_EQ(ErrorInColumn("x\n", R"("type": "date")"),
            "data.csv:2:1: 'x' in column 'a' is not a date");
  EXPECT_EQ(ErrorInColumn("  \n\nx\n", R"("type": "date")"),
            "data.csv:4:1: 'x' in column 'a' is not a date");
  EXPECT_EQ(ErrorInColumn("1:00\n", R"("type": "time")"),
            "data.csv:2:1: '1:00' in column 'a' is not a time");
  EXPECT_EQ(ErrorInColumn("1970-01-01\n", R"("type": "datetime")"),
            "data.csv:2:1: '1970-01-01' in column 'a' is not a date with a time");
  EXPECT_EQ(ErrorInColumn("yes\n", R"("type": "boolean")"),
            "data.csv:2:1: 'yes' in column 'a' is not a true or false value");
  EXPECT_EQ(ErrorInColumn("90\n", R"("type": "year")"),
            "data.csv:2:1: '90' in column 'a' is not a year");
  EXPECT_EQ(ErrorInColumn("1.5\n", R"("type": "integer")"),
            "data.csv:2:1: '1.5' in column 'a' is not a whole number");
}

TEST_F(SchemaData, AValueThatBreaksARuleIsRejected) {
  const auto broken = [](const std::string& value, const std::string& line,
                         const std::string& rule) {
    return "data.csv:" + line + ":1: '" + value +
           "' in column 'a' breaks the rule of the schema: " + rule;
  };
  EXPECT_EQ(ErrorInColumn("5\n4\n", R"("type": "number", "constraints": {"minimum": 5})"),
            broken("4", "3", "minimum 5"));
  EXPECT_EQ(
      ErrorInColumn("1970-01-02\n", R"("type": "date", "constraints": {"maximum": "1970-01-01"})"),
      broken("1970-01-02", "2", "maximum 0"));
  EXPECT_EQ(ErrorInColumn("1\n2\n", R"("type": "integer", "constraints": {"enum": [1, 3]})"),
            broken("2", "3", "enum"));
  EXPECT_EQ(ErrorInColumn("ab\nb\n", R"("type": "string", "constraints": {"pattern": "a.*"})"),
            broken("b", "3", "pattern a.*"));
  EXPECT_EQ(ErrorInColumn("a\nabc\n", R"("type": "string", "constraints": {"maxLength": 2})"),
            broken("abc", "3", "maxLength 2"));
  EXPECT_EQ(ErrorInColumn("a@b\nb\n", R"("type": "string", "format": "email")"),
            broken("b", "3", "format email"));
  EXPECT_EQ(ErrorInColumn("2024-13\n", R"("type": "yearmonth")"),
            broken("2024-13", "2", "type yearmonth"));
}

TEST_F(SchemaData, CategoriesDoNotRestrictTheValues) {
  EXPECT_THAT(Rows(*OpenColumn("1\n5\n", R"("type": "integer", "categories": [1])")),
              ElementsAre("1", "5"));
}

TEST_F(SchemaData, NumbersOfTheSchemaMayHaveLeadingZerosAndAnySize) {
  EXPECT_THAT(Rows(*OpenColumn("007\n10000000000000000000000\n", R"("type": "integer")")),
              ElementsAre("7", "1e+22"));
}

TEST_F(SchemaData, AStringColumnWithoutValuesIsOneByteWide) {
  EXPECT_EQ(Variable("\n\n", R"("type": "string")").GetType(), 1);
  EXPECT_EQ(Variable("", R"("type": "string")").GetType(), 1);
}

TEST_F(SchemaData, MissingValuesBreakNoRuleButRequired) {
  EXPECT_EQ(ErrorInColumn("5\n\nNA\n", R"("type": "number", "missingValues": ["", "NA"],
                                          "constraints": {"minimum": 5, "enum": [5]})"),
            "opened");
  EXPECT_EQ(ErrorInColumn("ab\nNA\n", R"("type": "string", "missingValues": ["NA"],
                                         "constraints": {"minLength": 2})"),
            "opened");
  const std::string required = "missing value in column 'a', where the schema requires a value";
  EXPECT_EQ(ErrorInColumn("5\n\n", R"("type": "number", "constraints": {"required": true})"),
            "data.csv:3:1: " + required);
  EXPECT_EQ(ErrorInColumn("5\nNaN\n", R"("type": "number", "constraints": {"required": true})"),
            "data.csv:3:1: " + required);
  EXPECT_EQ(ErrorInColumn("x\n\n", R"("type": "string", "constraints": {"required": true})"),
            "data.csv:3:1: " + required);
  EXPECT_EQ(ErrorInColumn("5\n\n", R"("constraints": {"required": true})"),
            "data.csv:3:1: " + required);
  EXPECT_EQ(ErrorInColumn("5\nx\n\n", R"("constraints": {"required": true})"),
            "data.csv:4:1: " + required);
  EXPECT_EQ(ErrorInColumn("5\n\n", R"("missingValues": [], "type": "string",
                                      "constraints": {"required": true})"),
            "opened");
}

TEST_F(SchemaData, BlanksInARequiredColumnWithoutATypeAreMissingUnlessTheColumnIsText) {
  const std::string isRequired = R"("constraints": {"required": true})";
  std::string numbers;
  for (int i = 0; i < 100000; ++i) numbers += "5\n";

  for (const std::string& before : {std::string(), std::string("5\n"), numbers}) {
    for (const std::string& after : {std::string(), std::string("5\n"), numbers}) {
      const auto line = 2 + std::count(before.begin(), before.end(), '\n');
      EXPECT_EQ(ErrorInColumn(before + "  \n \n" + after, isRequired),
                "data.csv:" + std::to_string(line) +
                    ":1: missing value in column 'a', where the schema requires a value");
      EXPECT_EQ(ErrorInColumn(before + "  \n" + after + "x\n", isRequired), "opened");
    }
  }
}

TEST_F(SchemaData, ABlankRequiredFieldIsReportedInItsFirstRowAfterOtherErrors) {
  const std::string schema = R"({"fields": [
      {"name": "a", "constraints": {"required": true}},
      {"name": "b", "constraints": {"required": true}},
      {"name": "n", "type": "number"}]})";

  EXPECT_EQ(ErrorIn("a,b,n\n1, ,1\n ,1,1\n", schema),
            "data.csv:2:3: missing value in column 'b', where the schema requires a value");
  EXPECT_EQ(ErrorIn("a,b,n\n1, ,1\n1,1,x\n", schema),
            "data.csv:3:5: 'x' in column 'n' is not a number");
}

TEST_F(SchemaData, RulesAreCheckedInEveryBlock) {
  std::string values;
  for (int i = 0; i < 100000; ++i) values += "1234567\n";

  EXPECT_EQ(ErrorInColumn(values + "-1\n", R"("type": "number", "constraints": {"minimum": 0})"),
            "data.csv:100002:1: '-1' in column 'a' breaks the rule of the schema: minimum 0");
}

TEST_F(SchemaData, ABlankFieldInATextColumnIsNotReportedAsMissing) {
  const std::string schema = R"({"fields": [
      {"name": "n", "type": "number", "constraints": {"required": true}},
      {"name": "t", "constraints": {"required": true}}]})";
  const std::string end = "1,x\n1, \n,x\n";
  const std::string problem = ":1: missing value in column 'n', where the schema requires a value";
  std::string numbers;
  for (int i = 0; i < 100000; ++i) numbers += "1,1\n";

  EXPECT_EQ(ErrorIn("n,t\n" + end, schema), "data.csv:4" + problem);
  EXPECT_EQ(ErrorIn("n,t\n" + numbers + end, schema), "data.csv:100004" + problem);
}

TEST_F(SchemaData, ARepeatedKeyIsRejectedWithItsLine) {
  const std::string unique = R"({"fields": [{"name": "a", "constraints": {"unique": true}}]})";
  EXPECT_EQ(ErrorIn("a\n1\n2\n\n\n3\n", unique), "opened");
  EXPECT_EQ(ErrorIn("a\nx\ny\n\n\nz\n", unique), "opened");
  EXPECT_EQ(
      ErrorIn("a\n1\n2\n\n1.0\n", unique),
      "data.csv:5:1: '1.0' in column 'a' is repeated, against the rule of the schema: unique");
  EXPECT_EQ(ErrorIn("a\nx\ny\nx\n", unique),
            "data.csv:4:1: 'x' in column 'a' is repeated, against the rule of the schema: unique");

  const std::string pair =
      R"({"fields": [{"name": "b"}, {"name": "a"}], "primaryKey": ["a", "b"]})";
  EXPECT_EQ(ErrorIn("b,a\n1,x\n1,y\n2,x\n", pair), "opened");
  EXPECT_EQ(ErrorIn("b,a\n1,x\n\n\"2\n\",y\n1,x\n", pair),
            "data.csv:6:3: 'x' in column 'a', '1' in column 'b' is repeated, against the rule of "
            "the schema: primaryKey");
  EXPECT_EQ(ErrorIn("b,a\n1,x\n,y\n", pair),
            "data.csv:3:1: missing value in column 'b', where the schema requires a value");
  EXPECT_EQ(ErrorIn("b,a\n,x\n,x\n",
                    R"({"fields": [{"name": "a"}, {"name": "b"}], "uniqueKeys": [["a", "b"]]})"),
            "opened");
  EXPECT_EQ(ErrorIn("b,a\n1,x\n1,x\n",
                    R"({"fields": [{"name": "a"}, {"name": "b"}], "uniqueKeys": ["a"]})"),
            "data.csv:3:3: 'x' in column 'a' is repeated, against the rule of the schema: "
            "uniqueKeys");
}

TEST_F(SchemaData, ARepeatedKeyIsFoundInALargeFile) {
  std::string text = "a,b\n";
  for (int i = 0; i < 100000; ++i) text += std::to_string(i) + ",xxxxxxxxxxx\n";

  EXPECT_EQ(ErrorIn(text + "99999,y\n",
                    R"({"fields": [{"name": "a", "constraints": {"unique": true}}]})"),
            "data.csv:100002:1: '99999' in column 'a' is repeated, against the rule of the schema: "
            "unique");
}

TEST_F(SchemaData, AReferenceToTheSameTableIsChecked) {
  const std::string schema = R"({"fields": [{"name": "id"}, {"name": "boss"}],
      "foreignKeys": [{"fields": "boss", "reference": {"resource": "", "fields": "id"}}]})";
  EXPECT_EQ(ErrorIn("id,boss\n1,\n2,1\n3,2\n", schema), "opened");
  EXPECT_EQ(ErrorIn("id,boss\n1,\n2,9\n", schema),
            "data.csv:3:3: '9' in column 'boss' refers to no row, against the rule of the schema: "
            "foreignKeys");
}

TEST_F(SchemaData, AReferenceBetweenNumbersAndTextsComparesTheTexts) {
  const std::string schema = R"({"fields": [{"name": "id"}, {"name": "boss"}],
      "foreignKeys": [{"fields": "boss", "reference": {"resource": "", "fields": "id"}}]})";
  const std::string problem = "refers to no row, against the rule of the schema: foreignKeys";
  EXPECT_EQ(ErrorIn("id,boss\n1,\n2,1\nx,2\n", schema), "opened");
  EXPECT_EQ(ErrorIn("id,boss\n1,\n2,1\nx,3\n", schema),
            "data.csv:4:3: '3' in column 'boss' " + problem);
  EXPECT_EQ(ErrorIn("id,boss\n1,\n2,1\n3,x\n", schema),
            "data.csv:4:3: 'x' in column 'boss' " + problem);
}

TEST_F(SchemaData, FieldsMustMatchTheColumnsAsFieldsMatchRequires) {
  const auto error = [&](const std::string& match, const std::string& header) {
    return ErrorIn(header + "\n", R"({"fields": [{"name": "a"}, {"name": "b"}], "fieldsMatch": ")" +
                                      match + "\"}");
  };
  EXPECT_EQ(error("exact", "a,b"), "opened");
  EXPECT_EQ(error("exact", "b,a"), "data.schema.json:1:22: field 'a' is column 2 of the data file");
  EXPECT_EQ(error("exact", "a,b,c"), "data.csv:1:5: the schema has no field 'c'");
  EXPECT_EQ(error("equal", "b,a"), "opened");
  EXPECT_EQ(error("equal", "a"), "data.schema.json:1:37: the data file has no column 'b'");
  EXPECT_EQ(error("equal", "a,b,c"), "data.csv:1:5: the schema has no field 'c'");
  EXPECT_EQ(error("subset", "c,b,a"), "opened");
  EXPECT_EQ(error("subset", "a"), "data.schema.json:1:37: the data file has no column 'b'");
  EXPECT_EQ(error("superset", "b"), "opened");
  EXPECT_EQ(error("superset", "b,c"), "data.csv:1:3: the schema has no field 'c'");
  EXPECT_EQ(error("partial", "b,c"), "opened");
  EXPECT_EQ(error("partial", "c"), "data.schema.json: no field is a column of the data file");
}

TEST_F(SchemaData, AKeyOverAnAbsentColumnIsRejected) {
  EXPECT_EQ(ErrorIn("a\n1\n", R"({"fields": [{"name": "a"}, {"name": "b"}],
                                 "fieldsMatch": "superset", "primaryKey": "b"})"),
            "data.schema.json:1:37: the data file has no column 'b'");
}

TEST_F(SchemaData, DeclaredMissingValuesStayValuesAndHaveLabels) {
  const auto source = OpenColumn("1\n-9\n\n", R"("type": "integer",
      "categories": [{"value": 1, "label": "one"}],
      "missingValues": [{"value": "", "label": "x"}, {"value": "-9", "label": "refused"}])");

  EXPECT_THAT(Rows(*source), ElementsAre("1", "-9", "."));
  const ORVX_Variable& variable = source->GetVariable(0);
  EXPECT_EQ(variable.GetMissingValues(), MissingValues{{-9.0}});
  EXPECT_EQ(variable.GetValueLabels(), (ValueLabels{{1.0, "one"}, {-9.0, "refused"}}));

  EXPECT_EQ(Variable("x\nNA\n", R"("type": "string", "missing": ["NA", 8])").GetMissingValues(),
            (MissingValues{{"NA", "8"}}));
  EXPECT_EQ(Variable("1\n", R"("missing": ["7", 8])").GetMissingValues(),
            (MissingValues{{7.0, 8.0}}));
  EXPECT_EQ(ErrorInColumn("1\n", R"("missing": ["x"])"),
            "data.schema.json:1:39: 'x' is not a number, but the column is numeric");
}

TEST_F(SchemaData, ACategoryHasALabelOnlyIfTheSchemaHasOne) {
  EXPECT_EQ(Variable("1\n", R"("type": "number",
      "categories": [1, {"value": 2}, {"value": 3, "label": ""}])")
                .GetValueLabels(),
            (ValueLabels{{3.0, ""}}));
  EXPECT_EQ(Variable("1\n", R"("type": "number",
      "missingValues": [{"value": "1"}, {"value": "2", "label": ""}])")
                .GetValueLabels(),
            (ValueLabels{{2.0, ""}}));
}

TEST_F(SchemaData, CategoriesAsTextHaveTheDecimalMarkOfTheFile) {
  for (const std::string type : {"any", "number"}) {
    const auto source = Open(
        "a;b\n1,5;1\n2,5;2\n",
        R"({"fields": [{"name": "a", "type": ")" + type +
            R"(", "categories": [{"value": "1,5", "label": "low"}, {"value": 3.5, "label": "high"}]},
            {"name": "b"}]})");
    EXPECT_EQ(source->GetVariable(0).GetValueLabels(), (ValueLabels{{1.5, "low"}, {3.5, "high"}}));
  }
}

TEST_F(SchemaData, MembersBeyondTheStandardSetFieldsOfTheVariable) {
  const ORVX_Variable text = Variable("ab\n", R"("type": "string", "width": 20, "level": "ordinal",
      "role": "target", "description": "d", "attributes": {"k": ["1", "2"]})");
  EXPECT_EQ(text.GetType(), 20);
  EXPECT_EQ(text.GetMeasurementLevel(), MeasurementLevel::Ordinal);
  EXPECT_EQ(text.GetAttributes(),
            (VariableAttributes{{"role", {"target"}}, {"description", {"d"}}, {"k", {"1", "2"}}}));
  EXPECT_EQ(Variable("abcd\n", R"("type": "string", "width": 2)").GetType(), 4);

  const ORVX_Variable number =
      Variable("5\n", R"("printFormat": {"width": 8, "decimals": 2}, "level": "ratio")");
  EXPECT_EQ(number.GetFormat(), (VariableFormat{VariableFormat::Kind::Plain, 8, 2}));
  EXPECT_EQ(number.GetMeasurementLevel(), MeasurementLevel::Ratio);
}

TEST_F(SchemaData, MembersBeyondTheStandardSetPropertiesOfTheDataset) {
  const auto source = Open("a,b,c,d\n1,2,x,3\n", R"({"fields": [], "description": "d",
      "attributes": {"k": "v"}, "weight": "b", "filter": "d", "split": ["c", "a"],
      "splitSeparate": true})");

  EXPECT_EQ(source->GetWeightVarIndex(), 1);
  EXPECT_EQ(source->GetFilterVarIndex(), 3);
  ASSERT_EQ(source->GetNSplitVars(), 2U);
  EXPECT_EQ(source->GetSplitVarIndex(0), 2);
  EXPECT_EQ(source->GetSplitVarIndex(1), 0);
  EXPECT_TRUE(source->GetSplitqSeparate());
  EXPECT_EQ(source->GetAttributes().MakeString(), "description\td\nk\tv\n");
  EXPECT_FALSE(source->IsDirty());
}

TEST_F(SchemaData, AnImpossibleWeightFilterOrSplitIsRejected) {
  EXPECT_EQ(ErrorIn("a,b\n1,x\n", R"({"fields": [], "weight": "z"})"),
            "data.schema.json:1:26: the data file has no column 'z'");
  EXPECT_EQ(ErrorIn("a,b\n1,x\n", R"({"fields": [], "weight": "b"})"),
            "data.schema.json:1:26: the weight 'b' is not numeric");
  EXPECT_EQ(ErrorIn("a,b\n1,x\n", R"({"fields": [], "filter": "b"})"),
            "data.schema.json:1:26: the filter 'b' is not numeric");
  EXPECT_EQ(ErrorIn("a\n1\n", R"({"fields": [], "split": ["a","a","a","a","a","a","a","a","a"]})"),
            "data.schema.json:1:58: a split has at most 8 variables");
}

}  // namespace
