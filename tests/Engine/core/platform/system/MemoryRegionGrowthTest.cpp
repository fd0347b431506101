#include "Engine/core/platform/system/MemoryRegionGrowth.h"

#include "Engine/core/platform/MemoryExhaustedException.h"
#include "tests/support/MemoryRegionTestPeer.h"
#include "tests/support/SystemCallFaults.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <ctime>
#include <thread>

using namespace melnar;

namespace {

using Call = SystemCallFaults::Call;
using Duration = SystemCallFaults::Duration;

constexpr size_t LARGE_LIMIT = size_t(1) << 40;

class MemoryRegionGrowthTest : public ::testing::Test {
protected:
    MemoryRegionGrowthTest()
        : m_pageSize(getVMPageSize()), m_itemsPerPage(m_pageSize / 8), m_memoryManager(LARGE_LIMIT),
          m_region(m_memoryManager) {}

    size_t roundUpToPages(const size_t numberOfBytes) const {
        return (numberOfBytes + m_pageSize - 1) / m_pageSize * m_pageSize;
    }

    /// Leaves this number of bytes free.
    void leaveFree(const size_t numberOfBytes) {
        m_memoryManager.allocate(m_memoryManager.getFreeBytes() - numberOfBytes);
    }

    const size_t m_pageSize;
    const size_t m_itemsPerPage;
    MemoryManager m_memoryManager;
    MemoryRegion<uint64_t> m_region;
};

/// Returns the processor time that a thread has used, in nanoseconds.
int64_t getProcessorTime(const clockid_t clock) {
    timespec time{};
    EXPECT_EQ(0, ::clock_gettime(clock, &time));
    return int64_t(time.tv_sec) * 1000000000 + time.tv_nsec;
}

} // namespace

TEST_F(MemoryRegionGrowthTest, firstGrowthTakesTheSmallestStep) {
    m_region.initialize(size_t(1) << 30);
    ensureEndInSteps(m_region, 1);
    EXPECT_EQ(roundUpToPages(8 + MINIMUM_GROWTH_STEP), m_region.getCommittedBytes());
    EXPECT_EQ(LARGE_LIMIT - m_region.getCommittedBytes(), m_memoryManager.getFreeBytes());
}

TEST_F(MemoryRegionGrowthTest, laterGrowthTakesAnEighthOfTheSize) {
    m_region.initialize(size_t(1) << 30);
    const size_t end = size_t(1) << 20;
    ensureEndInSteps(m_region, end);
    EXPECT_EQ(end * 8 + end, m_region.getCommittedBytes());
}

TEST_F(MemoryRegionGrowthTest, largeGrowthTakesTheLargestStep) {
    MemoryRegion<std::atomic<uint8_t>> region(m_memoryManager);
    region.initialize(size_t(1) << 40);
    const size_t end = size_t(1) << 30;
    ensureEndInSteps(region, end);
    EXPECT_EQ(end + MAXIMUM_GROWTH_STEP, region.getCommittedBytes());
}

TEST_F(MemoryRegionGrowthTest, whatIsThereIsNotGrown) {
    m_region.initialize(size_t(1) << 30);
    ensureEndInSteps(m_region, 1);
    const SystemCallFaults protects(Call::MPROTECT);
    ensureEndInSteps(m_region, 0);
    ensureEndInSteps(m_region, m_region.getEnd());
    EXPECT_EQ(0u, protects.getNumberOfCalls());
}

TEST_F(MemoryRegionGrowthTest, stepEndsAtTheCapacity) {
    m_region.initialize(3 * m_itemsPerPage - 1);
    ensureEndInSteps(m_region, 1);
    EXPECT_EQ(3 * m_itemsPerPage - 1, m_region.getEnd());
    EXPECT_EQ(3 * m_pageSize, m_region.getCommittedBytes());
}

TEST_F(MemoryRegionGrowthTest, lastItemOfTheCapacityNeedsNoStep) {
    m_region.initialize(3 * m_itemsPerPage);
    ensureEndInSteps(m_region, 3 * m_itemsPerPage);
    EXPECT_EQ(3 * m_itemsPerPage, m_region.getEnd());
}

