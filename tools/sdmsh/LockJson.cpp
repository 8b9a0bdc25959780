// Locks in JSON.

#include "LockJson.h"

#include "VariableJson.h"

namespace sdmsh {
namespace {

const char* LockWord(LockEvent::What what) {
  switch (what) {
    case LockEvent::What::Acquired:
      return "taken";
    case LockEvent::What::Waits:
      return "waits";
    case LockEvent::What::LetIn:
      return "letIn";
    case LockEvent::What::Released:
      return "released";
    case LockEvent::What::TryFailed:
      return "tryFailed";
  }
  return "unknown";
}

}  // namespace

Json LockInJson(const LockEvent& event) {
  Json json = {{"what", LockWord(event.what)},
               {"role", event.role},
               {"dataset", event.dataset},
               {"mode", ModeWord(event.mode)}};
  if (event.what == LockEvent::What::Waits || event.what == LockEvent::What::TryFailed) {
    json["holders"] = HoldingsInJson(event.holders);
    json["waiters"] = HoldingsInJson(event.waiters);
  }
  return json;
}

Json DeadlockInJson(const Deadlock& deadlock) {
  Json steps = Json::array();
  for (const Deadlock::Step& step : deadlock.steps) {
    steps.push_back({{"role", step.role},
                     {"mode", ModeWord(step.mode)},
                     {"dataset", step.dataset},
                     {"holder", HoldingsInJson({step.holder})[0]}});
  }
  return {{"steps", steps}};
}

Json LocksInJson(const LockTable& table) {
  Json datasets = Json::array();
  for (const LockTable::Row& row : table.rows) {
    datasets.push_back({{"dataset", row.dataset},
                        {"id", IdentifierInJson(row.id)},
                        {"holders", HoldingsInJson(row.holders)},
                        {"waiters", HoldingsInJson(row.waiters)}});
  }
  return {{"datasets", datasets}};
}

}  // namespace sdmsh
