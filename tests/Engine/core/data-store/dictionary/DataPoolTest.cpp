#include "Engine/core/data-store/dictionary/DataPool.h"

#include "Engine/core/data-store/dictionary/DictionaryThreadContext.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <optional>
#include <utility>

namespace {

constexpr size_t CAPACITY = size_t(1) << 24;
constexpr size_t BLOCK = DataPool::BLOCK_SIZE;
constexpr size_t LARGEST_IN_BLOCK = DataPool::LARGEST_CHUNK_IN_BLOCK;

class DataPoolTest : public testing::Test {
protected:
    DataPoolTest() : m_memoryManager(size_t(1) << 30), m_dataPool(m_memoryManager) { m_dataPool.initialize(CAPACITY); }

    MemoryManager m_memoryManager;
    DataPool m_dataPool;
};

} // namespace

TEST_F(DataPoolTest, twoNumbersAndTheBaseOfTheBytesComeFirst) {
    m_dataPool.newDataChunk(nullptr, 10);
    {
        DictionaryThreadContext threadContext(m_dataPool);
        m_dataPool.newDataChunk(&threadContext, 10);
        m_dataPool.newDataChunk(nullptr, 10);
    }
    uint64_t numbers[2];
    const uint8_t* base;
    std::memcpy(numbers, reinterpret_cast<const uint8_t*>(&m_dataPool), sizeof(numbers));
    std::memcpy(&base, reinterpret_cast<const uint8_t*>(&m_dataPool) + sizeof(numbers), sizeof(base));
    EXPECT_EQ(10 + BLOCK + 10, numbers[0]);
    EXPECT_EQ(BLOCK - 10, numbers[1]);
    EXPECT_EQ(m_dataPool.getEnd(), numbers[0]);
    EXPECT_EQ(m_dataPool.getUnusedBytes(), numbers[1]);
    EXPECT_NE(nullptr, base);
    EXPECT_EQ(m_dataPool.getData(), base);
}

TEST_F(DataPoolTest, aNewPoolIsEmptyAndCostsNothing) {
    EXPECT_EQ(0u, m_dataPool.getEnd());
    EXPECT_EQ(0u, m_dataPool.getUnusedBytes());
    EXPECT_EQ(0u, m_dataPool.getCommittedBytes());
    EXPECT_EQ(m_memoryManager.getReservedBytes(), m_memoryManager.getFreeBytes());
    EXPECT_NE(nullptr, m_dataPool.getData());
}

TEST_F(DataPoolTest, aPoolThatIsNotInitialisedIsEmpty) {
    const DataPool dataPool(m_memoryManager);
    EXPECT_EQ(0u, dataPool.getEnd());
    EXPECT_EQ(0u, dataPool.getUnusedBytes());
}

TEST_F(DataPoolTest, chunksWithoutThreadContextFollowEachOther) {
    EXPECT_EQ(0u, m_dataPool.newDataChunk(nullptr, 10));
    EXPECT_EQ(10u, m_dataPool.newDataChunk(nullptr, 3));
    EXPECT_EQ(13u, m_dataPool.newDataChunk(nullptr, BLOCK * 3));
    EXPECT_EQ(13 + BLOCK * 3, m_dataPool.getEnd());
}

TEST_F(DataPoolTest, whatIsCommittedIsChargedAndCanBeWritten) {
    const uint64_t offset = m_dataPool.newDataChunk(nullptr, 100000);
    std::memset(m_dataPool.getData() + offset, 0xFF, 100000);
    EXPECT_LE(100000u, m_dataPool.getCommittedBytes());
    EXPECT_EQ(m_dataPool.getCommittedBytes(), m_memoryManager.getReservedBytes() - m_memoryManager.getFreeBytes());
}

TEST_F(DataPoolTest, eachThreadContextHasABlockOfItsOwn) {
    DictionaryThreadContext first(m_dataPool);
    DictionaryThreadContext second(m_dataPool);
    EXPECT_EQ(0u, m_dataPool.newDataChunk(&first, 10));
    EXPECT_EQ(BLOCK, m_dataPool.newDataChunk(&second, 20));
    EXPECT_EQ(10u, m_dataPool.newDataChunk(&first, 30));
    EXPECT_EQ(BLOCK + 20, m_dataPool.newDataChunk(&second, 1));
    EXPECT_EQ(2 * BLOCK, m_dataPool.getEnd());
}

