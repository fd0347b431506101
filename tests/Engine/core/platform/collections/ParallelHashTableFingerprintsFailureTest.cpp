#include "Engine/core/platform/MemoryExhaustedException.h"
#include "Engine/core/platform/system/VirtualMemory.h"
#include "tests/Engine/core/platform/collections/FingerprintTable.h"
#include "tests/support/SystemCallFaults.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>

using namespace melnar;

// Fingerprints are made when there is memory for them, and released when it is needed for something else.

namespace {

using Peer = ParallelHashTableTestPeer;
using Call = SystemCallFaults::Call;

template<class T>
class ParallelHashTableFingerprintsFailureTest : public testing::Test {
protected:
    static size_t getBucketBytes(const size_t numberOfBuckets) {
        const size_t pageSize = getVMPageSize();
        return (numberOfBuckets * sizeof(T) + pageSize - 1) / pageSize * pageSize;
    }

    static size_t getFingerprintBytes(const size_t numberOfBuckets) {
        return std::max(numberOfBuckets, getVMPageSize());
    }

    static void expectWorks(FingerprintTable<T>& numbers) {
        numbers.insertRange(1, 601);
        numbers.removeRange(1, 101);
        EXPECT_TRUE(numbers.containsRange(101, 601));
        EXPECT_FALSE(numbers.contains(1));
        EXPECT_FALSE(numbers.contains(601));
        numbers.expectSound();
    }
};

} // namespace

TYPED_TEST_SUITE(ParallelHashTableFingerprintsFailureTest, BucketWidths, BucketWidthNames);

TYPED_TEST(ParallelHashTableFingerprintsFailureTest, aFilledTableGetsUnknownOnes) {
    FingerprintTable<TypeParam> numbers(2048);
    numbers.insertRange(1, 1001);
    std::string bytes = numbers.save();
    ASSERT_TRUE(numbers.m_table.giveUpFingerprints());

    MemoryManager memoryManager(NumberTable<TypeParam>::AMPLE_MEMORY);
    typename NumberTable<TypeParam>::Table table(memoryManager, numbers.m_table.getPolicy());
    MemoryInputStream inputStream(bytes);
    table.load(inputStream);
    EXPECT_EQ(0u, table.getFingerprintBytes()) << "they were not requested yet";
    table.enableFingerprints();
    EXPECT_EQ(this->getFingerprintBytes(2048), table.getFingerprintBytes());
    EXPECT_EQ(memoryManager.getReservedBytes() - memoryManager.getFreeBytes(),
              table.getCommittedBytes() + table.getFingerprintBytes());
    EXPECT_FALSE(Peer::getFingerprints(table).areComplete());
    const auto isInTable = [&](const TypeParam number) {
        const typename NumberTable<TypeParam>::Operation operation(table);
        return findBucket(table, number, [number](const TypeParam value) { return value == number; }) != nullptr;
    };
    for (TypeParam number = 1; number < 1001; ++number)
        ASSERT_TRUE(isInTable(number)) << number;
    EXPECT_FALSE(isInTable(1001));
    expectSoundAtRest(table);
    table.enableFingerprints();
    EXPECT_EQ(this->getFingerprintBytes(2048), table.getFingerprintBytes()) << "they are enabled already";
}

TYPED_TEST(ParallelHashTableFingerprintsFailureTest, anEmptyTableGetsCompleteOnes) {
    MemoryManager memoryManager(NumberTable<TypeParam>::AMPLE_MEMORY);
    typename NumberTable<TypeParam>::Table table(
        memoryManager, typename NumberTable<TypeParam>::Policy(&NumberPolicy<TypeParam>::identity));
    table.initialize(1024);
    EXPECT_FALSE(Peer::getFingerprints(table).exist());
    table.enableFingerprints();
    EXPECT_TRUE(Peer::getFingerprints(table).areComplete());
    expectSoundAtRest(table);
}

TYPED_TEST(ParallelHashTableFingerprintsFailureTest, releasedFingerprintsAreGoneUntilTheNextResize) {
    FingerprintTable<TypeParam> numbers;
    numbers.insertRange(1, 701);
    const size_t chargedBytes = numbers.getAllChargedBytes();
    EXPECT_TRUE(numbers.m_table.giveUpFingerprints());
    EXPECT_EQ(chargedBytes - this->getFingerprintBytes(1024), numbers.getAllChargedBytes());
    EXPECT_EQ(0u, numbers.m_table.getFingerprintBytes());
    EXPECT_TRUE(numbers.containsRange(1, 701));
    numbers.expectSound();
    EXPECT_FALSE(numbers.m_table.giveUpFingerprints()) << "there are none any more";
    numbers.expectSound();
    numbers.insert(701);
    EXPECT_EQ(2048u, numbers.m_table.getNumberOfBuckets());
    EXPECT_TRUE(numbers.getFingerprints().areComplete());
    numbers.expectOwnFingerprints(1, 702);
    numbers.expectSound();
    EXPECT_TRUE(numbers.m_table.giveUpFingerprints());
    EXPECT_FALSE(numbers.m_table.giveUpFingerprints());
}

