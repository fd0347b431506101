#include "Engine/core/platform/system/MemoryRegionGrowth.h"

#include "tests/support/StressDuration.h"
#include "tests/support/SystemCallFaults.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <barrier>
#include <cstdint>
#include <thread>
#include <vector>

using namespace melnar;

namespace {

constexpr size_t NUMBER_OF_THREADS = 4;
constexpr size_t NUMBER_OF_ITEMS = 200000;

/// Items that threads append to two regions together, like resource IDs: a counter determines the next item.
class Appending {
public:
    explicit Appending(MemoryManager& memoryManager) : m_first(memoryManager), m_second(memoryManager) {
        m_first.initialize(NUMBER_OF_ITEMS);
        m_second.initialize(NUMBER_OF_ITEMS);
    }

    void operator()() {
        m_start.arrive_and_wait();
        size_t appended = 0;
        try {
            for (size_t item; (item = m_next.fetch_add(1)) < NUMBER_OF_ITEMS; ++appended) {
                ensureEndInSteps(m_first, item + 1);
                ensureEndInSteps(m_second, item + 1);
                m_first[item] = item + 1;
                m_second[item].store(static_cast<uint8_t>(item % 251), std::memory_order_relaxed);
            }
        } catch (const MelnarException&) {
            ++m_refusals;
        }
        m_busyThreads += appended != 0 ? 1 : 0;
    }

    void expectAllItems() const {
        for (size_t item = 0; item < NUMBER_OF_ITEMS; ++item) {
            ASSERT_EQ(item + 1, m_first[item]);
            ASSERT_EQ(item % 251, size_t(m_second[item].load()));
        }
    }

    MemoryRegion<uint64_t> m_first;
    MemoryRegion<std::atomic<uint8_t>> m_second;
    std::atomic<size_t> m_next{0};
    std::atomic<size_t> m_refusals{0};
    std::atomic<size_t> m_busyThreads{0};
    std::barrier<> m_start{static_cast<ptrdiff_t>(NUMBER_OF_THREADS)};
};

/// Appends all items below the limit, round by round, until the time is up and several threads have worked
/// concurrently.
void appendAllWithin(const size_t limit) {
    size_t roundsTogether = 0;
    for (const auto deadline = getStressDeadline(); isBefore(deadline) || roundsTogether == 0;) {
        MemoryManager memoryManager(limit);
        {
            Appending appending(memoryManager);
            std::vector<std::thread> threads;
            for (size_t thread = 0; thread < NUMBER_OF_THREADS; ++thread)
                threads.emplace_back([&appending] { appending(); });
            for (std::thread& thread : threads)
                thread.join();
            EXPECT_EQ(0u, appending.m_refusals);
            EXPECT_EQ(NUMBER_OF_ITEMS, appending.m_first.getEnd());
            EXPECT_EQ(NUMBER_OF_ITEMS, appending.m_second.getEnd());
            EXPECT_EQ(limit - appending.m_first.getCommittedBytes() - appending.m_second.getCommittedBytes(),
                      memoryManager.getFreeBytes());
            appending.expectAllItems();
            roundsTogether += appending.m_busyThreads > 1 ? 1u : 0u;
        }
        EXPECT_EQ(limit, memoryManager.getFreeBytes());
        if (::testing::Test::HasFailure())
            break;
    }
    EXPECT_LT(0u, roundsTogether) << "the threads never met: nothing was tested";
}

size_t roundUpToPages(const size_t numberOfBytes) {
    return (numberOfBytes + getVMPageSize() - 1) / getVMPageSize() * getVMPageSize();
}

} // namespace

TEST(MemoryRegionGrowthStressTest, threadsThatAppendTogetherLoseNothing) {
    appendAllWithin(size_t(1) << 30);
}

TEST(MemoryRegionGrowthStressTest, stepsNeverTakeWhatTheItemsThemselvesNeed) {
    appendAllWithin(roundUpToPages(NUMBER_OF_ITEMS * 8) + roundUpToPages(NUMBER_OF_ITEMS));
}
