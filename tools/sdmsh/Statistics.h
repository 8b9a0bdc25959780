// Statistics: statistics and a histogram of the values of one numeric variable.

#ifndef SDMSH_STATISTICS_H_
#define SDMSH_STATISTICS_H_

#include <array>
#include <cstddef>
#include <span>
#include <string>
#include <vector>

namespace sdmsh {

struct WeightedValue {
  double value;   // not a NaN
  double weight;  // greater than 0; 1 without a weight variable
};

// A statistic that is not defined is a NaN. Without values, all statistics except `count` are
// undefined; if the sum of the weights is at most 1, `deviation` is undefined.
struct Statistics {
  double count = 0;  // the sum of the weights
  double mean;
  double deviation;  // standard deviation; the divisor is count - 1
  double minimum;
  std::array<double, 3> quartiles;
  double maximum;
};

// Sorts the values. A weight is the number of times that a value occurs. The mean and the deviation
// are updated value by value: D. H. D. West, "Updating Mean and Variance Estimates", CACM 22
// (1979). The quartiles are definition 7 of R. J. Hyndman and Y. Fan, "Sample Quantiles in
// Statistical Packages", The American Statistician 50 (1996).
Statistics StatisticsOf(std::vector<WeightedValue>& values);

// The distribution of the values as a bar chart of one line: the range from the minimum to the
// maximum in `bins` parts, each a block character whose height shows the sum of the weights in this
// part. A part without values is a blank. Empty if there are no values, or if the range is not
// finite.
std::string Histogram(std::span<const WeightedValue> sorted, std::size_t bins);

}  // namespace sdmsh

#endif  // SDMSH_STATISTICS_H_
