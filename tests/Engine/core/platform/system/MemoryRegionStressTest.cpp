#include "Engine/core/platform/MemoryExhaustedException.h"
#include "Engine/core/platform/system/MemoryRegion.h"
#include "tests/support/RunTogether.h"
#include "tests/support/StressDuration.h"
#include "tests/support/SystemCallFaults.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>

namespace {

constexpr size_t LIMIT = size_t(1) << 30;
constexpr size_t NUMBER_OF_PAGES = 64;

/// All threads grow one region page by page. Each thread writes one item of every page as soon as the page is
/// accessible, and reads back what it wrote to the page before.
class PageByPage {
public:
    explicit PageByPage(MemoryRegion<uint64_t>& region) : m_region(region), m_data(region.getData()) {}

    void operator()(const size_t threadIndex) {
        const size_t itemsPerPage = getVMPageSize() / 8;
        for (size_t page = 0; page < NUMBER_OF_PAGES; ++page) {
            const size_t index = page * itemsPerPage + threadIndex;
            m_needs += index >= m_region.getEnd() ? 1 : 0;
            m_region.ensureEndAtLeast(index + 1);
            m_errors += m_region.getData() != m_data || m_region.getEnd() <= index || m_region[index] != 0 ? 1 : 0;
            m_region[index] = index + 1;
            if (page != 0)
                m_errors += m_region[index - itemsPerPage] != index - itemsPerPage + 1 ? 1 : 0;
        }
    }

    std::atomic<size_t> m_needs{0};
    std::atomic<size_t> m_errors{0};

private:
    MemoryRegion<uint64_t>& m_region;
    const uint64_t* const m_data;
};

/// Grows a new region in each round, until the time is up and threads have met. Returns how often a thread waited for
/// another one's growth or found it done.
size_t countMeetings(const size_t numberOfThreads) {
    MemoryManager memoryManager(LIMIT);
    MemoryRegion<uint64_t> region(memoryManager);
    const size_t itemsPerPage = getVMPageSize() / 8;
    size_t meetings = 0;
    for (const auto deadline = getStressDeadline(); isBefore(deadline) || (numberOfThreads > 1 && meetings == 0);) {
        region.initialize(NUMBER_OF_PAGES * itemsPerPage);
        const SystemCallFaults protects(SystemCallFaults::Call::MPROTECT);
        PageByPage pageByPage(region);
        runTogether(numberOfThreads, [&](const size_t threadIndex) { pageByPage(threadIndex); });
        EXPECT_EQ(0u, pageByPage.m_errors) << "addresses and contents survive growth";
        EXPECT_EQ(NUMBER_OF_PAGES, protects.getNumberOfCalls()) << "each page is committed by one thread";
        EXPECT_EQ(NUMBER_OF_PAGES * itemsPerPage, region.getEnd());
        EXPECT_EQ(NUMBER_OF_PAGES * getVMPageSize(), region.getCommittedBytes());
        EXPECT_EQ(LIMIT - region.getCommittedBytes(), memoryManager.getFreeBytes()) << "no page is charged twice";
        for (size_t page = 0; page < NUMBER_OF_PAGES; ++page)
            for (size_t index = page * itemsPerPage, end = index + numberOfThreads; index < end; ++index)
                EXPECT_EQ(index + 1, region[index]);
        meetings += pageByPage.m_needs - NUMBER_OF_PAGES;
        if (::testing::Test::HasFailure())
            break;
    }
    return meetings;
}

} // namespace

TEST(MemoryRegionStressTest, aSingleThreadMeetsNoOther) {
    EXPECT_EQ(0u, countMeetings(1)) << "the measure of meetings counts something else";
}

TEST(MemoryRegionStressTest, twoThreadsGrowOneRegion) {
    EXPECT_LT(0u, countMeetings(2)) << "the threads never met: nothing was tested";
}

TEST(MemoryRegionStressTest, sixteenThreadsGrowOneRegion) {
    EXPECT_LT(0u, countMeetings(16)) << "the threads never met: nothing was tested";
}

TEST(MemoryRegionStressTest, regionsThatShareALimitNeverExceedIt) {
    constexpr size_t NUMBER_OF_REGIONS = 4;
    const size_t pageSize = getVMPageSize();
    const size_t limit = NUMBER_OF_PAGES * pageSize * 3 / 2;
    size_t refusals = 0;
    for (const auto deadline = getStressDeadline(); isBefore(deadline) || refusals == 0;) {
        MemoryManager memoryManager(limit);
        std::atomic<size_t> refusalsOfRound = 0;
        std::atomic<size_t> committedBytes = 0;
        runTogether(NUMBER_OF_REGIONS, [&](const size_t) {
            MemoryRegion<uint64_t> region(memoryManager);
            region.initialize(NUMBER_OF_PAGES * pageSize / 8);
            try {
                for (size_t end = 1; end <= region.getMaximumNumberOfItems(); end = region.getEnd() + 1)
                    region.ensureEndAtLeast(end);
            } catch (const MemoryExhaustedException&) {
                ++refusalsOfRound;
            }
            for (size_t index = 0; index < region.getEnd(); index += pageSize / 8)
                region[index] = index;
            committedBytes += region.getCommittedBytes();
            region.truncate(1);
        });
        EXPECT_EQ(limit, memoryManager.getFreeBytes()) << "every charge was given back";
        EXPECT_LE(NUMBER_OF_PAGES * pageSize, committedBytes) << "the limit is there to be used";
        refusals += refusalsOfRound;
        if (::testing::Test::HasFailure())
            break;
    }
    EXPECT_LT(0u, refusals) << "the limit was never met";
}

TEST(MemoryRegionStressTest, refusedGrowthIsTriedAgainByEachThreadThatNeedsIt) {
    constexpr size_t NUMBER_OF_THREADS = 4;
    const size_t itemsPerPage = getVMPageSize() / 8;
    MemoryManager memoryManager(LIMIT);
    MemoryRegion<uint64_t> region(memoryManager);
    for (const auto deadline = getStressDeadline(); isBefore(deadline);) {
        region.initialize(NUMBER_OF_PAGES * itemsPerPage);
        SystemCallFaults protects(SystemCallFaults::Call::MPROTECT);
        protects.failAfter(NUMBER_OF_PAGES / 2, ENOMEM, SystemCallFaults::Duration::ONCE);
        std::atomic<size_t> refusals = 0;
        runTogether(NUMBER_OF_THREADS, [&](const size_t) {
            for (size_t end = 1; end <= region.getMaximumNumberOfItems();)
                try {
                    region.ensureEndAtLeast(end);
                    end += itemsPerPage;
                } catch (const SystemCallException&) {
                    ++refusals;
                }
        });
        EXPECT_EQ(1u, refusals) << "only the thread that was refused gets an exception";
        EXPECT_EQ(NUMBER_OF_PAGES + 1, protects.getNumberOfCalls());
        EXPECT_EQ(NUMBER_OF_PAGES * itemsPerPage, region.getEnd());
        EXPECT_EQ(LIMIT - region.getCommittedBytes(), memoryManager.getFreeBytes());
        if (::testing::Test::HasFailure())
            break;
    }
}
