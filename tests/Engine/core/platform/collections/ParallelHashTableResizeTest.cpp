#include "tests/Engine/core/platform/collections/NumberTable.h"
#include "tests/Engine/core/platform/collections/ScopedThreadContextIndex.h"
#include "tests/Engine/core/platform/collections/TableChecks.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <map>

using namespace melnar;

namespace {

using Peer = ParallelHashTableTestPeer;

template<class T>
class ParallelHashTableResizeTest : public testing::Test {};

} // namespace

TYPED_TEST_SUITE(ParallelHashTableResizeTest, BucketWidths, BucketWidthNames);

TYPED_TEST(ParallelHashTableResizeTest, startsAtTheFirstRefillThatWouldCrossTheThreshold) {
    NumberTable<TypeParam> numbers;
    numbers.insertRange(1, 701);
    EXPECT_EQ(1024u, numbers.m_table.getNumberOfBuckets());
    EXPECT_EQ(700u, numbers.getUsedBuckets());
    EXPECT_EQ(0u, numbers.getQuota());

    numbers.insert(701);
    EXPECT_EQ(2048u, numbers.m_table.getNumberOfBuckets());
    EXPECT_EQ(1433u, Peer::getResizeThreshold(numbers.m_table));
    EXPECT_EQ(800u, numbers.getUsedBuckets()) << "the retry has reserved a batch on top of 700";
    EXPECT_EQ(99u, numbers.getQuota());
    EXPECT_TRUE(numbers.containsRange(1, 702));
    expectSoundAtRest(numbers.m_table);
}

TYPED_TEST(ParallelHashTableResizeTest, everyFurtherResizeComesAtItsPoint) {
    // With batches of 100 below thresholds of 716, 1433, 2867, 5734 and 11468.
    const std::map<TypeParam, size_t> sizes = {{701, 2048}, {1401, 4096}, {2801, 8192}, {5701, 16384}, {11401, 32768}};
    NumberTable<TypeParam> numbers;
    size_t expectedSize = 1024;
    for (TypeParam number = 1; number <= 12000; ++number) {
        numbers.insert(number);
        const auto size = sizes.find(number);
        if (size != sizes.end()) {
            expectedSize = size->second;
            EXPECT_TRUE(numbers.containsRange(1, number + 1));
            expectSoundAtRest(numbers.m_table);
        }
        ASSERT_EQ(expectedSize, numbers.m_table.getNumberOfBuckets()) << number;
    }
}

TYPED_TEST(ParallelHashTableResizeTest, reservingWhatJustFitsDoesNotResize) {
    NumberTable<TypeParam> numbers;
    Peer::getNumberOfUsedBuckets(numbers.m_table).store(616, std::memory_order_relaxed); // 616 + 100 is the threshold
    numbers.insert(1);
    EXPECT_EQ(1024u, numbers.m_table.getNumberOfBuckets());
    EXPECT_EQ(716u, numbers.getUsedBuckets());
}

TYPED_TEST(ParallelHashTableResizeTest, reservingOneMoreThanFitsResizes) {
    NumberTable<TypeParam> numbers;
    Peer::getNumberOfUsedBuckets(numbers.m_table).store(617, std::memory_order_relaxed);
    numbers.insert(1);
    EXPECT_EQ(2048u, numbers.m_table.getNumberOfBuckets());
    EXPECT_EQ(717u, numbers.getUsedBuckets());
}

TYPED_TEST(ParallelHashTableResizeTest, replacesTheArrayAndReleasesTheOldOne) {
    NumberTable<TypeParam> numbers(2048);
    numbers.resize();
    EXPECT_EQ(4096u, numbers.m_table.getNumberOfBuckets());
    EXPECT_EQ(4096u, Peer::getBuckets(numbers.m_table).getMaximumNumberOfItems());
    EXPECT_EQ(4096u, Peer::getBuckets(numbers.m_table).getEnd());
    EXPECT_EQ(4096 * sizeof(TypeParam), numbers.m_table.getCommittedBytes());
    EXPECT_EQ(4096 * sizeof(TypeParam), numbers.getChargedBytes());
    EXPECT_EQ(0u, Peer::getOldBuckets(numbers.m_table).getMaximumNumberOfItems());
    EXPECT_EQ(2u, Peer::getNumberOfResizeChunks(numbers.m_table));
    expectSoundAtRest(numbers.m_table);
}

