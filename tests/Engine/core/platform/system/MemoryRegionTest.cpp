#include "Engine/core/platform/system/MemoryRegion.h"

#include "tests/support/MemoryAccess.h"
#include "tests/support/MemoryRegionTestPeer.h"
#include "tests/support/SystemCallFaults.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <cstdint>
#include <cstring>

namespace {

using Call = SystemCallFaults::Call;

constexpr size_t LIMIT = size_t(1) << 24;

/// All requirements of a region hold for every type of item, whatever its size.
template<class T>
class MemoryRegionTest : public ::testing::Test {
protected:
    MemoryRegionTest() : m_pageSize(getVMPageSize()), m_itemsPerPage(m_pageSize / sizeof(T)), m_memoryManager(LIMIT) {}

    size_t getChargedBytes() const { return LIMIT - m_memoryManager.getFreeBytes(); }

    void expectState(const MemoryRegion<T>& region, const size_t end, const size_t committedBytes) const {
        EXPECT_EQ(end, region.getEnd());
        EXPECT_EQ(committedBytes, region.getCommittedBytes());
        EXPECT_EQ(committedBytes, getChargedBytes());
    }

    void expectEmpty(const MemoryRegion<T>& region) const {
        EXPECT_EQ(nullptr, region.getData());
        EXPECT_EQ(0u, region.getMaximumNumberOfItems());
        expectState(region, 0, 0);
    }

    static void fill(MemoryRegion<T>& region, const size_t begin, const size_t end) {
        for (size_t index = begin; index < end; ++index)
            region[index] = getItem(index);
    }

    /// Returns a value that is never zero, and fits into every type.
    static uint8_t getItem(const size_t index) { return static_cast<uint8_t>(index % 255 + 1); }

    static void expectItems(const MemoryRegion<T>& region, const size_t begin, const size_t end) {
        for (size_t index = begin; index < end; ++index)
            ASSERT_TRUE(region[index] == getItem(index)) << "item " << index;
    }

    static void expectZero(const MemoryRegion<T>& region, const size_t begin, const size_t end) {
        for (size_t index = begin; index < end; ++index)
            ASSERT_TRUE(region[index] == 0) << "item " << index;
    }

    const size_t m_pageSize;
    const size_t m_itemsPerPage;
    MemoryManager m_memoryManager;
};

using ItemTypes =
    ::testing::Types<uint32_t, uint64_t, std::atomic<uint8_t>, std::atomic<uint32_t>, std::atomic<uint64_t>>;
TYPED_TEST_SUITE(MemoryRegionTest, ItemTypes);

} // namespace

TYPED_TEST(MemoryRegionTest, newRegionIsEmpty) {
    const MemoryRegion<TypeParam> region(this->m_memoryManager);
    this->expectEmpty(region);
    EXPECT_EQ(&this->m_memoryManager, &region.getMemoryManager());
}

TYPED_TEST(MemoryRegionTest, fieldsLieInTheirOrder) {
    const MemoryRegion<TypeParam> region(this->m_memoryManager);
    EXPECT_EQ((std::array<size_t, 6>{0, 8, 16, 20, 32, 40}), MemoryRegionTestPeer::getFieldOffsets(region));
    EXPECT_EQ(48u, sizeof(region));
    uintptr_t reference;
    std::memcpy(&reference, reinterpret_cast<const uint8_t*>(&region) + 24, sizeof(reference));
    EXPECT_EQ(reinterpret_cast<uintptr_t>(&this->m_memoryManager), reference);
}

TYPED_TEST(MemoryRegionTest, pageSizeShiftIsTheLogarithmOfThePageSize) {
    const MemoryRegion<TypeParam> region(this->m_memoryManager);
    EXPECT_EQ(this->m_pageSize, size_t(1) << MemoryRegionTestPeer::getPageSizeShift(region));
}

TYPED_TEST(MemoryRegionTest, initializeToNothingLeavesTheRegionEmpty) {
    MemoryRegion<TypeParam> region(this->m_memoryManager);
    const SystemCallFaults maps(Call::MMAP);
    region.initialize(0);
    this->expectEmpty(region);
    EXPECT_EQ(0u, maps.getNumberOfCalls());
}

TYPED_TEST(MemoryRegionTest, initializeReservesWholePagesAndCommitsNone) {
    MemoryRegion<TypeParam> region(this->m_memoryManager);
    const SystemCallFaults maps(Call::MMAP);
    region.initialize(this->m_itemsPerPage + 1);
    EXPECT_EQ(1u, maps.getNumberOfCalls());
    EXPECT_EQ(2 * this->m_pageSize, maps.getLatestRequest());
    EXPECT_EQ(this->m_itemsPerPage + 1, region.getMaximumNumberOfItems());
    ASSERT_NE(nullptr, region.getData());
    EXPECT_FALSE(isReadable(region.getData()));
    this->expectState(region, 0, 0);
}

