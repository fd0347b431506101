#include "tests/Engine/core/platform/collections/NumberTable.h"
#include "tests/Engine/core/platform/collections/RandomNumbers.h"
#include "tests/Engine/core/platform/collections/ScopedThreadContextIndex.h"
#include "tests/Engine/core/platform/collections/TableChecks.h"

#include <gtest/gtest.h>

#include <set>

namespace {

using Peer = ParallelHashTableTestPeer;

template<class T>
class ParallelHashTableQuotaTest : public testing::Test {};

} // namespace

TYPED_TEST_SUITE(ParallelHashTableQuotaTest, BucketWidths, BucketWidthNames);

TYPED_TEST(ParallelHashTableQuotaTest, insertionsReserveAHundredAtATime) {
    NumberTable<TypeParam> numbers;
    for (TypeParam number = 1; number <= 250; ++number) {
        numbers.insert(number);
        ASSERT_EQ((number + 99u) / 100 * 100, numbers.getUsedBuckets()) << number;
        ASSERT_EQ(numbers.getUsedBuckets() - number, numbers.getQuota()) << number;
    }
    expectSoundAtRest(numbers.m_table);
}

TYPED_TEST(ParallelHashTableQuotaTest, lookupsAndDeletionsReserveNothing) {
    NumberTable<TypeParam> numbers;
    numbers.contains(1);
    numbers.remove(1);
    EXPECT_EQ(0u, numbers.getUsedBuckets());
    EXPECT_EQ(0u, numbers.getQuota());
}

TYPED_TEST(ParallelHashTableQuotaTest, anInsertionThatFindsItsNumberHasReservedAllTheSame) {
    NumberTable<TypeParam> numbers;
    numbers.insert(1);
    const ScopedThreadContextIndex index(1);
    EXPECT_FALSE(numbers.insert(1));
    EXPECT_EQ(200u, numbers.getUsedBuckets()) << "quota is due before the outcome is known";
    EXPECT_EQ(100u, numbers.getQuota(1));
    expectSoundAtRest(numbers.m_table);
}

TYPED_TEST(ParallelHashTableQuotaTest, reservingTellsThatBucketsMayHaveMovedOnlyAfterAResize) {
    NumberTable<TypeParam> numbers;
    const auto reserve = [&numbers] {
        const typename NumberTable<TypeParam>::Operation operation(numbers.m_table);
        return numbers.m_table.reserveInsertionQuota(operation.getThreadContext());
    };
    EXPECT_FALSE(reserve());
    numbers.insertRange(1, 701);
    numbers.removeRange(1, 601);
    ASSERT_EQ(0u, numbers.getQuota());
    EXPECT_TRUE(reserve());
    EXPECT_EQ(600u, numbers.getQuota()) << "credited by a rebuild, which is all that has happened";
}

TYPED_TEST(ParallelHashTableQuotaTest, everySlotReservesForItself) {
    NumberTable<TypeParam> numbers;
    for (size_t index = 0; index < 7; ++index) {
        const ScopedThreadContextIndex scopedIndex(index);
        numbers.insert(static_cast<TypeParam>(index + 1));
        EXPECT_EQ(99u, numbers.getQuota(index));
    }
    EXPECT_EQ(700u, numbers.getUsedBuckets());
    expectSoundAtRest(numbers.m_table);

    EXPECT_EQ(1024u, numbers.m_table.getNumberOfBuckets());
    const ScopedThreadContextIndex index(7);
    numbers.insert(8);
    EXPECT_EQ(2048u, numbers.m_table.getNumberOfBuckets()) << "reserved, not made insertions fill a table";
    EXPECT_EQ(800u, numbers.getUsedBuckets());
    EXPECT_EQ(8u, numbers.m_table.getNumberOfNonEmptyBuckets());
    for (size_t slot = 0; slot < 8; ++slot)
        EXPECT_EQ(99u, numbers.getQuota(slot)) << "what a slot has reserved stays its own through a resize";
    expectSoundAtRest(numbers.m_table);
}

TYPED_TEST(ParallelHashTableQuotaTest, aSlotWithQuotaFillsTheTableWithoutResizing) {
    NumberTable<TypeParam> numbers;
    numbers.insertRange(1, 601);
    ASSERT_EQ(600u, numbers.getUsedBuckets());
    const ScopedThreadContextIndex index(1);
    numbers.insertRange(601, 701); // the last 100 that fit below the threshold of 716
    EXPECT_EQ(700u, numbers.getUsedBuckets());
    EXPECT_EQ(1024u, numbers.m_table.getNumberOfBuckets());
    expectSoundAtRest(numbers.m_table);
}

TYPED_TEST(ParallelHashTableQuotaTest, insertionsNeverTakeTheCounterPastTheThreshold) {
    NumberTable<TypeParam> numbers;
    for (TypeParam number = 1; number <= 20000; ++number) {
        const ScopedThreadContextIndex index(number % 5);
        numbers.insert(number);
        ASSERT_LE(numbers.getUsedBuckets(), Peer::getResizeThreshold(numbers.m_table)) << number;
    }
    expectSoundAtRest(numbers.m_table);
}

// Any mixture of operations from any slots keeps the counters consistent, and the contents are those of a plain set.
TYPED_TEST(ParallelHashTableQuotaTest, theBooksBalanceAfterEveryHistory) {
    using Table = typename NumberTable<TypeParam>::Table;
    for (uint32_t seed = 1; seed <= 12; ++seed) {
        SCOPED_TRACE(testing::Message() << "seed " << seed);
        RandomNumbers random(seed);
        // A weak hash, so that chains are long and wrap.
        NumberTable<TypeParam> numbers(1024, [](const TypeParam number) { return number / 3 * 3; });
        std::set<TypeParam> expected;
        for (size_t step = 0; step < 6000; ++step) {
            const ScopedThreadContextIndex index(random.below(6) * size_t(51));
            const TypeParam number = random.below(1500) + 1;
            switch (const uint32_t action = random.below(1000)) {
            case 0:
                numbers.m_table.clear();
                expected.clear();
                break;
            case 1:
            case 2:
                numbers.m_table.shrinkToFit(1024);
                break;
            case 3:
                numbers.resize();
                break;
            case 4: {
                const typename Table::Operation operation(numbers.m_table); // an insertion that fails
                numbers.m_table.reserveInsertionQuota(operation.getThreadContext());
                size_t place = numbers.m_table.getHomeIndex(number);
                while (!Table::tryClaim(numbers.m_table.getBucket(place)))
                    place = numbers.m_table.getNextIndex(place);
                Table::unclaim(numbers.m_table.getBucket(place));
                break;
            }
            default:
                if (action % 5 < 3)
                    ASSERT_EQ(expected.insert(number).second, numbers.insert(number));
                else
                    ASSERT_EQ(expected.erase(number) == 1, numbers.remove(number));
            }
            if (step % 500 == 499)
                expectSoundAtRest(numbers.m_table);
        }
        for (TypeParam number = 1; number <= 1500; ++number)
            ASSERT_EQ(expected.contains(number), numbers.contains(number)) << number;
    }
}
