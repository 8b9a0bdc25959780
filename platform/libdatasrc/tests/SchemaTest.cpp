// What a table schema may contain, and what is rejected.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <libdatasrc/internal/TableSchema.h>

#include <map>
#include <set>
#include <string>
#include <vector>

#include "Files.h"

namespace {

using namespace sdm_internal;
using testing::ElementsAre;
using testing::HasSubstr;
using Type = FieldRules::Type;

const std::vector<std::string> kTypes = {
    "any",  "string",    "number",   "integer",  "boolean", "date",   "time",  "datetime",
    "year", "yearmonth", "duration", "geopoint", "geojson", "object", "array", "list"};

class SchemaTest : public testing::Test {
 protected:
  TableSchema Read(const std::string& text) const {
    folder.Write("data.schema.json", text);
    return *ReadSchemaOf(folder.Path("data.csv"));
  }
  // Reads a schema with one field, "a", with these additional members.
  SchemaField Field(const std::string& members) const {
    return Read("{\"fields\": [{\"name\": \"a\", " + members + "}]}").fields[0];
  }

  // The error text after the position; "read" if there is no error.
  std::string ErrorIn(const std::string& text) const {
    try {
      Read(text);
    } catch (const DataFileError& error) {
      EXPECT_GT(error.Line(), 0);
      const std::string what = error.what();
      return what.substr(what.find(": ") + 2);
    }
    return "read";
  }
  std::string ErrorInField(const std::string& members) const {
    return ErrorIn("{\"fields\": [{\"name\": \"a\", " + members + "}]}");
  }

  Folder folder;
};

TEST_F(SchemaTest, IsFoundBesideACompressedFile) {
  folder.Write("data.schema.json", R"({"fields": [], "title": "T"})");

  for (const char* const name : {"data.csv", "data.csv.gz", "data.tsv.zst", "data"}) {
    EXPECT_EQ(ReadSchemaOf(folder.Path(name)).value().title, "T") << name;
  }
  EXPECT_FALSE(ReadSchemaOf(folder.Path("other.csv")));
}

TEST_F(SchemaTest, EveryTypeOfTheStandardIsKnown) {
  const std::vector<std::pair<std::string, Type>> types = {
      {"any", Type::Any},          {"string", Type::String},     {"number", Type::Number},
      {"integer", Type::Integer},  {"boolean", Type::Boolean},   {"date", Type::Date},
      {"time", Type::Time},        {"datetime", Type::DateTime}, {"year", Type::Year},
      {"yearmonth", Type::String}, {"duration", Type::String},   {"geopoint", Type::String},
      {"geojson", Type::String},   {"object", Type::String},     {"array", Type::String},
      {"list", Type::String}};
  for (const auto& [name, type] : types) {
    EXPECT_EQ(Field(R"("type": ")" + name + "\"").rules.type, type) << name;
  }
  EXPECT_EQ(Field(R"("title": "x")").rules.type, Type::Any);
  EXPECT_EQ(ErrorInField(R"("type": "String")"), "'String' is not a field type");
}

TEST_F(SchemaTest, FormatsOfStringsAreChecked) {
  const auto broken = [&](const std::string& members, const char* text) {
    return Field(members).rules.BrokenRule(text);
  };
  const std::string email = R"("type": "string", "format": "email")";
  EXPECT_EQ(broken(email, "a@b.example"), "");
  EXPECT_EQ(broken(email, "a b@c"), "format email");
  const std::string uri = R"("type": "string", "format": "uri")";
  EXPECT_EQ(broken(uri, "https://a.example/b?c=d#e"), "");
  EXPECT_EQ(broken(uri, "a.example/b"), "format uri");
  const std::string uuid = R"("type": "string", "format": "uuid")";
  EXPECT_EQ(broken(uuid, "123e4567-e89b-12d3-a456-426614174000"), "");
  EXPECT_EQ(broken(uuid, "123e4567"), "format uuid");
  const std::string binary = R"("type": "string", "format": "binary")";
  EXPECT_EQ(broken(binary, "YWJj"), "");
  EXPECT_EQ(broken(binary, "YWI="), "");
  EXPECT_EQ(broken(binary, "YWI"), "format binary");
  EXPECT_EQ(broken(R"("type": "string", "format": "default")", "x"), "");
}

