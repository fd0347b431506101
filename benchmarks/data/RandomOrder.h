#pragma once

#include "benchmarks/data/RandomNumbers.h"

#include <cstddef>
#include <cstdint>
#include <numeric>
#include <utility>
#include <vector>

/// Returns the numbers below `size` in a random order that depends only on the seed.
inline std::vector<uint32_t> makeRandomOrder(const size_t size, const uint64_t seed) {
    std::vector<uint32_t> order(size);
    std::iota(order.begin(), order.end(), uint32_t(0));
    RandomNumbers randomNumbers(seed);
    for (size_t end = size; end > 1; --end)
        std::swap(order[end - 1], order[randomNumbers.below(end)]);
    return order;
}
