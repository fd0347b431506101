#include "Engine/core/platform/MemoryExhaustedException.h"
#include "Engine/core/platform/system/MemoryManager.h"
#include "tests/Engine/core/platform/system/ReclaimableBytes.h"
#include "tests/support/RepeatUntilDeadline.h"
#include "tests/support/RunTogether.h"

#include <gtest/gtest.h>

#include <atomic>
#include <deque>
#include <latch>
#include <thread>

namespace {

constexpr size_t LIMIT = 1000;
constexpr size_t THREADS = 4;

} // namespace

// Each has failed before one of them requests memory: those that request it later find that it was released.
TEST(MemoryManagerReclaimStressTest, severalThatFailTogetherReclaimOnceAndAllSucceed) {
    repeatUntilDeadline([](uint32_t) {
        MemoryManager memoryManager(LIMIT);
        ReclaimableBytes bytes(memoryManager);
        bytes.hold(LIMIT);
        memoryManager.addReclaimable(bytes);
        std::latch failures(THREADS);
        runTogether(THREADS, [&](size_t) {
            size_t attempts = 0;
            EXPECT_NO_THROW(memoryManager.withReclaim([&] {
                ++attempts;
                try {
                    memoryManager.allocate(LIMIT / THREADS);
                } catch (const MemoryExhaustedException&) {
                    failures.arrive_and_wait();
                    throw;
                }
            }));
            EXPECT_EQ(2u, attempts);
        });
        EXPECT_EQ(1u, bytes.getNumberOfReclaims());
        EXPECT_EQ(0u, memoryManager.getFreeBytes());
        memoryManager.removeReclaimable(bytes);
    });
}

namespace {

/// The permanent charges of all threads fit together, but not with the reclaimable memory that they hold. Each thread
/// may have its own store within the same limit.
void chargeWhatFitsTogether(const bool haveStoresOfTheirOwn) {
    std::atomic<size_t> refusals = 0;
    std::atomic<size_t> retries = 0;
    repeatUntilDeadline([&](uint32_t) {
        MemoryManager shared(LIMIT);
        std::deque<MemoryManager> stores;
        std::deque<ReclaimableBytes> pieces;
        for (size_t thread = 0; thread < THREADS; ++thread) {
            stores.emplace_back(LIMIT, &shared);
            MemoryManager& memoryManager = haveStoresOfTheirOwn ? stores.back() : shared;
            memoryManager.addReclaimable(pieces.emplace_back(memoryManager));
        }
        runTogether(THREADS, [&](const size_t thread) {
            MemoryManager& memoryManager = haveStoresOfTheirOwn ? stores[thread] : shared;
            for (size_t round = 0; round < 200; ++round) {
                ReclaimableBytes comingAndGoing(memoryManager);
                memoryManager.addReclaimable(comingAndGoing);
                try {
                    pieces[thread].hold(LIMIT / 2);
                } catch (const MemoryExhaustedException&) {
                    refusals.fetch_add(1, std::memory_order_relaxed); // this should not happen
                }
                std::this_thread::yield();
                size_t attempts = 0;
                EXPECT_NO_THROW(memoryManager.withReclaim([&] {
                    ++attempts;
                    memoryManager.allocate(LIMIT / THREADS);
                }));
                retries.fetch_add(attempts - 1, std::memory_order_relaxed);
                std::this_thread::yield();
                memoryManager.deallocate(LIMIT / THREADS);
                memoryManager.removeReclaimable(comingAndGoing);
            }
        });
        size_t heldBytes = 0;
        for (ReclaimableBytes& piece : pieces) {
            heldBytes += piece.getBytes();
            shared.removeReclaimable(piece);
        }
        EXPECT_EQ(LIMIT - heldBytes, shared.getFreeBytes());
    });
    EXPECT_LT(0u, refusals.load(std::memory_order_relaxed));
    EXPECT_LT(0u, retries.load(std::memory_order_relaxed)) << "memory was never short: this tested nothing";
}

} // namespace

TEST(MemoryManagerReclaimStressTest, noChargeFailsForMemoryThatCanBeReclaimed) {
    chargeWhatFitsTogether(false);
}

TEST(MemoryManagerReclaimStressTest, noChargeFailsForMemoryThatAnotherStoreCanGiveBack) {
    chargeWhatFitsTogether(true);
}