TYPED_TEST(MemoryRegionTest, reservationOfExactlyAPageIsNotRoundedUp) {
    MemoryRegion<TypeParam> region(this->m_memoryManager);
    const SystemCallFaults maps(Call::MMAP);
    region.initialize(this->m_itemsPerPage);
    EXPECT_EQ(this->m_pageSize, maps.getLatestRequest());
}

TYPED_TEST(MemoryRegionTest, hugeReservationCostsNothing) {
    MemoryRegion<TypeParam> region(this->m_memoryManager);
    region.initialize((size_t(1) << 40) / sizeof(TypeParam));
    this->expectState(region, 0, 0);
    region.ensureEndAtLeast(1);
    this->expectState(region, this->m_itemsPerPage, this->m_pageSize);
}

TYPED_TEST(MemoryRegionTest, growthCommitsWholePagesAndNothingMore) {
    MemoryRegion<TypeParam> region(this->m_memoryManager);
    region.initialize(2 * this->m_itemsPerPage);
    const SystemCallFaults protects(Call::MPROTECT);
    region.ensureEndAtLeast(1);
    this->expectState(region, this->m_itemsPerPage, this->m_pageSize);
    EXPECT_FALSE(isReadable(region.getData() + this->m_itemsPerPage)) << "beyond the committed bytes all faults";
    region.ensureEndAtLeast(this->m_itemsPerPage);
    this->expectState(region, this->m_itemsPerPage, this->m_pageSize);
    EXPECT_EQ(1u, protects.getNumberOfCalls());
    region.ensureEndAtLeast(this->m_itemsPerPage + 1);
    this->expectState(region, 2 * this->m_itemsPerPage, 2 * this->m_pageSize);
    EXPECT_EQ(2u, protects.getNumberOfCalls());
    EXPECT_EQ(this->m_pageSize, protects.getLargestRequest()) << "only the pages added are committed";
}

TYPED_TEST(MemoryRegionTest, endNeverExceedsTheCapacity) {
    MemoryRegion<TypeParam> region(this->m_memoryManager);
    const size_t capacity = 2 * this->m_itemsPerPage - 24;
    region.initialize(capacity);
    region.ensureEndAtLeast(capacity);
    this->expectState(region, capacity, 2 * this->m_pageSize);
}

TYPED_TEST(MemoryRegionTest, doEnsureEndAtLeastOfAccessibleItemsDoesNothing) {
    MemoryRegion<TypeParam> region(this->m_memoryManager);
    region.initialize(2 * this->m_itemsPerPage);
    region.ensureEndAtLeast(1);
    const SystemCallFaults protects(Call::MPROTECT);
    region.doEnsureEndAtLeast(this->m_itemsPerPage);
    EXPECT_EQ(0u, protects.getNumberOfCalls());
    this->expectState(region, this->m_itemsPerPage, this->m_pageSize);
    EXPECT_EQ(0u, MemoryRegionTestPeer::getGrowthLock(region));
}

TYPED_TEST(MemoryRegionTest, nothingIsEnsuredOfAnEmptyRegion) {
    MemoryRegion<TypeParam> region(this->m_memoryManager);
    region.ensureEndAtLeast(0);
    region.doEnsureEndAtLeast(0);
    this->expectEmpty(region);
}

TYPED_TEST(MemoryRegionTest, newItemsAreZero) {
    MemoryRegion<TypeParam> region(this->m_memoryManager);
    region.initialize(3 * this->m_itemsPerPage);
    region.ensureEndAtLeast(region.getMaximumNumberOfItems());
    this->expectZero(region, 0, region.getEnd());
}

TYPED_TEST(MemoryRegionTest, growthKeepsAddressesAndContents) {
    MemoryRegion<TypeParam> region(this->m_memoryManager);
    region.initialize(64 * this->m_itemsPerPage);
    const TypeParam* const data = region.getData();
    for (size_t page = 1; page <= 64; ++page) {
        const size_t filled = region.getEnd();
        region.ensureEndAtLeast(page * this->m_itemsPerPage);
        this->fill(region, filled, region.getEnd());
    }
    EXPECT_EQ(data, region.getData());
    this->expectItems(region, 0, 64 * this->m_itemsPerPage);
}