TEST_F(MemoryRegionGrowthTest, growingItemByItemTakesFewSystemCalls) {
    constexpr size_t NUMBER_OF_ITEMS = 4000000;
    m_region.initialize(NUMBER_OF_ITEMS);
    const SystemCallFaults protects(Call::MPROTECT);
    for (size_t end = 1; end <= NUMBER_OF_ITEMS; ++end)
        ensureEndInSteps(m_region, end);
    EXPECT_LE(protects.getNumberOfCalls(), 50u) << "of 7813 pages";
    EXPECT_EQ(roundUpToPages(NUMBER_OF_ITEMS * 8), m_region.getCommittedBytes());
}

TEST_F(MemoryRegionGrowthTest, stepIsTakenWhenItLeavesAsMuchAgain) {
    m_region.initialize(size_t(1) << 30);
    const size_t steppedBytes = 8 + MINIMUM_GROWTH_STEP;
    leaveFree(2 * steppedBytes);
    ensureEndInSteps(m_region, 1);
    EXPECT_EQ(roundUpToPages(steppedBytes), m_region.getCommittedBytes());
}

TEST_F(MemoryRegionGrowthTest, stepIsDroppedWhenItWouldNotLeaveAsMuchAgain) {
    m_region.initialize(size_t(1) << 30);
    leaveFree(2 * (8 + MINIMUM_GROWTH_STEP) - 1);
    ensureEndInSteps(m_region, 1);
    EXPECT_EQ(m_pageSize, m_region.getCommittedBytes());
}

TEST_F(MemoryRegionGrowthTest, limitIsUsedUpToItsLastPage) {
    m_region.initialize(size_t(1) << 30);
    const size_t freeBytes = 100 * m_pageSize + 5;
    leaveFree(freeBytes);
    size_t end = 1;
    try {
        for (;; ++end)
            ensureEndInSteps(m_region, end);
    } catch (const MemoryExhaustedException&) {
        EXPECT_EQ(100 * m_itemsPerPage + 1, end) << "the first item that does not fit";
    }
    EXPECT_EQ(100 * m_itemsPerPage, m_region.getEnd());
    EXPECT_EQ(5u, m_memoryManager.getFreeBytes());
}

TEST_F(MemoryRegionGrowthTest, lostRaceForTheStepFallsBackToTheExactNeed) {
    m_region.initialize(size_t(1) << 30);
    leaveFree(size_t(1) << 20);
    std::atomic<uint32_t>& growthLock = MemoryRegionTestPeer::getGrowthLock(m_region);
    growthLock = 1;
    std::atomic<bool> hasStarted = false;
    clockid_t clock{};
    std::thread grower([&] {
        EXPECT_EQ(0, ::pthread_getcpuclockid(::pthread_self(), &clock));
        hasStarted = true;
        ensureEndInSteps(m_region, 1);
    });
    while (!hasStarted)
        std::this_thread::yield();
    // The growing thread has found room for the step and waits for the lock, which uses processor time. If it is slower
    // than that, it finds no room in the first place, which ends in the same way.
    const int64_t start = getProcessorTime(clock);
    while (getProcessorTime(clock) - start < 10000000)
        std::this_thread::yield();
    leaveFree(m_pageSize);
    growthLock = 0;
    grower.join();
    EXPECT_EQ(m_pageSize, m_region.getCommittedBytes());
    EXPECT_EQ(0u, m_memoryManager.getFreeBytes());
}

TEST_F(MemoryRegionGrowthTest, lostRaceFindsTheRegionGrownAlready) {
    m_region.initialize(size_t(1) << 30);
    ensureEndInSteps(m_region, 1);
    const size_t committedBytes = m_region.getCommittedBytes();
    const SystemCallFaults protects(Call::MPROTECT);
    m_region.doEnsureEndAtLeast(1);
    EXPECT_EQ(0u, protects.getNumberOfCalls());
    EXPECT_EQ(committedBytes, m_region.getCommittedBytes());
}

TEST_F(MemoryRegionGrowthTest, refusedStepFallsBackToTheExactNeed) {
    m_region.initialize(size_t(1) << 30);
    SystemCallFaults protects(Call::MPROTECT);
    protects.failAfter(0, ENOMEM, Duration::ONCE);
    ensureEndInSteps(m_region, 1);
    EXPECT_EQ(2u, protects.getNumberOfCalls());
    EXPECT_EQ(m_pageSize, protects.getLatestRequest());
    EXPECT_EQ(m_pageSize, m_region.getCommittedBytes());
    EXPECT_EQ(LARGE_LIMIT - m_pageSize, m_memoryManager.getFreeBytes());
}
