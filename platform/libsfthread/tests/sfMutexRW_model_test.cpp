// Compares the lock with a simple model of its guarantees, in every interleaving of three threads.
//
// Each thread makes four calls (three with the thread sanitizer); each call may be any of the five
// operations. After each call, the threads that wait must be the same as in the model. Every run
// ends by releasing every held read or write, one by one.
//
// Each state of the lock (how and by which threads it is held, which threads wait and in which
// order) is explored only once. States that differ only by a permutation of threads count as one.
//
// A second test brings the lock into each state in which readers wait for a waiting writer. Then it
// waits until the readers are admitted.

#include <gtest/gtest.h>
#include <libsfthread/sfMutexRW.h>
#include <tests/support/WatchedThread.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <deque>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace {

using namespace std::chrono_literals;
using support::WatchedThread;
using Clock = std::chrono::steady_clock;

constexpr int kCalls = CALLS_OF_EACH_THREAD;  // see CMakeLists.txt
constexpr std::size_t kThreads = 3;
// How long a waiting writer blocks new readers the first time. A run that takes longer than
// kLongestRun is repeated, because the lock may have admitted readers during the run.
constexpr auto kFirstClosing = 80ms;
constexpr auto kLongestRun = 60ms;

enum class Call { Read, TryRead, Write, TryWrite, Unlock };
constexpr Call kAllCalls[] = {Call::Read, Call::TryRead, Call::Write, Call::TryWrite, Call::Unlock};

// --- The model ---------------------------------------------------------------------------------

struct Model {
  using Thread = std::size_t;

  bool writing = false;
  int reads = 0;
  std::vector<Thread> waitingWriters;  // in order of arrival
  std::array<bool, kThreads> waitsToRead = {};
  // The number of reads that each thread acquired and has not released itself.
  std::array<int, kThreads> ownReads = {};
  std::array<int, kThreads> callsLeft = {};

  auto operator<=>(const Model&) const = default;

  bool Waits(Thread thread) const {
    return waitsToRead[thread] ||
           std::find(waitingWriters.begin(), waitingWriters.end(), thread) != waitingWriters.end();
  }
  bool IsFree() const { return !writing && reads == 0; }
  bool HasReadersBehindAWaitingWriter() const {
    return !writing && std::find(waitsToRead.begin(), waitsToRead.end(), true) != waitsToRead.end();
  }

  // Makes the call. Returns the result of a try; true for any other call.
  bool Make(Thread thread, Call call) {
    switch (call) {
      case Call::Read: {
        const bool in = MayRead(thread);
        ++ownReads[thread];
        if (in) ++reads;
        waitsToRead[thread] = !in;
        return true;
      }
      case Call::TryRead: {
        const bool in = MayRead(thread);
        if (!in) return false;
        ++reads;
        ++ownReads[thread];
        return true;
      }
      case Call::Write:
        if (IsFree()) {
          writing = true;
        } else {
          waitingWriters.push_back(thread);
        }
        return true;
      case Call::TryWrite: {
        const bool in = IsFree();
        if (in) writing = true;
        return in;
      }
      case Call::Unlock:
        if (ownReads[thread] > 0) --ownReads[thread];
        Unlock();
        return true;
    }
    return true;
  }

  void Unlock() {
    const bool wrote = std::exchange(writing, false);
    if (!wrote && reads > 0) --reads;
    if (wrote) LetReadersIn();
    if (IsFree() && !waitingWriters.empty()) {
      writing = true;
      waitingWriters.erase(waitingWriters.begin());
    }
  }

  void LetReadersIn() {
    for (bool& waits : waitsToRead) {
      if (std::exchange(waits, false)) ++reads;
    }
  }

 private:
  bool MayRead(Thread thread) const {
    return !writing && (waitingWriters.empty() || ownReads[thread] > 0);
  }
};

// --- Permutations of threads -------------------------------------------------------------------

using Order = std::array<std::size_t, kThreads>;  // the old number of each renumbered thread

Model InOrder(const Model& model, const Order& order) {
  Model result = model;
  for (std::size_t place = 0; place < kThreads; ++place) {
    result.waitsToRead[place] = model.waitsToRead[order[place]];
    result.ownReads[place] = model.ownReads[order[place]];
    result.callsLeft[place] = model.callsLeft[order[place]];
  }
  for (std::size_t& writer : result.waitingWriters) {
    writer =
        static_cast<std::size_t>(std::find(order.begin(), order.end(), writer) - order.begin());
  }
  return result;
}