TEST_F(SchemaTest, FormatsOfPlacesAreChecked) {
  const auto broken = [&](const std::string& type, const std::string& format, const char* text) {
    return Field(R"("type": ")" + type + R"(", "format": ")" + format + "\"")
        .rules.BrokenRule(text);
  };
  EXPECT_EQ(broken("geopoint", "array", "[90.5, -45]"), "");
  EXPECT_EQ(broken("geopoint", "array", "90.5, -45"), "format array");
  EXPECT_EQ(broken("geopoint", "object", R"({"lon": 90.5, "lat": -45})"), "");
  EXPECT_EQ(broken("geopoint", "object", "[90.5, -45]"), "format object");
  EXPECT_EQ(broken("geojson", "topojson", R"({"type": "Topology"})"), "");
  EXPECT_EQ(broken("geojson", "topojson", "[]"), "format topojson");
}

TEST_F(SchemaTest, TypesThatAreStoredAsStringsAreChecked) {
  const auto broken = [&](const std::string& type, const char* text) {
    return Field(R"("type": ")" + type + "\"").rules.BrokenRule(text);
  };
  EXPECT_EQ(broken("yearmonth", "2024-02"), "");
  EXPECT_EQ(broken("yearmonth", "2024-13"), "type yearmonth");
  EXPECT_EQ(broken("duration", "P1Y2M3DT4H5M6.7S"), "");
  EXPECT_EQ(broken("duration", "PT5M"), "");
  EXPECT_EQ(broken("duration", "P"), "type duration");
  EXPECT_EQ(broken("duration", "5 minutes"), "type duration");
  EXPECT_EQ(broken("geopoint", "90.5, -45"), "");
  EXPECT_EQ(broken("geopoint", "90.5"), "type geopoint");
  EXPECT_EQ(broken("object", "{}"), "");
  EXPECT_EQ(broken("object", "[]"), "type object");
  EXPECT_EQ(broken("array", "[1, 2]"), "");
  EXPECT_EQ(broken("array", "[1, 2"), "type array");
  EXPECT_EQ(broken("geojson", R"({"type": "Point"})"), "");
  EXPECT_EQ(broken("geojson", "Point"), "type geojson");
  EXPECT_EQ(broken("list", "1,2"), "");
}

TEST_F(SchemaTest, DatesMayHaveAPatternOfStrptime) {
  EXPECT_EQ(Field(R"("type": "date", "format": "%d/%m/%Y")").rules.Parse("02/01/1970"), 86400);
  EXPECT_EQ(Field(R"("type": "time", "format": "%H.%M")").rules.Parse("1.05"), 3900);
  EXPECT_EQ(Field(R"("type": "datetime", "format": "%Y%m%d")").rules.type, Type::DateTime);
  EXPECT_EQ(ErrorInField(R"("type": "date", "format": "any")"),
            "the format 'any' of type date is not supported: it has no directive such as %Y");
  EXPECT_THAT(ErrorInField(R"("type": "date", "format": "%Y-%m-%d %H")"),
              HasSubstr("'%H' is not supported"));
  EXPECT_THAT(ErrorInField(R"("type": "datetime", "format": "%c")"),
              HasSubstr("'%c' is not supported"));
  for (const std::string type : {"time", "datetime"}) {
    EXPECT_EQ(
        ErrorInField(R"("format": "any", "type": ")" + type + "\""),
        "the format 'any' of type " + type + " is not supported: it has no directive such as %Y");
  }
}

TEST_F(SchemaTest, AnUnknownFormatIsRejected) {
  EXPECT_EQ(ErrorInField(R"("type": "string", "format": "phone")"),
            "the format 'phone' of type string is not supported");
  EXPECT_EQ(ErrorInField(R"("type": "number", "format": "currency")"),
            "the format 'currency' of type number is not supported");
  EXPECT_EQ(ErrorInField(R"("format": "email")"),
            "the format 'email' of type any is not supported");
  EXPECT_EQ(ErrorInField(R"("type": "number", "format": "default")"), "read");
}

