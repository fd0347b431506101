#include "Engine/core/platform/collections/ParallelHashTable.h"

#include "tests/Engine/core/platform/collections/NumberTable.h"
#include "tests/Engine/core/platform/collections/ScopedThreadContextIndex.h"
#include "tests/Engine/core/platform/collections/TableChecks.h"
#include "tests/support/SystemCallFaults.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <vector>

using namespace melnar;

namespace {

using Peer = ParallelHashTableTestPeer;

template<class T>
class ParallelHashTableTest : public testing::Test {};

} // namespace

TYPED_TEST_SUITE(ParallelHashTableTest, BucketWidths, BucketWidthNames);

TYPED_TEST(ParallelHashTableTest, constantsAreThoseOfTheProtocol) {
    using Table = typename NumberTable<TypeParam>::Table;
    EXPECT_EQ(256u, Table::NUMBER_OF_THREAD_CONTEXTS);
    EXPECT_EQ(100u, Table::INSERTION_QUOTA_BATCH);
    EXPECT_EQ(1024u, Table::RESIZE_CHUNK_SIZE);
    EXPECT_EQ(0xFFFFFFFFFFFFFFFFu, Table::NOT_RESIZING);
    EXPECT_EQ(0xFFFFFFFFFFFFFFFEu, Table::RESIZE_PREPARING);
}

TYPED_TEST(ParallelHashTableTest, fieldsFollowTheirOrder) {
    NumberTable<TypeParam> numbers(0);
    auto& table = numbers.m_table;
    const std::vector<const void*> fields = {
        &Peer::getThreadContexts(table),       &Peer::getPolicy(table),
        &Peer::getResizeState(table),          &Peer::getHashMask(table),
        &Peer::getAfterLastBucket(table),      &Peer::getBuckets(table),
        &Peer::getNumberOfUsedBuckets(table),  &Peer::getNumberOfDeletedBuckets(table),
        &Peer::getNumberOfBuckets(table),      &Peer::getMaxLoadFactor(table),
        &Peer::getResizeThreshold(table),      &Peer::getOldBuckets(table),
        &Peer::getNumberOfResizeChunks(table), &Peer::getNumberOfPendingChunks(table),
        &Peer::getResizeMutex(table),          &Peer::getResizeCondition(table)};
    EXPECT_EQ(&table, fields.front());
    EXPECT_TRUE(std::is_sorted(fields.begin(), fields.end(), std::less<>()));
}

TYPED_TEST(ParallelHashTableTest, slotsLieOnCacheLinesOfTheirOwn) {
    using Table = typename NumberTable<TypeParam>::Table;
    EXPECT_EQ(64u, alignof(Table));
    const auto numbers = std::make_unique<NumberTable<TypeParam>>(0);
    auto& slots = Peer::getThreadContexts(numbers->m_table);
    EXPECT_EQ(0u, reinterpret_cast<uintptr_t>(&slots[0]) % 64) << "on the heap, too";
    EXPECT_EQ(sizeof(slots), 256 * sizeof(TableThreadContext));
}

TYPED_TEST(ParallelHashTableTest, startsWithoutBuckets) {
    using Table = typename NumberTable<TypeParam>::Table;
    NumberTable<TypeParam> numbers(0);
    auto& table = numbers.m_table;
    EXPECT_EQ(Table::NOT_RESIZING, Peer::getResizeState(table).load(std::memory_order_relaxed));
    EXPECT_EQ(0u, Peer::getHashMask(table));
    EXPECT_EQ(nullptr, Peer::getAfterLastBucket(table));
    EXPECT_EQ(nullptr, Peer::getBuckets(table).getData());
    EXPECT_EQ(nullptr, Peer::getOldBuckets(table).getData());
    EXPECT_EQ(&numbers.m_memoryManager, &Peer::getBuckets(table).getMemoryManager());
    EXPECT_EQ(&numbers.m_memoryManager, &Peer::getOldBuckets(table).getMemoryManager());
    EXPECT_EQ(0u, numbers.getUsedBuckets());
    EXPECT_EQ(0u, table.getNumberOfDeletedBuckets());
    EXPECT_EQ(0u, table.getNumberOfBuckets());
    EXPECT_EQ(0u, table.getNumberOfNonEmptyBuckets());
    EXPECT_EQ(0u, table.getCommittedBytes());
    EXPECT_EQ(0.7, Peer::getMaxLoadFactor(table));
    EXPECT_EQ(0u, Peer::getResizeThreshold(table));
    EXPECT_EQ(0u, Peer::getNumberOfResizeChunks(table));
    EXPECT_EQ(0u, Peer::getNumberOfPendingChunks(table).load(std::memory_order_relaxed));
    EXPECT_EQ(0u, Peer::getSumOfQuotas(table));
    expectAllSlotsFree(table);
    EXPECT_EQ(0u, numbers.getChargedBytes());
}

