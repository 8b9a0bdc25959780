// Dictionary, weight, filter, split and properties of a data source.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <libdatasrc/DataFreeDataSource.h>
#include <libdatasrc/OBS.h>
#include <libdatasrc/ObsIterator.h>
#include <libdatasrc/ORVX_DataSourceFilterHook.h>

#include <bit>
#include <cstddef>
#include <memory>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

// Returns a variable whose name is the letter. Each letter has its own identifier.
ORVX_Variable Letter(char letter) {
  return ORVX_Variable(LocallyUniqueID(1, static_cast<unsigned>(letter)), std::string(1, letter));
}

LocallyUniqueID ID(char letter) {
  return Letter(letter).GetID();
}

void Append(ORVX_DataSource& source, const std::string& letters) {
  for (char letter : letters) source.MakeVariable(Letter(letter), nullptr);
}

std::string Names(const ORVX_DataSource& source) {
  std::string names;
  for (int i = 0; i < source.ColumnCount(); ++i) names += source.GetVariable(i).GetName();
  return names;
}

std::vector<LocallyUniqueID> Split(const ORVX_DataSource& source) {
  std::vector<LocallyUniqueID> ids;
  for (unsigned i = 0; i < source.GetNSplitVars(); ++i) ids.push_back(source.GetSplitVarID(i));
  return ids;
}

class DataSource : public testing::Test {
 protected:
  DataSource() { Append(source, "ABC"); }

  DataFreeDataSource source;
};

template <class Error, class Call>
std::string ErrorTextOf(Call call) {
  try {
    call();
  } catch (const Error& error) {
    return error.what();
  }
  return "nothing thrown";
}

TEST_F(DataSource, NewSourceIsEmptyCleanAndWithoutParent) {
  const DataFreeDataSource fresh;

  EXPECT_EQ(fresh.ColumnCount(), 0);
  EXPECT_FALSE(fresh.IsDirty());
  EXPECT_STREQ(fresh.GetFileSpec(), "");
  EXPECT_EQ(fresh.GetLabel(), nullptr);
  EXPECT_EQ(fresh.GetWeightVarIndex(), -1);
  EXPECT_TRUE(fresh.GetWeightVariableID().IsNull());
  EXPECT_EQ(fresh.GetFilterVarIndex(), -1);
  EXPECT_TRUE(fresh.GetFilterVariableID().IsNull());
  EXPECT_EQ(fresh.GetNSplitVars(), 0U);
  EXPECT_FALSE(fresh.GetSplitqSeparate());
  EXPECT_EQ(fresh.RowsPerImputation(), 0);
  EXPECT_EQ(fresh.GetParentSource(), nullptr);
}

TEST_F(DataSource, WithoutCasesIsLoadedAndHasNoRows) {
  OBS area[3];
  const std::unique_ptr<ObsIterator> rows(source.MakeIterator(area));

  EXPECT_EQ(source.RowCount(), 0);
  EXPECT_TRUE(source.IsLoaded());
  EXPECT_FALSE(rows->Next());
  EXPECT_FALSE(rows->Next());
}

TEST_F(DataSource, ARowHasOneCellPerNumberAndPerEightBytesOfAString) {
  DataFreeDataSource wide;
  for (int type : {0, 1, 8, 9, 17}) wide.MakeVariable(ORVX_Variable(ID('A'), "x", type), nullptr);

  EXPECT_EQ(wide.GetObsAreaSize(), 1 + 1 + 1 + 2 + 3);
}

TEST_F(DataSource, CountsAllParentsInTheChain) {
  DataFreeDataSource child(&source);
  DataFreeDataSource grandchild(&child);

  EXPECT_EQ(source.NParents(), 0);
  EXPECT_EQ(grandchild.NParents(), 2);
  EXPECT_EQ(grandchild.GetParentSource(), &child);

  grandchild.SetParentSource(nullptr);
  EXPECT_EQ(grandchild.NParents(), 0);
}

TEST_F(DataSource, InsertsBeforeAPositionAndAtTheEnd) {
  source.InsertVariable(1, Letter('X'));
  source.InsertVariable(4, Letter('Y'));
  source.InsertVariable(0, Letter('Z'));

  EXPECT_EQ(Names(source), "ZAXBCY");
}

