#include "benchmarks/stalls/LatencyHistogram.h"

#include <algorithm>
#include <numeric>

void LatencyHistogram::add(const LatencyHistogram& other) noexcept {
    for (size_t index = 0; index < m_counts.size(); ++index)
        m_counts[index] += other.m_counts[index];
    m_longest = std::max(m_longest, other.m_longest);
}

uint64_t LatencyHistogram::getLastOfClass(const size_t index) noexcept {
    if (index < 2 * CLASSES_PER_OCTAVE)
        return index;
    const size_t shift = index / CLASSES_PER_OCTAVE - 1;
    return ((index - shift * CLASSES_PER_OCTAVE + 1) << shift) - 1;
}

uint64_t LatencyHistogram::getQuantile(const double fraction) const noexcept {
    const uint64_t total = std::accumulate(m_counts.begin(), m_counts.end(), uint64_t(0));
    const uint64_t wanted = static_cast<uint64_t>(fraction * static_cast<double>(total));
    uint64_t seen = 0;
    for (size_t index = 0; index < m_counts.size(); ++index) {
        seen += m_counts[index];
        if (seen > wanted)
            return std::min(getLastOfClass(index), m_longest);
    }
    return m_longest;
}
