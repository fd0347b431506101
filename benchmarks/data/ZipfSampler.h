#pragma once

#include "benchmarks/data/RandomNumbers.h"

#include <cstdint>

/// Draws ranks from 0 on, rank k with a probability proportional to 1 / (k + 1)^exponent.
///
/// Uses rejection from the integral of that function, which needs no table and slightly more than one random number per
/// rank (Hörmann and Derflinger, "Rejection-inversion to generate variates from monotone discrete distributions").
class ZipfSampler {
public:
    /// The exponent must be positive and not 1.
    ZipfSampler(uint64_t numberOfRanks, double exponent) noexcept;

    uint64_t operator()(RandomNumbers& randomNumbers) const noexcept;

private:
    double integral(double x) const noexcept;
    double inverseOfIntegral(double y) const noexcept;
    double density(double x) const noexcept;

    const double m_exponent;
    const double m_lastRank;
    const double m_integralAtStart;
    const double m_integralAtEnd;
    const double m_acceptedDistance;
};
