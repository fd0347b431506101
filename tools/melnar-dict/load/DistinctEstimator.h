#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

/// Estimates how many distinct terms an input has, and their bytes, from samples of it: units of one size, spread over
/// the input.
///
/// It is the geometric mean of an estimate that tends to be too low and one that tends to be too high. Both are
/// computed from how many terms (Q1, Q2, ...) occurred in just 1, 2, ... units, since repetitions nearby say little
/// about the whole:
///
///   low   The estimate of Chao and Lin for sampling without replacement ("Nonparametric lower bounds for species
///         richness and shared species richness under sampling without replacement", Biometrics 68, 2012). With t units
///         that are a share q of the input, so many are unseen: Q1^2 / (2 Q2 t / (t - 1) + Q1 q / (1 - q)). It is exact
///         where all terms are equally common, or in one unit each.
///   high  Heaps' law (Information Retrieval, 1978): the number of distinct terms grows as a power of the input's
///         length. The power is that of the growth from half of the units to all of them; what half of them would have
///         is known exactly (Colwell, Mao and Chang, "Interpolating, extrapolating, and comparing incidence-based
///         species accumulation curves", Ecology 85, 2004). In truth the power declines.
///
/// Unseen terms are assumed to be as long as those that occurred in one unit.
///
/// Threads  One at a time.
class DistinctEstimator {
public:
    struct Estimate {
        double m_number = 0;
        double m_textBytes = 0;
        double m_chunkBytes = 0; // as in a dictionary's data pool
    };

    /// Takes samples of so many units.
    explicit DistinctEstimator(const uint32_t numberOfUnits) : m_termsOfUnits(size_t(numberOfUnits) + 1) {}

    /// Takes a distinct term that occurred in so many units, at least one.
    void take(uint32_t numberOfUnits, size_t textBytes, size_t chunkBytes);

    /// Returns the estimate for the whole input, of which the units are a share above 0 and at most 1.
    Estimate extrapolate(double share) const;

private:
    Estimate m_seenAtAll;
    Estimate m_seenOnce;
    std::vector<uint64_t> m_termsOfUnits; // by the number of units in which they occurred
};
