#include "Engine/core/platform/system/MemoryManager.h"

#include "Engine/core/platform/MemoryExhaustedException.h"
#include "tests/support/StressDuration.h"

#include <gtest/gtest.h>

#include <atomic>
#include <random>
#include <thread>
#include <vector>

namespace {

constexpr size_t NUMBER_OF_THREADS = 4;
constexpr size_t LIMIT = 10000;

/// The findings of all threads.
struct Findings {
    std::atomic<size_t> m_heldBytes{0};
    std::atomic<size_t> m_excesses{0};
    std::atomic<size_t> m_refusals{0};
    std::atomic<size_t> m_overlaps{0};
};

/// Charges and returns random amounts. The sum over all threads counts an amount only between its charge and its
/// return. So it never exceeds the charged bytes, and these never exceed the limit.
void chargeAndGiveBack(MemoryManager& memoryManager, Findings& findings, const unsigned seed,
                       const std::chrono::steady_clock::time_point deadline) {
    std::minstd_rand random(seed);
    while (isBefore(deadline) || findings.m_overlaps == 0 || findings.m_refusals == 0)
        for (int round = 0; round < 1000; ++round) {
            const size_t bytes = random() % (LIMIT / 2);
            try {
                memoryManager.allocate(bytes);
            } catch (const MemoryExhaustedException&) {
                ++findings.m_refusals;
                continue;
            }
            const size_t heldBytes = findings.m_heldBytes.fetch_add(bytes) + bytes;
            findings.m_excesses += heldBytes > LIMIT ? 1 : 0;
            findings.m_overlaps += heldBytes > bytes ? 1 : 0;
            if (round % 16 == 0)
                std::this_thread::yield();
            findings.m_heldBytes.fetch_sub(bytes);
            memoryManager.deallocate(bytes);
        }
}

} // namespace

TEST(MemoryManagerStressTest, concurrentChargesNeverExceedTheLimitAndAddUp) {
    MemoryManager memoryManager(LIMIT);
    Findings findings;
    const auto deadline = getStressDeadline();
    std::vector<std::thread> threads;
    for (unsigned seed = 1; seed <= NUMBER_OF_THREADS; ++seed)
        threads.emplace_back([&, seed] { chargeAndGiveBack(memoryManager, findings, seed, deadline); });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(0u, findings.m_excesses);
    EXPECT_EQ(LIMIT, memoryManager.getFreeBytes()) << "everything was given back";
    EXPECT_LT(0u, findings.m_overlaps) << "no two threads ever held something concurrently: nothing was tested";
    EXPECT_LT(0u, findings.m_refusals) << "the limit was never met";
}
