// Ratio: how the time of one operation stands to that of another.

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

// So many calls that they take a millisecond or more.
template <class Operation>
int CallsOfABatch(Operation operation) {
  int calls = 1;
  while (SecondsOf(calls, operation) * calls < 1e-3) calls *= 2;
  return calls;
}

// The shortest of several batches each, in turns, so that a busy machine disturbs both alike.
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
