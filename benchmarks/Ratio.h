// Ratio: the ratio of the times of two operations. ThroughputRatio: the ratio of their throughputs,
// each measured while two threads run the operation.

#ifndef BENCHMARKS_RATIO_H_
#define BENCHMARKS_RATIO_H_

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <limits>
#include <thread>

// Returns the mean time of one call, in seconds.
template <class Operation>
double SecondsOf(int times, Operation operation) {
  const auto start = std::chrono::steady_clock::now();
  for (int i = 0; i < times; ++i) operation();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count() / times;
}

// Returns a number of calls that together take at least a millisecond.
template <class Operation>
int CallsOfABatch(Operation operation) {
  int calls = 1;
  while (SecondsOf(calls, operation) * calls < 1e-3) calls *= 2;
  return calls;
}

// Returns the time of `measured` divided by the time of `peer`. Each time is the mean time of a
// call in the fastest of 100 batches. The batches of `measured` and `peer` alternate, so that load
// on the machine affects both operations.
template <class Measured, class Peer>
double Ratio(Measured measured, Peer peer) {
  const int measuredCalls = CallsOfABatch(measured);
  const int peerCalls = CallsOfABatch(peer);
  double shortest = std::numeric_limits<double>::max();
  double shortestOfPeer = shortest;
  for (int turn = 0; turn < 100; ++turn) {
    shortest = std::min(shortest, SecondsOf(measuredCalls, measured));
    shortestOfPeer = std::min(shortestOfPeer, SecondsOf(peerCalls, peer));
  }
  return shortest / shortestOfPeer;
}

// Runs the operation on two threads for 20 ms. Returns the calls of both threads per second.
template <class Operation>
double PerSecondOnTwoThreads(Operation operation) {
  std::atomic<bool> stop = false;
  std::atomic<long> calls = 0;
  const auto start = std::chrono::steady_clock::now();
  const auto run = [&] {
    long own = 0;
    for (; !stop.load(std::memory_order_relaxed); ++own) operation();
    calls += own;
  };
  {
    std::jthread first(run), second(run);
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    stop = true;
  }
  const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start;
  return static_cast<double>(calls) / seconds.count();
}

// Returns the median of 25 ratios. Each ratio compares a run of `measured` with the run of `peer`
// that follows immediately.
template <class Measured, class Peer>
double ThroughputRatio(Measured measured, Peer peer) {
  std::array<double, 25> ratios;
  for (double& ratio : ratios) {
    const double ours = PerSecondOnTwoThreads(measured);
    ratio = ours / PerSecondOnTwoThreads(peer);
  }
  std::nth_element(ratios.begin(), ratios.begin() + ratios.size() / 2, ratios.end());
  return ratios[ratios.size() / 2];
}

#endif  // BENCHMARKS_RATIO_H_
