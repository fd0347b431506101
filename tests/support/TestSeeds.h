#pragma once

#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

/// Returns the seeds of a randomised test: MELNAR_SEED of the environment, to repeat a run or to try another one, or 1
/// to `defaultCount`, so that every normal run is the same.
inline std::vector<uint32_t> getTestSeeds(const uint32_t defaultCount) {
    const char* const text = std::getenv("MELNAR_SEED");
    if (text != nullptr)
        return {static_cast<uint32_t>(std::stoul(text))};
    std::vector<uint32_t> seeds;
    for (uint32_t seed = 1; seed <= defaultCount; ++seed)
        seeds.push_back(seed);
    return seeds;
}

/// Returns the message of a failing test, with which it can be repeated.
inline std::string describeSeed(const uint32_t seed) {
    return "replay with MELNAR_SEED=" + std::to_string(seed);
}
