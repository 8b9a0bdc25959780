// PlainComparison: the comparison without optimisations.

#include <tests/support/PlainComparison.h>

#include <cstddef>
#include <utility>

namespace support {

namespace {

using Variables = std::vector<ORVX_Variable>;

std::size_t FirstFrom(const Variables& list, std::size_t start, LocallyUniqueID id) {
  std::size_t i = start;
  while (i < list.size() && list[i].GetID() != id) ++i;
  return i;
}

bool Contains(const Variables& list, LocallyUniqueID id) {
  return FirstFrom(list, 0, id) < list.size();
}

void EraseAt(Variables& list, std::size_t position) {
  list.erase(list.begin() + static_cast<std::ptrdiff_t>(position));
}

void InsertAt(Variables& list, std::size_t position, ORVX_Variable variable) {
  list.insert(list.begin() + static_cast<std::ptrdiff_t>(position), std::move(variable));
}

}  // namespace

Uses UsesIn(const ORVX_DataSource& source) {
  Uses uses;
  uses.weight = source.GetWeightVariableID();
  uses.filter = source.GetFilterVariableID();
  for (unsigned int i = 0; i < source.GetNSplitVars(); ++i) {
    uses.split.push_back(source.GetSplitVarID(i));
  }
  uses.separate = source.GetSplitqSeparate();
  return uses;
}

std::vector<Said> PlainComparison::Update(const Variables& source) {
  said_.clear();
  splitCountBefore_ = uses.split.size();
  anyChange = false;
  sourceDirtied = false;
  if (bulkVarMoves) {
    ReplaceAll(source);
  } else {
    Compare(source);
  }
  return std::move(said_);
}

void PlainComparison::ReplaceAll(const Variables& source) {
  anyChange = true;
  Say({Said::Kind::Delete, view, {}, {}, 0});
  while (!view.empty()) EraseFromView(0);
  view = source;
  Say({Said::Kind::Insert, view, LocallyUniqueID(), {}, 0});
  bulkVarMoves = false;
}

void PlainComparison::Compare(const Variables& source) {
  for (std::size_t iNew = 0; iNew < source.size(); ++iNew) {
    const ORVX_Variable& newVar = source[iNew];
    std::size_t j = FirstFrom(view, iNew, newVar.GetID());

    if (j < view.size() && j > iNew) {
      anyChange = true;
      Variables gone;
      std::size_t k = iNew;
      while (k < j) {
        if (!Contains(source, view[k].GetID())) {
          gone.push_back(view[k]);
          EraseFromView(k);
          --j;
        } else {
          ++k;
        }
      }
      if (!gone.empty()) Say({Said::Kind::Delete, gone, {}, {}, 0});
      if (j > iNew) {
        Say({Said::Kind::Move, {}, {}, {static_cast<int>(j)}, static_cast<int>(iNew)});
        ORVX_Variable moved = view[j];
        EraseFromView(j);
        InsertAt(view, iNew, std::move(moved));
      }
    } else if (j == view.size()) {
      anyChange = true;
      const LocallyUniqueID anchor = iNew < view.size() ? view[iNew].GetID() : LocallyUniqueID();
      Say({Said::Kind::Insert, {newVar}, anchor, {}, 0});
      InsertAt(view, iNew, newVar);
    }

    if (!(newVar == view[iNew])) {
      anyChange = true;
      Say({Said::Kind::Modify, {newVar}, {}, {}, 0});
      if (newVar.GetType() != view[iNew].GetType()) resetClientData = true;
      sourceDirtied = true;
      view[iNew] = newVar;
    }
  }

  if (view.size() > source.size()) {
    anyChange = true;
    const Variables rest(view.begin() + static_cast<std::ptrdiff_t>(source.size()), view.end());
    while (view.size() > source.size()) EraseFromView(source.size());
    Say({Said::Kind::Delete, rest, {}, {}, 0});
  }
}

std::vector<Said> PlainComparison::UpdateUses(const Uses& source) {
  said_.clear();
  if (source.weight != uses.weight) {
    Said said{Said::Kind::Weight, {}, {}, {}, 0};
    said.ids = {source.weight};
    Say(said);
  }
  if (source.filter != uses.filter) {
    Said said{Said::Kind::Filter, {}, {}, {}, 0};
    said.ids = {source.filter};
    Say(said);
  }
  if (SplitChanged(source)) {
    Said said{Said::Kind::Split, {}, {}, {}, 0};
    said.ids = source.split;
    said.flag = source.separate;
    Say(said);
  }
  uses = source;
  return std::move(said_);
}

bool PlainComparison::SplitChanged(const Uses& source) const {
  bool changed = uses.split.size() != splitCountBefore_;
  if (!changed) changed = splitCountBefore_ != source.split.size();
  if (splitCountBefore_ > 0 && !changed) {
    changed = uses.separate != source.separate;
    for (std::size_t i = 0; i < splitCountBefore_ && !changed; ++i) {
      changed = uses.split[i] != source.split[i];
    }
  }
  return changed;
}

void PlainComparison::EraseFromView(std::size_t position) {
  const LocallyUniqueID id = view[position].GetID();
  EraseAt(view, position);
  if (uses.weight == id) uses.weight = LocallyUniqueID();
  if (uses.filter == id) uses.filter = LocallyUniqueID();
  std::erase(uses.split, id);
  if (uses.split.empty()) uses.separate = false;
}

void PlainComparison::Say(Said said) {
  said_.push_back(std::move(said));
}

}  // namespace support
