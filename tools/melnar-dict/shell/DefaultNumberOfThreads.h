#pragma once

#include <algorithm>
#include <cstddef>
#include <thread>

/// Returns one thread for each core.
inline size_t getDefaultNumberOfThreads() noexcept {
    return std::max(1u, std::thread::hardware_concurrency());
}
