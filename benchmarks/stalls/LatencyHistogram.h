#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

/// Counts latencies, in classes that are at most 1/32 wide, and the longest one exactly. Nanoseconds.
class LatencyHistogram {
public:
    void add(const uint64_t latency) noexcept {
        ++m_counts[getClass(latency)];
        if (latency > m_longest)
            m_longest = latency;
    }

    void add(const LatencyHistogram& other) noexcept;

    uint64_t getLongest() const noexcept { return m_longest; }

    /// Returns the latency that `fraction` of all do not exceed, as precisely as its class.
    uint64_t getQuantile(double fraction) const noexcept;

private:
    static constexpr size_t CLASSES_PER_OCTAVE = 32;

    /// Each latency below 32 has its own class; above that, each octave has 32.
    static size_t getClass(const uint64_t latency) noexcept {
        if (latency < CLASSES_PER_OCTAVE)
            return latency;
        const size_t shift = static_cast<size_t>(std::bit_width(latency / CLASSES_PER_OCTAVE)) - 1;
        return shift * CLASSES_PER_OCTAVE + (latency >> shift);
    }

    /// Returns the largest latency of a class.
    static uint64_t getLastOfClass(size_t index) noexcept;

    std::array<uint64_t, 64 * CLASSES_PER_OCTAVE> m_counts{};
    uint64_t m_longest = 0;
};