TEST_F(DataSource, AppendingReturnsThePositionInItsArgument) {
  unsigned int position = 99;
  source.MakeVariable(Letter('D'), &position);

  EXPECT_EQ(position, 3U);
  EXPECT_EQ(Names(source), "ABCD");
}

TEST_F(DataSource, InsertsACopyOfOneOfItsOwnVariables) {
  for (int i = 0; i < 300; ++i) source.InsertVariable(0, source.GetVariable(i + 2));

  EXPECT_EQ(Names(source), std::string(300, 'C') + "ABC");
}

TEST_F(DataSource, DeletesAnInclusiveRange) {
  source.DeleteVariables(0, 1);

  EXPECT_EQ(Names(source), "C");
  EXPECT_EQ(source.FindVarIndex(ID('A')), -1);
  EXPECT_EQ(source.FindVarIndex(ID('C')), 0);
}

TEST_F(DataSource, AnEmptyRangeDeletesNothing) {
  for (int first = 0; first <= 3; ++first) source.DeleteVariables(first, first - 1);
  DataFreeDataSource empty;
  empty.DeleteVariables(0, -1);

  EXPECT_EQ(Names(source), "ABC");
  EXPECT_EQ(empty.ColumnCount(), 0);
}

TEST_F(DataSource, AWrongPositionIsRejectedWithPositionAndSizeAndChangesNothing) {
  source.SetWeightVar(0);
  const int split[] = {1, 3};

  EXPECT_THROW(source.GetVariable(-1), std::out_of_range);
  EXPECT_THROW(std::as_const(source).GetVariable(3), std::out_of_range);
  EXPECT_THROW(source.InsertVariable(-1, Letter('X')), std::out_of_range);
  EXPECT_THROW(source.InsertVariable(4, Letter('X')), std::out_of_range);
  EXPECT_THROW(source.InsertVariable(1L << 32, Letter('X')), std::out_of_range);
  EXPECT_THROW(source.DeleteVariables(-1, 0), std::out_of_range);
  EXPECT_THROW(source.DeleteVariables(1, 3), std::out_of_range);
  EXPECT_THROW(source.DeleteVariables(2, 0), std::out_of_range);
  EXPECT_THROW(source.DeleteVariables(4, 3), std::out_of_range);
  EXPECT_THROW(source.SetWeightVar(3), std::out_of_range);
  EXPECT_THROW(source.SetWeightVar(-2), std::out_of_range);
  EXPECT_THROW(source.SetFilterVar(3), std::out_of_range);
  EXPECT_THROW(source.SetSplit(2, split, true), std::out_of_range);

  EXPECT_EQ(Names(source), "ABC");
  EXPECT_EQ(source.GetWeightVarIndex(), 0);
  EXPECT_THAT(Split(source), IsEmpty());
  EXPECT_THAT(ErrorTextOf<std::out_of_range>([&] { source.GetVariable(7); }),
              testing::AllOf(HasSubstr("GetVariable"), HasSubstr("7"), HasSubstr("3 variables")));
}

TEST_F(DataSource, FindsAVariableByAnIdentifierSetInPlace) {
  source.GetVariable(1) = Letter('X');
  source.GetVariable(2).SetID(ID('Y'));

  EXPECT_EQ(source.FindVarIndex(ID('B')), -1);
  EXPECT_EQ(source.FindVarIndex(ID('X')), 1);
  EXPECT_EQ(source.FindVarIndex(ID('C')), -1);
  EXPECT_EQ(source.FindVarIndex(ID('Y')), 2);
}

TEST_F(DataSource, FindsVariablesAssignedThroughAnEarlierReference) {
  ORVX_Variable& kept = source.GetVariable(2);
  kept = Letter('X');
  kept = Letter('Y');
  kept.SetID(ID('Z'));

  EXPECT_EQ(source.FindVarIndex(ID('X')), -1);
  EXPECT_EQ(source.FindVarIndex(ID('Y')), -1);
  EXPECT_EQ(source.FindVarIndex(ID('Z')), 2);
}