TYPED_TEST(ParallelHashTableTest, initializeMakesAnEmptyTableOfThatSize) {
    NumberTable<TypeParam> numbers(1024);
    auto& table = numbers.m_table;
    EXPECT_EQ(1024u, table.getNumberOfBuckets());
    EXPECT_EQ(1023u, Peer::getHashMask(table));
    EXPECT_EQ(716u, Peer::getResizeThreshold(table));
    EXPECT_EQ(Peer::getBuckets(table).getData() + 1024, Peer::getAfterLastBucket(table));
    EXPECT_EQ(1024u, Peer::getBuckets(table).getMaximumNumberOfItems());
    EXPECT_EQ(1024u, Peer::getBuckets(table).getEnd());
    EXPECT_EQ(1024u, Peer::countBuckets(table, 0));
    EXPECT_EQ(0u, numbers.getUsedBuckets());
    EXPECT_EQ(0u, Peer::getSumOfQuotas(table));
    EXPECT_EQ(1024 * sizeof(TypeParam), table.getCommittedBytes());
    EXPECT_EQ(table.getCommittedBytes(), numbers.getChargedBytes());
    expectSoundAtRest(table);
}

TYPED_TEST(ParallelHashTableTest, initializeReplacesAnUsedTable) {
    NumberTable<TypeParam> numbers(1024);
    auto& table = numbers.m_table;
    numbers.insertRange(1, 2000);
    numbers.removeRange(500, 600);
    const ScopedThreadContextIndex index(255);
    numbers.insert(5000);
    ASSERT_LT(0u, numbers.getQuota(0));
    ASSERT_LT(0u, numbers.getQuota(255));
    // As after loading an inconsistent stream.
    Peer::getOldBuckets(table).initialize(2048);
    Peer::getOldBuckets(table).ensureEndAtLeast(2048);
    Peer::getNumberOfPendingChunks(table).store(3, std::memory_order_relaxed);
    Peer::getResizeState(table).store(7, std::memory_order_relaxed);

    table.initialize(2048);
    EXPECT_EQ(2048u, table.getNumberOfBuckets());
    EXPECT_EQ(1433u, Peer::getResizeThreshold(table));
    EXPECT_EQ(2048u, Peer::countBuckets(table, 0));
    EXPECT_EQ(0u, numbers.getUsedBuckets());
    EXPECT_EQ(0u, Peer::getSumOfQuotas(table));
    EXPECT_EQ(0u, Peer::getNumberOfResizeChunks(table));
    EXPECT_EQ(2048 * sizeof(TypeParam), numbers.getChargedBytes());
    expectSoundAtRest(table);
    EXPECT_FALSE(numbers.contains(1));
}

TYPED_TEST(ParallelHashTableTest, threadsUseTheSlotOfTheirIndex) {
    NumberTable<TypeParam> numbers;
    auto& slots = Peer::getThreadContexts(numbers.m_table);
    for (const size_t index : {size_t(0), size_t(7), size_t(255)}) {
        const ScopedThreadContextIndex scopedIndex(index);
        EXPECT_EQ(&slots[index], &numbers.m_table.getCurrentThreadContext());
        const typename NumberTable<TypeParam>::Operation operation(numbers.m_table);
        EXPECT_EQ(&slots[index], &operation.getThreadContext());
        EXPECT_EQ(1, slots[index].m_lockCount.load(std::memory_order_relaxed)) << "held during the operation";
    }
    expectAllSlotsFree(numbers.m_table);
}

TYPED_TEST(ParallelHashTableTest, operationsLeaveTheirSlotWhenTheWorkThrows) {
    NumberTable<TypeParam> numbers;
    EXPECT_THROW(
        {
            const typename NumberTable<TypeParam>::Operation operation(numbers.m_table);
            throw 1;
        },
        int);
    expectAllSlotsFree(numbers.m_table);
}

TYPED_TEST(ParallelHashTableTest, homeIsTheHashModuloTheSize) {
    NumberTable<TypeParam> numbers(1024);
    EXPECT_EQ(0u, numbers.m_table.getHomeIndex(0));
    EXPECT_EQ(1023u, numbers.m_table.getHomeIndex(1023));
    EXPECT_EQ(0u, numbers.m_table.getHomeIndex(1024));
    EXPECT_EQ(1023u, numbers.m_table.getHomeIndex(~uint64_t(0)));
    EXPECT_EQ(0x325u, numbers.m_table.getHomeIndex(0xCBF29CE484222325)) << "the hash of an empty text";
    EXPECT_EQ(&Peer::getBuckets(numbers.m_table)[0x325], &numbers.m_table.getBucket(0x325));
}

