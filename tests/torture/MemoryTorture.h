#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <ostream>
#include <string>

/// How long tortureMemory works, and on how many terms.
struct MemoryTortureOptions {
    std::chrono::seconds m_duration{0};
    size_t m_smallestNumberOfCycles = 100;        // performed whatever the duration is
    uint32_t m_numberOfTerms = 400000;            // in the dictionary after each cycle
    std::function<void()> m_afterCycle = nullptr; // to check that a leak is found
};

/// Repeats a cycle on a dictionary: threads resolve new terms, some of which are rolled back; the oldest are removed by
/// a compaction; the dictionary is saved, closed and opened, and its terms are looked up and read. So after each cycle
/// it has as many terms of the same lengths. Measures the resident memory of the process there. The measurement
/// after a third of the smallest number of cycles and a tenth of the duration, but at most ten minutes, is the
/// reference. No later one may differ from it by more than 2 %.
///
/// Prints what is wrong, and then a line. Returns whether nothing was.
bool tortureMemory(const MemoryTortureOptions& options, const std::string& folder, std::ostream& output);