// Returns the permutation of threads that gives the smallest model by operator<. Models that differ
// only by a permutation have the same smallest model.
Order CanonicalOrder(const Model& model) {
  Order order = {0, 1, 2};
  Order best = order;
  Model least = model;
  while (std::next_permutation(order.begin(), order.end())) {
    Model other = InOrder(model, order);
    if (other >= least) continue;
    least = std::move(other);
    best = order;
  }
  return best;
}

Model Canonical(const Model& model) {
  return InOrder(model, CanonicalOrder(model));
}

// --- Unexplored transitions ----------------------------------------------------------------------

struct Step {
  std::size_t thread;
  Call call;
};

std::vector<Step> StepsFrom(const Model& model) {
  std::vector<Step> steps;
  for (std::size_t thread = 0; thread < kThreads; ++thread) {
    if (model.callsLeft[thread] == 0 || model.Waits(thread)) continue;
    for (const Call call : kAllCalls) steps.push_back({thread, call});
  }
  return steps;
}

Model After(Model model, const Step& step) {
  --model.callsLeft[step.thread];
  model.Make(step.thread, step.call);
  return model;
}

Model Start() {
  Model model;
  model.callsLeft.fill(kCalls);
  return model;
}

// Plans runs until every possible transition has been in a run.
class Plan {
 public:
  // Returns an empty run when everything is explored.
  std::vector<Step> NextRun() {
    std::vector<Step> run;
    Model model = Start();
    while (const Edge* const edge = Choose(NodeOf(Canonical(model)))) {
      tried_.insert(edge->transition);
      run.push_back({CanonicalOrder(model)[edge->step.thread], edge->step.call});
      model = After(model, run.back());
    }
    return run;
  }

  std::size_t Tried() const { return tried_.size(); }

 private:
  // A state of the lock and a call. In the state, callsLeft marks the calling thread: it is 1 for
  // this thread and 0 for the others.
  using Transition = std::pair<Model, Call>;

  struct Node;
  struct Edge {
    Step step;
    Transition transition;
    Node* next;
  };
  struct Node {
    std::vector<Edge> edges;
    bool isExhausted = false;
  };

  Node& NodeOf(const Model& canonical) {
    const auto [found, isNew] = nodes_.try_emplace(canonical);
    Node& node = found->second;
    if (!isNew) return node;
    for (const Step& step : StepsFrom(canonical)) {
      Model marked = canonical;
      marked.callsLeft = {};
      marked.callsLeft[step.thread] = 1;
      node.edges.push_back(
          {step, {Canonical(marked), step.call}, &NodeOf(Canonical(After(canonical, step)))});
    }
    return node;
  }

  const Edge* Choose(const Node& node) {
    for (const Edge& edge : node.edges) {
      if (tried_.count(edge.transition) == 0) return &edge;
    }
    for (const Edge& edge : node.edges) {
      if (HasMore(*edge.next)) return &edge;
    }
    return nullptr;
  }

  bool HasMore(Node& node) {
    if (!node.isExhausted && Choose(node) == nullptr) node.isExhausted = true;
    return !node.isExhausted;
  }

  std::map<Model, Node> nodes_;
  std::set<Transition> tried_;
};

// --- Comparison of the lock with the model -----------------------------------------------------

std::string ToText(const std::vector<Step>& steps) {
  constexpr const char* kWords[] = {" readLock", " tryReadLock", " writeLock", " tryWriteLock",
                                    " unlock"};
  std::string words;
  for (const Step& step : steps) {
    words += (words.empty() ? "" : ", ");
    words += static_cast<char>('A' + step.thread);
    words += kWords[static_cast<std::size_t>(step.call)];
  }
  return words;
}

// Three threads. Each run uses a new lock, because a thread remembers its reads of the last lock
// that it read, even those of an earlier run.
class Stage {
 public:
  // Runs the steps. Returns whether the lock agreed with the model; false if the run took too long.
  bool Play(const std::vector<Step>& steps) {
    lock_ = &locks_.emplace_back();
    model_ = Start();
    const auto start = Clock::now();
    bool agrees = true;
    for (const Step& step : steps) agrees = agrees && Make(step);
    isTimely_ = Clock::now() - start < kLongestRun;
    return agrees && isTimely_;
  }
  bool IsTimely() const { return isTimely_; }

  // Returns whether the readers that wait for the waiting writer are admitted at the time limit,
  // without another call.
  bool ReadersGetIn() {
    model_.LetReadersIn();
    return Agrees();
  }

  // Releases every held read or write, one by one. Returns whether the lock agreed with the model
  // after each release.
  bool EndAll() {
    while (!model_.IsFree()) {
      model_.Unlock();
      lock_->unlock();
      if (!Agrees()) return false;
    }
    return true;
  }

