#pragma once

#include "tests/schedules/Schedule.h"
#include "tests/schedules/Workload.h"

#include <cstdint>

/// Runs two or three threads on the strings of a small dictionary, and then checks everything about it:
///
///   resolve   resolves strings that others use, too, one by one and in batches
///   look-up   looks such strings up, one by one and in batches, and reads resources by their IDs
///   delete    withdraws resources
///   resize    resolves enough new strings to fill the table
///   fail      takes all memory, or makes the system refuse some, resolves new strings, and gives the memory back
///
/// The history of each string must be linearizable. Afterwards each ID is in one bucket, the counters of the table add
/// up, fingerprints hide nothing, all slots are free, and the memory manager has charged what the regions take. What is
/// wrong is reported through Schedule::fail.
void runStringWorkload(Schedule& schedule, Task first, Task second, uint64_t seed, WorkloadFigures& figures);
