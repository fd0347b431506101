#include "tests/Engine/core/platform/collections/NumberTable.h"
#include "tests/Engine/core/platform/collections/RandomNumbers.h"
#include "tests/Engine/core/platform/collections/ScopedThreadContextIndex.h"
#include "tests/Engine/core/platform/collections/TableChecks.h"

#include <gtest/gtest.h>

namespace {

using Peer = ParallelHashTableTestPeer;

template<class T>
class ParallelHashTableShrinkTest : public testing::Test {
protected:
    /// Shrinks a table with these numbers of buckets and entries.
    static void shrinkTable(const size_t numberOfBuckets, const T entries, const size_t expectedBuckets,
                            const size_t expectedThreshold) {
        NumberTable<T> numbers(numberOfBuckets);
        numbers.insertRange(1, entries + 1);
        numbers.m_table.shrinkToFit(1024);
        EXPECT_EQ(expectedBuckets, numbers.m_table.getNumberOfBuckets());
        EXPECT_EQ(expectedThreshold, Peer::getResizeThreshold(numbers.m_table));
        expectSoundAtRest(numbers.m_table);
    }
};

} // namespace

TYPED_TEST_SUITE(ParallelHashTableShrinkTest, BucketWidths, BucketWidthNames);

TYPED_TEST(ParallelHashTableShrinkTest, clearEmptiesTheTableAndKeepsItsSize) {
    NumberTable<TypeParam> numbers;
    numbers.insertRange(1, 1001);
    numbers.removeRange(1, 11);
    const auto* const buckets = Peer::getBuckets(numbers.m_table).getData();
    numbers.m_table.clear();
    EXPECT_EQ(2048u, numbers.m_table.getNumberOfBuckets());
    EXPECT_EQ(buckets, Peer::getBuckets(numbers.m_table).getData());
    EXPECT_EQ(2048u, Peer::countBuckets(numbers.m_table, 0));
    EXPECT_EQ(0u, numbers.getUsedBuckets());
    EXPECT_EQ(0u, numbers.m_table.getNumberOfDeletedBuckets());
    EXPECT_EQ(0u, Peer::getSumOfQuotas(numbers.m_table));
    EXPECT_EQ(0u, Peer::getNumberOfResizeChunks(numbers.m_table));
    EXPECT_EQ(2048 * sizeof(TypeParam), numbers.getChargedBytes());
    expectSoundAtRest(numbers.m_table);
    numbers.insertRange(1, 1001);
    EXPECT_EQ(2048u, numbers.m_table.getNumberOfBuckets());
    expectSoundAtRest(numbers.m_table);
}

TYPED_TEST(ParallelHashTableShrinkTest, clearOfATableThatUsesOnlyQuotasChangesNothing) {
    using Table = typename NumberTable<TypeParam>::Table;
    NumberTable<TypeParam> numbers;
    for (const size_t index : {size_t(0), size_t(9)}) {
        const ScopedThreadContextIndex scopedIndex(index);
        const typename Table::Operation operation(numbers.m_table);
        numbers.m_table.reserveInsertionQuota(operation.getThreadContext());
    }
    numbers.m_table.clear();
    EXPECT_EQ(200u, numbers.getUsedBuckets());
    EXPECT_EQ(100u, numbers.getQuota(0));
    EXPECT_EQ(100u, numbers.getQuota(9));
    expectSoundAtRest(numbers.m_table);
}

TYPED_TEST(ParallelHashTableShrinkTest, clearOfATableOfTombstonesDropsThem) {
    NumberTable<TypeParam> numbers;
    numbers.insertRange(1, 101);
    numbers.removeRange(1, 101);
    numbers.m_table.clear();
    EXPECT_EQ(0u, numbers.getUsedBuckets());
    EXPECT_EQ(0u, numbers.m_table.getNumberOfDeletedBuckets());
    expectSoundAtRest(numbers.m_table);
}

TYPED_TEST(ParallelHashTableShrinkTest, clearAlsoEmptiesTheBucketsThatRoundingKeptAccessible) {
    NumberTable<TypeParam> numbers;
    numbers.insert(1);
    numbers.m_table.shrinkToFit(64);
    ASSERT_LT(64u, Peer::getBuckets(numbers.m_table).getEnd());
    Peer::getBuckets(numbers.m_table)[64].store(5, std::memory_order_relaxed);
    numbers.m_table.clear();
    expectSoundAtRest(numbers.m_table);
}

