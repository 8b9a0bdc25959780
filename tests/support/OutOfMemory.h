// OutOfMemory: runs a table of operations and lets each of their allocations fail in turn.
//
//   ExpectSafeWithoutMemory({
//       Changes("SetLabel", [] { return Dictionary("A"); },
//               [](auto& source) { source.SetLabel(kLong); },
//               [](auto& source) { return TextOf(source); }),
//       Returns("Names", [] { return Names(*kSource); }),
//   });
//
// Link test_allocator. Also link test_message_allocator if allocations of messages must fail, and
// test_array_allocator if allocations of arrays must fail: operator new[] of the address sanitizer
// does not call operator new.

#ifndef TESTS_SUPPORT_OUTOFMEMORY_H_
#define TESTS_SUPPORT_OUTOFMEMORY_H_

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace support {

// One call of an operation. Its functions share the objects of the call; no other trial uses these
// objects.
struct Trial {
  std::function<void()> call;
  // Everything that the call may change, as text.
  std::function<std::string()> state;
  // Called after a failed call, before the call is repeated; optional.
  std::function<void()> beforeRepeating = {};
};

struct Operation {
  std::string name;
  // Makes new, equal objects for each trial.
  std::function<Trial()> prepare;
  // The states in which a failed call may leave the objects. If this list is empty, a failed call
  // must not change the state.
  std::vector<std::string> statesAfterFailure = {};
  // Whether the call ends the process if all allocations fail. If true, only one allocation fails
  // in each trial.
  bool endsWithoutMemory = false;
};

// Lets each allocation of each operation fail: first together with all later allocations, then
// alone. A call that fails must throw std::bad_alloc, leave one of the permitted states, and
// succeed when it is repeated. No call may leak memory.
void ExpectSafeWithoutMemory(const std::vector<Operation>& operations);

// A call that must allocate nothing.
struct Call {
  std::string name;
  std::function<void()> call;
};
void ExpectNoAllocations(const std::vector<Call>& calls);

// An operation on an object that `make` returns as a std::unique_ptr.
template <class Make, class Change, class Text>
Operation Changes(std::string name, Make make, Change change, Text text,
                  std::vector<std::string> statesAfterFailure = {}) {
  const auto prepare = [=] {
    const auto object = std::shared_ptr(make());
    return Trial{[=] { change(*object); }, [=] { return text(*object); }};
  };
  return {std::move(name), prepare, std::move(statesAfterFailure)};
}

// An operation that only returns a value.
template <class Make, class Text>
Operation Returns(std::string name, Make make, Text text) {
  const auto prepare = [=] {
    const auto result = std::make_shared<std::optional<decltype(make())>>();
    return Trial{[=] { result->emplace(make()); },
                 [=] { return result->has_value() ? text(**result) : std::string(); }};
  };
  return {std::move(name), prepare};
}
template <class Make>
Operation Returns(std::string name, Make make) {
  return Returns(std::move(name), make, [](const std::string& text) { return text; });
}

}  // namespace support

#endif  // TESTS_SUPPORT_OUTOFMEMORY_H_