TEST_F(DataSource, AssignsOneOfItsVariablesToAnother) {
  source.GetVariable(0) = source.GetVariable(2);

  EXPECT_EQ(Names(source), "CBC");
  EXPECT_EQ(source.FindVarIndex(ID('A')), -1);
  EXPECT_EQ(source.FindVarIndex(ID('C')), 0);
}

TEST_F(DataSource, ACopyOfAVariableIsIndependentOfTheDictionary) {
  ORVX_Variable copy = source.GetVariable(0);
  copy.SetID(ID('X'));
  copy.SetName("X");

  EXPECT_EQ(source.FindVarIndex(ID('X')), -1);
  EXPECT_EQ(Names(source), "ABC");
}

TEST_F(DataSource, AVariableAssignedToAnElementStaysIndependent) {
  ORVX_Variable outside = Letter('X');
  source.GetVariable(0) = outside;
  outside.SetID(ID('Y'));

  EXPECT_EQ(source.FindVarIndex(ID('X')), 0);
  EXPECT_EQ(source.FindVarIndex(ID('Y')), -1);
}

TEST_F(DataSource, FindsTheFirstOfSeveralVariablesWithOneIdentifier) {
  Append(source, "BAB");

  EXPECT_EQ(source.FindVarIndex(ID('B')), 1);
  source.DeleteVariables(1, 1);
  EXPECT_EQ(source.FindVarIndex(ID('B')), 2);
  source.GetVariable(0).SetID(ID('B'));
  EXPECT_EQ(source.FindVarIndex(ID('B')), 0);
}

TEST_F(DataSource, FindsAVariableWithTheNullIdentifierLikeAnyOther) {
  EXPECT_EQ(source.FindVarIndex(LocallyUniqueID()), -1);

  source.InsertVariable(1, ORVX_Variable());

  EXPECT_EQ(source.FindVarIndex(LocallyUniqueID()), 1);
}

TEST_F(DataSource, KeepsWeightAndFilterByIdentifier) {
  source.SetWeightVar(1);
  source.SetFilterVar(2);
  source.InsertVariable(0, Letter('X'));

  EXPECT_EQ(source.GetWeightVarIndex(), 2);
  EXPECT_EQ(source.GetWeightVariableID(), ID('B'));
  EXPECT_EQ(source.GetFilterVarIndex(), 3);
  EXPECT_EQ(source.GetFilterVariableID(), ID('C'));

  source.SetWeightVar(-1);
  source.SetFilterVar(-1);
  EXPECT_EQ(source.GetWeightVarIndex(), -1);
  EXPECT_TRUE(source.GetWeightVariableID().IsNull());
  EXPECT_EQ(source.GetFilterVarIndex(), -1);
  EXPECT_TRUE(source.GetFilterVariableID().IsNull());
}

TEST_F(DataSource, KeepsTheSplitByIdentifierInTheGivenOrder) {
  const int indices[] = {2, 0};
  source.SetSplit(2, indices, true);
  source.DeleteVariables(1, 1);

  EXPECT_THAT(Split(source), ElementsAre(ID('C'), ID('A')));
  EXPECT_EQ(source.GetSplitVarIndex(0), 1);
  EXPECT_EQ(source.GetSplitVarIndex(1), 0);
  EXPECT_TRUE(source.GetSplitqSeparate());
  EXPECT_EQ(source.GetSplitVarIndex(2), -1);
  EXPECT_TRUE(source.GetSplitVarID(2).IsNull());
}

TEST_F(DataSource, IsNotSeparateWithoutSplitVariables) {
  const int indices[] = {0};
  source.SetSplit(1, indices, true);
  source.SetSplit(0, nullptr, true);

  EXPECT_EQ(source.GetNSplitVars(), 0U);
  EXPECT_FALSE(source.GetSplitqSeparate());
}

TEST_F(DataSource, SplitsByEightVariablesButNotByNine) {
  Append(source, "DEFGHI");
  const int indices[] = {8, 7, 6, 5, 4, 3, 2, 1, 0};
  source.SetSplit(8, indices, true);

  EXPECT_THROW(source.SetSplit(9, indices, false), std::length_error);

  EXPECT_EQ(source.GetNSplitVars(), 8U);
  EXPECT_EQ(source.GetSplitVarID(7), ID('B'));
  EXPECT_TRUE(source.GetSplitqSeparate());
}