TYPED_TEST(ParallelHashTableFingerprintsFailureTest, operationsOnATableThatHasGivenThemUpWork) {
    FingerprintTable<TypeParam> numbers(4096);
    numbers.insertRange(601, 651);
    ASSERT_TRUE(numbers.m_table.giveUpFingerprints());
    numbers.removeRange(601, 651);
    this->expectWorks(numbers);
    numbers.m_table.shrinkToFit(1024);
    EXPECT_EQ(1024u, numbers.m_table.getNumberOfBuckets());
    EXPECT_FALSE(numbers.getFingerprints().exist());
    EXPECT_TRUE(numbers.containsRange(101, 601));
    numbers.expectSound();
    numbers.m_table.clear();
    EXPECT_FALSE(numbers.getFingerprints().exist());
    {
        const typename NumberTable<TypeParam>::Operation operation(numbers.m_table);
        numbers.m_table.reinsert(operation.getThreadContext(), 5, 5);
    }
    EXPECT_TRUE(numbers.contains(5));
    numbers.expectSound();
    numbers.m_table.initialize(2048);
    EXPECT_TRUE(numbers.getFingerprints().areComplete()) << "initialize makes new ones";
    this->expectWorks(numbers);
}

TYPED_TEST(ParallelHashTableFingerprintsFailureTest, aTableWithoutRoomForThemWorksWithout) {
    const size_t bucketBytes = this->getBucketBytes(1024);
    FingerprintTable<TypeParam> without(1024, &NumberPolicy<TypeParam>::identity,
                                        bucketBytes + this->getFingerprintBytes(1024) - 1);
    EXPECT_FALSE(without.getFingerprints().exist());
    EXPECT_EQ(bucketBytes, without.getAllChargedBytes());
    EXPECT_FALSE(without.m_table.giveUpFingerprints());
    this->expectWorks(without);
    FingerprintTable<TypeParam> with(1024, &NumberPolicy<TypeParam>::identity,
                                     bucketBytes + this->getFingerprintBytes(1024));
    EXPECT_TRUE(with.getFingerprints().exist());
    EXPECT_EQ(0u, with.m_memoryManager.getFreeBytes());
    this->expectWorks(with);
}

TYPED_TEST(ParallelHashTableFingerprintsFailureTest, aResizeWithRoomOnlyForBucketsMakesNoFingerprints) {
    const size_t room = this->getBucketBytes(4096) + this->getBucketBytes(8192) + this->getFingerprintBytes(4096);
    ASSERT_LT(this->getFingerprintBytes(4096), this->getFingerprintBytes(8192)) << "the old ones make too little room";
    FingerprintTable<TypeParam> numbers(4096, &NumberPolicy<TypeParam>::identity, room);
    ASSERT_TRUE(numbers.getFingerprints().exist());
    numbers.insertRange(1, 1001);
    numbers.resize();
    EXPECT_EQ(8192u, numbers.m_table.getNumberOfBuckets());
    EXPECT_FALSE(numbers.getFingerprints().exist());
    EXPECT_EQ(this->getBucketBytes(8192), numbers.getAllChargedBytes());
    EXPECT_TRUE(numbers.containsRange(1, 1001));
    EXPECT_FALSE(numbers.contains(1001));
    numbers.expectSound();
}

TYPED_TEST(ParallelHashTableFingerprintsFailureTest, aResizeWithRoomForBothHasBoth) {
    const size_t room = this->getBucketBytes(4096) + this->getBucketBytes(8192) + this->getFingerprintBytes(8192);
    FingerprintTable<TypeParam> numbers(4096, &NumberPolicy<TypeParam>::identity, room);
    numbers.insertRange(1, 1001);
    numbers.resize();
    EXPECT_TRUE(numbers.getFingerprints().areComplete()) << "old and new ones are never charged together";
    numbers.expectOwnFingerprints(1, 1001);
    numbers.expectSound();
}

