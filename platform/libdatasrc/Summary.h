// Summary: the values of variables by group, and their statistics.
//
//   for (const auto& [key, group] : Summary::ReadGroups(survey, {0, 3})) {
//     for (const Summary::Values& values : group)
//       Print(Summary::StatisticsOf(values.numbers).mean);
//   }

#ifndef LIBDATASRC_SUMMARY_H_
#define LIBDATASRC_SUMMARY_H_

#include <libdatasrc/ORVX_Variable.h>
#include <libdatasrc/Progress.h>
#include <ServerDataManager/Export.h>

#include <array>
#include <cstddef>
#include <map>
#include <span>
#include <string>
#include <vector>

class ORVX_DataSource;

// Threads: any, for all operations.
namespace Summary {

struct WeightedValue {
  double value;   // not a NaN
  double weight;  // greater than 0; 1 without a weight variable
};

// The values of one variable in one group.
struct Values {
  std::vector<WeightedValue> numbers;  // not missing, in ascending order; empty for strings
  double present = 0;                  // sum of the weights of the values that are not missing
  double missing = 0;                  // sum of the weights of the missing values
};

// The values of the split variables; empty without a split. A missing number is an empty string
// here: a NaN cannot be sorted, and an empty string comes after all numbers.
using Key = std::vector<DataValue>;

// The groups of the split. A group has one Values for each position passed to ReadGroups, in the
// order of the positions.
using Groups = std::map<Key, std::vector<Values>>;

// Whether the value is missing: a missing number, an empty string, or a value that the variable
// declares missing.
SDM_EXPORT bool IsMissing(const ORVX_Variable& variable, const DataValue& value);

// Reads the values of the variables at these positions, and groups them by the split. Omits a case
// whose weight is missing, 0 or negative, or whose filter value is missing or 0. Throws
// std::invalid_argument if the weight or the filter is a string variable, and std::out_of_range for
// a wrong position. Also throws what CaseReader throws; see CaseReader for `progress`.
SDM_EXPORT Groups ReadGroups(const ORVX_DataSource& source, const std::vector<int>& positions,
                             Progress progress = {});

// A statistic that is not defined is a NaN. Without values, all statistics except `count` are
// undefined; if the sum of the weights is at most 1, `deviation` is undefined. The mean and the
// deviation may be infinite or undefined if values are infinite or their differences overflow; the
// quartiles may be if values are infinite.
struct Statistics {
  double count = 0;  // the sum of the weights
  double mean;
  double deviation;  // standard deviation; the divisor is count - 1
  double minimum;
  std::array<double, 3> quartiles;
  double maximum;
};

// The values must be in ascending order. A weight is the number of times that a value occurs. The
// mean and the deviation are updated value by value: D. H. D. West, "Updating Mean and Variance
// Estimates", CACM 22 (1979). The quartiles are definition 7 of R. J. Hyndman and Y. Fan, "Sample
// Quantiles in Statistical Packages", The American Statistician 50 (1996).
SDM_EXPORT Statistics StatisticsOf(std::span<const WeightedValue> sorted);

// The distribution of the values as a bar chart of one line: the range from the minimum to the
// maximum in `bins` parts, each a block character whose height shows the sum of the weights in this
// part. A part without values is a blank. Empty if there are no values, if `bins` is 0, or if
// the range is not finite.
SDM_EXPORT std::string Histogram(std::span<const WeightedValue> sorted, std::size_t bins);

// The statistics of each variable in each group as JSON on one line: an object with the names of
// the weight and the filter variable, and an array of the groups, each with its key. A statistic
// that is not defined is null, and so is a missing number or an empty string in a key. An infinite
// number is "Infinity" or "-Infinity". Bytes that are not UTF-8 become U+FFFD. `groups` are the
// result of ReadGroups for the source and the positions. The process may end if memory runs out.
SDM_EXPORT std::string Json(const ORVX_DataSource& source, const std::vector<int>& positions,
                            const Groups& groups);

}  // namespace Summary

#endif  // LIBDATASRC_SUMMARY_H_