TEST_F(SchemaTest, MembersOfOtherTypesAreRejected) {
  EXPECT_EQ(Field(R"("type": "number", "decimalChar": ",", "groupChar": ".", "bareNumber": false)")
                .rules.Parse("1.234,5 EUR"),
            1234.5);
  EXPECT_EQ(
      Field(R"("type": "boolean", "trueValues": ["J"], "falseValues": ["N"])").rules.Parse("N"), 0);
  EXPECT_EQ(ErrorInField(R"("type": "string", "decimalChar": ",")"),
            "type string has no 'decimalChar'");
  EXPECT_EQ(ErrorInField(R"("type": "integer", "decimalChar": ",")"),
            "type integer has no 'decimalChar'");
  EXPECT_EQ(ErrorInField(R"("type": "year", "groupChar": ",")"), "type year has no 'groupChar'");
  EXPECT_EQ(ErrorInField(R"("type": "date", "bareNumber": true)"), "type date has no 'bareNumber'");
  EXPECT_EQ(ErrorInField(R"("trueValues": ["x"])"), "type any has no 'trueValues'");
  EXPECT_EQ(ErrorInField(R"("type": "number", "decimalChar": ",,")"),
            "'decimalChar' must be one character, not of a number");
  EXPECT_EQ(ErrorInField(R"("type": "number", "groupChar": "5")"),
            "'groupChar' must be one character, not of a number");
  EXPECT_EQ(ErrorInField(R"("type": "number", "groupChar": ".")"),
            "'groupChar' is the decimal mark");
  EXPECT_EQ(ErrorInField(R"("type": "boolean", "trueValues": ["x"], "falseValues": ["x"])"),
            "'x' is both true and false");
  EXPECT_EQ(ErrorInField(R"("type": "list", "itemType": "integer")"),
            "items of type 'integer' are not supported");
}

TEST_F(SchemaTest, MarksAndTruthValuesAreAllowedOnlyForTheirTypes) {
  const auto expect = [&](const std::string& member, const std::string& value,
                          const std::set<std::string>& allowed) {
    for (const std::string& type : kTypes) {
      EXPECT_EQ(ErrorInField(R"("type": ")" + type + "\", \"" + member + "\": " + value),
                allowed.contains(type) ? "read" : "type " + type + " has no '" + member + "'");
    }
  };
  expect("decimalChar", R"(",")", {"number"});
  expect("groupChar", R"(" ")", {"number", "integer"});
  expect("bareNumber", "true", {"number", "integer"});
  expect("trueValues", R"(["J"])", {"boolean"});
  expect("falseValues", R"(["N"])", {"boolean"});
}

TEST_F(SchemaTest, EveryTypeMayBeRequiredAndUnique) {
  for (const std::string& type : kTypes) {
    const TableSchema schema = Read(R"({"fields": [{"name": "a", "type": ")" + type +
                                    R"(", "constraints": {"required": true, "unique": true}}]})");
    EXPECT_TRUE(schema.fields[0].rules.isRequired) << type;
    ASSERT_EQ(schema.keys.size(), 1U) << type;
    EXPECT_EQ(schema.keys[0].rule, "unique") << type;
  }
}

TEST_F(SchemaTest, EveryTypeButAnyMayHaveAnEnum) {
  const std::map<std::string, std::string> numbers = {
      {"number", "1.5"},     {"integer", "1"},
      {"boolean", "true"},   {"date", "\"1970-01-02\""},
      {"time", "\"00:01\""}, {"datetime", "\"1970-01-02 00:01\""},
      {"year", "1990"}};
  for (const std::string& type : kTypes) {
    if (type == "any") continue;
    const auto number = numbers.find(type);
    const bool isNumber = number != numbers.end();
    const FieldRules rules = Field(R"("type": ")" + type + R"(", "constraints": {"enum": [)" +
                                   (isNumber ? number->second : R"("a")") + "]}")
                                 .rules;
    EXPECT_TRUE(rules.hasEnum) << type;
    EXPECT_EQ(rules.numbers.size(), isNumber ? 1U : 0U) << type;
    EXPECT_EQ(rules.texts.size(), isNumber ? 0U : 1U) << type;
  }
}