TYPED_TEST(ParallelHashTableFingerprintsFailureTest, aResizeThatFailsKeepsThem) {
    const size_t room = this->getBucketBytes(4096) + this->getBucketBytes(8192) + this->getFingerprintBytes(4096) - 1;
    FingerprintTable<TypeParam> numbers(4096, &NumberPolicy<TypeParam>::identity, room);
    numbers.insertRange(1, 1001);
    EXPECT_THROW(numbers.resize(), MemoryExhaustedException);
    EXPECT_EQ(4096u, numbers.m_table.getNumberOfBuckets());
    EXPECT_TRUE(numbers.getFingerprints().areComplete());
    numbers.expectOwnFingerprints(1, 1001);
    numbers.expectSound();
}

TYPED_TEST(ParallelHashTableFingerprintsFailureTest, aResizeThatFailsForThemAloneSucceedsWithReclaim) {
    const size_t room = this->getBucketBytes(4096) + this->getBucketBytes(8192) + this->getFingerprintBytes(4096) - 1;
    FingerprintTable<TypeParam> numbers(4096, &NumberPolicy<TypeParam>::identity, room);
    numbers.insertRange(1, 1001);
    size_t attempts = 0;
    numbers.m_memoryManager.withReclaim([&] {
        ++attempts;
        numbers.resize();
    });
    EXPECT_EQ(2u, attempts);
    EXPECT_EQ(8192u, numbers.m_table.getNumberOfBuckets());
    EXPECT_TRUE(numbers.containsRange(1, 1001));
    numbers.expectSound();
}

// The operation itself does what another thread could do between the failure and the request for memory.
TYPED_TEST(ParallelHashTableFingerprintsFailureTest, anOperationThatFailsJustBeforeAResizeDropsThemIsPerformedAgain) {
    const size_t room = this->getBucketBytes(4096) + this->getBucketBytes(8192) + this->getFingerprintBytes(4096);
    FingerprintTable<TypeParam> numbers(4096, &NumberPolicy<TypeParam>::identity, room);
    numbers.insertRange(1, 1001);
    const size_t wantedBytes = numbers.m_memoryManager.getFreeBytes() + 1;
    size_t attempts = 0;
    EXPECT_NO_THROW(numbers.m_memoryManager.withReclaim([&] {
        try {
            ++attempts;
            numbers.m_memoryManager.allocate(this->getFingerprintBytes(4096) + (attempts == 1 ? wantedBytes : 0));
        } catch (const MemoryExhaustedException&) {
            numbers.resize();
            EXPECT_FALSE(numbers.getFingerprints().exist());
            throw;
        }
    }));
    EXPECT_EQ(2u, attempts);
    numbers.m_memoryManager.deallocate(this->getFingerprintBytes(4096));
    numbers.expectSound();
}

TYPED_TEST(ParallelHashTableFingerprintsFailureTest, aSystemThatRefusesMemoryOnlyForThemIsNoFailure) {
    for (const Call call : {Call::MMAP, Call::MPROTECT}) {
        FingerprintTable<TypeParam> numbers;
        numbers.insertRange(1, 601);
        {
            SystemCallFaults faults(call);
            faults.failAfter(1, ENOMEM, SystemCallFaults::Duration::ONCE); // after that of the buckets
            numbers.resize();
            EXPECT_EQ(1u, faults.getNumberOfFailures());
        }
        EXPECT_EQ(2048u, numbers.m_table.getNumberOfBuckets());
        EXPECT_FALSE(numbers.getFingerprints().exist());
        EXPECT_EQ(this->getBucketBytes(2048), numbers.getAllChargedBytes());
        numbers.expectSound();
        this->expectWorks(numbers);
        numbers.resize();
        EXPECT_TRUE(numbers.getFingerprints().areComplete()) << "the next resize makes new ones";
        numbers.expectSound();
    }
}

TYPED_TEST(ParallelHashTableFingerprintsFailureTest, destructionGivesEverythingBack) {
    MemoryManager memoryManager(NumberTable<TypeParam>::AMPLE_MEMORY);
    {
        typename NumberTable<TypeParam>::Table table(
            memoryManager, typename NumberTable<TypeParam>::Policy(&NumberPolicy<TypeParam>::identity));
        table.enableFingerprints();
        table.initialize(1024);
        EXPECT_EQ(this->getBucketBytes(1024) + this->getFingerprintBytes(1024),
                  memoryManager.getReservedBytes() - memoryManager.getFreeBytes());
    }
    EXPECT_EQ(memoryManager.getReservedBytes(), memoryManager.getFreeBytes());
    EXPECT_THROW(memoryManager.withReclaim([&] { memoryManager.allocate(memoryManager.getReservedBytes() + 1); }),
                 MemoryExhaustedException)
        << "it asks no table that is gone";
}