TEST_F(DataPoolTest, chunksThatAreTooLargeForBlocksAreTakenDirectly) {
    DictionaryThreadContext threadContext(m_dataPool);
    EXPECT_EQ(0u, m_dataPool.newDataChunk(&threadContext, LARGEST_IN_BLOCK));
    EXPECT_EQ(BLOCK, m_dataPool.newDataChunk(&threadContext, LARGEST_IN_BLOCK + 1));
    EXPECT_EQ(LARGEST_IN_BLOCK, m_dataPool.newDataChunk(&threadContext, 5)) << "the block is still in use";
    EXPECT_EQ(BLOCK + LARGEST_IN_BLOCK + 1, m_dataPool.getEnd());
}

TEST_F(DataPoolTest, anExactlyFilledBlockLosesNothing) {
    DictionaryThreadContext threadContext(m_dataPool);
    for (size_t chunk = 0; chunk < 8; ++chunk)
        EXPECT_EQ(chunk * LARGEST_IN_BLOCK, m_dataPool.newDataChunk(&threadContext, LARGEST_IN_BLOCK));
    EXPECT_EQ(BLOCK, m_dataPool.getEnd());
    EXPECT_EQ(BLOCK, m_dataPool.newDataChunk(nullptr, 1));
    EXPECT_EQ(BLOCK + 1, m_dataPool.newDataChunk(&threadContext, 1));
    EXPECT_EQ(0u, m_dataPool.getUnusedBytes());
}

TEST_F(DataPoolTest, blocksThatFollowEachOtherAreUsedAsOne) {
    constexpr size_t CHUNK = 5000; // does not divide a block
    DictionaryThreadContext threadContext(m_dataPool);
    for (size_t chunk = 0; chunk < 1000; ++chunk)
        ASSERT_EQ(chunk * CHUNK, m_dataPool.newDataChunk(&threadContext, CHUNK));
    EXPECT_EQ(0u, m_dataPool.getUnusedBytes());
    EXPECT_EQ((1000 * CHUNK + BLOCK - 1) / BLOCK * BLOCK, m_dataPool.getEnd());
}

TEST_F(DataPoolTest, theRestOfAReturnedBlockIsCounted) {
    DictionaryThreadContext threadContext(m_dataPool);
    for (size_t chunk = 0; chunk < 7; ++chunk)
        m_dataPool.newDataChunk(&threadContext, LARGEST_IN_BLOCK);
    m_dataPool.newDataChunk(&threadContext, 5000);
    m_dataPool.newDataChunk(nullptr, 1);
    EXPECT_EQ(BLOCK + 1, m_dataPool.newDataChunk(&threadContext, LARGEST_IN_BLOCK));
    EXPECT_EQ(LARGEST_IN_BLOCK - 5000, m_dataPool.getUnusedBytes());
}

TEST_F(DataPoolTest, aThreadThatLeavesGivesTheRestOfTheLastBlockBack) {
    {
        DictionaryThreadContext threadContext(m_dataPool);
        m_dataPool.newDataChunk(&threadContext, 10);
    }
    EXPECT_EQ(10u, m_dataPool.getEnd());
    EXPECT_EQ(0u, m_dataPool.getUnusedBytes());
    EXPECT_EQ(10u, m_dataPool.newDataChunk(nullptr, 1));
}

TEST_F(DataPoolTest, theRestOfABlockBeforeAnotherIsCountedWhenItsThreadLeaves) {
    std::optional<DictionaryThreadContext> first(std::in_place, m_dataPool);
    DictionaryThreadContext second(m_dataPool);
    m_dataPool.newDataChunk(&*first, 10);
    m_dataPool.newDataChunk(&second, 10);
    first.reset();
    EXPECT_EQ(2 * BLOCK, m_dataPool.getEnd());
    EXPECT_EQ(BLOCK - 10, m_dataPool.getUnusedBytes());
}

TEST_F(DataPoolTest, theRestOfABlockGoesToTheNextThreadThatNeedsOne) {
    std::optional<DictionaryThreadContext> first(std::in_place, m_dataPool);
    DictionaryThreadContext second(m_dataPool);
    m_dataPool.newDataChunk(&*first, 10);
    m_dataPool.newDataChunk(&second, 10);
    first.reset();
    first.emplace(m_dataPool);
    EXPECT_EQ(10u, m_dataPool.newDataChunk(&*first, 20));
    EXPECT_EQ(0u, m_dataPool.getUnusedBytes());
    DictionaryThreadContext third(m_dataPool);
    EXPECT_EQ(2 * BLOCK, m_dataPool.newDataChunk(&third, 10)) << "the rest is taken";
}

