// Followed: updates all followers and compares them.

#include <tests/property/Followed.h>

#include <tests/support/Agreement.h>
#include <tests/support/Dictionary.h>
#include <tests/support/Messages.h>

#include <algorithm>
#include <iterator>
#include <utility>

namespace {

template <class List>
std::vector<std::string> Lines(const List& list) {
  std::vector<std::string> lines;
  for (const auto& element : list) lines.push_back(support::AsText(element));
  return lines;
}

// Whether PlainComparison returns messages of this kind.
bool IsCovered(const support::Said& said) {
  using Kind = support::Said::Kind;
  return support::IsAboutVariables(said) || said.kind == Kind::Weight ||
         said.kind == Kind::Filter || said.kind == Kind::Split;
}

}  // namespace

void Followed::ReplaceSource() {
  item_.SetDataSet(new DataFreeDataSource);
}

void Followed::BulkVarMoves() {
  snapshot_.bulkVarMoves = true;
  plain_.bulkVarMoves = true;
}

std::string Followed::Update(bool mirrored) {
  const bool wasDirty = Source().IsDirty();
  // A message with the row count also resets the client's case data. A new snapshot has no row
  // count, so the first update queues such a message. Later updates do not: the source always has
  // 0 rows.
  plain_.resetClientData = snapshot_.rowCount != 0;

  sdm_internal::UpdateSnapshot(snapshot_);

  std::vector<support::Said> queued = support::WhatIsSaidBy(item_.Notifications());
  std::vector<support::Said> expected = plain_.Update(support::VariablesOf(Source()));
  std::ranges::move(plain_.UpdateUses(support::UsesIn(Source())), std::back_inserter(expected));
  std::string wrong = FlagsThatDiffer(wasDirty, queued);
  wrong += MessagesThatDiffer(expected, std::move(queued));
  wrong += ViewThatDiffers();
  if (mirrored) wrong += MirrorThatDiffers();
  item_.ClearNotifications();
  return wrong;
}

std::string Followed::MessagesThatDiffer(const std::vector<support::Said>& expected,
                                         std::vector<support::Said> queued) {
  std::erase_if(queued, [](const support::Said& said) { return !IsCovered(said); });
  if (queued == expected) return "";
  return "Other messages than the plain comparison's:\n" +
         support::SideBySide("plain", Lines(expected), "queued", Lines(queued));
}

std::string Followed::FlagsThatDiffer(bool wasDirty, const std::vector<support::Said>& queued) {
  std::string wrong;
  if (Source().IsDirty() != (wasDirty || plain_.sourceDirtied)) {
    wrong += "The source's dirty flag is wrong.\n";
  }
  const bool clientsDropTheirData = std::any_of(
      queued.begin(), queued.end(),
      [](const support::Said& said) { return said.kind == support::Said::Kind::RowCount; });
  if (clientsDropTheirData != plain_.resetClientData) {
    wrong += "The flag that resets client data is wrong.\n";
  }
  if (snapshot_.bulkVarMoves) wrong += "The request for a bulk replacement was not cleared.\n";
  return wrong;
}

std::string Followed::ViewThatDiffers() {
  const ORVX_DataSource& view = snapshot_.view;
  if (support::HaveTheSameVariables(Source(), view)) return "";
  return "The view does not equal the source:\n" +
         support::SideBySide("source", Lines(support::VariablesOf(Source())), "view",
                             Lines(support::VariablesOf(view)));
}

std::string Followed::MirrorThatDiffers() {
  try {
    mirror_.Apply(item_.Notifications());
    return support::DifferencesBetween(Source(), mirror_.Dictionary());
  } catch (const MirrorError& error) {
    return std::string("The mirror refuses the messages: ") + error.what() + "\n";
  }
}
