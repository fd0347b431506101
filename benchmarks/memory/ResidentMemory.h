#pragma once

#include <cstddef>

/// The bytes of physical memory that this process uses, and their maximum since the last reset.
struct ResidentMemory {
    size_t m_now;
    size_t m_peak;
};

/// Throws std::runtime_error if the system does not report them.
ResidentMemory readResidentMemory();

/// Resets the maximum to the current value.
void resetResidentPeak();