TEST_F(DataSource, SplitOfAnySizeTakesAnyNumberOfVariables) {
  Append(source, "DEFGHI");
  const int indices[] = {8, 7, 6, 5, 4, 3, 2, 1, 0};
  source.SetSplitOfAnySize(9, indices, true);
  EXPECT_EQ(source.GetNSplitVars(), 9U);
  EXPECT_EQ(source.GetSplitVarIndex(8), 0);
  EXPECT_TRUE(source.GetSplitqSeparate());
  EXPECT_EQ(source.GetSplitVarIndex(9), -1);

  const int wrong[] = {0, 9};
  EXPECT_THROW(source.SetSplitOfAnySize(2, wrong, false), std::out_of_range);
  EXPECT_EQ(source.GetNSplitVars(), 9U);

  DataFreeDataSource copy;
  copy.CopyDictionary(&source);
  copy.DeleteVariables(0, 0);
  EXPECT_EQ(copy.GetNSplitVars(), 8U);
  copy.SetSplitOfAnySize(0, nullptr, true);
  EXPECT_EQ(copy.GetNSplitVars(), 0U);
  EXPECT_FALSE(copy.GetSplitqSeparate());
}

// A notification pass moves a variable in its snapshot in two steps: it inserts a copy at the new
// position, then deletes the variable at the old position. Between these steps, two variables have
// the same identifier.
TEST_F(DataSource, DeletingOneOfTwoVariablesWithTheSameIdentifierDropsItsUses) {
  const int indices[] = {2, 0};
  source.SetWeightVar(2);
  source.SetFilterVar(2);
  source.SetSplit(2, indices, true);

  source.InsertVariable(0, Letter('C'));
  source.DeleteVariables(3, 3);

  EXPECT_EQ(Names(source), "CAB");
  EXPECT_EQ(source.FindVarIndex(ID('C')), 0);
  EXPECT_TRUE(source.GetWeightVariableID().IsNull());
  EXPECT_TRUE(source.GetFilterVariableID().IsNull());
  EXPECT_THAT(Split(source), ElementsAre(ID('A')));
}

TEST_F(DataSource, DeletingAVariableDropsItsUsesPermanently) {
  const int indices[] = {0, 1, 2};
  source.SetWeightVar(1);
  source.SetFilterVar(1);
  source.SetSplit(3, indices, true);

  source.DeleteVariables(1, 1);
  source.InsertVariable(1, Letter('B'));

  EXPECT_EQ(source.GetWeightVarIndex(), -1);
  EXPECT_TRUE(source.GetWeightVariableID().IsNull());
  EXPECT_EQ(source.GetFilterVarIndex(), -1);
  EXPECT_THAT(Split(source), ElementsAre(ID('A'), ID('C')));
  EXPECT_TRUE(source.GetSplitqSeparate());
}

TEST_F(DataSource, DeletingAllVariablesSwitchesWeightFilterAndSplitOff) {
  const int indices[] = {0};
  source.SetFilterVar(2);
  source.SetSplit(1, indices, true);

  source.DeleteVariables(0, 2);

  EXPECT_TRUE(source.GetFilterVariableID().IsNull());
  EXPECT_EQ(source.GetNSplitVars(), 0U);
  EXPECT_FALSE(source.GetSplitqSeparate());
}

TEST_F(DataSource, AVariableReplacedInPlaceLosesItsUses) {
  source.SetWeightVar(0);
  source.SetFilterVar(1);
  source.GetVariable(0) = Letter('X');
  source.GetVariable(1).SetID(ID('Y'));

  EXPECT_EQ(source.GetWeightVarIndex(), -1);
  EXPECT_TRUE(source.GetWeightVariableID().IsNull());
  EXPECT_TRUE(source.GetFilterVariableID().IsNull());
}

TEST_F(DataSource, AVariableChangedInPlaceKeepsItsUses) {
  source.SetWeightVar(0);
  ORVX_Variable renamed = source.GetVariable(0);
  renamed.SetName("X");
  source.GetVariable(0) = renamed;

  EXPECT_EQ(source.GetWeightVarIndex(), 0);
}