TYPED_TEST(ParallelHashTableTest, probeContinuesFromTheLastBucketToTheFirst) {
    NumberTable<TypeParam> numbers(1024, [](TypeParam) { return 1022; });
    numbers.insertRange(1, 6);
    EXPECT_EQ(1022u, numbers.getIndexOf(1));
    EXPECT_EQ(1023u, numbers.getIndexOf(2));
    EXPECT_EQ(0u, numbers.getIndexOf(3));
    EXPECT_EQ(1u, numbers.getIndexOf(4));
    EXPECT_EQ(2u, numbers.getIndexOf(5));
    EXPECT_FALSE(numbers.contains(6));
    expectSoundAtRest(numbers.m_table);
}

TYPED_TEST(ParallelHashTableTest, insertingTwiceKeepsOneEntryAndCostsNoQuota) {
    NumberTable<TypeParam> numbers;
    EXPECT_TRUE(numbers.insert(17));
    EXPECT_FALSE(numbers.insert(17));
    EXPECT_EQ(99u, numbers.getQuota());
    EXPECT_EQ(1u, Peer::countBuckets(numbers.m_table, 17));
    expectSoundAtRest(numbers.m_table);
}

TYPED_TEST(ParallelHashTableTest, onlyAnEmptyBucketIsClaimed) {
    using Table = typename NumberTable<TypeParam>::Table;
    using Policy = typename NumberTable<TypeParam>::Policy;
    typename Policy::Bucket bucket(Policy::EMPTY_BUCKET);
    EXPECT_TRUE(Table::tryClaim(bucket));
    EXPECT_EQ(Policy::BUCKET_IN_PROGRESS, bucket.load(std::memory_order_relaxed));
    for (const TypeParam value : {Policy::BUCKET_IN_PROGRESS, Policy::BUCKET_DELETED, TypeParam(1)}) {
        bucket.store(value, std::memory_order_relaxed);
        EXPECT_FALSE(Table::tryClaim(bucket));
        EXPECT_EQ(value, bucket.load(std::memory_order_relaxed));
    }
}

TYPED_TEST(ParallelHashTableTest, publishingPaysAndUnclaimingDoesNot) {
    using Table = typename NumberTable<TypeParam>::Table;
    using Policy = typename NumberTable<TypeParam>::Policy;
    NumberTable<TypeParam> numbers;
    {
        const typename NumberTable<TypeParam>::Operation operation(numbers.m_table);
        numbers.m_table.reserveInsertionQuota(operation.getThreadContext());
        const size_t index = numbers.m_table.getHomeIndex(5);
        auto& bucket = numbers.m_table.getBucket(index);
        ASSERT_TRUE(Table::tryClaim(bucket));
        Table::unclaim(bucket);
        EXPECT_EQ(Policy::EMPTY_BUCKET, Table::readBucket(bucket));
        EXPECT_EQ(100u, numbers.getQuota());
        ASSERT_TRUE(Table::tryClaim(bucket)) << "as if nothing had been";
        numbers.m_table.learnFingerprint(index, 5);
        numbers.m_table.publish(operation.getThreadContext(), index, 5);
        EXPECT_EQ(TypeParam(5), Table::readBucket(bucket));
        EXPECT_EQ(99u, numbers.getQuota());
    }
    expectSoundAtRest(numbers.m_table);
}

TYPED_TEST(ParallelHashTableTest, deletionLeavesATombstoneThatProbesPass) {
    using Policy = typename NumberTable<TypeParam>::Policy;
    NumberTable<TypeParam> numbers(1024, [](TypeParam) { return 10; });
    numbers.insertRange(1, 4);
    EXPECT_TRUE(numbers.remove(2));
    EXPECT_EQ(Policy::BUCKET_DELETED, numbers.getBucketValue(11));
    EXPECT_FALSE(numbers.contains(2));
    EXPECT_EQ(12u, numbers.getIndexOf(3)) << "the chain is not cut";
    EXPECT_EQ(1u, numbers.m_table.getNumberOfDeletedBuckets());
    EXPECT_EQ(100u, numbers.getUsedBuckets()) << "a tombstone still uses its bucket";
    EXPECT_EQ(3u, numbers.m_table.getNumberOfNonEmptyBuckets());
    expectSoundAtRest(numbers.m_table);
}

TYPED_TEST(ParallelHashTableTest, tombstonesAreNotReused) {
    NumberTable<TypeParam> numbers(1024, [](TypeParam) { return 10; });
    numbers.insertRange(1, 4);
    numbers.remove(1);
    EXPECT_TRUE(numbers.insert(1));
    EXPECT_EQ(13u, numbers.getIndexOf(1)) << "a fresh bucket after the chain";
    EXPECT_TRUE(numbers.insert(9));
    EXPECT_EQ(14u, numbers.getIndexOf(9));
    EXPECT_EQ(95u, numbers.getQuota());
    expectSoundAtRest(numbers.m_table);
}