TYPED_TEST(ParallelHashTableShrinkTest, sizeIsTheSmallestThatHoldsTheContents) {
    struct Case {
        size_t entries;
        size_t expectedSize;
    };
    // entries / 0.7, truncated, plus 1, rounded up to a power of two; at least 1024, at most the old size.
    for (const Case& testCase : {Case{0, 1024}, Case{1, 1024}, Case{700, 1024}, Case{716, 1024}, Case{717, 2048},
                                 Case{1433, 2048}, Case{1434, 4096}, Case{2867, 4096}, Case{2868, 8192}}) {
        SCOPED_TRACE(testing::Message() << testCase.entries << " entries");
        NumberTable<TypeParam> numbers(8192, [](const TypeParam number) { return number * 0x9E3779B97F4A7C15; });
        const TypeParam afterLast = static_cast<TypeParam>(testCase.entries + 1);
        numbers.insertRange(1, afterLast);
        numbers.m_table.shrinkToFit(1024);
        EXPECT_EQ(testCase.expectedSize, numbers.m_table.getNumberOfBuckets());
        EXPECT_EQ(testCase.entries, numbers.getUsedBuckets());
        EXPECT_TRUE(numbers.containsRange(1, afterLast));
        EXPECT_EQ(testCase.expectedSize * sizeof(TypeParam), numbers.getChargedBytes());
        expectSoundAtRest(numbers.m_table);
    }
}

TYPED_TEST(ParallelHashTableShrinkTest, aTableOf4096BucketsWith700EntriesShrinksTo1024) {
    this->shrinkTable(4096, 700, 1024, 716);
}

TYPED_TEST(ParallelHashTableShrinkTest, aTableOf4096BucketsWith717EntriesShrinksTo2048) {
    this->shrinkTable(4096, 717, 2048, 1433);
}

TYPED_TEST(ParallelHashTableShrinkTest, neverGoesBelowTheMinimum) {
    NumberTable<TypeParam> numbers(8192);
    numbers.insert(1);
    numbers.m_table.shrinkToFit(2048);
    EXPECT_EQ(2048u, numbers.m_table.getNumberOfBuckets());
    expectSoundAtRest(numbers.m_table);
}

TYPED_TEST(ParallelHashTableShrinkTest, neverGrowsATableButTakesTheQuotasBack) {
    NumberTable<TypeParam> numbers;
    numbers.insertRange(1, 651);
    {
        const ScopedThreadContextIndex index(255);
        numbers.m_table.shrinkToFit(4096);
    }
    EXPECT_EQ(1024u, numbers.m_table.getNumberOfBuckets());
    EXPECT_EQ(650u, numbers.getUsedBuckets());
    EXPECT_EQ(0u, Peer::getSumOfQuotas(numbers.m_table));
    expectSoundAtRest(numbers.m_table);
}

TYPED_TEST(ParallelHashTableShrinkTest, aTableOfTheRightSizeKeepsItAndItsQuotasAreTakenBack) {
    NumberTable<TypeParam> numbers(2048);
    numbers.insertRange(1, 721);
    const auto* const buckets = Peer::getBuckets(numbers.m_table).getData();
    numbers.m_table.shrinkToFit(1024);
    EXPECT_EQ(2048u, numbers.m_table.getNumberOfBuckets());
    EXPECT_EQ(buckets, Peer::getBuckets(numbers.m_table).getData());
    EXPECT_EQ(720u, numbers.getUsedBuckets());
    EXPECT_EQ(0u, Peer::getSumOfQuotas(numbers.m_table));
    expectSoundAtRest(numbers.m_table);
}

TYPED_TEST(ParallelHashTableShrinkTest, movesTheUpperPartWithoutRehashing) {
    bool isShrinking = false;
    NumberTable<TypeParam> numbers(4096, [&](const TypeParam number) {
        EXPECT_FALSE(isShrinking);
        return number;
    });
    for (const TypeParam number : {TypeParam(5), TypeParam(1024 + 5), TypeParam(3072 + 5), TypeParam(2048 + 6)})
        numbers.insert(number);
    isShrinking = true;
    numbers.m_table.shrinkToFit(1024);
    isShrinking = false;
    EXPECT_EQ(5u, numbers.getIndexOf(5)) << "the lower part stays";
    EXPECT_EQ(6u, numbers.getIndexOf(1024 + 5));
    EXPECT_EQ(7u, numbers.getIndexOf(2048 + 6)) << "from old bucket 2054";
    EXPECT_EQ(8u, numbers.getIndexOf(3072 + 5)) << "from old bucket 3077";
    expectSoundAtRest(numbers.m_table);
}

