#include <libdatasrc/CaseReader.h>
#include <libdatasrc/OBS.h>
#include <libdatasrc/ORVX_DataSource.h>
#include <libdatasrc/Summary.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <utility>
#include <variant>

namespace Summary {

// ---------------------------------------------------------------------------------------------
// Groups

bool IsMissing(const ORVX_Variable& variable, const DataValue& value) {
  const auto* const number = std::get_if<double>(&value);
  if (number != nullptr ? std::isnan(*number) : std::get<std::string>(value).empty()) return true;
  const std::vector<DataValue>& declared = variable.GetMissingValues().values;
  return std::ranges::find(declared, value) != declared.end();
}

namespace {

// The weight or the filter.
class UseOfCases {
 public:
  // `position` is -1 if no variable has this use. `does` is what the variable does, for an error.
  UseOfCases(const ORVX_DataSource& source, int position, const char* does) : position_(position) {
    if (position < 0) return;
    variable_ = source.GetVariable(position);
    if (variable_.GetType() == 0) return;
    throw std::invalid_argument("variable \"" + variable_.GetName() +
                                "\" is a string; only a numeric variable can " + does);
  }

  // The value of the variable in a case: 1 without a variable, and a NaN for a missing value.
  double In(const std::vector<DataValue>& values) const {
    if (position_ < 0) return 1;
    const DataValue& value = values[static_cast<std::size_t>(position_)];
    return IsMissing(variable_, value) ? kMissingNumber : std::get<double>(value);
  }

 private:
  const int position_;
  ORVX_Variable variable_;
};

Key KeyOf(const std::vector<DataValue>& values, const std::vector<std::size_t>& split) {
  Key key;
  for (const std::size_t position : split) {
    const auto* const number = std::get_if<double>(&values[position]);
    const bool isMissing = number != nullptr && std::isnan(*number);
    key.push_back(isMissing ? DataValue(std::string()) : values[position]);
  }
  return key;
}

void Add(const ORVX_Variable& variable, const DataValue& value, double weight, Values& values) {
  const bool isMissing = IsMissing(variable, value);
  (isMissing ? values.missing : values.present) += weight;
  const auto* const number = std::get_if<double>(&value);
  if (!isMissing && number != nullptr) values.numbers.push_back({*number, weight});
}

}  // namespace

Groups ReadGroups(const ORVX_DataSource& source, const std::vector<int>& positions,
                  Progress progress) {
  const UseOfCases weights(source, source.GetWeightVarIndex(), "weight cases");
  const UseOfCases filters(source, source.GetFilterVarIndex(), "select cases");
  std::vector<std::size_t> split;
  for (unsigned int i = 0; i < source.GetNSplitVars(); ++i) {
    split.push_back(static_cast<std::size_t>(source.FindVarIndex(source.GetSplitVarID(i))));
  }
  std::vector<ORVX_Variable> variables;
  for (const int position : positions) variables.push_back(source.GetVariable(position));

  Groups groups;
  CaseReader cases(source, std::move(progress));
  while (cases.Next()) {
    const std::vector<DataValue> values = cases.Values();
    const double weight = weights.In(values);
    const double filter = filters.In(values);
    if (!(weight > 0) || filter == 0 || std::isnan(filter)) continue;
    std::vector<Values>& group =
        groups.try_emplace(KeyOf(values, split), positions.size()).first->second;
    for (std::size_t i = 0; i < group.size(); ++i) {
      Add(variables[i], values[static_cast<std::size_t>(positions[i])], weight, group[i]);
    }
  }
  for (auto& [key, group] : groups) {
    for (Values& values : group) std::ranges::sort(values.numbers, {}, &WeightedValue::value);
  }
  return groups;
}

// ---------------------------------------------------------------------------------------------
// Statistics

namespace {

constexpr double kUndefined = std::numeric_limits<double>::quiet_NaN();

// Reads the sorted values as a list in which each value occurs `weight` times. A rank is a position
// in this list, from 0. The rank must not decrease from call to call.
class Ranks {
 public:
  explicit Ranks(std::span<const WeightedValue> sorted) : values_(sorted) {}

  double operator[](double rank) {
    while (index_ + 1 < values_.size() && below_ + values_[index_].weight <= rank) {
      below_ += values_[index_++].weight;
    }
    return values_[index_].value;
  }

  // Interpolates between the values at the whole ranks before and after `rank`.
  double Between(double rank) {
    const double whole = std::floor(rank);
    const double part = rank - whole;
    const double before = (*this)[whole];
    if (part == 0) return before;
    Ranks next = *this;
    const double after = next[whole + 1];
    return std::lerp(before, after, part);
  }