TEST_F(DataPoolTest, contextsOfASingleCallWasteNothing) {
    DictionaryThreadContext other(m_dataPool);
    m_dataPool.newDataChunk(&other, 10);
    for (size_t call = 0; call < 1000; ++call) {
        DictionaryThreadContext threadContext(m_dataPool);
        DictionaryThreadContext concurrent(m_dataPool);
        m_dataPool.newDataChunk(&threadContext, 10);
        m_dataPool.newDataChunk(&concurrent, 10);
    }
    EXPECT_GE(3 * BLOCK, m_dataPool.getEnd());
}

TEST_F(DataPoolTest, aSmallRestOfABlockIsLost) {
    std::optional<DictionaryThreadContext> first(std::in_place, m_dataPool);
    for (size_t chunk = 0; chunk < 7; ++chunk)
        m_dataPool.newDataChunk(&*first, LARGEST_IN_BLOCK);
    m_dataPool.newDataChunk(&*first, 1);
    m_dataPool.newDataChunk(nullptr, 1);
    first.reset();
    DictionaryThreadContext second(m_dataPool);
    EXPECT_EQ(BLOCK + 1, m_dataPool.newDataChunk(&second, 1));
    EXPECT_EQ(LARGEST_IN_BLOCK - 1, m_dataPool.getUnusedBytes());
}

TEST_F(DataPoolTest, restsOfABygonePoolAreVoid) {
    const auto leaveRest = [this] {
        DictionaryThreadContext threadContext(m_dataPool);
        m_dataPool.newDataChunk(&threadContext, 10);
        m_dataPool.newDataChunk(nullptr, 1);
    };
    leaveRest();
    m_dataPool.initialize(CAPACITY);
    DictionaryThreadContext threadContext(m_dataPool);
    EXPECT_EQ(0u, m_dataPool.newDataChunk(&threadContext, 1));
    leaveRest();
    DataPool other(m_memoryManager);
    other.initialize(CAPACITY);
    m_dataPool.swapContents(other);
    EXPECT_EQ(0u, m_dataPool.newDataChunk(&threadContext, 1)) << "the rest is where its bytes are";
    DictionaryThreadContext otherThreadContext(other);
    EXPECT_EQ(BLOCK + 10, other.newDataChunk(&otherThreadContext, 1));
}

TEST_F(DataPoolTest, aThreadThatTookNothingLeavesNothing) {
    { const DictionaryThreadContext threadContext(m_dataPool); }
    EXPECT_EQ(0u, m_dataPool.getEnd());
    EXPECT_EQ(0u, m_dataPool.getUnusedBytes());
}

TEST_F(DataPoolTest, aReturnedChunkOfABlockIsTheNextAgain) {
    DictionaryThreadContext threadContext(m_dataPool);
    m_dataPool.newDataChunk(&threadContext, 10);
    const uint64_t offset = m_dataPool.newDataChunk(&threadContext, 20);
    m_dataPool.returnDataChunk(&threadContext, offset, 20);
    EXPECT_EQ(offset, m_dataPool.newDataChunk(&threadContext, 7));
    EXPECT_EQ(0u, m_dataPool.getUnusedBytes());
    EXPECT_EQ(BLOCK, m_dataPool.getEnd());
}

TEST_F(DataPoolTest, aReturnedChunkAtTheEndShortensThePool) {
    DictionaryThreadContext threadContext(m_dataPool);
    m_dataPool.newDataChunk(&threadContext, 10);
    m_dataPool.returnDataChunk(&threadContext, m_dataPool.newDataChunk(&threadContext, BLOCK), BLOCK);
    EXPECT_EQ(BLOCK, m_dataPool.getEnd());
    m_dataPool.returnDataChunk(nullptr, m_dataPool.newDataChunk(nullptr, 10), 10);
    EXPECT_EQ(BLOCK, m_dataPool.getEnd());
    EXPECT_EQ(0u, m_dataPool.getUnusedBytes());
}

TEST_F(DataPoolTest, aReturnedChunkBeforeAnotherIsCounted) {
    const uint64_t offset = m_dataPool.newDataChunk(nullptr, 10);
    m_dataPool.newDataChunk(nullptr, 1);
    m_dataPool.returnDataChunk(nullptr, offset, 10);
    EXPECT_EQ(11u, m_dataPool.getEnd());
    EXPECT_EQ(10u, m_dataPool.getUnusedBytes());
}

