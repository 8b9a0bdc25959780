#include "Statistics.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace sdmsh {
namespace {

constexpr double kUndefined = std::numeric_limits<double>::quiet_NaN();

// Reads the sorted values as a list in which each value occurs `weight` times. Ranks count from 0
// and must not decrease from call to call.
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

Statistics StatisticsOf(std::vector<WeightedValue>& values) {
  Statistics result{
      0, kUndefined, kUndefined, kUndefined, {kUndefined, kUndefined, kUndefined}, kUndefined};
  if (values.empty()) return result;
  std::ranges::sort(values, {}, &WeightedValue::value);
  double mean = 0;
  double squares = 0;  // the weighted sum of the squared distances from the mean
  for (const auto& [value, weight] : values) {
    result.count += weight;
    const double distance = value - mean;
    mean += distance * (weight / result.count);
    squares += weight * distance * (value - mean);
  }
  result.mean = mean;
  if (result.count > 1) result.deviation = std::sqrt(squares / (result.count - 1));
  result.minimum = values.front().value;
  result.maximum = values.back().value;
  Ranks ranks(values);
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

}  // namespace sdmsh
