#include "Engine/core/data-store/dictionary/DataPool.h"

#include "Engine/core/data-store/dictionary/DictionaryThreadContext.h"
#include "Engine/core/platform/MemoryExhaustedException.h"
#include "Engine/core/platform/SystemCallException.h"
#include "tests/support/CaughtException.h"
#include "tests/support/SystemCallFaults.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdint>
#include <string>

namespace {

constexpr size_t BLOCK = DataPool::BLOCK_SIZE;

void expectFull(const MelnarException& exception, const size_t end, const size_t capacity) {
    EXPECT_EQ("Failed to ensure that a memory region could hold " + std::to_string(end) +
                  " items because it was initialized to hold at most " + std::to_string(capacity) + " items.",
              exception.getMessage());
    EXPECT_EQ("Engine/core/platform/system/MemoryRegion", exception.getSourceFileName());
    EXPECT_EQ(242, exception.getSourceLineNumber());
}

} // namespace

TEST(DataPoolFailureTest, aPoolThatIsNotInitialisedHasNoRoom) {
    MemoryManager memoryManager(BLOCK);
    DataPool dataPool(memoryManager);
    expectFull(catchException<MelnarException>([&] { dataPool.newDataChunk(nullptr, 5); }), 5, 0);
    EXPECT_EQ(0u, dataPool.getEnd());
}

TEST(DataPoolFailureTest, aPoolThatMayTakeAllMemoryEndsAtTheMemoryLimit) {
    MemoryManager memoryManager(BLOCK);
    DataPool dataPool(memoryManager);
    dataPool.initialize(BLOCK);
    EXPECT_THROW(dataPool.newDataChunk(nullptr, BLOCK + 1), MemoryExhaustedException);
    EXPECT_EQ(0u, dataPool.getEnd());
    EXPECT_EQ(BLOCK, memoryManager.getFreeBytes());
    EXPECT_EQ(0u, dataPool.newDataChunk(nullptr, BLOCK));
    EXPECT_THROW(dataPool.newDataChunk(nullptr, 1), MemoryExhaustedException);
}

TEST(DataPoolFailureTest, theCapacityIsUsedUpToItsLastByte) {
    constexpr size_t CAPACITY = BLOCK + 1000; // no room for a second block
    MemoryManager memoryManager(size_t(1) << 30);
    DataPool dataPool(memoryManager);
    dataPool.initialize(CAPACITY);
    DictionaryThreadContext threadContext(dataPool);
    for (size_t chunk = 0; chunk < (BLOCK + 1000) / 100; ++chunk)
        dataPool.newDataChunk(&threadContext, 100);
    // The block has a rest of 36 bytes; the chunks that did not fit come after it.
    EXPECT_EQ(36u, BLOCK % 100);
    EXPECT_EQ(CAPACITY, dataPool.getEnd());

    expectFull(catchException<MelnarException>([&] { dataPool.newDataChunk(&threadContext, 37); }), CAPACITY + 37,
               CAPACITY);
    EXPECT_EQ(CAPACITY, dataPool.getEnd());
    EXPECT_EQ(0u, dataPool.getUnusedBytes());
    EXPECT_EQ(BLOCK - 36, dataPool.newDataChunk(&threadContext, 36)) << "the block's rest serves what fits it";
    expectFull(catchException<MelnarException>([&] { dataPool.newDataChunk(&threadContext, 1); }), CAPACITY + 1,
               CAPACITY);
}

