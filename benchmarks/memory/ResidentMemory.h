#pragma once

#include <cstddef>

/// Bytes of physical memory that this process uses, and the most that it has used since the last reset.
struct ResidentMemory {
    size_t m_now;
    size_t m_peak;
};

/// Throws std::runtime_error where the system does not tell.
ResidentMemory readResidentMemory();

/// Makes the peak what is used now.
void resetResidentPeak();
