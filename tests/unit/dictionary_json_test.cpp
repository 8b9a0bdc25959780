// DictionaryJson: references by identifier and name, numbers that JSON lacks, and old definitions.

#include <client/DictionaryJson.h>
#include <libdatasrc/DataFreeDataSource.h>
#include <libdatasrc/OBS.h>
#include <liborvxdemg/ModifyVarMsg.h>
#include <liborvxdemg/MoveVarsMsg.h>
#include <liborvxdemg/WeightVarMsg.h>
#include <tests/support/Dictionary.h>
#include <tests/support/FullDictionary.h>

#include <gmock/gmock.h>

#include <limits>
#include <string>

namespace {

using support::FullDictionary;
using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

TEST(DictionaryJson, NumbersThatJsonLacksAreStringsOrNull) {
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  DataFreeDataSource dictionary;
  ORVX_Variable variable(ORVX_Variable::NextID(), "a");
  variable.SetValueLabels({{kInfinity, "endless"}});
  variable.SetMissingValues({.values = {-kInfinity, 9.0, kMissingNumber}});
  dictionary.InsertVariable(0, variable);
  EXPECT_THAT(DictionaryJson::Variables(dictionary),
              AllOf(HasSubstr(R"("valueLabels":[{"value":"Infinity","label":"endless"}])"),
                    HasSubstr(R"("missingValues":["-Infinity",9.0,null])")));
}

TEST(DictionaryJson, BytesThatAreNotUtf8AreReplaced) {
  DataFreeDataSource dictionary;
  dictionary.SetLabel("a\xFF");
  EXPECT_THAT(DictionaryJson::Properties(dictionary), StartsWith("{\"label\":\"a\uFFFD\","));
}

TEST(DictionaryJson, PropertiesNameTheVariablesThatTheyReferTo) {
  const auto dictionary = FullDictionary();
  const std::string weight = dictionary->GetWeightVariableID().ToString();
  const std::string name = dictionary->GetVariable(dictionary->GetWeightVarIndex()).GetName();
  EXPECT_THAT(DictionaryJson::Properties(*dictionary),
              HasSubstr(R"("weight":{"variable":")" + weight + R"(","name":")" + name + R"("},)"));
}

TEST(DictionaryJson, ReferenceToAnUnknownVariableHasNoName) {
  const WeightVarMsg message(0, LocallyUniqueID(7, 3), 5, LocallyUniqueID(1, 2));
  EXPECT_THAT(DictionaryJson::Change(message, DataFreeDataSource()),
              EndsWith(R"("datasetId":"7:3","caseSequence":5,"message":"WeightVarMsg",)"
                       R"("variable":"1:2","name":null})"));
}

TEST(DictionaryJson, PositionOutsideTheDictionaryHasNoName) {
  const MoveVarsMsg message(0, LocallyUniqueID(7, 3), 5, {-1, 0, 1}, 0);
  EXPECT_THAT(DictionaryJson::Change(message, *support::Dictionary("A")),
              EndsWith(R"("positions":[-1,0,1],"target":0,"names":[null,"A",null]})"));
}

TEST(DictionaryJson, EmptyDictionaryHasNoVariablesAndNullReferences) {
  support::SourceWithRows empty;
  empty.rows = -1;
  EXPECT_EQ(DictionaryJson::Variables(empty), "[]");
  EXPECT_THAT(DictionaryJson::Properties(empty),
              AllOf(HasSubstr(R"("variableCount":0,"rowCount":null)"),
                    HasSubstr(R"("weight":{"variable":null,"name":null})"),
                    HasSubstr(R"("split":{"variables":[],"separate":false,"names":[]})")));
}

TEST(DictionaryJson, ChangeOfAVariableHasItsOldDefinitionAndTheDifferences) {
  DataFreeDataSource before;
  ORVX_Variable variable(ORVX_Variable::NextID(), "a");
  before.InsertVariable(0, variable);
  variable.SetLabel("new");
  const std::string json =
      DictionaryJson::Change(ModifyVarMsg(0, LocallyUniqueID(7, 3), 5, variable), before);
  EXPECT_THAT(json, HasSubstr(R"("name":"a","label":"new")"));
  EXPECT_THAT(json, HasSubstr(R"("name":"a","label":"")"));
  EXPECT_THAT(json, EndsWith(R"("changed":["label"]})"));
  EXPECT_THAT(json, Not(HasSubstr("\n")));
}

}  // namespace
