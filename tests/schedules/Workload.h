#pragma once

#include <array>
#include <cstdint>
#include <string_view>
#include <utility>

/// What a thread of a workload mainly does. runStringWorkload has the first ones, runHostWorkload the others.
enum class Task : uint8_t { RESOLVE, LOOK_UP, DELETE, RESIZE, FAIL, TERM, COMMIT, READ };

inline constexpr std::array<std::string_view, 8> TASK_NAMES{"resolve", "look-up", "delete", "resize",
                                                            "fail",    "term",    "commit", "read"};

/// The pairs of tasks that may run concurrently.
inline constexpr std::array<std::pair<Task, Task>, 17> PAIRS_OF_TASKS{{
    {Task::RESOLVE, Task::RESOLVE},
    {Task::RESOLVE, Task::LOOK_UP},
    {Task::RESOLVE, Task::DELETE},
    {Task::RESOLVE, Task::RESIZE},
    {Task::RESOLVE, Task::FAIL},
    {Task::LOOK_UP, Task::LOOK_UP},
    {Task::LOOK_UP, Task::DELETE},
    {Task::LOOK_UP, Task::RESIZE},
    {Task::LOOK_UP, Task::FAIL},
    {Task::DELETE, Task::DELETE},
    {Task::DELETE, Task::RESIZE},
    {Task::DELETE, Task::FAIL},
    {Task::RESIZE, Task::RESIZE},
    {Task::RESIZE, Task::FAIL},
    {Task::FAIL, Task::FAIL},
    {Task::TERM, Task::TERM},
    {Task::COMMIT, Task::READ},
}};

/// What happened in the schedules of a workload, so that a report can show that the interesting cases occurred.
struct WorkloadFigures {
    uint64_t m_operations = 0;
    uint64_t m_failures = 0;   // of operations, for lack of memory
    uint64_t m_resizes = 0;    // schedules in which a table became larger
    uint64_t m_tombstones = 0; // at the end
};
