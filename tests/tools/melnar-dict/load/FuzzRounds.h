#pragma once

#include <cstddef>
#include <cstdlib>

/// Returns how often to try damaged texts; MELNAR_FUZZ_ROUNDS requests more than fit into a test run.
inline size_t getNumberOfFuzzRounds(const size_t usual) {
    const char* const rounds = std::getenv("MELNAR_FUZZ_ROUNDS"); // NOLINT(concurrency-mt-unsafe): nobody sets it
    return rounds == nullptr ? usual : std::strtoul(rounds, nullptr, 10);
}