TYPED_TEST(ParallelHashTableResizeTest, keepsTheCountOfUsedBucketsAndEverySlotsQuota) {
    NumberTable<TypeParam> numbers;
    numbers.insertRange(1, 51);
    {
        const ScopedThreadContextIndex index(200);
        numbers.insertRange(51, 61);
    }
    numbers.resize();
    EXPECT_EQ(200u, numbers.getUsedBuckets());
    EXPECT_EQ(50u, numbers.getQuota(0));
    EXPECT_EQ(90u, numbers.getQuota(200));
    expectSoundAtRest(numbers.m_table);
}

TYPED_TEST(ParallelHashTableResizeTest, separatesChainsThatOnlyTheSmallSizeJoined) {
    NumberTable<TypeParam> numbers;
    for (const TypeParam number : {TypeParam(7), TypeParam(1024 + 7), TypeParam(2048 + 7), TypeParam(8)})
        numbers.insert(number);
    EXPECT_EQ(8u, numbers.getIndexOf(1024 + 7));
    EXPECT_EQ(9u, numbers.getIndexOf(2048 + 7));
    EXPECT_EQ(10u, numbers.getIndexOf(8));
    numbers.resize();
    EXPECT_EQ(7u, numbers.getIndexOf(7));
    EXPECT_EQ(1024u + 7, numbers.getIndexOf(1024 + 7));
    EXPECT_EQ(8u, numbers.getIndexOf(2048 + 7));
    EXPECT_EQ(9u, numbers.getIndexOf(8));
    expectSoundAtRest(numbers.m_table);
}

TYPED_TEST(ParallelHashTableResizeTest, rehashesAChainThatWrapsAroundTheNewEndToo) {
    NumberTable<TypeParam> numbers(1024, [](TypeParam) { return 2047; });
    numbers.insertRange(1, 301);
    numbers.resize();
    EXPECT_TRUE(numbers.containsRange(1, 301));
    EXPECT_NE(TypeParam(0), numbers.getBucketValue(2047));
    EXPECT_NE(TypeParam(0), numbers.getBucketValue(298));
    EXPECT_EQ(TypeParam(0), numbers.getBucketValue(299));
    expectSoundAtRest(numbers.m_table);
}

TYPED_TEST(ParallelHashTableResizeTest, hashesEveryEntryOnceAndTombstonesNever) {
    std::map<TypeParam, size_t> rehashes;
    bool isResizing = false;
    NumberTable<TypeParam> numbers(4096, [&](const TypeParam number) {
        if (isResizing)
            ++rehashes[number];
        return number * 7;
    });
    numbers.insertRange(1, 2001);
    numbers.removeRange(1, 501);
    isResizing = true;
    numbers.resize();
    isResizing = false;
    EXPECT_EQ(1500u, rehashes.size());
    for (const auto& [number, count] : rehashes) {
        EXPECT_LT(TypeParam(500), number);
        EXPECT_EQ(1u, count) << number;
    }
}

TYPED_TEST(ParallelHashTableResizeTest, droppedTombstonesBecomeTheDroppersQuota) {
    NumberTable<TypeParam> numbers;
    numbers.insertRange(1, 301);
    numbers.removeRange(101, 141);
    ASSERT_EQ(300u, numbers.getUsedBuckets());
    const ScopedThreadContextIndex index(3);
    numbers.resize();
    EXPECT_EQ(40u, numbers.getQuota(3));
    EXPECT_EQ(0u, numbers.m_table.getNumberOfDeletedBuckets());
    EXPECT_EQ(300u, numbers.getUsedBuckets()) << "what the tombstones used is quota now";
    EXPECT_EQ(260u, numbers.m_table.getNumberOfNonEmptyBuckets());
    EXPECT_EQ(2048u, numbers.m_table.getNumberOfBuckets());
    expectSoundAtRest(numbers.m_table);
    numbers.insertRange(1001, 1041);
    EXPECT_EQ(300u, numbers.getUsedBuckets()) << "the credit is spent before anything is reserved";
    EXPECT_EQ(0u, numbers.getQuota(3));
    expectSoundAtRest(numbers.m_table);
}

