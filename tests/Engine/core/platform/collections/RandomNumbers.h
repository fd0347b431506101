#pragma once

#include <cstddef>
#include <cstdint>
#include <random>
#include <utility>

/// Pseudorandom numbers, the same for the same seed.
class RandomNumbers {
public:
    explicit RandomNumbers(const uint32_t seed) : m_engine(seed) {}

    /// Returns a number from 0 to `end` - 1.
    uint32_t below(const uint32_t end) { return static_cast<uint32_t>(m_engine() % end); }

    template<class Items>
    void shuffle(Items& items) {
        for (size_t index = items.size(); index > 1; --index)
            std::swap(items[index - 1], items[below(static_cast<uint32_t>(index))]);
    }

private:
    std::mt19937 m_engine;
};