  // Releases the lock until every call has returned. Used after a run that took too long or
  // disagreed with the model.
  void Clear() {
    const auto deadline = Clock::now() + 5s;
    for (WatchedThread& thread : threads_) {
      while (!thread.IsDone() && Clock::now() < deadline) {
        lock_->unlock();
        std::this_thread::yield();
      }
    }
  }

 private:
  bool Make(const Step& step) {
    bool& in = results_[step.thread];
    in = true;
    threads_[step.thread].Start([this, &in, call = step.call] { in = Make(call); });
    const bool expected = model_.Make(step.thread, step.call);
    return Agrees() && (model_.Waits(step.thread) || in == expected);
  }

  bool Make(Call call) {
    switch (call) {
      case Call::Read:
        lock_->readLock();
        return true;
      case Call::TryRead:
        return lock_->tryReadLock();
      case Call::Write:
        lock_->writeLock();
        return true;
      case Call::TryWrite:
        return lock_->tryWriteLock();
      case Call::Unlock:
        lock_->unlock();
        return true;
    }
    return true;
  }

  bool Agrees() {
    for (std::size_t thread = 0; thread < kThreads; ++thread) {
      if (!model_.Waits(thread) && !threads_[thread].IsDoneWithin(5s)) return false;
    }
    for (std::size_t thread = 0; thread < kThreads; ++thread) {
      if (model_.Waits(thread) && !threads_[thread].Waits()) return false;
    }
    return true;
  }

  std::deque<sfMutexRW> locks_;
  sfMutexRW* lock_ = nullptr;
  Model model_;
  bool isTimely_ = true;
  std::array<bool, kThreads> results_ = {};
  std::array<WatchedThread, kThreads> threads_;
};

TEST(MutexRWModel, PredictsTheLockInEveryInterleavingOfThreeThreads) {
  Stage stage;
  Plan plan;
  int runs = 0;
  int late = 0;
  for (auto steps = plan.NextRun(); !steps.empty(); steps = plan.NextRun()) {
    ++runs;
    bool agrees = stage.Play(steps);
    for (int again = 0; !agrees && !stage.IsTimely() && again < 100; ++again, ++late) {
      stage.Clear();
      agrees = stage.Play(steps);
    }
    agrees = agrees && stage.EndAll();
    if (!agrees) stage.Clear();
    ASSERT_TRUE(agrees) << ToText(steps);
  }
  RecordProperty("transitions", static_cast<int>(plan.Tried()));
  RecordProperty("runs", runs);
  RecordProperty("late", late);
}

// Returns the shortest run to each state in which readers wait for a waiting writer.
std::vector<std::vector<Step>> RunsToReadersBehindAWaitingWriter() {
  std::vector<std::vector<Step>> found;
  std::set<Model> seen;
  std::set<Model> states;  // the models in `found`, with callsLeft set to 0
  std::deque<std::pair<Model, std::vector<Step>>> open = {{Start(), {}}};
  while (!open.empty()) {
    const auto [model, steps] = open.front();
    open.pop_front();
    Model state = model;
    state.callsLeft = {};
    if (model.HasReadersBehindAWaitingWriter() && states.insert(Canonical(state)).second) {
      found.push_back(steps);
    }
    for (const Step& step : StepsFrom(model)) {
      const Model next = After(model, step);
      if (!seen.insert(Canonical(next)).second) continue;
      std::vector<Step> longer = steps;
      longer.push_back(step);
      open.emplace_back(next, std::move(longer));
    }
  }
  return found;
}

TEST(MutexRWModel, EveryReaderBehindAWriterIsAdmittedWithinTheTimeLimit) {
  const auto runs = RunsToReadersBehindAWaitingWriter();
  ASSERT_FALSE(runs.empty());
  std::array<Stage, 16> stages;  // saves time: 16 runs wait for the time limit concurrently
  for (std::size_t first = 0; first < runs.size(); first += stages.size()) {
    const std::size_t count = std::min(stages.size(), runs.size() - first);
    for (std::size_t i = 0; i < count; ++i) {
      bool agrees = stages[i].Play(runs[first + i]);
      for (int again = 0; !agrees && !stages[i].IsTimely() && again < 100; ++again) {
        stages[i].Clear();
        agrees = stages[i].Play(runs[first + i]);
      }
      ASSERT_TRUE(agrees) << ToText(runs[first + i]);
    }
    const auto closed = Clock::now();
    for (std::size_t i = 0; i < count; ++i) {
      ASSERT_TRUE(stages[i].ReadersGetIn()) << ToText(runs[first + i]);
    }
    EXPECT_LT(Clock::now() - closed, kFirstClosing + 1s);
    for (std::size_t i = 0; i < count; ++i) {
      ASSERT_TRUE(stages[i].EndAll()) << ToText(runs[first + i]);
    }
  }
}

}  // namespace
