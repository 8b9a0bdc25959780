// Random edits of a dictionary, which is compared with a plain vector that gets the same edits.

#include <gtest/gtest.h>
#include <libdatasrc/DataFreeDataSource.h>
#include <rapidcheck/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "Variables.h"

namespace {

using Serials = std::vector<LocallyUniqueID>;

ORVX_Variable NumberedVariable(LocallyUniqueID id) {
  return ORVX_Variable(id, std::to_string(id.Serial()));
}

// A dictionary and its expected content, which get the same edits.
struct CheckedDictionary {
  std::unique_ptr<ORVX_DataSource> source = std::make_unique<DataFreeDataSource>();
  Serials model;
  LocallyUniqueID weight;  // null for none

  int Size() const { return static_cast<int>(model.size()); }

  void Insert(int position, LocallyUniqueID id) {
    source->InsertVariable(position, NumberedVariable(id));
    model.insert(model.begin() + position, id);
  }
  void Append(LocallyUniqueID id) {
    unsigned int position = 0;
    source->MakeVariable(NumberedVariable(id), &position);
    RC_ASSERT(position == model.size());
    model.push_back(id);
  }
  void Delete(int first, int last) {
    source->DeleteVariables(first, last);
    for (int i = first; i <= last; ++i) Leave(model[static_cast<std::size_t>(i)]);
    model.erase(model.begin() + first, model.begin() + last + 1);
  }
  void Move(int from, int to) {
    const ORVX_Variable variable = source->GetVariable(from);
    Delete(from, from);
    source->InsertVariable(to, variable);
    model.insert(model.begin() + to, variable.GetID());
  }
  void Replace(ORVX_Variable& place, int position, LocallyUniqueID id, bool whole) {
    LocallyUniqueID& former = model[static_cast<std::size_t>(position)];
    if (whole) {
      place = NumberedVariable(id);
    } else {
      place.SetID(id);
    }
    if (former != id) Leave(former);
    former = id;
  }
  // Replaces the dictionary with a copy and deletes the original.
  void Copy() {
    auto copy = std::make_unique<DataFreeDataSource>();
    copy->CopyDictionary(source.get());
    source = std::move(copy);
  }
  void Weight(int position) {
    source->SetWeightVar(position);
    weight = model[static_cast<std::size_t>(position)];
  }
  void Leave(LocallyUniqueID id) {
    if (weight == id) weight = LocallyUniqueID();
  }

  void Check(unsigned int serials) const {
    RC_ASSERT(source->ColumnCount() == Size());
    std::vector<int> firstPositions(serials, -1);
    int wrongVariables = 0;
    for (int i = Size() - 1; i >= 0; --i) {
      const LocallyUniqueID id = model[static_cast<std::size_t>(i)];
      if (source->GetVariable(i).GetID() != id) ++wrongVariables;
      firstPositions[id.Serial()] = i;
    }
    RC_ASSERT(wrongVariables == 0);
    int wrongPositions = 0;
    for (unsigned int serial = 0; serial < serials; ++serial) {
      if (source->FindVarIndex(Serial(serial)) != firstPositions[serial]) ++wrongPositions;
    }
    RC_ASSERT(wrongPositions == 0);
    RC_ASSERT(source->GetWeightVariableID() == weight);
    RC_ASSERT(source->GetWeightVarIndex() ==
              (weight.IsNull() ? -1 : firstPositions[weight.Serial()]));
  }
};

// Returns a position below `size`. All positions are equally likely; by default, RapidCheck would
// prefer small positions in the first runs.
int Position(int size) {
  return *rc::gen::resize(rc::kNominalSize, rc::gen::inRange(0, size));
}
LocallyUniqueID AnyOf(unsigned int serials) {
  return Serial(static_cast<unsigned int>(Position(static_cast<int>(serials))));
}

// Assigns through several references, all obtained before the first assignment.
void ReplaceThroughKeptReferences(CheckedDictionary& checked, unsigned int serials) {
  std::vector<std::pair<ORVX_Variable*, int>> kept;
  for (int i = 0; i < 5; ++i) {
    const int position = Position(checked.Size());
    kept.emplace_back(&checked.source->GetVariable(position), position);
  }
  for (auto& [place, position] : kept) {
    checked.Replace(*place, position, AnyOf(serials), *rc::gen::arbitrary<bool>());
  }
}

void EditOnce(CheckedDictionary& checked, unsigned int serials) {
  const LocallyUniqueID id = AnyOf(serials);
  if (checked.model.empty()) return checked.Append(id);
  switch (Position(9)) {
    case 0:
      return checked.Append(id);
    case 1:
    case 2:
      return checked.Insert(Position(checked.Size() + 1), id);
    case 3: {
      const int position = Position(checked.Size());
      return checked.Delete(position, position);
    }
    case 4: {
      const int first = Position(checked.Size());
      return checked.Delete(first, std::min(first + Position(400), checked.Size()) - 1);
    }
    case 5:
      return checked.Move(Position(checked.Size()), Position(checked.Size()));
    case 6:
      return checked.Weight(Position(checked.Size()));
    case 7:
      return checked.Copy();
    default:
      return ReplaceThroughKeptReferences(checked, serials);
  }
}

RC_GTEST_PROP(Dictionary, EqualsAPlainListAfterEveryEdit, ()) {
  const auto serials = *rc::gen::element(3U, 50U, 3000U);
  const int size = *rc::gen::element(0, 1, 255, 256, 257, 900);
  CheckedDictionary checked;
  for (int i = 0; i < size; ++i) checked.Append(Serial(static_cast<unsigned>(i) % serials));
  for (int edit = Position(60); edit > 0; --edit) {
    EditOnce(checked, serials);
    checked.Check(serials);
  }
}

RC_GTEST_PROP(Dictionary, EqualsAPlainListWhenFilledAndEmptiedAtOnePosition, ()) {
  const unsigned int serials = 2000;
  CheckedDictionary checked;
  for (int i = 0; i < 700; ++i) checked.Append(Serial(static_cast<unsigned>(i)));
  const int place = Position(checked.Size());
  for (unsigned int i = 0; i < 600; ++i) checked.Insert(place, Serial(700 + i));
  checked.Check(serials);
  for (int i = 0; i < 550; ++i) checked.Delete(place, place);
  checked.Check(serials);
  for (int i = Position(checked.Size()); i > 0; --i) checked.Delete(0, 0);
  checked.Check(serials);
}

TEST(Dictionary, IsEmptyAndUsableAfterBulkFillAndClear) {
  CheckedDictionary checked;
  for (unsigned int i = 0; i < 10000; ++i) checked.Append(Serial(i));
  checked.Delete(0, 9999);
  checked.Append(Serial(3));

  EXPECT_EQ(checked.source->ColumnCount(), 1);
  EXPECT_EQ(checked.source->FindVarIndex(Serial(3)), 0);
  EXPECT_EQ(checked.source->FindVarIndex(Serial(4)), -1);
}

}  // namespace
