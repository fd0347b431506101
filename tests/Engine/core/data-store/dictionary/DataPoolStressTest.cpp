#include "Engine/core/data-store/dictionary/DataPool.h"

#include "Engine/core/data-store/dictionary/DictionaryThreadContext.h"
#include "Engine/core/platform/MemoryExhaustedException.h"
#include "tests/support/RunTogether.h"
#include "tests/support/StressDuration.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <optional>
#include <random>
#include <vector>

namespace {

struct Chunk {
    uint64_t m_offset;
    size_t m_size;
    uint8_t m_content;
};

/// What a thread has done to the pool.
struct ThreadResult {
    std::vector<Chunk> m_chunks;
    size_t m_returnedChunks = 0;
    size_t m_failures = 0;
};

size_t chooseSize(std::minstd_rand& random) {
    switch (random() % 16) {
    case 0:
        return DataPool::LARGEST_CHUNK_IN_BLOCK + random() % 20000;
    case 1:
        return 1 + random() % DataPool::LARGEST_CHUNK_IN_BLOCK;
    default:
        return 1 + random() % 60;
    }
}

/// Takes and fills chunks, and returns some of them immediately. One thread in four has no context, the others change
/// theirs from time to time.
void takeChunks(DataPool& dataPool, const size_t threadIndex, const size_t numberOfChunks, std::minstd_rand random,
                ThreadResult& result) {
    std::optional<DictionaryThreadContext> ownThreadContext(std::in_place, dataPool);
    for (size_t chunk = 0; chunk < numberOfChunks; ++chunk) {
        if (random() % 32 == 0)
            ownThreadContext.emplace(dataPool);
        DictionaryThreadContext* const threadContext = threadIndex % 4 == 3 ? nullptr : &*ownThreadContext;
        const size_t size = chooseSize(random);
        uint64_t offset;
        try {
            offset = dataPool.newDataChunk(threadContext, size);
        } catch (const MemoryExhaustedException&) {
            ++result.m_failures;
            continue;
        }
        if (random() % 8 == 0) {
            dataPool.returnDataChunk(threadContext, offset, size);
            ++result.m_returnedChunks;
            continue;
        }
        const auto content = static_cast<uint8_t>(random());
        std::memset(dataPool.getData() + offset, content, size);
        result.m_chunks.push_back({offset, size, content});
    }
}

/// Lets threads take chunks concurrently, and checks that each byte of the pool is in one chunk, or counted as unused.
void takeChunksAtOnce(const size_t numberOfThreads, const size_t chunksPerThread, const size_t memoryLimit,
                      const uint32_t seed, size_t& failures) {
    SCOPED_TRACE(testing::Message() << numberOfThreads << " threads, seed " << seed);
    MemoryManager memoryManager(memoryLimit);
    DataPool dataPool(memoryManager);
    dataPool.initialize(size_t(1) << 32);
    std::vector<ThreadResult> results(numberOfThreads);
    runTogether(numberOfThreads, [&](const size_t index) {
        takeChunks(dataPool, index, chunksPerThread, std::minstd_rand(seed + static_cast<uint32_t>(index)),
                   results[index]);
    });

    std::vector<Chunk> chunks;
    size_t returnedChunks = 0;
    for (const ThreadResult& result : results) {
        chunks.insert(chunks.end(), result.m_chunks.begin(), result.m_chunks.end());
        returnedChunks += result.m_returnedChunks;
        failures += result.m_failures;
    }
    std::sort(chunks.begin(), chunks.end(),
              [](const Chunk& first, const Chunk& second) { return first.m_offset < second.m_offset; });
    uint64_t usedEnd = 0;
    uint64_t gaps = 0;
    for (const Chunk& chunk : chunks) {
        ASSERT_LE(usedEnd, chunk.m_offset) << "two chunks overlap";
        gaps += chunk.m_offset - usedEnd;
        usedEnd = chunk.m_offset + chunk.m_size;
        const uint8_t* const data = dataPool.getData() + chunk.m_offset;
        ASSERT_TRUE(
            std::all_of(data, data + chunk.m_size, [&chunk](const uint8_t byte) { return byte == chunk.m_content; }));
    }
    ASSERT_LE(usedEnd, dataPool.getEnd());
    EXPECT_EQ(gaps + dataPool.getEnd() - usedEnd, dataPool.getUnusedBytes());
    EXPECT_GT(returnedChunks, 0u) << "no chunk was returned";
    EXPECT_LE(dataPool.getEnd(), dataPool.getCommittedBytes());
    EXPECT_EQ(memoryManager.getReservedBytes(), memoryManager.getFreeBytes() + dataPool.getCommittedBytes());
}

/// A pool, and a thread context with a block of it.
struct PoolWithThreadContext {
    explicit PoolWithThreadContext(MemoryManager& memoryManager)
        : m_dataPool(memoryManager), m_threadContext(m_dataPool) {
        m_dataPool.initialize(2 * DataPool::BLOCK_SIZE);
        m_dataPool.newDataChunk(&m_threadContext, 10);
    }

    DataPool m_dataPool;
    DictionaryThreadContext m_threadContext;
};

} // namespace

TEST(DataPoolStressTest, poolsMadeByManyThreadsNeverTakeThreadContextsOfEachOther) {
    constexpr size_t NUMBER_OF_THREADS = 8;
    MemoryManager memoryManager(size_t(1) << 30);
    std::vector<std::unique_ptr<PoolWithThreadContext>> pools(NUMBER_OF_THREADS * 20);
    runTogether(NUMBER_OF_THREADS, [&](const size_t threadIndex) {
        for (size_t index = threadIndex; index < pools.size(); index += NUMBER_OF_THREADS)
            pools[index] = std::make_unique<PoolWithThreadContext>(memoryManager);
    });
    for (const auto& pool : pools)
        for (const auto& other : pools)
            if (pool != other) {
                const uint64_t end = pool->m_dataPool.getEnd();
                ASSERT_EQ(end, pool->m_dataPool.newDataChunk(&other->m_threadContext, 1));
            }
    for (const auto& pool : pools)
        ASSERT_EQ(10u, pool->m_dataPool.newDataChunk(&pool->m_threadContext, 1));
}

TEST(DataPoolStressTest, chunksOfOneThreadNeverOverlap) {
    size_t failures = 0;
    takeChunksAtOnce(1, 5000, size_t(1) << 30, 1, failures);
    EXPECT_EQ(0u, failures);
}

TEST(DataPoolStressTest, chunksOfManyThreadsNeverOverlap) {
    const auto deadline = getStressDeadline();
    uint32_t seed = 0;
    size_t failures = 0;
    do
        for (const size_t numberOfThreads : {size_t(2), size_t(8), size_t(64)})
            takeChunksAtOnce(numberOfThreads, 16000 / numberOfThreads, size_t(1) << 30, seed += 1000, failures);
    while (isBefore(deadline));
    EXPECT_EQ(0u, failures);
}

TEST(DataPoolStressTest, aFullPoolRefusesChunksAndLosesNone) {
    const auto deadline = getStressDeadline();
    uint32_t seed = 0;
    size_t failures = 0;
    do
        for (const size_t numberOfThreads : {size_t(2), size_t(8), size_t(64)})
            takeChunksAtOnce(numberOfThreads, 16000 / numberOfThreads, size_t(1) << 23, seed += 1000, failures);
    while (isBefore(deadline));
    EXPECT_GT(failures, 0u) << "the pool was never full: it tested nothing";
}