TEST_F(DataPoolTest, chunksStayWhereTheyAreWhileThePoolGrows) {
    const uint8_t* const data = m_dataPool.getData();
    const uint64_t offset = m_dataPool.newDataChunk(nullptr, 4);
    std::memcpy(m_dataPool.getData() + offset, "text", 4);
    for (size_t chunk = 0; chunk < 100; ++chunk)
        m_dataPool.newDataChunk(nullptr, BLOCK);
    EXPECT_EQ(data, m_dataPool.getData());
    EXPECT_EQ(0, std::memcmp(data + offset, "text", 4));
}

TEST_F(DataPoolTest, initialisingAgainEmptiesThePool) {
    m_dataPool.newDataChunk(nullptr, 10);
    m_dataPool.returnDataChunk(nullptr, 0, 5);
    m_dataPool.initialize(CAPACITY);
    EXPECT_EQ(0u, m_dataPool.getEnd());
    EXPECT_EQ(0u, m_dataPool.getUnusedBytes());
    EXPECT_EQ(m_memoryManager.getReservedBytes(), m_memoryManager.getFreeBytes());
    EXPECT_EQ(0u, m_dataPool.newDataChunk(nullptr, 10));
    EXPECT_EQ(0, m_dataPool.getData()[0]);
}

TEST_F(DataPoolTest, aPoolCanStartWithBytesThatAreTaken) {
    m_dataPool.initialize(CAPACITY, 100000);
    EXPECT_EQ(CAPACITY, m_dataPool.getCapacity());
    EXPECT_EQ(100000u, m_dataPool.getEnd());
    EXPECT_EQ(0u, m_dataPool.getUnusedBytes());
    EXPECT_LE(100000u, m_dataPool.getCommittedBytes());
    EXPECT_EQ(0, m_dataPool.getData()[99999]);
    EXPECT_EQ(100000u, m_dataPool.newDataChunk(nullptr, 1));
}

TEST_F(DataPoolTest, aBlockOfABygonePoolIsVoid) {
    std::optional<DictionaryThreadContext> stays(std::in_place, m_dataPool);
    std::optional<DictionaryThreadContext> goes(std::in_place, m_dataPool);
    m_dataPool.newDataChunk(&*stays, 10);
    m_dataPool.newDataChunk(&*goes, 10);
    m_dataPool.initialize(CAPACITY, 2 * BLOCK);
    goes.reset();
    EXPECT_EQ(2 * BLOCK, m_dataPool.getEnd()) << "nothing of the old pool is given back to the new one";
    EXPECT_EQ(0u, m_dataPool.getUnusedBytes());
    EXPECT_EQ(2 * BLOCK, m_dataPool.newDataChunk(&*stays, 10));
    stays.reset();
    EXPECT_EQ(2 * BLOCK + 10, m_dataPool.getEnd());
    EXPECT_EQ(0u, m_dataPool.getUnusedBytes());
}

TEST_F(DataPoolTest, aChunkIsNotReturnedToABlockOfABygonePool) {
    DictionaryThreadContext threadContext(m_dataPool);
    for (size_t chunk = 0; chunk < 4; ++chunk)
        m_dataPool.newDataChunk(&threadContext, LARGEST_IN_BLOCK); // the rest of the block starts at half a block
    m_dataPool.initialize(CAPACITY);
    ASSERT_EQ(0u, m_dataPool.newDataChunk(&threadContext, BLOCK / 2));
    m_dataPool.returnDataChunk(&threadContext, 0, BLOCK / 2);
    EXPECT_EQ(0u, m_dataPool.getEnd());
    EXPECT_EQ(0u, m_dataPool.getUnusedBytes());
}

