#pragma once

#include "Engine/core/platform/Export.h"
#include "Engine/core/platform/Unmovable.h"

#include <cstddef>
#include <cstdint>

/// How many thread context indices there are; every hash table has one slot for each.
inline constexpr size_t NUMBER_OF_THREAD_CONTEXT_INDICES = 256;

/// What g_currentThreadContextIndex is until the thread first needs an index.
inline constexpr size_t NO_THREAD_CONTEXT_INDEX = ~size_t(0);

/// The index of the calling thread's slot in every hash table.
MELNAR_EXPORT extern constinit thread_local size_t g_currentThreadContextIndex;

/// A number that no other thread of the process has or had; 0 until the thread first needs an index.
MELNAR_EXPORT extern constinit thread_local uint64_t g_currentThreadID;

/// Whether the calling thread has a ThreadContextLoan. It rehashes a table that it grows without help then: the order in
/// which several threads move entries would show in the bytes of the table.
MELNAR_EXPORT extern constinit thread_local bool g_hasThreadContextLoan;

/// Gives the calling thread an index, which goes back when the thread ends, and an ID. Threads that have one at the same
/// time have distinct indices as long as there are no more of them than indices. Beyond that, threads share indices as
/// evenly as possible: everything still works, but threads with one index wait for each other at every table.
MELNAR_EXPORT size_t assignThreadContextIndex() noexcept;

/// Returns the index of the calling thread's slot in every hash table: below NUMBER_OF_THREAD_CONTEXT_INDICES. The first
/// call of a thread gives it one.
inline size_t getCurrentThreadContextIndex() noexcept {
    const size_t index = g_currentThreadContextIndex;
    return index != NO_THREAD_CONTEXT_INDEX ? index : assignThreadContextIndex();
}

/// Returns a number that no other thread of the process has or had.
inline uint64_t getCurrentThreadID() noexcept {
    if (g_currentThreadID == 0)
        assignThreadContextIndex();
    return g_currentThreadID;
}

/// Gives the thread that makes it an index of another thread, or index 0, instead of its own, for as long as it lives.
/// What several threads do by turns with one loan after the other has the same outcome in every table as if a single
/// thread had done it, whatever others look up meanwhile.
///
/// Threads  Made and destroyed by the thread that borrows. Two threads may have an index at the same time: they wait for
///          each other at every table.
/// Errors   None.
class MELNAR_EXPORT ThreadContextLoan : private Unmovable {
public:
    /// Index 0 is for what must not depend on other threads: the index shows in the bytes of a table.
    explicit ThreadContextLoan(size_t index = 0) noexcept;
    ~ThreadContextLoan();

private:
    const size_t m_ownIndex;
    const bool m_hadLoan;
};
