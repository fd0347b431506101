#include "Engine/core/platform/collections/TableThreadContext.h"

#include "tests/Engine/core/platform/collections/WaitUntil.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>
#include <thread>
#include <vector>

using namespace melnar;

namespace {

void waitForLockCount(const TableThreadContext& slot, const uint16_t lockCount) {
    waitUntil([&] { return slot.m_lockCount.load(std::memory_order_acquire) == lockCount; });
}

} // namespace

TEST(TableThreadContextConcurrentTest, secondEntrantWaitsUntilTheFirstLeaves) {
    TableThreadContext slot;
    bool hasFirstLeft = false; // ordered only by the slot
    bool hadFirstLeft = false;
    acquireThreadContext(slot);
    std::thread second([&] {
        acquireThreadContext(slot);
        hadFirstLeft = hasFirstLeft;
        releaseThreadContext(slot);
    });
    waitForLockCount(slot, 2);
    hasFirstLeft = true;
    releaseThreadContext(slot);
    second.join();
    EXPECT_TRUE(hadFirstLeft);
    EXPECT_EQ(0, slot.m_lockCount.load(std::memory_order_relaxed));
    EXPECT_EQ(0, slot.m_wakeUp) << "the taker of the hand-over lowers the flag";
}

TEST(TableThreadContextConcurrentTest, everyWaiterOfAQueueGetsItsTurnOnce) {
    constexpr uint16_t WAITERS = 12;
    TableThreadContext slot;
    size_t turns = 0; // protected by the slot
    acquireThreadContext(slot);
    std::vector<std::thread> waiters;
    for (uint16_t waiter = 0; waiter < WAITERS; ++waiter)
        waiters.emplace_back([&] {
            acquireThreadContext(slot);
            ++turns;
            releaseThreadContext(slot);
        });
    waitForLockCount(slot, WAITERS + 1);
    EXPECT_EQ(0u, turns);
    releaseThreadContext(slot);
    for (std::thread& waiter : waiters)
        waiter.join();
    EXPECT_EQ(WAITERS, turns);
    EXPECT_EQ(0, slot.m_lockCount.load(std::memory_order_relaxed));
    EXPECT_EQ(0, slot.m_wakeUp);
}

TEST(TableThreadContextConcurrentTest, lateArrivalsQueueAfterAPendingHandOver) {
    TableThreadContext slot;
    std::atomic<size_t> turns = 0;
    acquireThreadContext(slot);
    slot.m_lockCount.fetch_add(1, std::memory_order_relaxed); // a waiter that is slow to take the slot
    releaseThreadContext(slot);
    // The slot is handed over but not taken: of two threads that come now, one takes it, and the other must wait.
    const auto enter = [&] {
        acquireThreadContext(slot);
        turns.fetch_add(1, std::memory_order_acq_rel);
    };
    std::thread first(enter);
    std::thread second(enter);
    waitForLockCount(slot, 3);
    waitUntil([&] { return turns.load(std::memory_order_acquire) != 0; });
    EXPECT_EQ(1u, turns.load(std::memory_order_acquire));
    releaseThreadContext(slot);
    first.join();
    second.join();
    EXPECT_EQ(2u, turns.load(std::memory_order_acquire));
    EXPECT_EQ(2, slot.m_lockCount.load(std::memory_order_relaxed)) << "the last taker, and the waiter that dawdles";
    EXPECT_EQ(0, slot.m_wakeUp);
}