TYPED_TEST(ParallelHashTableTest, deletingTwiceCountsOneTombstone) {
    NumberTable<TypeParam> numbers;
    numbers.insert(1);
    auto& bucket = numbers.m_table.getBucket(numbers.m_table.getHomeIndex(1));
    numbers.m_table.remove(bucket);
    numbers.m_table.remove(bucket); // a second thread that has also seen the number
    EXPECT_EQ(1u, numbers.m_table.getNumberOfDeletedBuckets());
    EXPECT_FALSE(numbers.remove(1)) << "later lookups do not find it";
    EXPECT_EQ(1u, numbers.m_table.getNumberOfDeletedBuckets());
    expectSoundAtRest(numbers.m_table);
}

TYPED_TEST(ParallelHashTableTest, deletingAnAbsentNumberDoesNothing) {
    NumberTable<TypeParam> numbers;
    numbers.insert(1);
    EXPECT_FALSE(numbers.remove(2));
    EXPECT_EQ(0u, numbers.m_table.getNumberOfDeletedBuckets());
    EXPECT_TRUE(numbers.contains(1));
    expectSoundAtRest(numbers.m_table);
}

TYPED_TEST(ParallelHashTableTest, reinsertionTakesTheFirstEmptyBucketAndGrowsNothing) {
    NumberTable<TypeParam> numbers(1024, [](TypeParam) { return 1000; });
    const typename NumberTable<TypeParam>::Operation operation(numbers.m_table);
    for (TypeParam number = 1; number <= 1000; ++number)
        numbers.m_table.reinsert(operation.getThreadContext(), 1000, number);
    EXPECT_EQ(1024u, numbers.m_table.getNumberOfBuckets()) << "the threshold of 716 does not count here";
    EXPECT_EQ(1000u, numbers.getUsedBuckets());
    EXPECT_EQ(0u, numbers.getQuota());
    for (TypeParam number = 1; number <= 1000; ++number)
        ASSERT_EQ(number, numbers.getBucketValue((999 + size_t(number)) % 1024)) << number;
    expectQuotasAccountedFor(numbers.m_table);
    numbers.m_table.reinsert(operation.getThreadContext(), 1000, 1001);
    EXPECT_EQ(1100u, numbers.getUsedBuckets()) << "quota comes in batches here, too";
    EXPECT_EQ(99u, numbers.getQuota());
    expectQuotasAccountedFor(numbers.m_table);
}

TYPED_TEST(ParallelHashTableTest, reinsertionOfAPresentNumberMakesNoSecondEntry) {
    NumberTable<TypeParam> numbers(1024, [](TypeParam) { return 3; });
    const typename NumberTable<TypeParam>::Operation operation(numbers.m_table);
    for (const TypeParam number : {TypeParam(1), TypeParam(2), TypeParam(1)})
        numbers.m_table.reinsert(operation.getThreadContext(), 3, number);
    EXPECT_EQ(1u, Peer::countBuckets(numbers.m_table, 1));
    EXPECT_EQ(TypeParam(1), numbers.getBucketValue(3));
    EXPECT_EQ(1022u, Peer::countBuckets(numbers.m_table, 0));
}

TYPED_TEST(ParallelHashTableTest, destructionGivesAllMemoryBack) {
    MemoryManager memoryManager(size_t(1) << 26);
    {
        typename NumberTable<TypeParam>::Table table(memoryManager,
                                                     NumberPolicy<TypeParam>(&NumberPolicy<TypeParam>::identity));
        table.initialize(4096);
        Peer::getOldBuckets(table).initialize(2048);
        Peer::getOldBuckets(table).ensureEndAtLeast(2048);
        EXPECT_EQ(6144 * sizeof(TypeParam), memoryManager.getReservedBytes() - memoryManager.getFreeBytes());
    }
    EXPECT_EQ(memoryManager.getReservedBytes(), memoryManager.getFreeBytes());
}

TYPED_TEST(ParallelHashTableTest, destructionDestroysTheMutexesAndConditionsOfTableAndSlots) {
    auto numbers = std::make_unique<NumberTable<TypeParam>>();
    const SystemCallFaults mutexes(SystemCallFaults::Call::MUTEX_DESTROY);
    const SystemCallFaults conditions(SystemCallFaults::Call::CONDITION_DESTROY);
    numbers.reset();
    EXPECT_EQ(257u + 1, mutexes.getNumberOfCalls()) << "the last one is that of the memory manager";
    EXPECT_EQ(257u, conditions.getNumberOfCalls());
}