TYPED_TEST(ParallelHashTableResizeTest, doublesWhileNoMoreThanHalfAreTombstones) {
    NumberTable<TypeParam> numbers;
    numbers.insertRange(1, 601);
    numbers.removeRange(1, 513);
    ASSERT_EQ(512u, numbers.m_table.getNumberOfDeletedBuckets());
    numbers.resize();
    EXPECT_EQ(2048u, numbers.m_table.getNumberOfBuckets());
    EXPECT_TRUE(numbers.containsRange(513, 601));
    expectSoundAtRest(numbers.m_table);
}

TYPED_TEST(ParallelHashTableResizeTest, rebuildsAtTheSameSizeWhenMoreThanHalfAreTombstones) {
    NumberTable<TypeParam> numbers;
    numbers.insertRange(1, 601);
    numbers.removeRange(1, 514);
    ASSERT_EQ(513u, numbers.m_table.getNumberOfDeletedBuckets());
    numbers.resize();
    EXPECT_EQ(1024u, numbers.m_table.getNumberOfBuckets());
    EXPECT_EQ(716u, Peer::getResizeThreshold(numbers.m_table));
    EXPECT_EQ(0u, numbers.m_table.getNumberOfDeletedBuckets());
    EXPECT_EQ(513u, numbers.getQuota());
    EXPECT_EQ(1024 * sizeof(TypeParam), numbers.getChargedBytes());
    EXPECT_TRUE(numbers.containsRange(514, 601));
    expectSoundAtRest(numbers.m_table);
}

TYPED_TEST(ParallelHashTableResizeTest, anInsertionThatRebuildsContinuesWithTheCredit) {
    NumberTable<TypeParam> numbers;
    numbers.insertRange(1, 701);
    numbers.removeRange(1, 601);
    ASSERT_EQ(0u, numbers.getQuota());
    EXPECT_TRUE(numbers.insert(1));
    EXPECT_EQ(1024u, numbers.m_table.getNumberOfBuckets());
    EXPECT_EQ(599u, numbers.getQuota()) << "600 credits and one insertion, nothing reserved";
    EXPECT_EQ(700u, numbers.getUsedBuckets());
    expectSoundAtRest(numbers.m_table);
}

TYPED_TEST(ParallelHashTableResizeTest, insertingAndDeletingForeverNeedsNoLargerTable) {
    NumberTable<TypeParam> numbers;
    for (TypeParam number = 1; number <= 30000; ++number) {
        numbers.insert(number);
        if (number > 50)
            numbers.remove(number - 50);
    }
    EXPECT_EQ(1024u, numbers.m_table.getNumberOfBuckets());
    EXPECT_TRUE(numbers.containsRange(29951, 30001));
    EXPECT_FALSE(numbers.contains(29950));
    expectSoundAtRest(numbers.m_table);
}

TYPED_TEST(ParallelHashTableResizeTest, slotsAreFreeWhileTheLeaderRehashes) {
    using Table = typename NumberTable<TypeParam>::Table;
    Table* table = nullptr;
    size_t observations = 0;
    NumberTable<TypeParam> numbers(2048, [&](const TypeParam number) {
        if (table != nullptr) {
            ++observations;
            EXPECT_EQ(number <= 1024 ? 1u : 2u, Peer::getResizeState(*table).load(std::memory_order_relaxed));
            EXPECT_EQ(number <= 1024 ? 2u : 1u, Peer::getNumberOfPendingChunks(*table).load(std::memory_order_relaxed));
            size_t lockCounts = 0;
            for (const TableThreadContext& slot : Peer::getThreadContexts(*table))
                lockCounts += slot.m_lockCount.load(std::memory_order_relaxed);
            EXPECT_EQ(1u, lockCounts) << "only the leader's own: others may come and help";
        }
        return number - 1;
    });
    for (const TypeParam number : std::initializer_list<TypeParam>{1, 1024, 1025, 2048})
        numbers.insert(number);
    table = &numbers.m_table;
    numbers.resize();
    table = nullptr;
    EXPECT_EQ(4u, observations);
    expectSoundAtRest(numbers.m_table);
}

TYPED_TEST(ParallelHashTableResizeTest, helpingWithoutAResizeReturnsImmediately) {
    using Table = typename NumberTable<TypeParam>::Table;
    NumberTable<TypeParam> numbers;
    numbers.insert(1);
    {
        const typename Table::Operation operation(numbers.m_table);
        numbers.m_table.handleResize(operation.getThreadContext(), Table::NOT_RESIZING);
    }
    EXPECT_EQ(1024u, numbers.m_table.getNumberOfBuckets());
    expectSoundAtRest(numbers.m_table);
}
