#pragma once

#include "Engine/core/platform/Unmovable.h"

#include <cstddef>

/// How many thread context indices there are; every hash table has one slot for each.
inline constexpr size_t NUMBER_OF_THREAD_CONTEXT_INDICES = 256;

/// The index of the calling thread's slot in every hash table, always below NUMBER_OF_THREAD_CONTEXT_INDICES. It is 0
/// in a thread that is not registered: such a thread works correctly but meets others at slot 0.
extern constinit thread_local size_t g_currentThreadContextIndex;

/// Gives the thread that makes it an index of its own for as long as it lives.
///
/// Threads that are registered at the same time have distinct indices as long as there are no more of them than
/// indices. Beyond that, threads share indices as evenly as possible: everything still works, but threads with one
/// index wait for each other at every table. A registration within another of the same thread keeps the index.
///
/// Threads  Made and destroyed by the thread that it registers; any number of threads at once.
/// Errors   None.
class ThreadContextRegistration : private Unmovable {
public:
    ThreadContextRegistration() noexcept;
    ~ThreadContextRegistration();
};