TYPED_TEST(MemoryRegionTest, repeatedInitializeDropsWhatWasThere) {
    MemoryRegion<TypeParam> region(this->m_memoryManager);
    region.initialize(2 * this->m_itemsPerPage);
    region.ensureEndAtLeast(1);
    this->fill(region, 0, region.getEnd());
    const SystemCallFaults unmaps(Call::MUNMAP);
    region.initialize(5 * this->m_itemsPerPage);
    EXPECT_EQ(1u, unmaps.getNumberOfCalls());
    EXPECT_EQ(2 * this->m_pageSize, unmaps.getLatestRequest());
    EXPECT_EQ(5 * this->m_itemsPerPage, region.getMaximumNumberOfItems());
    this->expectState(region, 0, 0);
    region.ensureEndAtLeast(1);
    this->expectZero(region, 0, region.getEnd());
}

TYPED_TEST(MemoryRegionTest, initializeToNothingGivesEverythingBack) {
    MemoryRegion<TypeParam> region(this->m_memoryManager);
    region.initialize(2 * this->m_itemsPerPage);
    region.ensureEndAtLeast(1);
    region.initialize(0);
    this->expectEmpty(region);
}

TYPED_TEST(MemoryRegionTest, deinitializeGivesEverythingBackAndMayBeRepeated) {
    MemoryRegion<TypeParam> region(this->m_memoryManager);
    region.initialize(2 * this->m_itemsPerPage);
    region.ensureEndAtLeast(1);
    const SystemCallFaults unmaps(Call::MUNMAP);
    region.deinitialize();
    this->expectEmpty(region);
    region.deinitialize();
    this->expectEmpty(region);
    EXPECT_EQ(1u, unmaps.getNumberOfCalls());
}

TYPED_TEST(MemoryRegionTest, destructionUnmapsTheReservationAndGivesTheChargeBack) {
    const SystemCallFaults unmaps(Call::MUNMAP);
    {
        MemoryRegion<TypeParam> region(this->m_memoryManager);
        region.initialize(3 * this->m_itemsPerPage);
        region.ensureEndAtLeast(1);
    }
    EXPECT_EQ(0u, this->getChargedBytes());
    EXPECT_EQ(1u, unmaps.getNumberOfCalls());
    EXPECT_EQ(3 * this->m_pageSize, unmaps.getLatestRequest()) << "not only the committed pages";
}

TYPED_TEST(MemoryRegionTest, destructionOfAnEmptyRegionUnmapsNothing) {
    const SystemCallFaults unmaps(Call::MUNMAP);
    { const MemoryRegion<TypeParam> region(this->m_memoryManager); }
    EXPECT_EQ(0u, unmaps.getNumberOfCalls());
}

TYPED_TEST(MemoryRegionTest, truncateToALargerOrEqualEndDoesNothing) {
    MemoryRegion<TypeParam> region(this->m_memoryManager);
    region.initialize(4 * this->m_itemsPerPage);
    region.ensureEndAtLeast(2 * this->m_itemsPerPage);
    this->fill(region, 0, region.getEnd());
    for (const size_t end : {2 * this->m_itemsPerPage, 2 * this->m_itemsPerPage + 1, 9 * this->m_itemsPerPage}) {
        region.truncate(end);
        this->expectState(region, 2 * this->m_itemsPerPage, 2 * this->m_pageSize);
    }
    this->expectItems(region, 0, region.getEnd());
}

TYPED_TEST(MemoryRegionTest, truncateKeepsWholePagesAndZeroesTheTail) {
    MemoryRegion<TypeParam> region(this->m_memoryManager);
    region.initialize(2 * this->m_itemsPerPage);
    region.ensureEndAtLeast(2 * this->m_itemsPerPage);
    this->fill(region, 0, region.getEnd());
    region.truncate(100);
    this->expectState(region, this->m_itemsPerPage, this->m_pageSize);
    this->expectItems(region, 0, 100);
    this->expectZero(region, 100, this->m_itemsPerPage);
    EXPECT_FALSE(isReadable(region.getData() + this->m_itemsPerPage));
    EXPECT_EQ(2 * this->m_itemsPerPage, region.getMaximumNumberOfItems()) << "the reservation stays";
}

TYPED_TEST(MemoryRegionTest, truncateWithinTheLastPageGivesNothingBack) {
    MemoryRegion<TypeParam> region(this->m_memoryManager);
    const size_t capacity = 2 * this->m_itemsPerPage - 24;
    region.initialize(capacity);
    region.ensureEndAtLeast(capacity);
    this->fill(region, 0, capacity);
    const SystemCallFaults maps(Call::MMAP);
    region.truncate(this->m_itemsPerPage + 1);
    EXPECT_EQ(0u, maps.getNumberOfCalls());
    this->expectState(region, capacity, 2 * this->m_pageSize);
    this->expectItems(region, 0, this->m_itemsPerPage + 1);
    this->expectZero(region, this->m_itemsPerPage + 1, capacity);
}