TEST_F(SchemaTest, NumbersDatesAndTimesHaveAllFourLimits) {
  struct Limit {
    const char* type;
    const char* json;
    double value;
  };
  for (const Limit& each :
       {Limit{"number", "1.5", 1.5}, Limit{"integer", "15", 15}, Limit{"year", "1990", 1990},
        Limit{"date", "\"1970-01-02\"", 86400}, Limit{"time", "\"00:01\"", 60},
        Limit{"datetime", "\"1970-01-01T00:01\"", 60}}) {
    const auto rules = [&](const std::string& name) {
      return Field(R"("type": ")" + std::string(each.type) + R"(", "constraints": {")" + name +
                   "\": " + each.json + "}")
          .rules;
    };
    EXPECT_EQ(rules("minimum").minimum, each.value) << each.type;
    EXPECT_EQ(rules("maximum").maximum, each.value) << each.type;
    EXPECT_EQ(rules("exclusiveMinimum").exclusiveMinimum, each.value) << each.type;
    EXPECT_EQ(rules("exclusiveMaximum").exclusiveMaximum, each.value) << each.type;
  }
}

TEST_F(SchemaTest, LimitsAreNumbersOrTextsOfTheType) {
  EXPECT_EQ(Field(R"("type": "number", "constraints": {"minimum": 1.5})").rules.minimum, 1.5);
  EXPECT_EQ(Field(R"("type": "integer", "constraints": {"maximum": "15"})").rules.maximum, 15);
  EXPECT_EQ(Field(R"("type": "date", "constraints": {"exclusiveMinimum": "1970-01-02"})")
                .rules.exclusiveMinimum,
            86400);
  EXPECT_EQ(
      Field(R"("type": "year", "constraints": {"exclusiveMaximum": 1990})").rules.exclusiveMaximum,
      1990);
  EXPECT_EQ(ErrorInField(R"("type": "date", "constraints": {"minimum": 5})"),
            "'minimum' must be a date");
  EXPECT_EQ(ErrorInField(R"("type": "number", "constraints": {"minimum": "x"})"),
            "'minimum' must be a number");
}

TEST_F(SchemaTest, ConstraintsThatATypeDoesNotHaveAreRejected) {
  for (const char* const name : {"minimum", "maximum", "exclusiveMinimum", "exclusiveMaximum"}) {
    for (const std::string type : {"string", "boolean", "any", "yearmonth", "duration", "geopoint",
                                   "geojson", "object", "array", "list"}) {
      EXPECT_EQ(ErrorInField(R"("type": ")" + type + R"(", "constraints": {")" + name + "\": 1}"),
                "type " + type + " has no constraint '" + name + "'");
    }
  }
  for (const std::string name : {"minLength", "maxLength", "pattern"}) {
    for (const std::string& type : kTypes) {
      if (type == "string") continue;
      EXPECT_EQ(ErrorInField(R"("type": ")" + type + R"(", "constraints": {")" + name + "\": 1}"),
                "type " + type + " has no constraint '" + name + "'");
    }
  }
  for (const std::string& type : kTypes) {
    EXPECT_EQ(ErrorInField(R"("type": ")" + type + R"(", "constraints": {"jsonSchema": {}})"),
              "the constraint 'jsonSchema' is not supported");
  }
  EXPECT_EQ(ErrorInField(R"("type": "number", "constraints": {"minLength": 1})"),
            "type number has no constraint 'minLength'");
  EXPECT_EQ(ErrorInField(R"("type": "list", "constraints": {"maxLength": 1})"),
            "type list has no constraint 'maxLength'");
  EXPECT_EQ(ErrorInField(R"("constraints": {"pattern": "a"})"),
            "type any has no constraint 'pattern'");
  EXPECT_EQ(ErrorInField(R"("constraints": {"enum": ["a"]})"), "type any has no constraint 'enum'");
  EXPECT_EQ(ErrorInField(R"("type": "object", "constraints": {"jsonSchema": {}})"),
            "the constraint 'jsonSchema' is not supported");
  EXPECT_EQ(ErrorInField(R"("type": "number", "constraints": {"min": 1})"),
            "the constraint 'min' is not supported");
}

