#include "Engine/core/platform/collections/TableThreadContext.h"

#include "tests/support/StressDuration.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>
#include <thread>
#include <vector>

using namespace melnar;

namespace {

/// Runs threads that repeatedly enter one slot and count something that only the slot protects.
void stressOneSlot(const size_t numberOfThreads) {
    TableThreadContext slot;
    size_t entries = 0; // protected by the slot
    std::atomic<size_t> expectedEntries = 0;
    std::atomic<size_t> encounters = 0;
    const auto deadline = getStressDeadline();
    std::vector<std::thread> threads;
    for (size_t thread = 0; thread < numberOfThreads; ++thread)
        threads.emplace_back([&, thread] {
            size_t ownEntries = 0;
            size_t ownEncounters = 0;
            while (isBefore(deadline) || ownEntries == 0) {
                if (slot.m_lockCount.load(std::memory_order_relaxed) != 0)
                    ++ownEncounters;
                acquireThreadContext(slot);
                const size_t seen = entries;
                if (ownEntries % 16 == thread % 16)
                    std::this_thread::yield(); // others arrive here
                entries = seen + 1;
                slot.setInsertionQuota(slot.getInsertionQuota() + 1);
                releaseThreadContext(slot);
                ++ownEntries;
            }
            expectedEntries.fetch_add(ownEntries, std::memory_order_relaxed);
            encounters.fetch_add(ownEncounters, std::memory_order_relaxed);
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(expectedEntries.load(std::memory_order_relaxed), entries) << "two threads were in the slot concurrently";
    EXPECT_EQ(static_cast<uint32_t>(entries), slot.getInsertionQuota());
    EXPECT_EQ(0, slot.m_lockCount.load(std::memory_order_relaxed));
    EXPECT_EQ(0, slot.m_wakeUp);
    EXPECT_LT(0u, encounters.load(std::memory_order_relaxed)) << "no two threads ever met: nothing was tested";
}

} // namespace

TEST(TableThreadContextStressTest, twoThreadsExcludeEachOther) {
    stressOneSlot(2);
}

TEST(TableThreadContextStressTest, moreThreadsThanCoresExcludeEachOther) {
    stressOneSlot(32);
}
