#ifndef OSTREL_BENCH_STATISTICS_STATISTICS_H
#define OSTREL_BENCH_STATISTICS_STATISTICS_H

#include <utility>
#include <vector>

namespace bench {

struct Quartiles {
    double lower = 0;
    double median = 0;
    double upper = 0;
};

/// Of at least one value; between two values in proportion.
Quartiles quartiles(std::vector<double> values);

double median(const std::vector<double>& values);

/// ours[i] / theirs[i]. Both were measured in the same round, so that what slows the machine down
/// for a while slows both.
std::vector<double> pairwiseRatios(const std::vector<double>& ours,
                                   const std::vector<double>& theirs);

/// The b of the curve a * x^b that fits `points` (x, y) best on logarithmic axes.
double growthExponent(const std::vector<std::pair<double, double>>& points);

} // namespace bench

#endif
