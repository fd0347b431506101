#include "tools/melnar-dict/load/DistinctEstimator.h"

#include "Engine/core/data-store/dictionary/StringChunk.h"

#include <cmath>

namespace {

using LiteralsOfUnits = std::vector<uint64_t>;

double estimateLow(const LiteralsOfUnits& literalsOfUnits, const double seen, const double share) {
    const auto units = static_cast<double>(literalsOfUnits.size() - 1);
    const auto once = static_cast<double>(literalsOfUnits[1]);
    const double twice = units > 1 ? static_cast<double>(literalsOfUnits[2]) * units / (units - 1) : 0;
    return seen + once * once / (2 * twice + once * share / (1 - share));
}

double estimateHigh(const LiteralsOfUnits& literalsOfUnits, const double seen, const double share) {
    const size_t units = literalsOfUnits.size() - 1;
    if (units == 1)
        return seen / share;
    const size_t half = units / 2;
    const auto logarithmOfChoices = [](const size_t all, const size_t chosen) {
        // NOLINTBEGIN(concurrency-mt-unsafe): it sets a variable for the sign, which nobody reads
        return std::lgamma(static_cast<double>(all) + 1) - std::lgamma(static_cast<double>(chosen) + 1) -
               std::lgamma(static_cast<double>(all - chosen) + 1);
        // NOLINTEND(concurrency-mt-unsafe)
    };
    double missedByHalf = 0; // on average over all halves
    for (size_t number = 1; number <= units - half; ++number)
        missedByHalf += static_cast<double>(literalsOfUnits[number]) *
                        std::exp(logarithmOfChoices(units - number, half) - logarithmOfChoices(units, half));
    const double power =
        std::log(seen / (seen - missedByHalf)) / std::log(static_cast<double>(units) / static_cast<double>(half));
    return seen * std::pow(1 / share, power);
}

} // namespace

void DistinctEstimator::take(const uint64_t resourceID, const size_t length) {
    if (resourceID >= m_seen.size())
        m_seen.resize(resourceID + 1);
    Seen& seen = m_seen[resourceID];
    if (seen.m_lastUnit == m_unit)
        return;
    seen.m_lastUnit = m_unit;
    seen.m_length = length;
    ++seen.m_numberOfUnits;
}

DistinctEstimator::Estimate DistinctEstimator::extrapolate(const double share) const {
    Estimate seenAtAll;
    Estimate seenOnce;
    std::vector<uint64_t> literalsOfUnits(m_unit + 1); // by the number of units they were met in
    for (const Seen& seen : m_seen) {
        if (seen.m_numberOfUnits == 0)
            continue;
        const auto add = [&seen](Estimate& estimate) {
            ++estimate.m_number;
            estimate.m_textBytes += static_cast<double>(seen.m_length);
            estimate.m_chunkBytes += static_cast<double>(StringChunk::getChunkSizeFor(seen.m_length));
        };
        add(seenAtAll);
        if (seen.m_numberOfUnits == 1)
            add(seenOnce);
        ++literalsOfUnits[seen.m_numberOfUnits];
    }
    if (share >= 1 || seenOnce.m_number == 0)
        return seenAtAll;
    const double number = std::sqrt(estimateLow(literalsOfUnits, seenAtAll.m_number, share) *
                                    estimateHigh(literalsOfUnits, seenAtAll.m_number, share));
    const double factor = (number - seenAtAll.m_number) / seenOnce.m_number;
    return {number, seenAtAll.m_textBytes + factor * seenOnce.m_textBytes,
            seenAtAll.m_chunkBytes + factor * seenOnce.m_chunkBytes};
}