TEST_F(SchemaTest, OtherConstraintsAreRead) {
  const FieldRules text = Field(R"("type": "string", "constraints":
               {"required": true, "minLength": 1, "maxLength": 4, "pattern": "a+", "enum": ["aa"]})")
                              .rules;
  EXPECT_TRUE(text.isRequired);
  EXPECT_EQ(text.minLength, 1U);
  EXPECT_EQ(text.maxLength, 4U);
  EXPECT_EQ(text.BrokenRule("ab"), "pattern a+");
  EXPECT_EQ(text.BrokenRule("a"), "enum");
  EXPECT_EQ(text.BrokenRule("aa"), "");

  EXPECT_THAT(Field(R"("type": "integer", "constraints": {"enum": [1, "2"]})").rules.numbers,
              testing::UnorderedElementsAre(1, 2));
  EXPECT_THAT(Field(R"("type": "boolean", "constraints": {"enum": [true]})").rules.numbers,
              testing::UnorderedElementsAre(1));
  EXPECT_THAT(ErrorInField(R"x("type": "string", "constraints": {"pattern": "(?=a)"})x"),
              HasSubstr("the pattern '(?=a)' is not supported: "));
  EXPECT_EQ(ErrorInField(R"("type": "string", "constraints": {"enum": [1]})"),
            "a value of 'enum' must be a string");
  EXPECT_EQ(ErrorInField(R"("type": "string", "constraints": {"minLength": -1})"),
            "'minLength' must be a whole number from 0");
  EXPECT_EQ(ErrorInField(R"("type": "string", "constraints": {"required": 1})"),
            "'required' must be true or false");
  EXPECT_EQ(ErrorInField(R"("type": "string", "constraints": [])"),
            "'constraints' must be an object");
}

TEST_F(SchemaTest, KeysReferToFieldsByName) {
  const TableSchema schema = Read(R"({
      "fields": [{"name": "a", "constraints": {"unique": true}}, {"name": "b"}, {"name": "c"}],
      "primaryKey": ["a", "b"], "uniqueKeys": [["b", "c"], "c"]})");

  ASSERT_EQ(schema.keys.size(), 4U);
  EXPECT_EQ(schema.keys[0].rule, "unique");
  EXPECT_THAT(schema.keys[0].fields, ElementsAre(0));
  EXPECT_EQ(schema.keys[1].rule, "primaryKey");
  EXPECT_THAT(schema.keys[1].fields, ElementsAre(0, 1));
  EXPECT_EQ(schema.keys[2].rule, "uniqueKeys");
  EXPECT_THAT(schema.keys[2].fields, ElementsAre(1, 2));
  EXPECT_THAT(schema.keys[3].fields, ElementsAre(2));
  EXPECT_TRUE(schema.fields[0].rules.isRequired);
  EXPECT_TRUE(schema.fields[1].rules.isRequired);
  EXPECT_FALSE(schema.fields[2].rules.isRequired);
}

TEST_F(SchemaTest, AKeyWithoutAFieldIsRejected) {
  EXPECT_EQ(ErrorIn(R"({"fields": [], "primaryKey": "z"})"), "there is no field 'z'");
  EXPECT_EQ(ErrorIn(R"({"fields": [], "primaryKey": []})"), "'primaryKey' must name a field");
  EXPECT_EQ(ErrorIn(R"({"fields": [], "uniqueKeys": [[1]]})"),
            "a field of a unique key must be a string");
}

