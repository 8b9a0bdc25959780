// PlainDictionary: what a program keeps that has no shared values, to measure ours beside.

#ifndef BENCHMARKS_PLAINDICTIONARY_H_
#define BENCHMARKS_PLAINDICTIONARY_H_

#include <libdatasrc/ORVX_DataSource.h>
#include <libdatasrc/ORVX_Variable.h>
#include <ServerDataManager/LocallyUniqueID.h>

#include <algorithm>
#include <chrono>
#include <limits>
#include <string>
#include <vector>

struct PlainDefinition {
  explicit PlainDefinition(const ORVX_Variable& variable)
      : id(variable.GetID()),
        name(variable.GetName()),
        label(variable.GetLabel()),
        type(variable.GetType()),
        valueLabels(variable.GetValueLabels()) {}

  bool operator==(const PlainDefinition&) const = default;

  LocallyUniqueID id;
  std::string name;
  std::string label;
  int type;
  ValueLabels valueLabels;
};

inline std::vector<PlainDefinition> PlainDictionary(const ORVX_DataSource& source) {
  std::vector<PlainDefinition> dictionary;
  for (int i = 0; i < source.ColumnCount(); ++i) dictionary.emplace_back(source.GetVariable(i));
  return dictionary;
}

template <class Operation>
double SecondsOf(Operation operation) {
  const auto start = std::chrono::steady_clock::now();
  operation();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// The time of `operation` as a multiple of the peer's: the shortest of many turns each, so that a
// busy machine disturbs both alike.
template <class Operation, class Peer>
double RatioInTurns(Operation operation, Peer peer) {
  double measured = std::numeric_limits<double>::max();
  double peers = measured;
  for (int turn = 0; turn < 200; ++turn) {
    measured = std::min(measured, SecondsOf(operation));
    peers = std::min(peers, SecondsOf(peer));
  }
  return measured / peers;
}

#endif  // BENCHMARKS_PLAINDICTIONARY_H_
