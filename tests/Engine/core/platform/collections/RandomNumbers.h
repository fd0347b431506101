#pragma once

#include <cstdint>
#include <random>

/// Numbers that look random and are the same for the same seed.
class RandomNumbers {
public:
    explicit RandomNumbers(const uint32_t seed) : m_engine(seed) {}

    /// A number from 0 to `end` - 1.
    uint32_t below(const uint32_t end) { return static_cast<uint32_t>(m_engine() % end); }

private:
    std::mt19937 m_engine;
};
