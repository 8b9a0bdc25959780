// DictionaryMirror: messages about variables, and rejected messages.

#include <client/DictionaryMirror.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <liborvxdemg/DeleteVarsMsg.h>
#include <liborvxdemg/InsertVarsMsg.h>
#include <liborvxdemg/ModifyVarMsg.h>
#include <liborvxdemg/MoveVarsMsg.h>
#include <liborvxdemg/ResetUndoMsg.h>
#include <tests/support/Dictionary.h>

#include <string>
#include <vector>

namespace {

using support::VariablesOf;
using testing::HasSubstr;

const LocallyUniqueID kMirroredDataset(0, 1);
const LocallyUniqueID kAtTheEnd;

LocallyUniqueID ID(char name) {
  return {1, static_cast<unsigned char>(name)};
}

// Returns one variable for each letter; the letter determines the name and the identifier.
std::vector<ORVX_Variable> LetterVars(const std::string& names) {
  std::vector<ORVX_Variable> variables;
  for (const char name : names) variables.emplace_back(ID(name), std::string(1, name));
  return variables;
}

InsertVarsMsg Insert(const std::string& names, LocallyUniqueID anchor) {
  return {0, kMirroredDataset, 1, LetterVars(names), anchor};
}
DeleteVarsMsg Delete(const std::string& names) {
  return {0, kMirroredDataset, 1, LetterVars(names)};
}
MoveVarsMsg Move(const std::vector<int>& positions, int target) {
  return {0, kMirroredDataset, 1, positions, target};
}
ModifyVarMsg Relabel(char name, const std::string& label) {
  ORVX_Variable variable(ID(name), std::string(1, name));
  variable.SetLabel(label);
  return {0, kMirroredDataset, 1, variable};
}

DictionaryMirror MirrorOf(const std::string& names) {
  DictionaryMirror mirror;
  mirror.Apply(Insert(names, kAtTheEnd));
  return mirror;
}

std::string Names(const DictionaryMirror& mirror) {
  std::string names;
  for (const ORVX_Variable& variable : VariablesOf(mirror.Dictionary()))
    names += variable.GetName();
  return names;
}

// Applies `message`, which the mirror must reject. Returns the error text. Also checks that the
// mirror is unchanged.
std::string Refusal(DictionaryMirror& mirror, const DataSetMsg& message) {
  const std::vector<ORVX_Variable> before = VariablesOf(mirror.Dictionary());
  try {
    mirror.Apply(message);
  } catch (const MirrorError& error) {
    EXPECT_EQ(VariablesOf(mirror.Dictionary()), before);
    return error.what();
  }
  return "was applied: " + Names(mirror);
}

std::string After(const std::string& before, const DataSetMsg& message) {
  DictionaryMirror mirror = MirrorOf(before);
  mirror.Apply(message);
  return Names(mirror);
}

TEST(DictionaryMirror, StartsEmpty) {
  EXPECT_EQ(DictionaryMirror().Dictionary().ColumnCount(), 0);
}

TEST(DictionaryMirror, AppendsIfTheAnchorIsNull) {
  EXPECT_EQ(After("AB", Insert("CD", kAtTheEnd)), "ABCD");
}

TEST(DictionaryMirror, InsertsBeforeTheAnchor) {
  EXPECT_EQ(After("AB", Insert("CD", ID('B'))), "ACDB");
  EXPECT_EQ(After("AB", Insert("CD", ID('A'))), "CDAB");
}

TEST(DictionaryMirror, DeletesByIdentifierAtAnyPosition) {
  EXPECT_EQ(After("ABCD", Delete("DB")), "AC");
  EXPECT_EQ(After("ABCD", Delete("ABCD")), "");
  EXPECT_EQ(After("ABCD", Delete("")), "ABCD");
}

TEST(DictionaryMirror, DeletesAVariableWithAChangedDefinition) {
  DictionaryMirror mirror = MirrorOf("AB");
  mirror.Apply(Relabel('A', "new"));
  mirror.Apply(Delete("A"));
  EXPECT_EQ(Names(mirror), "B");
}

TEST(DictionaryMirror, MovesToTheFrontAndToTheBack) {
  EXPECT_EQ(After("ABCD", Move({3}, 0)), "DABC");
  EXPECT_EQ(After("ABCD", Move({0}, 3)), "BCDA");
  EXPECT_EQ(After("ABCD", Move({1}, 1)), "ABCD");
}

TEST(DictionaryMirror, TheTargetIsAPositionInTheListWithoutTheMovedVariables) {
  EXPECT_EQ(After("ABCDE", Move({0, 2}, 1)), "BACDE");
  EXPECT_EQ(After("ABCDE", Move({0, 2}, 3)), "BDEAC");
}

TEST(DictionaryMirror, InsertsMovedVariablesInTheGivenOrder) {
  EXPECT_EQ(After("ABCDE", Move({4, 0}, 0)), "EABCD");
  EXPECT_EQ(After("ABCDE", Move({3, 1, 2}, 2)), "AEDBC");
}

TEST(DictionaryMirror, ModifyKeepsThePosition) {
  DictionaryMirror mirror = MirrorOf("ABC");
  mirror.Apply(Relabel('B', "new"));
  EXPECT_EQ(Names(mirror), "ABC");
  EXPECT_EQ(mirror.Dictionary().GetVariable(1), Relabel('B', "new").GetVariable());
}

TEST(DictionaryMirror, AppliesMessagesAboutVariablesInAnyOrder) {
  DictionaryMirror mirror = MirrorOf("ABC");
  ModifyVarMsg last = Relabel('C', "c");
  ModifyVarMsg first = Relabel('A', "a");
  InsertVarsMsg middle = Insert("X", ID('B'));
  DeleteVarsMsg deletion = Delete("BC");
  ModifyVarMsg inserted = Relabel('X', "x");
  mirror.Apply({&last, &first, &middle, &deletion, &inserted});
  EXPECT_EQ(Names(mirror), "AX");
  EXPECT_EQ(mirror.Dictionary().GetVariable(0).GetLabel(), "a");
  EXPECT_EQ(mirror.Dictionary().GetVariable(1).GetLabel(), "x");
}

TEST(DictionaryMirror, InsertsAVariableDeletedInTheSamePass) {
  DictionaryMirror mirror = MirrorOf("AB");
  DeleteVarsMsg all = Delete("AB");
  InsertVarsMsg again = Insert("BA", kAtTheEnd);
  mirror.Apply({&all, &again});
  EXPECT_EQ(Names(mirror), "BA");
}

TEST(DictionaryMirror, IsNotChangedByResetUndo) {
  EXPECT_EQ(After("AB", ResetUndoMsg()), "AB");
}

TEST(DictionaryMirror, IsIndependentOfTheAppliedMessage) {
  DictionaryMirror mirror;
  {
    const InsertVarsMsg message = Insert("A", kAtTheEnd);
    mirror.Apply(message);
  }
  EXPECT_EQ(Names(mirror), "A");
}

TEST(DictionaryMirror, RejectsAnUnknownAnchor) {
  DictionaryMirror mirror = MirrorOf("AB");
  EXPECT_EQ(Refusal(mirror, Insert("C", ID('Z'))),
            "DEMessages::InsertVarsMsg: no anchor variable with identifier 1:90");
}

TEST(DictionaryMirror, RejectsAnAnchorAmongTheInsertedVariables) {
  DictionaryMirror mirror = MirrorOf("AB");
  EXPECT_THAT(Refusal(mirror, Insert("C", ID('C'))), HasSubstr("anchor"));
}

TEST(DictionaryMirror, RejectsInsertingAnExistingIdentifier) {
  DictionaryMirror mirror = MirrorOf("AB");
  EXPECT_EQ(Refusal(mirror, Insert("CB", kAtTheEnd)),
            "DEMessages::InsertVarsMsg: variable \"B\" with identifier 1:66 already exists");
  EXPECT_THAT(Refusal(mirror, Insert("CC", kAtTheEnd)), HasSubstr("already exists"));
}

TEST(DictionaryMirror, RejectsInsertingANullIdentifier) {
  DictionaryMirror mirror;
  const InsertVarsMsg message(0, kMirroredDataset, 1, {ORVX_Variable()}, kAtTheEnd);
  EXPECT_THAT(Refusal(mirror, message), HasSubstr("the null identifier"));
}

TEST(DictionaryMirror, RejectsDeletingAnUnknownVariable) {
  DictionaryMirror mirror = MirrorOf("AB");
  EXPECT_EQ(Refusal(mirror, Delete("AC")),
            "DEMessages::DeleteVarsMsg: no variable \"C\" with identifier 1:67 to delete");
  EXPECT_THAT(Refusal(mirror, Delete("AA")), HasSubstr("to delete"));
}

TEST(DictionaryMirror, RejectsModifyingAnUnknownVariable) {
  DictionaryMirror mirror = MirrorOf("AB");
  EXPECT_EQ(Refusal(mirror, Relabel('C', "new")),
            "DEMessages::ModifyVarMsg: no variable \"C\" with identifier 1:67 to modify");
}

TEST(DictionaryMirror, RejectsAPositionOutsideTheList) {
  DictionaryMirror mirror = MirrorOf("ABC");
  EXPECT_EQ(Refusal(mirror, Move({3}, 0)),
            "DEMessages::MoveVarsMsg: position 3 is outside a list of 3");
  EXPECT_THAT(Refusal(mirror, Move({0, -1}, 0)), HasSubstr("position -1"));
}

TEST(DictionaryMirror, RejectsATargetOutsideTheRemainingList) {
  DictionaryMirror mirror = MirrorOf("ABC");
  EXPECT_EQ(Refusal(mirror, Move({0}, 3)),
            "DEMessages::MoveVarsMsg: target 3 is outside a list of 2");
  EXPECT_THAT(Refusal(mirror, Move({0}, -1)), HasSubstr("target -1"));
}

TEST(DictionaryMirror, RejectsMovingAPositionTwice) {
  DictionaryMirror mirror = MirrorOf("ABC");
  EXPECT_THAT(Refusal(mirror, Move({1, 1}, 0)), HasSubstr("duplicate"));
}

TEST(DictionaryMirror, AppliesNothingOfAPassWithAnInvalidMessage) {
  DictionaryMirror mirror = MirrorOf("ABC");
  DeleteVarsMsg first = Delete("A");
  ModifyVarMsg second = Relabel('B', "new");
  MoveVarsMsg third = Move({2}, 0);
  try {
    mirror.Apply({&first, &second, &third});
    FAIL() << "applied: " << Names(mirror);
  } catch (const MirrorError& error) {
    EXPECT_STREQ(error.what(),
                 "DEMessages::MoveVarsMsg, message 3 of 3: position 2 is outside a list of 2");
  }
  EXPECT_EQ(VariablesOf(mirror.Dictionary()), LetterVars("ABC"));
}

TEST(DictionaryMirror, ContinuesAfterAnError) {
  DictionaryMirror mirror = MirrorOf("A");
  Refusal(mirror, Delete("B"));
  mirror.Apply(Insert("B", ID('A')));
  EXPECT_EQ(Names(mirror), "BA");
}

}  // namespace
