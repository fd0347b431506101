#pragma once

#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

/// The seeds of a test that is driven by chance: MELNAR_SEED of the environment, to replay a run or to try another one,
/// or else 1 to `defaultCount`, so that every ordinary run is the same.
inline std::vector<uint32_t> getTestSeeds(const uint32_t defaultCount) {
    const char* const text = std::getenv("MELNAR_SEED");
    if (text != nullptr)
        return {static_cast<uint32_t>(std::stoul(text))};
    std::vector<uint32_t> seeds;
    for (uint32_t seed = 1; seed <= defaultCount; ++seed)
        seeds.push_back(seed);
    return seeds;
}

/// What a failing test says, so that it can be run again.
inline std::string describeSeed(const uint32_t seed) {
    return "replay with MELNAR_SEED=" + std::to_string(seed);
}
