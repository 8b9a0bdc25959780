// Locks in JSON.

#include "LockJson.h"

namespace sdmsh {
namespace {

const char* ModeWord(LockMode mode) {
  return mode == LockMode::Read ? "read" : "write";
}

const char* LockWord(LockEvent::What what) {
  switch (what) {
    case LockEvent::What::Taken:
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

Json HoldingsInJson(const std::vector<Holding>& holdings) {
  Json json = Json::array();
  for (const Holding& holding : holdings) {
    json.push_back({{"role", holding.role}, {"mode", ModeWord(holding.mode)}});
  }
  return json;
}

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

}  // namespace sdmsh
