#pragma once

#include "Engine/core/platform/Unmovable.h"

#include <cstddef>

/// How many thread context indices there are; every hash table has one slot for each.
inline constexpr size_t NUMBER_OF_THREAD_CONTEXT_INDICES = 256;

/// The index of the calling thread's slot in every hash table, always below NUMBER_OF_THREAD_CONTEXT_INDICES. It is 0
/// in a thread that is not registered: such a thread works correctly but meets others at slot 0.
extern constinit thread_local size_t g_currentThreadContextIndex;

/// Whether the calling thread has a ThreadContextLoan. It rehashes a table that it grows without help then: the order in
/// which several threads move entries would show in the bytes of the table.
extern constinit thread_local bool g_hasThreadContextLoan;

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

private:
    friend class ThreadContextLoan;

    size_t m_index;
};

/// Gives the thread that makes it the index of another thread's registration, or index 0, for as long as it lives, instead
/// of its own.
/// What several threads do by turns with one loan after the other has the same outcome in every table as if a single thread
/// had done it, whatever others look up meanwhile.
///
/// Threads  Made and destroyed by the thread that borrows, before the registration that lends ends. Two threads may have
///          the index at the same time: they wait for each other at every table. A registration within a loan keeps the index, and
///          ends before the loan does.
/// Errors   None.
class ThreadContextLoan : private Unmovable {
public:
    explicit ThreadContextLoan(const ThreadContextRegistration& registration) noexcept
        : ThreadContextLoan(registration.m_index) {}

    /// Gives index 0: the index shows in the bytes of a table, and which one a registration gets depends on the others.
    ThreadContextLoan() noexcept : ThreadContextLoan(0) {}

    ~ThreadContextLoan();

private:
    explicit ThreadContextLoan(size_t index) noexcept;

    const size_t m_ownIndex;
    const bool m_hadLoan;
};