TEST_F(DataPoolTest, poolsExchangeTheirBytes) {
    DataPool other(m_memoryManager);
    other.initialize(CAPACITY / 2);
    DictionaryThreadContext threadContext(m_dataPool);
    DictionaryThreadContext otherThreadContext(other);
    std::memcpy(m_dataPool.getData() + m_dataPool.newDataChunk(&threadContext, 4), "here", 4);
    std::memcpy(other.getData() + other.newDataChunk(nullptr, 5), "there", 5);
    other.newDataChunk(&otherThreadContext, 1);
    other.newDataChunk(nullptr, 1);
    other.returnDataChunk(nullptr, 0, 2);
    const uint8_t* const data = m_dataPool.getData();
    const uint8_t* const otherData = other.getData();
    const size_t freeBytes = m_memoryManager.getFreeBytes();

    m_dataPool.swapContents(other);
    EXPECT_EQ(otherData, m_dataPool.getData());
    EXPECT_EQ(data, other.getData());
    EXPECT_EQ(0, std::memcmp("there", m_dataPool.getData(), 5));
    EXPECT_EQ(0, std::memcmp("here", other.getData(), 4));
    EXPECT_EQ(5 + BLOCK + 1, m_dataPool.getEnd());
    EXPECT_EQ(BLOCK, other.getEnd());
    EXPECT_EQ(2u, m_dataPool.getUnusedBytes());
    EXPECT_EQ(0u, other.getUnusedBytes());
    EXPECT_EQ(CAPACITY / 2, m_dataPool.getCapacity());
    EXPECT_EQ(CAPACITY, other.getCapacity());
    EXPECT_EQ(freeBytes, m_memoryManager.getFreeBytes());
    EXPECT_EQ(5 + BLOCK + 1, m_dataPool.newDataChunk(&threadContext, 1)) << "a new block, of what is here now";
    EXPECT_EQ(BLOCK, other.newDataChunk(&otherThreadContext, 1));
}

TEST_F(DataPoolTest, aThreadContextOfAnotherPoolOverwritesNothing) {
    DataPool other(m_memoryManager);
    other.initialize(CAPACITY);
    DictionaryThreadContext threadContext(m_dataPool);
    m_dataPool.newDataChunk(&threadContext, 10);
    EXPECT_EQ(0u, other.newDataChunk(nullptr, 100));
    EXPECT_EQ(100u, other.newDataChunk(&threadContext, 5)) << "after everything that is taken";
}

TEST_F(DataPoolTest, aThreadContextOfAnotherPoolTakesChunksFromTheEnd) {
    DataPool other(m_memoryManager);
    other.initialize(CAPACITY);
    {
        DictionaryThreadContext threadContext(m_dataPool);
        EXPECT_EQ(0u, other.newDataChunk(&threadContext, 10)) << "also before it has a block of its own";
        EXPECT_EQ(0u, m_dataPool.newDataChunk(&threadContext, 20));
        EXPECT_EQ(10u, other.newDataChunk(&threadContext, 30));
        EXPECT_EQ(20u, m_dataPool.newDataChunk(&threadContext, 40)) << "its block stays in use";
        EXPECT_EQ(40u, other.getEnd());
    }
    EXPECT_EQ(60u, m_dataPool.getEnd()) << "the rest of its block goes back";
    EXPECT_EQ(40u, other.getEnd()) << "only to the pool that it is of";
    EXPECT_EQ(0u, m_dataPool.getUnusedBytes());
    EXPECT_EQ(0u, other.getUnusedBytes());
}

TEST_F(DataPoolTest, aChunkIsNotReturnedToABlockOfAnotherPool) {
    DataPool other(m_memoryManager);
    other.initialize(CAPACITY);
    DictionaryThreadContext threadContext(m_dataPool);
    ASSERT_EQ(0u, m_dataPool.newDataChunk(&threadContext, 10));
    ASSERT_EQ(0u, other.newDataChunk(&threadContext, 10));
    other.returnDataChunk(&threadContext, 0, 10);
    EXPECT_EQ(0u, other.getEnd());
    EXPECT_EQ(10u, m_dataPool.newDataChunk(&threadContext, 1));
}

TEST_F(DataPoolTest, aThreadContextDoesNotFollowItsBlockIntoAnotherPool) {
    DataPool other(m_memoryManager);
    other.initialize(CAPACITY);
    other.newDataChunk(nullptr, 100);
    std::optional<DictionaryThreadContext> threadContext(std::in_place, m_dataPool);
    m_dataPool.newDataChunk(&*threadContext, 10);
    m_dataPool.swapContents(other);
    EXPECT_EQ(BLOCK, other.newDataChunk(&*threadContext, 1)) << "although the block is there now";
    EXPECT_EQ(100u, m_dataPool.newDataChunk(&*threadContext, 1));
    threadContext.reset();
    EXPECT_EQ(101u, m_dataPool.getEnd());
    EXPECT_EQ(BLOCK + 1, other.getEnd());
}