TEST_F(DataSource, AVariableWithoutIdentifierCannotBeUsed) {
  source.InsertVariable(1, ORVX_Variable());
  const int indices[] = {1};

  EXPECT_THROW(source.SetWeightVar(1), std::invalid_argument);
  EXPECT_THROW(source.SetFilterVar(1), std::invalid_argument);
  EXPECT_THROW(source.SetSplit(1, indices, false), std::invalid_argument);
  EXPECT_EQ(source.GetWeightVarIndex(), -1);
  EXPECT_EQ(source.GetFilterVarIndex(), -1);
}

TEST_F(DataSource, OnlySetDirtyChangesTheDirtyFlag) {
  const int indices[] = {0};
  source.GetVariable(0).SetName("X");
  source.InsertVariable(0, Letter('D'));
  source.DeleteVariables(0, 0);
  source.SetWeightVar(0);
  source.SetFilterVar(0);
  source.SetSplit(1, indices, false);
  source.SetLabel("label");
  source.SetFileSpec("file");
  source.RowsPerImputation(5);
  EXPECT_FALSE(source.IsDirty());

  source.SetDirty(true);
  source.DeleteVariables(0, 0);
  EXPECT_TRUE(source.IsDirty());
  source.SetDirty(false);
  EXPECT_FALSE(source.IsDirty());
}

TEST_F(DataSource, StoresCopiesOfLabelAndFileName) {
  std::string text = "first";
  source.SetLabel(text.c_str());
  source.SetFileSpec(text.c_str());
  text = "other";
  EXPECT_STREQ(source.GetLabel(), "first");
  EXPECT_STREQ(source.GetFileSpec(), "first");

  source.SetLabel(source.GetLabel() + 1);
  source.SetFileSpec(source.GetFileSpec() + 1);
  EXPECT_STREQ(source.GetLabel(), "irst");
  EXPECT_STREQ(source.GetFileSpec(), "irst");
}

TEST_F(DataSource, ANullLabelDiffersFromAnEmptyLabel) {
  source.SetLabel("");
  EXPECT_STREQ(source.GetLabel(), "");
  source.SetLabel(nullptr);
  EXPECT_EQ(source.GetLabel(), nullptr);
  source.SetFileSpec(nullptr);
  EXPECT_STREQ(source.GetFileSpec(), "");
}

TEST_F(DataSource, CopiesTheDictionaryWithAllItsProperties) {
  const int indices[] = {2, 0};
  source.SetWeightVar(0);
  source.SetFilterVar(1);
  source.SetSplit(2, indices, true);
  source.SetLabel("label");
  source.SetFileSpec("file");
  source.RowsPerImputation(944);
  DataFreeDataSource copy;
  Append(copy, "XYZ");

  copy.CopyDictionary(&source);

  EXPECT_EQ(Names(copy), "ABC");
  EXPECT_EQ(copy.FindVarIndex(ID('X')), -1);
  EXPECT_EQ(copy.FindVarIndex(ID('C')), 2);
  EXPECT_EQ(copy.GetWeightVariableID(), ID('A'));
  EXPECT_EQ(copy.GetFilterVarIndex(), 1);
  EXPECT_THAT(Split(copy), ElementsAre(ID('C'), ID('A')));
  EXPECT_TRUE(copy.GetSplitqSeparate());
  EXPECT_STREQ(copy.GetLabel(), "label");
  EXPECT_STREQ(copy.GetFileSpec(), "file");
  EXPECT_EQ(copy.RowsPerImputation(), 944);
}

TEST_F(DataSource, CopyingTheDictionaryKeepsParentAndDirtyFlag) {
  DataFreeDataSource parent;
  DataFreeDataSource copy(&parent);
  source.SetDirty(true);

  copy.CopyDictionary(&source);

  EXPECT_EQ(copy.GetParentSource(), &parent);
  EXPECT_FALSE(copy.IsDirty());
}