TEST(DataPoolFailureTest, theMemoryLimitIsUsedUpToItsLastByte) {
    const size_t limit = BLOCK + getVMPageSize();
    MemoryManager memoryManager(limit);
    {
        DataPool dataPool(memoryManager);
        dataPool.initialize(size_t(1) << 30);
        DictionaryThreadContext threadContext(dataPool);
        for (size_t byte = 0; byte < limit; ++byte)
            ASSERT_EQ(byte, dataPool.newDataChunk(&threadContext, 1));
        EXPECT_EQ(0u, memoryManager.getFreeBytes());

        const auto exception =
            catchException<MemoryExhaustedException>([&] { dataPool.newDataChunk(&threadContext, 1); });
        EXPECT_EQ("MemoryExhaustedException", exception.getExceptionName());
        EXPECT_EQ("Engine/core/platform/system/MemoryManager", exception.getSourceFileName());
        EXPECT_EQ(limit, dataPool.getEnd());
        EXPECT_EQ(limit, dataPool.getCommittedBytes());
        EXPECT_EQ(0u, dataPool.getUnusedBytes());
    }
    EXPECT_EQ(limit, memoryManager.getFreeBytes());
}

TEST(DataPoolFailureTest, aBlockThatTheLimitForbidsIsReplacedByTheChunkAlone) {
    MemoryManager memoryManager(BLOCK - 1);
    DataPool dataPool(memoryManager);
    dataPool.initialize(size_t(1) << 30);
    DictionaryThreadContext threadContext(dataPool);
    EXPECT_EQ(0u, dataPool.newDataChunk(&threadContext, 10));
    EXPECT_EQ(10u, dataPool.newDataChunk(&threadContext, 10));
    EXPECT_EQ(20u, dataPool.getEnd());
}

TEST(DataPoolFailureTest, aRefusalOfTheSystemTakesNothing) {
    MemoryManager memoryManager(size_t(1) << 30);
    DataPool dataPool(memoryManager);
    dataPool.initialize(size_t(1) << 30);
    DictionaryThreadContext threadContext(dataPool);
    {
        SystemCallFaults faults(SystemCallFaults::Call::MPROTECT);
        faults.failAfter(0, ENOMEM, SystemCallFaults::Duration::FOR_GOOD);
        const auto exception = catchException<SystemCallException>([&] { dataPool.newDataChunk(&threadContext, 10); });
        EXPECT_STREQ("mprotect", exception.getSystemCallName());
        EXPECT_EQ(ENOMEM, exception.getErrorCode());
    }
    EXPECT_EQ(0u, dataPool.getEnd());
    EXPECT_EQ(0u, dataPool.getCommittedBytes());
    EXPECT_EQ(memoryManager.getReservedBytes(), memoryManager.getFreeBytes());
    EXPECT_EQ(0u, dataPool.newDataChunk(&threadContext, 10));
}

TEST(DataPoolFailureTest, aReservationThatTheSystemRefusesLeavesAnEmptyPool) {
    MemoryManager memoryManager(size_t(1) << 30);
    DataPool dataPool(memoryManager);
    dataPool.initialize(size_t(1) << 20);
    dataPool.newDataChunk(nullptr, 10);
    {
        SystemCallFaults faults(SystemCallFaults::Call::MMAP);
        faults.failAfter(0, ENOMEM, SystemCallFaults::Duration::ONCE);
        const auto exception = catchException<SystemCallException>([&] { dataPool.initialize(size_t(1) << 20); });
        EXPECT_STREQ("mmap", exception.getSystemCallName());
    }
    EXPECT_EQ(0u, dataPool.getEnd());
    EXPECT_EQ(nullptr, dataPool.getData());
    EXPECT_EQ(memoryManager.getReservedBytes(), memoryManager.getFreeBytes());
    dataPool.initialize(size_t(1) << 20);
    EXPECT_EQ(0u, dataPool.newDataChunk(nullptr, 10));
}

TEST(DataPoolFailureTest, aSizeBeyondTheMemoryLimitLeavesAnEmptyPool) {
    MemoryManager memoryManager(BLOCK);
    DataPool dataPool(memoryManager);
    EXPECT_THROW(dataPool.initialize(size_t(1) << 20, BLOCK + 1), MemoryExhaustedException);
    EXPECT_EQ(0u, dataPool.getEnd());
    EXPECT_EQ(BLOCK, memoryManager.getFreeBytes());
    EXPECT_EQ(0u, dataPool.newDataChunk(nullptr, 10));
}
