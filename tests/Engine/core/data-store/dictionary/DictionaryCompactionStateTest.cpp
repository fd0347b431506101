#include "Engine/core/data-store/dictionary/DictionaryCompactionState.h"

#include "Engine/core/data-store/dictionary/DataPool.h"
#include "Engine/core/platform/MemoryExhaustedException.h"
#include "Engine/core/platform/system/MemoryManager.h"
#include "tests/support/CaughtException.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <string_view>

namespace {

constexpr size_t CAPACITY = size_t(1) << 20;

class DictionaryCompactionStateTest : public testing::Test {
protected:
    DictionaryCompactionStateTest() {
        m_from.initialize(CAPACITY);
        m_state.m_entries.initialize(10);
        m_state.m_entries.ensureEndAtLeast(10);
    }

    /// Appends the record of a chunk that is put into the pool after unused bytes.
    void add(const uint64_t newResourceID, const std::string_view chunk) {
        m_from.newDataChunk(nullptr, 3);
        const uint64_t dataOffset = m_from.newDataChunk(nullptr, chunk.size());
        std::memcpy(m_from.getData() + dataOffset, chunk.data(), chunk.size());
        m_state.m_entries[m_state.m_numberOfEntries++] = {newResourceID, 5, false, dataOffset, chunk.size()};
    }

    size_t getBytesInUse() const { return m_memoryManager.getReservedBytes() - m_memoryManager.getFreeBytes(); }

    MemoryManager m_memoryManager{CAPACITY};
    DataPool m_from{m_memoryManager};
    DataPool m_to{m_memoryManager};
    DictionaryCompactionState m_state{m_memoryManager};
};

TEST_F(DictionaryCompactionStateTest, copiesTheChunksDenselyInTheOrderOfTheNewIDs) {
    add(2, "second");
    add(4, "fourth.");
    add(1, "first");
    add(3, "3");
    m_state.copyChunks(m_from, m_to);
    EXPECT_EQ("firstsecond3fourth.", std::string(reinterpret_cast<const char*>(m_to.getData()), m_to.getEnd()));
    EXPECT_EQ(m_from.getCapacity(), m_to.getCapacity());
    const size_t expectedOffsets[] = {5, 12, 0, 11};
    for (size_t index = 0; index < m_state.m_numberOfEntries; ++index)
        EXPECT_EQ(expectedOffsets[index], m_state.m_entries[index].dataOffset) << index;
    EXPECT_EQ(0u, m_to.getUnusedBytes());
}

TEST_F(DictionaryCompactionStateTest, withoutRecordsThePoolIsEmpty) {
    m_from.newDataChunk(nullptr, 100);
    m_state.copyChunks(m_from, m_to);
    EXPECT_EQ(0u, m_to.getEnd());
    EXPECT_EQ(CAPACITY, m_to.getCapacity());
}

TEST_F(DictionaryCompactionStateTest, refusesIDsThatAreNotDense) {
    for (const uint64_t resourceID : {uint64_t(0), uint64_t(3)}) {
        m_state.m_numberOfEntries = 0;
        add(1, "first");
        add(resourceID, "other");
        const uint64_t dataOffset = m_state.m_entries[1].dataOffset;
        const MelnarException exception = catchException<MelnarException>([&] { m_state.copyChunks(m_from, m_to); });
        EXPECT_EQ(FailureKind::MISUSE, exception.getKind());
        EXPECT_EQ("A compaction has 2 records, and one of them is for resource " + std::to_string(resourceID) + ".",
                  exception.getMessage());
        EXPECT_EQ(dataOffset, m_state.m_entries[1].dataOffset);
    }
}

TEST_F(DictionaryCompactionStateTest, withoutMemoryTheRecordsStay) {
    add(1, std::string(CAPACITY / 2, 'x'));
    const uint64_t dataOffset = m_state.m_entries[0].dataOffset;
    const size_t bytesInUse = getBytesInUse();
    EXPECT_THROW(m_state.copyChunks(m_from, m_to), MemoryExhaustedException);
    EXPECT_EQ(dataOffset, m_state.m_entries[0].dataOffset);
    EXPECT_EQ(bytesInUse, getBytesInUse());
}

} // namespace
