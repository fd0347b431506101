#pragma once

#include <cstdint>

/// A sequence of 64-bit random numbers that is the same on every machine (splitmix64).
class RandomNumbers {
public:
    using result_type = uint64_t;

    explicit RandomNumbers(const uint64_t seed) noexcept : m_state(seed) {}

    static constexpr uint64_t min() noexcept { return 0; }
    static constexpr uint64_t max() noexcept { return ~uint64_t(0); }

    uint64_t operator()() noexcept {
        uint64_t number = m_state += 0x9E3779B97F4A7C15;
        number = (number ^ (number >> 30)) * 0xBF58476D1CE4E5B9;
        number = (number ^ (number >> 27)) * 0x94D049BB133111EB;
        return number ^ (number >> 31);
    }

    /// Returns a number below `end`, which is far below 2^64, so the bias is negligible.
    uint64_t below(const uint64_t end) noexcept { return (*this)() % end; }

    /// Returns a number in [0, 1).
    double fraction() noexcept { return static_cast<double>((*this)() >> 11) * 0x1p-53; }

private:
    uint64_t m_state;
};