TEST_F(SchemaTest, AForeignKeyMustReferToTheSameTable) {
  const std::string fields =
      R"({"fields": [{"name": "a"}, {"name": "b", "type": "date"}, {"name": "c"}],)";
  const TableSchema schema = Read(fields + R"("foreignKeys": [
      {"fields": "a", "reference": {"resource": "", "fields": "c"}}]})");
  ASSERT_EQ(schema.references.size(), 1U);
  EXPECT_THAT(schema.references[0].fields, ElementsAre(0));
  EXPECT_THAT(schema.references[0].referenced, ElementsAre(2));

  EXPECT_EQ(ErrorIn(fields + R"("foreignKeys": [
      {"fields": "a", "reference": {"resource": "towns", "fields": "c"}}]})"),
            "a foreign key to another table, 'towns', cannot be checked");
  EXPECT_EQ(ErrorIn(fields + R"("foreignKeys": [
      {"fields": "a", "reference": {"fields": ["a", "c"]}}]})"),
            "a foreign key must have as many fields as its reference");
  EXPECT_EQ(ErrorIn(fields + R"("foreignKeys": [
      {"fields": "a", "reference": {"fields": "b"}}]})"),
            "a foreign key must have the types it refers to");
  EXPECT_EQ(ErrorIn(fields + R"("foreignKeys": [{"fields": "a"}]})"), "missing member 'reference'");
}

TEST_F(SchemaTest, FieldsMatchAcceptsOnlyTheWordsOfTheStandard) {
  using Match = TableSchema::FieldsMatch;
  const auto match = [&](const std::string& value) {
    return Read(R"({"fields": [], "fieldsMatch": )" + value + "}").fieldsMatch;
  };
  EXPECT_EQ(match(R"("exact")"), Match::Exact);
  EXPECT_EQ(match(R"("equal")"), Match::Equal);
  EXPECT_EQ(match(R"("subset")"), Match::Subset);
  EXPECT_EQ(match(R"(["superset"])"), Match::Superset);
  EXPECT_EQ(match(R"("partial")"), Match::Partial);
  EXPECT_EQ(Read(R"({"fields": []})").fieldsMatch, Match::Subset);
  EXPECT_EQ(ErrorIn(R"({"fields": [], "fieldsMatch": "some"})"),
            "'some' is not one of: exact, equal, subset, superset, partial");
}

TEST_F(SchemaTest, LabelledMissingValuesThatFitTheTypeBecomeDeclaredMissingValues) {
  const SchemaField number = Field(R"("type": "integer", "missingValues": [
      {"value": "", "label": "not asked"}, {"value": "-9", "label": "refused"}, {"value": "-8"}])");
  ASSERT_EQ(number.missing.size(), 2U);
  EXPECT_EQ(number.missing[0].value, DataValue(-9.0));
  EXPECT_EQ(number.missing[0].label, "refused");
  EXPECT_EQ(number.missing[1].value, DataValue(-8.0));
  EXPECT_THAT(*number.missingValues, ElementsAre(""));
  EXPECT_THAT(number.attributes.at("missingValues"), ElementsAre("=not asked"));

  const SchemaField text =
      Field(R"("type": "string", "missingValues": [{"value": "NA", "label": "x"}])");
  EXPECT_EQ(text.missing[0].value, DataValue("NA"));
  EXPECT_TRUE(text.missingValues->empty());
  const SchemaField blank =
      Field(R"("type": "string", "missingValues": [{"value": "", "label": "x"}])");
  EXPECT_TRUE(blank.missing.empty());
  EXPECT_THAT(*blank.missingValues, ElementsAre(""));

  const SchemaField any = Field(R"("missingValues": [{"value": "-9", "label": "refused"}])");
  EXPECT_TRUE(any.missing.empty());
  EXPECT_THAT(*any.missingValues, ElementsAre("-9"));
  EXPECT_THAT(any.attributes.at("missingValues"), ElementsAre("-9=refused"));

  EXPECT_EQ(ErrorInField(R"("missingValues": [{"label": "x"}])"), "missing member 'value'");
}

