#pragma once

#include "tests/schedules/Schedule.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

/// What a thread of a workload mainly does.
enum class Task : uint8_t { RESOLVE, LOOK_UP, DELETE, RESIZE, FAIL };

inline constexpr std::array<std::string_view, 5> TASK_NAMES{"resolve", "look-up", "delete", "resize", "fail"};

/// What happened in the schedules of a workload, so that a report can show that the interesting cases occurred.
struct WorkloadFigures {
    uint64_t m_operations = 0;
    uint64_t m_failures = 0; // of operations, for lack of memory
    uint64_t m_resizes = 0;  // that made a table larger or dropped its tombstones
    uint64_t m_tombstones = 0;
};

/// Runs two or three threads on the strings of a small dictionary, and then checks everything about it:
///
///   resolve   resolves strings that others use, too, one by one and in batches
///   look-up   looks such strings up, one by one and in batches, and reads resources by their IDs
///   delete    withdraws resources
///   resize    resolves enough new strings to fill the table
///   fail      takes all memory, or makes the system refuse some, resolves new strings, and gives the memory back
///
/// The history of each string must be linearizable. Afterwards each ID is in one bucket, the counters of the table add
/// up, fingerprints hide nothing, all slots are free, and the memory manager has charged what the regions take.
///
/// Returns the digest of the schedule. Reports what is wrong through Schedule::fail.
uint64_t runWorkload(Schedule& schedule, Task first, Task second, uint64_t seed, WorkloadFigures& figures);
