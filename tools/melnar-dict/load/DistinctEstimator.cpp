#include "tools/melnar-dict/load/DistinctEstimator.h"

#include <cmath>

namespace {

using TermsOfUnits = std::vector<uint64_t>;

double estimateLow(const TermsOfUnits& termsOfUnits, const double seen, const double share) {
    const auto units = static_cast<double>(termsOfUnits.size() - 1);
    const auto once = static_cast<double>(termsOfUnits[1]);
    const double twice = units > 1 ? static_cast<double>(termsOfUnits[2]) * units / (units - 1) : 0;
    return seen + once * once / (2 * twice + once * share / (1 - share));
}

double estimateHigh(const TermsOfUnits& termsOfUnits, const double seen, const double share) {
    const size_t units = termsOfUnits.size() - 1;
    if (units == 1)
        return seen / share;
    const size_t half = units / 2;
    const auto logarithmOfChoices = [](const size_t all, const size_t chosen) {
        // NOLINTBEGIN(concurrency-mt-unsafe): it sets a variable for the sign, which no thread reads
        return std::lgamma(static_cast<double>(all) + 1) - std::lgamma(static_cast<double>(chosen) + 1) -
               std::lgamma(static_cast<double>(all - chosen) + 1);
        // NOLINTEND(concurrency-mt-unsafe)
    };
    double missedByHalf = 0; // on average over all halves
    for (size_t number = 1; number <= units - half; ++number)
        missedByHalf += static_cast<double>(termsOfUnits[number]) *
                        std::exp(logarithmOfChoices(units - number, half) - logarithmOfChoices(units, half));
    const double power =
        std::log(seen / (seen - missedByHalf)) / std::log(static_cast<double>(units) / static_cast<double>(half));
    return seen * std::pow(1 / share, power);
}

} // namespace

void DistinctEstimator::take(const uint32_t numberOfUnits, const size_t textBytes, const size_t chunkBytes) {
    const auto add = [&](Estimate& estimate) {
        ++estimate.m_number;
        estimate.m_textBytes += static_cast<double>(textBytes);
        estimate.m_chunkBytes += static_cast<double>(chunkBytes);
    };
    add(m_seenAtAll);
    if (numberOfUnits == 1)
        add(m_seenOnce);
    ++m_termsOfUnits[numberOfUnits];
}

DistinctEstimator::Estimate DistinctEstimator::extrapolate(const double share) const {
    if (share >= 1 || m_seenOnce.m_number == 0)
        return m_seenAtAll;
    const double number = std::sqrt(estimateLow(m_termsOfUnits, m_seenAtAll.m_number, share) *
                                    estimateHigh(m_termsOfUnits, m_seenAtAll.m_number, share));
    const double factor = (number - m_seenAtAll.m_number) / m_seenOnce.m_number;
    return {number, m_seenAtAll.m_textBytes + factor * m_seenOnce.m_textBytes,
            m_seenAtAll.m_chunkBytes + factor * m_seenOnce.m_chunkBytes};
}
