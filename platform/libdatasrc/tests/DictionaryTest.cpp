// Random edits of a dictionary. After each edit, the dictionary is compared with a plain vector.

#include <gtest/gtest.h>
#include <libdatasrc/DataFreeDataSource.h>
#include <rapidcheck/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace {

using Model = std::vector<LocallyUniqueID>;

LocallyUniqueID Serial(unsigned int serial) {
  return LocallyUniqueID(1, serial);
}

ORVX_Variable Variable(LocallyUniqueID id) {
  return ORVX_Variable(id, std::to_string(id.Serial()));
}

// A dictionary and its expected content, which get the same edits.
struct Pair {
  std::unique_ptr<ORVX_DataSource> source = std::make_unique<DataFreeDataSource>();
  Model model;
  LocallyUniqueID weight;  // null for none

  int Size() const { return static_cast<int>(model.size()); }

  void Insert(int position, LocallyUniqueID id) {
    source->InsertVariable(position, Variable(id));
    model.insert(model.begin() + position, id);
  }
  void Append(LocallyUniqueID id) {
    unsigned int position = 0;
    source->MakeVariable(Variable(id), &position);
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
      place = Variable(id);
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

// Returns a position with uniform distribution; by default, RapidCheck starts with small values.
int Position(int size) {
  return *rc::gen::resize(rc::kNominalSize, rc::gen::inRange(0, size));
}
LocallyUniqueID AnyOf(unsigned int serials) {
  return Serial(static_cast<unsigned int>(Position(static_cast<int>(serials))));
}

// Assigns through several references, all obtained before the first assignment.
void ReplaceThroughKeptReferences(Pair& pair, unsigned int serials) {
  std::vector<std::pair<ORVX_Variable*, int>> kept;
  for (int i = 0; i < 5; ++i) {
    const int position = Position(pair.Size());
    kept.emplace_back(&pair.source->GetVariable(position), position);
  }
  for (auto& [place, position] : kept) {
    pair.Replace(*place, position, AnyOf(serials), *rc::gen::arbitrary<bool>());
  }
}

void EditOnce(Pair& pair, unsigned int serials) {
  const LocallyUniqueID id = AnyOf(serials);
  if (pair.model.empty()) return pair.Append(id);
  switch (Position(9)) {
    case 0:
      return pair.Append(id);
    case 1:
    case 2:
      return pair.Insert(Position(pair.Size() + 1), id);
    case 3: {
      const int position = Position(pair.Size());
      return pair.Delete(position, position);
    }
    case 4: {
      const int first = Position(pair.Size());
      return pair.Delete(first, std::min(first + Position(400), pair.Size()) - 1);
    }
    case 5:
      return pair.Move(Position(pair.Size()), Position(pair.Size()));
    case 6:
      return pair.Weight(Position(pair.Size()));
    case 7:
      return pair.Copy();
    default:
      return ReplaceThroughKeptReferences(pair, serials);
  }
}

RC_GTEST_PROP(Dictionary, EqualsAPlainListAfterEveryEdit, ()) {
  const auto serials = *rc::gen::element(3U, 50U, 3000U);
  const int size = *rc::gen::element(0, 1, 255, 256, 257, 900);
  Pair pair;
  for (int i = 0; i < size; ++i) pair.Append(Serial(static_cast<unsigned>(i) % serials));
  for (int edit = Position(60); edit > 0; --edit) {
    EditOnce(pair, serials);
    pair.Check(serials);
  }
}

RC_GTEST_PROP(Dictionary, EqualsAPlainListWhenFilledAndEmptiedAtOnePosition, ()) {
  const unsigned int serials = 2000;
  Pair pair;
  for (int i = 0; i < 700; ++i) pair.Append(Serial(static_cast<unsigned>(i)));
  const int place = Position(pair.Size());
  for (unsigned int i = 0; i < 600; ++i) pair.Insert(place, Serial(700 + i));
  pair.Check(serials);
  for (int i = 0; i < 550; ++i) pair.Delete(place, place);
  pair.Check(serials);
  for (int i = Position(pair.Size()); i > 0; --i) pair.Delete(0, 0);
  pair.Check(serials);
}

TEST(Dictionary, IsEmptyAndUsableAfterBulkFillAndClear) {
  Pair pair;
  for (unsigned int i = 0; i < 10000; ++i) pair.Append(Serial(i));
  pair.Delete(0, 9999);
  pair.Append(Serial(3));

  EXPECT_EQ(pair.source->ColumnCount(), 1);
  EXPECT_EQ(pair.source->FindVarIndex(Serial(3)), 0);
  EXPECT_EQ(pair.source->FindVarIndex(Serial(4)), -1);
}

}  // namespace
