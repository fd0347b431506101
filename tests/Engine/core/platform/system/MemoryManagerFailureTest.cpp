#include "Engine/core/platform/system/MemoryManager.h"

#include "Engine/core/platform/MemoryExhaustedException.h"
#include "tests/support/CaughtException.h"
#include "tests/support/FailureLoop.h"

#include <gtest/gtest.h>

#include <limits>

TEST(MemoryManagerFailureTest, chargeBeyondTheLimitChargesNothing) {
    MemoryManager memoryManager(5000);
    memoryManager.allocate(4900);
    const auto exception = catchException<MemoryExhaustedException>([&] { memoryManager.allocate(4096); });
    EXPECT_EQ("The Melnar instance has run out of memory.\n[Extended information: 5000 bytes were reserved for the "
              "system, of which 100 were free when an attempt to allocate 4096 bytes was made.]",
              exception.getMessage());
    EXPECT_EQ("Engine/core/platform/system/MemoryManager", exception.getSourceFileName());
    EXPECT_EQ(73, exception.getSourceLineNumber());
    EXPECT_TRUE(exception.getCauses().empty());
    EXPECT_EQ(100u, memoryManager.getFreeBytes());
    EXPECT_EQ(5000u, memoryManager.getReservedBytes());
}

TEST(MemoryManagerFailureTest, oneByteTooManyIsTooMany) {
    MemoryManager memoryManager(10);
    EXPECT_THROW(memoryManager.allocate(11), MemoryExhaustedException);
    EXPECT_THROW(memoryManager.allocate(std::numeric_limits<size_t>::max()), MemoryExhaustedException);
    EXPECT_EQ(10u, memoryManager.getFreeBytes());
    memoryManager.allocate(10);
    EXPECT_THROW(memoryManager.allocate(1), MemoryExhaustedException);
    EXPECT_EQ(0u, memoryManager.getFreeBytes());
}

TEST(MemoryManagerFailureTest, whatTheSharedManagerRefusesIsChargedToNone) {
    MemoryManager shared(1000);
    MemoryManager first(5000, &shared);
    MemoryManager second(5000, &shared);
    first.allocate(700);
    EXPECT_EQ("The Melnar instance has run out of memory.\n[Extended information: 1000 bytes were reserved for the "
              "system, of which 300 were free when an attempt to allocate 301 bytes was made.]",
              catchException<MemoryExhaustedException>([&] { second.allocate(301); }).getMessage());
    EXPECT_EQ(5000u, second.getFreeBytes());
    EXPECT_EQ(300u, shared.getFreeBytes());
    second.allocate(300);
    EXPECT_EQ(0u, shared.getFreeBytes());
}

TEST(MemoryManagerFailureTest, whatTheOwnLimitRefusesIsGivenBackToTheSharedManager) {
    MemoryManager shared(1000);
    MemoryManager store(200, &shared);
    EXPECT_EQ("The Melnar instance has run out of memory.\n[Extended information: 200 bytes were reserved for the "
              "system, of which 200 were free when an attempt to allocate 201 bytes was made.]",
              catchException<MemoryExhaustedException>([&] { store.allocate(201); }).getMessage());
    EXPECT_EQ(200u, store.getFreeBytes());
    EXPECT_EQ(1000u, shared.getFreeBytes());
}

/// The exception needs memory, too.
TEST(MemoryManagerFailureTest, aRefusalThatCannotBeReportedChargesNothing) {
    MemoryManager shared(1000);
    MemoryManager store(200, &shared);
    for (const size_t bytes : {201UL, 1001UL}) {
        const FailureCounts counts = failEach(ofAllocations(), [&](FailureRound& round) {
            round.attempt([&] {
                try {
                    store.allocate(bytes);
                } catch (const MemoryExhaustedException&) {
                }
            });
            EXPECT_EQ(round.hasFailed(), round.hasThrown());
            EXPECT_EQ(200u, store.getFreeBytes());
            EXPECT_EQ(1000u, shared.getFreeBytes());
        });
        EXPECT_LT(0u, counts.m_throws);
    }
}

TEST(MemoryManagerFailureTest, refusalsAreCountedForAllStoresOfALimit) {
    MemoryManager shared(1000);
    MemoryManager first(200, &shared);
    MemoryManager second(2000, &shared);
    first.allocate(200);
    EXPECT_EQ(0u, shared.getNumberOfRefusals());
    EXPECT_THROW(first.allocate(1), MemoryExhaustedException);
    EXPECT_THROW(second.allocate(801), MemoryExhaustedException);
    first.noteRefusal();
    for (const MemoryManager* const memoryManager : {&shared, &first, &second})
        EXPECT_EQ(3u, memoryManager->getNumberOfRefusals());
}
