#include <tests/support/OutOfMemory.h>

#include <tests/support/FullMemory.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <exception>

namespace support {

namespace {

struct Undisturbed {
  std::string before;
  std::string after;
  long allocations;
};

Undisturbed CallUndisturbed(const Operation& operation) {
  const Trial trial = operation.prepare();
  std::string before = trial.state();
  const long allocations = AllocationsOf(trial.call);
  return {std::move(before), trial.state(), allocations};
}

// Checks the state after the call. If the call failed, repeats the call and checks again. Returns a
// text that says what is wrong; "" if nothing is wrong.
std::string Judge(const Trial& trial, bool failed, const std::vector<std::string>& permitted,
                  const std::string& after) {
  if (failed) {
    const std::string state = trial.state();
    if (std::find(permitted.begin(), permitted.end(), state) == permitted.end()) {
      return "the failed call left:\n" + state;
    }
    if (trial.beforeRepeating) trial.beforeRepeating();
    trial.call();
  }
  const std::string state = trial.state();
  if (state == after) return "";
  return (failed ? "the repeated call left:\n" : "the call left:\n") + state + "\ninstead of:\n" +
         after;
}

// Makes one call in which an allocation fails. Returns a text that says what is wrong; "" if
// nothing is wrong.
std::string CallWithMemoryFor(long count, Shortage shortage, const Operation& operation,
                              const std::vector<std::string>& permitted, const std::string& after) {
  const long living = LivingBlocks();
  std::string wrong;
  try {
    const Trial trial = operation.prepare();
    const bool failed = FailsWithMemoryFor(
        count, [&] { trial.call(); }, shortage);
    wrong = Judge(trial, failed, permitted, after);
  } catch (const std::exception& error) {
    wrong = std::string("threw: ") + error.what();
  }
  if (wrong.empty() && LivingBlocks() != living) {
    wrong = "blocks leaked: " + std::to_string(LivingBlocks() - living);
  }
  return wrong;
}

void ExpectSafe(const Operation& operation) {
  CallUndisturbed(operation);  // the first call may fill caches
  const Undisturbed expected = CallUndisturbed(operation);
  EXPECT_GT(expected.allocations, 0) << operation.name;

  std::vector<std::string> permitted = operation.statesAfterFailure;
  if (permitted.empty()) permitted = {expected.before};
  for (const Shortage shortage : {Shortage::Lasts, Shortage::Passes}) {
    if (shortage == Shortage::Lasts && operation.endsWithoutMemory) continue;
    for (long count = 0; count < expected.allocations; ++count) {
      const std::string wrong =
          CallWithMemoryFor(count, shortage, operation, permitted, expected.after);
      if (wrong.empty()) continue;
      ADD_FAILURE() << operation.name << ", after " << count << " allocations "
                    << (shortage == Shortage::Lasts ? "all fail: " : "one fails: ") << wrong;
      return;
    }
  }
}

}  // namespace

void ExpectSafeWithoutMemory(const std::vector<Operation>& operations) {
  for (const Operation& operation : operations) ExpectSafe(operation);
}

void ExpectNoAllocations(const std::vector<Call>& calls) {
  for (const Call& call : calls) EXPECT_EQ(AllocationsOf(call.call), 0) << call.name;
}

}  // namespace support