 private:
  const std::span<const WeightedValue> values_;
  std::size_t index_ = 0;
  double below_ = 0;  // the sum of the weights before index_
};

}  // namespace

Statistics StatisticsOf(std::span<const WeightedValue> sorted) {
  Statistics result{
      0, kUndefined, kUndefined, kUndefined, {kUndefined, kUndefined, kUndefined}, kUndefined};
  if (sorted.empty()) return result;
  double mean = 0;
  double squares = 0;  // the weighted sum of the squared distances from the mean
  for (const auto& [value, weight] : sorted) {
    result.count += weight;
    const double distance = value - mean;
    mean += distance * (weight / result.count);
    squares += weight * distance * (value - mean);
  }
  result.mean = mean;
  if (result.count > 1) result.deviation = std::sqrt(squares / (result.count - 1));
  result.minimum = sorted.front().value;
  result.maximum = sorted.back().value;
  Ranks ranks(sorted);
  for (std::size_t i = 0; i < result.quartiles.size(); ++i) {
    const double share = static_cast<double>(i + 1) / 4;
    result.quartiles[i] = ranks.Between(std::max(0.0, (result.count - 1) * share));
  }
  return result;
}

std::string Histogram(std::span<const WeightedValue> sorted, std::size_t bins) {
  if (sorted.empty() || bins == 0) return "";
  const double least = sorted.front().value;
  const double range = sorted.back().value - least;
  if (!std::isfinite(range)) return "";
  std::vector<double> weights(bins);
  for (const auto& [value, weight] : sorted) {
    const double place = range > 0 ? (value - least) / range * static_cast<double>(bins) : 0;
    weights[std::min(static_cast<std::size_t>(place), bins - 1)] += weight;
  }
  static constexpr const char* kBlocks[] = {" ", "▁", "▂", "▃", "▄", "▅", "▆", "▇", "█"};
  const double most = *std::ranges::max_element(weights);
  std::string chart;
  for (const double weight : weights) {
    chart += kBlocks[static_cast<std::size_t>(std::ceil(weight / most * 8))];
  }
  return chart;
}

// ---------------------------------------------------------------------------------------------
// JSON

namespace {

using JsonTree = nlohmann::ordered_json;

JsonTree InJson(double number) {
  if (std::isfinite(number)) return number;
  if (std::isnan(number)) return nullptr;
  return number > 0 ? "Infinity" : "-Infinity";
}

JsonTree KeyInJson(const DataValue& value) {
  if (const auto* const number = std::get_if<double>(&value)) return InJson(*number);
  const auto& text = std::get<std::string>(value);
  return text.empty() ? JsonTree(nullptr) : JsonTree(text);
}

JsonTree NameAt(const ORVX_DataSource& source, int position) {
  return position < 0 ? JsonTree(nullptr) : JsonTree(source.GetVariable(position).GetName());
}

JsonTree InJson(const std::string& variable, const Values& values) {
  const Statistics result = StatisticsOf(values.numbers);
  JsonTree quartiles = JsonTree::array();
  for (const double quartile : result.quartiles) quartiles.push_back(InJson(quartile));
  return {{"variable", variable},           {"n", values.present},
          {"missing", values.missing},      {"mean", InJson(result.mean)},
          {"sd", InJson(result.deviation)}, {"min", InJson(result.minimum)},
          {"quartiles", quartiles},         {"max", InJson(result.maximum)}};
}

}  // namespace

std::string Json(const ORVX_DataSource& source, const std::vector<int>& positions,
                 const Groups& groups) {
  JsonTree list = JsonTree::array();
  for (const auto& [key, group] : groups) {
    JsonTree values = JsonTree::array();
    for (unsigned int i = 0; i < key.size(); ++i) {
      values.push_back({{"variable", NameAt(source, source.FindVarIndex(source.GetSplitVarID(i)))},
                        {"value", KeyInJson(key[i])}});
    }
    JsonTree variables = JsonTree::array();
    for (std::size_t i = 0; i < group.size(); ++i) {
      variables.push_back(InJson(source.GetVariable(positions[i]).GetName(), group[i]));
    }
    list.push_back({{"group", values}, {"variables", variables}});
  }
  const JsonTree json = {{"weight", NameAt(source, source.GetWeightVarIndex())},
                         {"filter", NameAt(source, source.GetFilterVarIndex())},
                         {"groups", list}};
  return json.dump(-1, ' ', false, JsonTree::error_handler_t::replace);
}

}  // namespace Summary
