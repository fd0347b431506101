#pragma once

#include <chrono>
#include <cstdlib>

/// Returns when a stress test that starts now must stop adding rounds: after MELNAR_STRESS_SECONDS of the environment,
/// or one second if that is not set. This limits only how much is tried; assertions never depend on time.
inline std::chrono::steady_clock::time_point getStressDeadline() {
    const char* const text = std::getenv("MELNAR_STRESS_SECONDS"); // NOLINT(concurrency-mt-unsafe): nobody sets it
    const double seconds = text == nullptr ? 1.0 : std::strtod(text, nullptr);
    return std::chrono::steady_clock::now() +
           std::chrono::duration_cast<std::chrono::steady_clock::duration>(std::chrono::duration<double>(seconds));
}

inline bool isBefore(const std::chrono::steady_clock::time_point deadline) {
    return std::chrono::steady_clock::now() < deadline;
}
