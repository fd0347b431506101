#pragma once

#include <cstdint>

#include <unistd.h>

/// The machine's memory in bytes: the limit of a dictionary unless another is given.
inline uint64_t getPhysicalMemory() noexcept {
    return static_cast<uint64_t>(::sysconf(_SC_PHYS_PAGES)) * static_cast<uint64_t>(::sysconf(_SC_PAGESIZE));
}
