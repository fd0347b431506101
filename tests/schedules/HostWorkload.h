#pragma once

#include "tests/schedules/Schedule.h"
#include "tests/schedules/Workload.h"

#include <cstdint>

/// Runs threads on a small Dictionary, and then checks it:
///
///   term     two or three threads resolve, look up and read the first terms of two families, which share texts; the
///            history of each term must be linearizable
///   commit   one thread resolves, commits and rolls back
///   read     beside it, one or two threads look up as of the commit point, read by ID, and ask for the size; each
///            answer must be one that the contract allows
///
/// What is wrong is reported through Schedule::fail.
void runHostWorkload(Schedule& schedule, Task first, Task second, uint64_t seed, WorkloadFigures& figures);