TYPED_TEST(MemoryRegionTest, truncateAtAPageBoundaryZeroesNothing) {
    MemoryRegion<TypeParam> region(this->m_memoryManager);
    region.initialize(3 * this->m_itemsPerPage);
    region.ensureEndAtLeast(3 * this->m_itemsPerPage);
    this->fill(region, 0, region.getEnd());
    region.truncate(2 * this->m_itemsPerPage);
    this->expectState(region, 2 * this->m_itemsPerPage, 2 * this->m_pageSize);
    this->expectItems(region, 0, 2 * this->m_itemsPerPage);
}

TYPED_TEST(MemoryRegionTest, truncateToNothingGivesAllPagesBack) {
    MemoryRegion<TypeParam> region(this->m_memoryManager);
    region.initialize(2 * this->m_itemsPerPage);
    region.ensureEndAtLeast(2 * this->m_itemsPerPage);
    const SystemCallFaults maps(Call::MMAP);
    region.truncate(0);
    EXPECT_EQ(2 * this->m_pageSize, maps.getLatestRequest());
    this->expectState(region, 0, 0);
    EXPECT_FALSE(isReadable(region.getData()));
}

TYPED_TEST(MemoryRegionTest, truncatedRegionGrowsAgainAndTheNewItemsAreZero) {
    MemoryRegion<TypeParam> region(this->m_memoryManager);
    region.initialize(3 * this->m_itemsPerPage);
    const TypeParam* const data = region.getData();
    region.ensureEndAtLeast(3 * this->m_itemsPerPage);
    this->fill(region, 0, region.getEnd());
    region.truncate(this->m_itemsPerPage / 2);
    region.ensureEndAtLeast(3 * this->m_itemsPerPage);
    EXPECT_EQ(data, region.getData());
    this->expectState(region, 3 * this->m_itemsPerPage, 3 * this->m_pageSize);
    this->expectItems(region, 0, this->m_itemsPerPage / 2);
    this->expectZero(region, this->m_itemsPerPage / 2, region.getEnd());
}

TYPED_TEST(MemoryRegionTest, swapContentsExchangesEverything) {
    MemoryRegion<TypeParam> first(this->m_memoryManager);
    MemoryRegion<TypeParam> second(this->m_memoryManager);
    first.initialize(2 * this->m_itemsPerPage);
    first.ensureEndAtLeast(1);
    this->fill(first, 0, first.getEnd());
    second.initialize(5 * this->m_itemsPerPage);
    second.ensureEndAtLeast(3 * this->m_itemsPerPage);
    const TypeParam* const firstData = first.getData();
    const TypeParam* const secondData = second.getData();
    first.swapContents(second);
    EXPECT_EQ(secondData, first.getData());
    EXPECT_EQ(5 * this->m_itemsPerPage, first.getMaximumNumberOfItems());
    EXPECT_EQ(3 * this->m_itemsPerPage, first.getEnd());
    EXPECT_EQ(3 * this->m_pageSize, first.getCommittedBytes());
    EXPECT_EQ(firstData, second.getData());
    EXPECT_EQ(2 * this->m_itemsPerPage, second.getMaximumNumberOfItems());
    EXPECT_EQ(this->m_itemsPerPage, second.getEnd());
    EXPECT_EQ(this->m_pageSize, second.getCommittedBytes());
    this->expectItems(second, 0, second.getEnd());
    EXPECT_EQ(4 * this->m_pageSize, this->getChargedBytes());
    second.deinitialize();
    EXPECT_EQ(3 * this->m_pageSize, this->getChargedBytes()) << "each region gives back what it holds now";
}

TYPED_TEST(MemoryRegionTest, swapWithAnEmptyRegionMovesEverything) {
    MemoryRegion<TypeParam> full(this->m_memoryManager);
    full.initialize(2 * this->m_itemsPerPage);
    full.ensureEndAtLeast(1);
    this->fill(full, 0, full.getEnd());
    {
        MemoryRegion<TypeParam> other(this->m_memoryManager);
        other.swapContents(full);
        this->expectItems(other, 0, other.getEnd());
        EXPECT_EQ(nullptr, full.getData());
        EXPECT_EQ(0u, full.getMaximumNumberOfItems());
        EXPECT_EQ(this->m_pageSize, this->getChargedBytes());
    }
    this->expectEmpty(full);
}
