#pragma once

#include "Engine/core/platform/system/Atomic.h"
#include "Engine/core/platform/system/Condition.h"
#include "Engine/core/platform/system/Mutex.h"

#include <cstdint>

namespace melnar {

/// The slot of one thread index in a hash table: a small lock that every operation on the table holds, and the number
/// of insertions that its holder may make before it must access the table's shared counter again.
///
/// The counter alone decides whether the slot is free, so entering and leaving an uncontended slot makes no system
/// call. Mutex, condition and flag serve only threads that must wait.
///
/// SLOT STATES    lock count 0                 free
///                lock count 1                 held, no thread waits
///                lock count n > 1             held or being handed over, n - 1 threads wait
///                wake flag 1                  handed over by its last holder, not yet taken by a waiter
///
/// INVARIANTS     S1 the thread that raises the count from 0 holds the slot; all others wait for the wake flag
///                S2 only the holder raises the flag, and only if a thread waits; the waiter that clears it is the
///                   next holder: so there is at most one hand-over at a time
///                S3 only the slot's holder writes the quota
///
/// MEMORY ORDERS
///   #   operation                    order    pairs with   makes visible                                   checked by
///   T1  enter, count + 1             acquire  T2           all that the last holder wrote, unless it is    schedules
///                                                          handed over
///   T2  leave, count - 1             release  T1                                                           schedules
///   T3  flag, under the mutex        mutex    T3           the same, when the slot is handed over          argued
///   T4  quota, load and store        relaxed  -            nothing: the slot orders it (S3); statistics    argued
///                                                          may read any value of it at any time
/// Schedules: as in ParallelHashTable.h. Argued: there is no order to weaken: T3 is ordered by the mutex, and T4 is
/// relaxed.
///
/// Mutex and condition are all-zero storage: 256 slots need no calls to set up. Its atomics make a slot unmovable. It
/// does not derive from Unmovable, since the first member of a table, which has the same base class, would then not be
/// at the start of the table.
struct alignas(64) TableThreadContext {
    /// Returns how many insertions the slot has reserved and not used yet.
    uint32_t getInsertionQuota() const noexcept { return m_insertionQuota.load(std::memory_order_relaxed); } // T4

    /// Sets that number. Only the holder does.
    void setInsertionQuota(const uint32_t quota) noexcept {
        m_insertionQuota.store(quota, std::memory_order_relaxed); // T4
    }

    Atomic<uint32_t> m_insertionQuota{0}; ///< insertions that are reserved and not used yet
    Atomic<uint16_t> m_lockCount{0};      ///< the holder and those who wait
    uint8_t m_wakeUp{0};                  ///< protected by m_mutex
    Mutex m_mutex;                        ///< of m_wakeUp
    Condition m_condition;                ///< that m_wakeUp is raised
};

/// Makes the calling thread the holder of the slot; waits while another thread holds it.
inline void acquireThreadContext(TableThreadContext& threadContext) noexcept {
    if (threadContext.m_lockCount.fetch_add(1, std::memory_order_acquire) == 0) // T1
        return;
    threadContext.m_mutex.lock();
    while (threadContext.m_wakeUp == 0)
        threadContext.m_condition.wait(threadContext.m_mutex);
    threadContext.m_wakeUp = 0; // T3
    threadContext.m_mutex.unlock();
}

/// Releases the slot, to one of the waiting threads if there are any.
inline void releaseThreadContext(TableThreadContext& threadContext) noexcept {
    if (threadContext.m_lockCount.fetch_sub(1, std::memory_order_release) <= 1) // T2
        return;
    threadContext.m_mutex.lock();
    threadContext.m_wakeUp = 1; // T3
    threadContext.m_condition.signal();
    threadContext.m_mutex.unlock();
}

} // namespace melnar
