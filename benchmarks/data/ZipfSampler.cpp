#include "benchmarks/data/ZipfSampler.h"

#include <algorithm>
#include <cmath>

// Here ranks count from 1.

ZipfSampler::ZipfSampler(const uint64_t numberOfRanks, const double exponent) noexcept
    : m_exponent(exponent), m_lastRank(static_cast<double>(numberOfRanks)), m_integralAtStart(integral(1.5) - 1),
      m_integralAtEnd(integral(m_lastRank + 0.5)),
      m_acceptedDistance(2 - inverseOfIntegral(integral(2.5) - density(2))) {}

uint64_t ZipfSampler::operator()(RandomNumbers& randomNumbers) const noexcept {
    for (;;) {
        const double y = m_integralAtEnd + randomNumbers.fraction() * (m_integralAtStart - m_integralAtEnd);
        const double x = inverseOfIntegral(y);
        const double rank = std::clamp(std::floor(x + 0.5), 1.0, m_lastRank);
        if (rank - x <= m_acceptedDistance || y >= integral(rank + 0.5) - density(rank))
            return static_cast<uint64_t>(rank) - 1;
    }
}

double ZipfSampler::integral(const double x) const noexcept {
    return (std::pow(x, 1 - m_exponent) - 1) / (1 - m_exponent);
}

double ZipfSampler::inverseOfIntegral(const double y) const noexcept {
    return std::pow(1 + y * (1 - m_exponent), 1 / (1 - m_exponent));
}

double ZipfSampler::density(const double x) const noexcept {
    return std::pow(x, -m_exponent);
}