TYPED_TEST(ParallelHashTableShrinkTest, chainsThatWrapStayWhole) {
    // One chain of 600 entries around the old end, and one across what becomes the new end.
    NumberTable<TypeParam> numbers(8192, [](const TypeParam number) { return number <= 600 ? 8000 : 900; });
    numbers.insertRange(1, 701);
    ASSERT_NE(TypeParam(0), numbers.getBucketValue(0));
    ASSERT_EQ(TypeParam(700), numbers.getBucketValue(999));
    numbers.m_table.shrinkToFit(1024);
    EXPECT_EQ(1024u, numbers.m_table.getNumberOfBuckets());
    EXPECT_TRUE(numbers.containsRange(1, 701));
    expectSoundAtRest(numbers.m_table);
}

TYPED_TEST(ParallelHashTableShrinkTest, bucketsAfterTheNewEndWrapToTheFirst) {
    NumberTable<TypeParam> numbers(2048);
    numbers.insert(1023);
    numbers.insert(2047);
    numbers.m_table.shrinkToFit(1024);
    EXPECT_EQ(1023u, numbers.getIndexOf(1023));
    EXPECT_EQ(0u, numbers.getIndexOf(2047));
    expectSoundAtRest(numbers.m_table);
}

TYPED_TEST(ParallelHashTableShrinkTest, tombstonesMoveAlongAndKeepCounting) {
    NumberTable<TypeParam> numbers(4096, [](TypeParam) { return 2000; });
    numbers.insertRange(1, 401);
    numbers.removeRange(101, 301);
    numbers.m_table.shrinkToFit(1024);
    EXPECT_EQ(1024u, numbers.m_table.getNumberOfBuckets());
    EXPECT_EQ(400u, numbers.getUsedBuckets());
    EXPECT_EQ(200u, numbers.m_table.getNumberOfDeletedBuckets());
    EXPECT_TRUE(numbers.containsRange(1, 101));
    EXPECT_TRUE(numbers.containsRange(301, 401));
    EXPECT_FALSE(numbers.contains(101));
    expectSoundAtRest(numbers.m_table);
}

TYPED_TEST(ParallelHashTableShrinkTest, tombstonesTakeRoomInTheNewSize) {
    NumberTable<TypeParam> numbers(4096);
    numbers.insertRange(1, 801);
    numbers.removeRange(1, 701);
    numbers.m_table.shrinkToFit(1024);
    EXPECT_EQ(2048u, numbers.m_table.getNumberOfBuckets()) << "800 buckets are not empty";
    expectSoundAtRest(numbers.m_table);
}

TYPED_TEST(ParallelHashTableShrinkTest, bucketsThatRoundingKeepsAccessibleAreZeroAndNeverProbed) {
    NumberTable<TypeParam> numbers(4096, [](TypeParam) { return 255; });
    numbers.insertRange(1, 101);
    numbers.m_table.shrinkToFit(256);
    EXPECT_EQ(256u, numbers.m_table.getNumberOfBuckets());
    EXPECT_EQ(getVMPageSize() / sizeof(TypeParam), Peer::getBuckets(numbers.m_table).getEnd());
    {
        const typename NumberTable<TypeParam>::Operation operation(numbers.m_table);
        numbers.m_table.reinsert(operation.getThreadContext(), 255, 101);
    }
    EXPECT_EQ(255u, numbers.getIndexOf(1));
    EXPECT_EQ(99u, numbers.getIndexOf(101)) << "the probe continued at bucket 0";
    EXPECT_EQ(TypeParam(0), numbers.getBucketValue(256));
    expectSoundAtRest(numbers.m_table);
}

TYPED_TEST(ParallelHashTableShrinkTest, aShrunkTableGrowsAgain) {
    NumberTable<TypeParam> numbers(8192);
    numbers.insertRange(1, 701);
    numbers.m_table.shrinkToFit(1024);
    numbers.insertRange(701, 3001);
    EXPECT_EQ(8192u, numbers.m_table.getNumberOfBuckets());
    EXPECT_TRUE(numbers.containsRange(1, 3001));
    expectSoundAtRest(numbers.m_table);
}

TYPED_TEST(ParallelHashTableShrinkTest, anyContentsSurvive) {
    for (uint32_t seed = 1; seed <= 20; ++seed) {
        SCOPED_TRACE(testing::Message() << "seed " << seed);
        RandomNumbers random(seed);
        const uint64_t spread = uint64_t(1) << random.below(12); // from one chain to nearly none
        NumberTable<TypeParam> numbers(8192,
                                       [=](const TypeParam number) { return number * 2654435761u / spread * 37; });
        const TypeParam afterLast = random.below(1400) + 2;
        numbers.insertRange(1, afterLast);
        for (TypeParam number = 1; number < afterLast; number += 3)
            numbers.remove(number);
        numbers.m_table.shrinkToFit(1024);
        expectSoundAtRest(numbers.m_table);
        for (TypeParam number = 1; number < afterLast; ++number)
            ASSERT_EQ(number % 3 != 1, numbers.contains(number)) << number;
    }
}
