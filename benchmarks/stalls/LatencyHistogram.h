#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

/// How often which latency was seen, in classes that are at most 1/32 wide; the longest exactly. Nanoseconds.
class LatencyHistogram {
public:
    void add(const uint64_t latency) noexcept {
        ++m_counts[getClass(latency)];
        if (latency > m_longest)
            m_longest = latency;
    }

    void add(const LatencyHistogram& other) noexcept;

    uint64_t getLongest() const noexcept { return m_longest; }

    /// The latency that `fraction` of all do not exceed; its class tells where it lies.
    uint64_t getQuantile(double fraction) const noexcept;

private:
    static constexpr size_t CLASSES_PER_OCTAVE = 32;

    /// Latencies below 32 have a class each, then each octave has 32.
    static size_t getClass(const uint64_t latency) noexcept {
        if (latency < CLASSES_PER_OCTAVE)
            return latency;
        const size_t shift = static_cast<size_t>(std::bit_width(latency / CLASSES_PER_OCTAVE)) - 1;
        return shift * CLASSES_PER_OCTAVE + (latency >> shift);
    }

    /// The largest latency of a class.
    static uint64_t getLastOfClass(size_t index) noexcept;

    std::array<uint64_t, 64 * CLASSES_PER_OCTAVE> m_counts{};
    uint64_t m_longest = 0;
};