TEST_F(DataSource, ACopiedDictionaryIsIndependent) {
  source.SetWeightVar(0);
  DataFreeDataSource copy;
  copy.CopyDictionary(&source);

  copy.GetVariable(0) = Letter('X');
  copy.DeleteVariables(2, 2);

  EXPECT_EQ(copy.FindVarIndex(ID('X')), 0);
  EXPECT_TRUE(copy.GetWeightVariableID().IsNull());
  EXPECT_EQ(Names(source), "ABC");
  EXPECT_EQ(source.FindVarIndex(ID('X')), -1);
  EXPECT_EQ(source.GetWeightVariableID(), ID('A'));
}

TEST_F(DataSource, CopyingTheDictionaryOfNullOrItselfChangesNothing) {
  source.SetWeightVar(0);
  source.CopyDictionary(nullptr);
  source.CopyDictionary(&source);

  EXPECT_EQ(Names(source), "ABC");
  EXPECT_EQ(source.GetWeightVariableID(), ID('A'));
}

// Has the row layout of `other`; has no row layout if `other` is null.
class RowsOfAnother : public ORVX_DataSource {
 public:
  explicit RowsOfAnother(const ORVX_DataSource* other) { SetRowLayout(other); }
};

TEST_F(DataSource, RowLayoutIsItsOwnDictionaryByDefault) {
  DataFreeDataSource above(&source);
  above.CopyDictionary(&source);

  EXPECT_EQ(source.RowLayout(), &source);
  EXPECT_EQ(above.RowLayout(), &above);
}

TEST_F(DataSource, ASourceThatPassesOnRowsHasTheRowLayoutOfTheirSource) {
  const RowsOfAnother below(&source);
  RowsOfAnother above(&below);
  above.CopyDictionary(&source);
  above.DeleteVariables(0, 1);

  EXPECT_EQ(below.RowLayout(), &source);
  EXPECT_EQ(above.RowLayout(), &source);
  EXPECT_EQ(above.GetObsAreaSize(), 3);
}

TEST_F(DataSource, RowLayoutIsNullWithoutRowsToPassOn) {
  RowsOfAnother none(nullptr);
  none.CopyDictionary(&source);

  EXPECT_EQ(none.RowLayout(), nullptr);
  EXPECT_EQ(none.GetObsAreaSize(), 0);
  EXPECT_EQ(RowsOfAnother(&none).RowLayout(), nullptr);
}

// Returns the slot of a virtual function: its index in the virtual table. In the Itanium C++ ABI, a
// pointer to a virtual member function holds the byte offset of the slot, plus 1.
template <class Operation>
std::size_t Slot(Operation operation) {
  struct Pointer {
    std::size_t offset;
    std::ptrdiff_t adjustment;
  };
  return (std::bit_cast<Pointer>(operation).offset - 1) / sizeof(void*);
}

TEST(DataSourceBinary, VirtualFunctionsKeepTheirSlots) {
  EXPECT_EQ(Slot(&ORVX_DataSource::GetNSplitVars), 2U);
  EXPECT_EQ(Slot(&ORVX_DataSource::GetSplitVarIndex), 3U);
  EXPECT_EQ(Slot(&ORVX_DataSource::GetSplitVarID), 4U);
  EXPECT_EQ(Slot(&ORVX_DataSource::GetSplitqSeparate), 5U);
  EXPECT_EQ(Slot(&ORVX_DataSource::MakeIterator), 6U);
  EXPECT_EQ(Slot(&ORVX_DataSource::GetObsAreaSize), 7U);
  EXPECT_EQ(Slot(&ORVX_DataSource::RowCount), 8U);
  EXPECT_EQ(Slot(&ORVX_DataSource::IsLoaded), 9U);
  EXPECT_EQ(Slot(&ORVX_DataSource::NParents), 10U);
  EXPECT_EQ(Slot(&ORVX_DataSourceFilterHook::FilterDataSource), 0U);
}

// Classes in other binaries derive from ORVX_DataSource, so its size must not change.
static_assert(sizeof(ORVX_DataSource) == 2 * sizeof(void*));
static_assert(!std::is_copy_constructible_v<DataFreeDataSource>);
static_assert(!std::is_copy_assignable_v<DataFreeDataSource>);

}  // namespace
