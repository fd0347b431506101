#pragma once

#include <cstdint>

/// The part of a spilled file that a checkpoint covers: its first bytes, and the value of their Checksum.
///
/// Threads  One at a time.
struct SpillPrefix {
    bool operator==(const SpillPrefix&) const = default;

    uint64_t m_numberOfBytes = 0; // if 0, there may be no file, and the checksum means nothing
    uint64_t m_checksum = 0;
};
