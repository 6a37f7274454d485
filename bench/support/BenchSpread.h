// How a series of measured values is summed up for printing: the median with the quartiles
// around it, and the least-squares slope of figures over sizes.
#pragma once

#include <algorithm>
#include <cstddef>
#include <vector>

namespace BenchSpread {

struct CSpread {
    double dQ1 = 0;
    double dMedian = 0;
    double dQ3 = 0;
};

// The value at fraction dAt (0..1) of the sorted values, between neighbours where it falls
// between two.
inline double Quantile(const std::vector<double>& vecSorted, double dAt)
{
    if (vecSorted.empty()) return 0;
    const double dPos = dAt * static_cast<double>(vecSorted.size() - 1);
    const size_t uLow = static_cast<size_t>(dPos);
    const size_t uHigh = std::min(uLow + 1, vecSorted.size() - 1);
    const double dFraction = dPos - static_cast<double>(uLow);
    return vecSorted[uLow] + (vecSorted[uHigh] - vecSorted[uLow]) * dFraction;
}

// Median and quartiles of the values (all zero when there are none).
inline CSpread Of(std::vector<double> vecValues)
{
    std::sort(vecValues.begin(), vecValues.end());
    return {Quantile(vecValues, 0.25), Quantile(vecValues, 0.5), Quantile(vecValues, 0.75)};
}

// The slope of the least-squares line through the points (x, y); 0 with fewer than two
// distinct x.
inline double Slope(const std::vector<double>& vecX, const std::vector<double>& vecY)
{
    const size_t uCount = std::min(vecX.size(), vecY.size());
    if (uCount < 2) return 0;
    double dMeanX = 0, dMeanY = 0;
    for (size_t i = 0; i < uCount; ++i) dMeanX += vecX[i], dMeanY += vecY[i];
    dMeanX /= uCount;
    dMeanY /= uCount;
    double dCovariance = 0, dVariance = 0;
    for (size_t i = 0; i < uCount; ++i) {
        dCovariance += (vecX[i] - dMeanX) * (vecY[i] - dMeanY);
        dVariance += (vecX[i] - dMeanX) * (vecX[i] - dMeanX);
    }
    return dVariance > 0 ? dCovariance / dVariance : 0;
}

}  // namespace BenchSpread