TEST_F(SchemaTest, DescriptionsBecomeAttributes) {
  const SchemaField field = Field(R"("description": "d", "rdfType": "r", "example": 1.5,
      "role": "target", "attributes": {"one": "1", "more": ["2", "3"]})");
  EXPECT_EQ(field.attributes, (VariableAttributes{{"description", {"d"}},
                                                  {"rdfType", {"r"}},
                                                  {"example", {"1.5"}},
                                                  {"role", {"target"}},
                                                  {"one", {"1"}},
                                                  {"more", {"2", "3"}}}));
  EXPECT_EQ(Read(R"({"fields": [], "description": "d", "attributes": {"a": "b"}})").attributes,
            (VariableAttributes{{"description", {"d"}}, {"a", {"b"}}}));
  EXPECT_EQ(ErrorInField(R"("description": 5)"), "'description' must be a string");
  EXPECT_EQ(ErrorInField(R"("attributes": {"a": 5})"), "an attribute must be a string");
  EXPECT_EQ(ErrorIn(R"({"fields": [], "$schema": 5})"), "'$schema' must be a string");
}

TEST_F(SchemaTest, ReadsTheMembersBeyondTheStandard) {
  const SchemaField field = Field(R"("type": "string", "width": 20, "level": "ordinal",
      "missing": ["NA", "-"])");
  EXPECT_EQ(field.width, 20);
  EXPECT_EQ(field.level, MeasurementLevel::Ordinal);
  ASSERT_EQ(field.missing.size(), 2U);
  EXPECT_EQ(field.missing[1].value, DataValue("-"));
  EXPECT_EQ(Field(R"("level": "ratio")").level, MeasurementLevel::Ratio);
  EXPECT_EQ(Field(R"("printFormat": {"kind": "date", "width": 12})").format,
            (VariableFormat{VariableFormat::Kind::Date, 12, 0}));
  EXPECT_EQ(Field(R"("printFormat": {})").format, VariableFormat());
  EXPECT_EQ(Field(R"("printFormat": {"width": 8, "decimals": 2})").format,
            (VariableFormat{VariableFormat::Kind::Plain, 8, 2}));

  const TableSchema schema = Read(R"({"fields": [], "weight": "w", "filter": "f",
      "split": ["a", "b"], "splitSeparate": true})");
  EXPECT_EQ(schema.weight.value().name, "w");
  EXPECT_EQ(schema.filter.value().name, "f");
  ASSERT_EQ(schema.split.size(), 2U);
  EXPECT_EQ(schema.split[1].name, "b");
  EXPECT_TRUE(schema.splitSeparate);

  EXPECT_EQ(ErrorInField(R"("type": "number", "width": 8)"), "type number has no 'width'");
  EXPECT_EQ(ErrorInField(R"("type": "string", "width": 0)"),
            "'width' must be a whole number from 1");
  EXPECT_EQ(ErrorInField(R"("level": "scale")"),
            "'scale' is not one of: unknown, nominal, ordinal, interval, ratio");
  EXPECT_EQ(ErrorInField(R"("missing": [true])"),
            "a value of 'missing' must be a number or a string");
  EXPECT_EQ(ErrorInField(R"("printFormat": {"kind": "money"})"),
            "'money' is not one of: plain, date, time, datetime");
  EXPECT_EQ(ErrorIn(R"({"fields": [], "weight": 5})"), "'weight' must be a string");
}

TEST_F(SchemaTest, OtherMembersAreSkipped) {
  EXPECT_EQ(ErrorIn(R"({"name": "n", "x": {}, "fields": [{"name": "a", "unit": "m"}]})"), "read");
}

// The patterns are short, but compile to many states.
TEST_F(SchemaTest, TheSizeOfAllPatternsIsLimited) {
  std::string fields;
  for (int i = 0; i < 1500; ++i) {
    fields += (i > 0 ? "," : "") + std::string("{\"name\": \"a") + std::to_string(i) +
              R"(", "type": "string", "constraints": {"pattern": "a{1000}"}})";
  }
  EXPECT_EQ(ErrorIn("{\"fields\": [" + fields + "]}"),
            "too many missing values or too large patterns");
}

}  // namespace
