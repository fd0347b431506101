#pragma once

#include "Engine/core/platform/Export.h"
#include "Engine/core/platform/Unmovable.h"
#include "Engine/core/platform/system/TableSizes.h"

#include <cstddef>
#include <cstdint>

/// The number of thread context indices; every hash table has one slot for each.
inline constexpr size_t NUMBER_OF_THREAD_CONTEXT_INDICES = melnar::TableSizes::NUMBER_OF_SLOTS;

/// The value of g_currentThreadContextIndex until the thread first needs an index.
inline constexpr size_t NO_THREAD_CONTEXT_INDEX = ~size_t(0);

/// The index of the calling thread's slot in every hash table.
MELNAR_EXPORT extern constinit thread_local size_t g_currentThreadContextIndex;

/// A number that no other thread of the process has or had; 0 until the thread first needs an index.
MELNAR_EXPORT extern constinit thread_local uint64_t g_currentThreadID;

/// Whether the calling thread has a ThreadContextLoan. If so, it rehashes a table that it grows without help: the order
/// in which several threads move entries would be visible in the bytes of the table.
MELNAR_EXPORT extern constinit thread_local bool g_hasThreadContextLoan;

/// Gives the calling thread an ID, and an index, which is returned when the thread ends. Threads with an index have
/// distinct ones as long as there are enough. If there are more threads than indices, they share indices as evenly as
/// possible: everything still works, but threads with the same index wait for each other at every table.
MELNAR_EXPORT size_t assignThreadContextIndex() noexcept;

/// Returns the index of the calling thread's slot in every hash table: below NUMBER_OF_THREAD_CONTEXT_INDICES. The
/// first call of a thread assigns one.
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

/// Gives the thread that makes it the index of another thread, or index 0, instead of its own, while the loan exists.
/// If several threads take turns with loans of one index, the result in every table is the same as if a single thread
/// had done their work, whatever others look up meanwhile.
///
/// Threads  Made and destroyed by the thread that borrows. Two threads may have an index at the same time: they wait
///          for each other at every table.
/// Errors   None.
class MELNAR_EXPORT ThreadContextLoan : private Unmovable {
public:
    /// Use index 0 for work whose result must not depend on other threads: the index is visible in the bytes of a
    /// table.
    explicit ThreadContextLoan(size_t index = 0) noexcept;
    ~ThreadContextLoan();

private:
    const size_t m_ownIndex;
    const bool m_hadLoan;
};
