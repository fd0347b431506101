#pragma once

#include "tools/melnar-dict/shell/VerbDescription.h"

#include <chrono>
#include <cstdint>
#include <string>

/// How often a long load is saved before it is done: --checkpoint.
struct CheckpointOptions {
    std::chrono::minutes m_interval{10}; // 0 for never
    uint64_t m_blocks = 0;               // instead of the interval, after so many blocks; 0 for the interval
    bool m_isGiven = false;

    /// Returns whether an unfinished load is saved at all.
    bool isWanted() const noexcept { return m_blocks != 0 || m_interval.count() != 0; }
};

/// Adds --checkpoint. Its help begins with a condition, such as: "with --shards, ".
void addCheckpoint(VerbDescription& verb, const std::string& condition, CheckpointOptions& variable);
