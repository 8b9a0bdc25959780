// Ratio: the ratio of the times of two operations.

#ifndef BENCHMARKS_RATIO_H_
#define BENCHMARKS_RATIO_H_

#include <algorithm>
#include <chrono>
#include <limits>

template <class Operation>
double SecondsOf(int times, Operation operation) {
  const auto start = std::chrono::steady_clock::now();
  for (int i = 0; i < times; ++i) operation();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count() / times;
}

// A number of calls that takes at least a millisecond.
template <class Operation>
int CallsOfABatch(Operation operation) {
  int calls = 1;
  while (SecondsOf(calls, operation) * calls < 1e-3) calls *= 2;
  return calls;
}

// Compares the shortest of several alternating batches, so that load on the machine affects both.
template <class Measured, class Peer>
double Ratio(Measured measured, Peer peer) {
  const int measuredCalls = CallsOfABatch(measured);
  const int peerCalls = CallsOfABatch(peer);
  double shortest = std::numeric_limits<double>::max();
  double shortestOfPeer = shortest;
  for (int turn = 0; turn < 20; ++turn) {
    shortest = std::min(shortest, SecondsOf(measuredCalls, measured));
    shortestOfPeer = std::min(shortestOfPeer, SecondsOf(peerCalls, peer));
  }
  return shortest / shortestOfPeer;
}

#endif  // BENCHMARKS_RATIO_H_
