// Runs pairs of benchmarks alternately and prints what one costs in units of the other.
#pragma once

#include <vector>

namespace bench {

/// Runs all benchmarks seven times. A benchmark "X/ours" is compared with "X/bare" of the same
/// round; for each X the median of the seven ratios is printed with the smallest and the largest.
int RunRatios(int argc, char** argv);

/// Median, smallest and largest of the values.
struct Summary {
  double median, smallest, largest;
};
Summary Summarize(std::vector<double> values);

}  // namespace bench
