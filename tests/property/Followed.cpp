// Followed: one comparison, judged from all sides.

#include <tests/property/Followed.h>

#include <ServerDataManager/ObserverViewData.h>
#include <tests/support/Dictionary.h>
#include <tests/support/Messages.h>

#include <algorithm>

namespace {

template <class List>
std::vector<std::string> Lines(const List& list) {
  std::vector<std::string> lines;
  for (const auto& element : list) lines.push_back(support::AsText(element));
  return lines;
}

}  // namespace

void Followed::ReplaceSource() {
  item_.SetDataSet(new DataFreeDataSource);
}

void Followed::BulkVarMoves() {
  item_.BulkVarMoves(true);
  plain_.bulkVarMoves = true;
}

std::string Followed::Update(bool mirrored) {
  const bool wasDirty = Source().IsDirty();
  SvrDMObserverView::Data& data = *item_.observerView_.data_;
  // The number of rows, always 0, is news the first time only.
  plain_.resetClientData = data.rowCount != 0;

  item_.observerView_.Update();

  std::string wrong = MessagesThatDiffer(plain_.Update(support::VariablesOf(Source())));
  wrong += FlagsThatDiffer(wasDirty);
  wrong += ListsThatDiffer("view", support::VariablesOf(data.view));
  if (mirrored) {
    try {
      mirror_.Apply(item_.Notifications());
      wrong += ListsThatDiffer("mirror", support::VariablesOf(mirror_.Dictionary()));
    } catch (const MirrorError& error) {
      wrong += std::string("The mirror refuses the messages: ") + error.what() + "\n";
    }
  }
  item_.ClearNotifications();
  return wrong;
}

std::string Followed::MessagesThatDiffer(const std::vector<support::Said>& expected) const {
  const std::vector<support::Said> queued =
      support::OnlyAboutVariables(support::WhatIsSaidBy(item_.Notifications()));
  if (queued == expected) return "";
  return "Other messages than the plain transcription's:\n" +
         support::SideBySide("plain", Lines(expected), "queued", Lines(queued));
}

bool Followed::ClientsDropTheirData() const {
  const std::vector<support::Said> queued = support::WhatIsSaidBy(item_.Notifications());
  return std::any_of(queued.begin(), queued.end(), [](const support::Said& said) {
    return said.kind == support::Said::Kind::RowCount;
  });
}

std::string Followed::FlagsThatDiffer(bool wasDirty) {
  std::string wrong;
  if (Source().IsDirty() != (wasDirty || plain_.sourceDirtied)) {
    wrong += "The source's dirty flag is wrong.\n";
  }
  if (ClientsDropTheirData() != plain_.resetClientData) {
    wrong += "Whether clients drop their data is wrong.\n";
  }
  if (item_.observerView_.data_->bulkVarMoves) wrong += "The wish for bulk moves is left.\n";
  return wrong;
}

std::string Followed::ListsThatDiffer(const char* name, const std::vector<ORVX_Variable>& list) {
  const std::vector<ORVX_Variable> source = support::VariablesOf(Source());
  if (list == source) return "";
  return std::string("The ") + name + " does not equal the source:\n" +
         support::SideBySide("source", Lines(source), name, Lines(list));
}
