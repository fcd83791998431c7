#include "statistics/Statistics.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <stdexcept>

namespace bench {

namespace {

double quantile(const std::vector<double>& sorted, double share)
{
    const double position = share * static_cast<double>(sorted.size() - 1);
    const auto below = static_cast<std::size_t>(position);
    const std::size_t above = std::min(below + 1, sorted.size() - 1);
    return sorted[below] +
           (position - static_cast<double>(below)) * (sorted[above] - sorted[below]);
}

} // namespace

Quartiles quartiles(std::vector<double> values)
{
    if (values.empty()) {
        throw std::invalid_argument("quartiles of no values");
    }
    std::sort(values.begin(), values.end());
    return {quantile(values, 0.25), quantile(values, 0.5), quantile(values, 0.75)};
}

double median(const std::vector<double>& values)
{
    return quartiles(values).median;
}

std::vector<double> pairwiseRatios(const std::vector<double>& ours,
                                   const std::vector<double>& theirs)
{
    std::vector<double> ratios;
    for (std::size_t i = 0; i < std::min(ours.size(), theirs.size()); ++i) {
        ratios.push_back(ours[i] / theirs[i]);
    }
    return ratios;
}

double growthExponent(const std::vector<std::pair<double, double>>& points)
{
    if (points.size() < 2) {
        throw std::invalid_argument("growth of less than two points");
    }
    const auto count = static_cast<double>(points.size());
    double sumX = 0;
    double sumY = 0;
    for (const auto& [x, y] : points) {
        sumX += std::log(x);
        sumY += std::log(y);
    }
    double slope = 0;
    double square = 0;
    for (const auto& [x, y] : points) {
        const double distance = std::log(x) - sumX / count;
        slope += distance * (std::log(y) - sumY / count);
        square += distance * distance;
    }
    return slope / square;
}

} // namespace bench
