#pragma once

#include "benchmarks/data/RandomNumbers.h"

#include <cstdint>

/// Draws ranks from 0 on, rank k with a probability in proportion to 1 / (k + 1)^exponent.
///
/// By rejection from the integral of that function, which needs no table and a little more than one random number a
/// rank (Hörmann and Derflinger, "Rejection-inversion to generate variates from monotone discrete distributions").
class ZipfSampler {
public:
    /// The exponent is positive and not 1.
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
