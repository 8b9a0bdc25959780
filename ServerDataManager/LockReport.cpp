#include <ServerDataManager/LockReport.h>

#include <algorithm>
#include <cstdio>

namespace {

using Kind = LockReport::Kind;
using Mode = LockReport::Mode;

std::string NameOf(const LockReport::Lock& lock) {
  if (lock.kind == Kind::Registry) return "the registry lock";
  const std::string dataset = "dataset " + std::to_string(lock.dataset.Domain()) + ":" +
                              std::to_string(lock.dataset.Serial());
  return lock.kind == Kind::Data ? dataset : "the notification mutex of " + dataset;
}

std::string NameOf(const LockReport::Thread& thread) {
  const std::string number = "thread " + std::to_string(thread.number);
  return thread.label.empty() ? number : thread.label + " (" + number + ")";
}

// Returns what the thread waits for, such as "to read dataset 0:1" or "for the registry lock".
std::string PurposeOf(const LockReport::Entry& wait) {
  if (wait.mode == Mode::Exclusive) return "for " + NameOf(wait.lock);
  return (wait.mode == Mode::Read ? "to read " : "to write ") + NameOf(wait.lock);
}

std::string VerbOf(Mode mode) {
  return mode == Mode::Read ? "reads" : mode == Mode::Write ? "writes" : "holds";
}

std::string HandleOf(const LockReport::Entry& entry) {
  return entry.label.empty() ? "" : " as \"" + entry.label + "\"";
}

std::string Seconds(std::chrono::steady_clock::duration time) {
  char text[32];
  std::snprintf(text, sizeof text, "%.1f s",
                std::max(0.0, std::chrono::duration<double>(time).count()));
  return text;
}

// Returns each lock of the report once, in the order of first appearance.
std::vector<LockReport::Lock> LocksIn(const LockReport& report) {
  std::vector<LockReport::Lock> locks;
  for (const auto* entries : {&report.holds, &report.waits}) {
    for (const LockReport::Entry& entry : *entries) {
      if (std::find(locks.begin(), locks.end(), entry.lock) == locks.end()) {
        locks.push_back(entry.lock);
      }
    }
  }
  return locks;
}

}  // namespace

std::string LockReport::Text() const {
  std::string text;
  for (const Lock& lock : LocksIn(*this)) {
    text += NameOf(lock) + "\n";
    for (const Entry& hold : holds) {
      if (!(hold.lock == lock)) continue;
      text += "  " + NameOf(hold.thread) + " " + VerbOf(hold.mode) + HandleOf(hold) + " for " +
              Seconds(taken - hold.since) + "\n";
    }
    for (const Entry& wait : waits) {
      if (!(wait.lock == lock)) continue;
      const char* const purpose = wait.mode == Mode::Read    ? " to read"
                                  : wait.mode == Mode::Write ? " to write"
                                                             : "";
      text += "  " + NameOf(wait.thread) + " waits" + purpose + HandleOf(wait) + " for " +
              Seconds(taken - wait.since) + "\n";
    }
  }
  if (text.empty()) text = "No lock is held.\n";
  if (!complete) text += "Incomplete: the lock monitor is off or ran out of memory.\n";
  return text;
}

std::string LockIncident::Text() const {
  std::string text = kind == Kind::Deadlock ? "deadlock: " : "long wait: ";
  for (const Step& step : steps) {
    if (&step != &steps.front()) text += "; ";
    text += NameOf(step.wait.thread) + " waits " + PurposeOf(step.wait) + HandleOf(step.wait);
    if (kind == Kind::LongWait) text += " for " + Seconds(noticed - step.wait.since);
    if (step.blocker.thread.number == 0) continue;
    const bool isItself = step.blocker.thread.number == step.wait.thread.number;
    text += ", which " + (isItself ? "it" : NameOf(step.blocker.thread)) + " " +
            VerbOf(step.blocker.mode) + (isItself ? " itself" : HandleOf(step.blocker));
  }
  return text;
}
