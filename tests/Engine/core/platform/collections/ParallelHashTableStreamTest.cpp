#include "Engine/core/platform/stream/MemoryInputStream.h"
#include "Engine/core/platform/stream/MemoryOutputStream.h"
#include "tests/Engine/core/platform/collections/NumberTable.h"
#include "tests/Engine/core/platform/collections/ScopedThreadContextIndex.h"
#include "tests/Engine/core/platform/collections/TableChecks.h"
#include "tests/Engine/core/platform/collections/TableStream.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>

using namespace melnar;

namespace {

using Peer = ParallelHashTableTestPeer;

template<class T>
class ParallelHashTableStreamTest : public testing::Test {
protected:
    static std::string save(const NumberTable<T>& numbers) {
        MemoryOutputStream outputStream;
        numbers.m_table.save(outputStream);
        return outputStream.getBytes();
    }

    static void load(NumberTable<T>& numbers, const std::string& bytes) {
        MemoryInputStream inputStream(bytes);
        numbers.m_table.load(inputStream);
        EXPECT_EQ(0u, inputStream.getNumberOfRemainingBytes());
    }
};

} // namespace

TYPED_TEST_SUITE(ParallelHashTableStreamTest, BucketWidths, BucketWidthNames);

TYPED_TEST(ParallelHashTableStreamTest, theStreamOfAFreshTableIsKnownByteForByte) {
    const NumberTable<TypeParam> numbers(1024);
    EXPECT_EQ(TableStream<TypeParam>(1024, 716).getBytes(), this->save(numbers));
}

TYPED_TEST(ParallelHashTableStreamTest, theStreamOfAUsedTableIsKnownByteForByte) {
    NumberTable<TypeParam> numbers(1024);
    for (const TypeParam number : std::initializer_list<TypeParam>{1, 2, 1026, 1023})
        numbers.insert(number);
    numbers.remove(2);
    {
        const ScopedThreadContextIndex index(255);
        numbers.insert(0x01020304);
    }
    TableStream<TypeParam> expected(1024, 716);
    expected.m_usedBuckets = 200;
    expected.m_deletedBuckets = 1;
    expected.m_quotas = {{0, 96}, {255, 99}};
    expected.m_buckets = {{1, 1},
                          {2, sizeof(TypeParam) == 4 ? TypeParam(0xFFFFFFFF) : TypeParam(0x7FFFFFFFFFFFFFFF)},
                          {3, 1026},
                          {0x304, 0x01020304},
                          {1023, 1023}};
    EXPECT_EQ(expected.getBytes(), this->save(numbers));
}

TYPED_TEST(ParallelHashTableStreamTest, theHeadIsLittleEndianText) {
    const NumberTable<TypeParam> numbers(1024);
    using namespace std::string_literals;
    const std::string head = "\x11\0\0\0\0\0\0\0"
                             "ParallelHashTable"
                             "\x00\x04\0\0\0\0\0\0"
                             "\xCC\x02\0\0\0\0\0\0"s;
    const std::string bytes = this->save(numbers);
    EXPECT_EQ(head, bytes.substr(0, head.size()));
    EXPECT_EQ(8u + 17 + 4 * 8 + 256 * 4 + 2 * 8 + 1024 * sizeof(TypeParam), bytes.size());
}

TYPED_TEST(ParallelHashTableStreamTest, afterAShrinkTheStreamHoldsWholePages) {
    NumberTable<TypeParam> numbers(4096);
    numbers.insert(3);
    numbers.m_table.shrinkToFit(256);
    TableStream<TypeParam> expected(256, 179);
    expected.m_usedBuckets = 1;
    expected.m_regionCapacity = 4096;
    expected.m_regionEnd = getVMPageSize() / sizeof(TypeParam);
    expected.m_buckets = {{3, 3}};
    EXPECT_EQ(expected.getBytes(), this->save(numbers));

    NumberTable<TypeParam> loaded(0);
    this->load(loaded, expected.getBytes());
    EXPECT_EQ(256u, loaded.m_table.getNumberOfBuckets());
    EXPECT_EQ(expected.m_regionEnd, Peer::getBuckets(loaded.m_table).getEnd());
    EXPECT_TRUE(loaded.contains(3));
    expectSoundAtRest(loaded.m_table);
}

TYPED_TEST(ParallelHashTableStreamTest, aTableWithoutBucketsHasARegionOfOneNumber) {
    const NumberTable<TypeParam> numbers(0);
    TableStream<TypeParam> expected(0, 0);
    const std::string bytes = this->save(numbers);
    EXPECT_EQ(expected.getBytes(), bytes);
    NumberTable<TypeParam> loaded(1024);
    this->load(loaded, bytes);
    EXPECT_EQ(0u, loaded.m_table.getNumberOfBuckets());
    EXPECT_EQ(0u, loaded.getChargedBytes());
}

TYPED_TEST(ParallelHashTableStreamTest, aHandMadeStreamLoads) {
    TableStream<TypeParam> stream(2048, 1433);
    stream.m_usedBuckets = 120;
    stream.m_deletedBuckets = 0;
    stream.m_quotas = {{0, 7}, {100, 110}};
    stream.m_buckets = {{5, 5}, {6, 2053}, {2047, 2047}};
    NumberTable<TypeParam> numbers(0);
    this->load(numbers, stream.getBytes());
    EXPECT_EQ(2048u, numbers.m_table.getNumberOfBuckets());
    EXPECT_EQ(120u, numbers.getUsedBuckets());
    EXPECT_EQ(7u, numbers.getQuota(0));
    EXPECT_EQ(110u, numbers.getQuota(100));
    for (const TypeParam number : std::initializer_list<TypeParam>{5, 2053, 2047})
        EXPECT_TRUE(numbers.contains(number)) << number;
    EXPECT_FALSE(numbers.contains(6));
    expectSoundAtRest(numbers.m_table);
}

TYPED_TEST(ParallelHashTableStreamTest, aLoadedTableIsTheSavedOne) {
    NumberTable<TypeParam> numbers;
    for (TypeParam number = 1; number <= 5000; ++number) {
        const ScopedThreadContextIndex index(number % 3);
        numbers.insert(number);
    }
    numbers.removeRange(1000, 1100);
    const std::string bytes = this->save(numbers);
    NumberTable<TypeParam> loaded(0);
    this->load(loaded, bytes);
    EXPECT_EQ(numbers.m_table.getNumberOfBuckets(), loaded.m_table.getNumberOfBuckets());
    EXPECT_EQ(Peer::getResizeThreshold(numbers.m_table), Peer::getResizeThreshold(loaded.m_table));
    EXPECT_EQ(numbers.getUsedBuckets(), loaded.getUsedBuckets());
    EXPECT_EQ(100u, loaded.m_table.getNumberOfDeletedBuckets());
    for (size_t index = 0; index < 256; ++index)
        EXPECT_EQ(numbers.getQuota(index), loaded.getQuota(index));
    EXPECT_TRUE(loaded.containsRange(1, 1000));
    EXPECT_TRUE(loaded.containsRange(1100, 5001));
    EXPECT_FALSE(loaded.contains(1000));
    EXPECT_EQ(bytes, this->save(loaded));
    expectSoundAtRest(loaded.m_table);
    loaded.insertRange(5001, 10001);
    EXPECT_TRUE(loaded.containsRange(1100, 10001));
    expectSoundAtRest(loaded.m_table);
}

TYPED_TEST(ParallelHashTableStreamTest, loadingReplacesWhatWasThere) {
    const NumberTable<TypeParam> empty(1024);
    NumberTable<TypeParam> numbers;
    numbers.insertRange(1, 3001);
    Peer::getOldBuckets(numbers.m_table).initialize(2048);
    Peer::getOldBuckets(numbers.m_table).ensureEndAtLeast(2048);
    Peer::getNumberOfPendingChunks(numbers.m_table).store(3, std::memory_order_relaxed);
    Peer::getResizeState(numbers.m_table).store(7, std::memory_order_relaxed);
    this->load(numbers, this->save(empty));
    EXPECT_EQ(1024u, numbers.m_table.getNumberOfBuckets());
    EXPECT_EQ(1024 * sizeof(TypeParam), numbers.getChargedBytes());
    EXPECT_EQ(0u, Peer::getNumberOfResizeChunks(numbers.m_table));
    EXPECT_EQ(0u, Peer::getSumOfQuotas(numbers.m_table));
    EXPECT_FALSE(numbers.contains(1));
    expectSoundAtRest(numbers.m_table);
}

TYPED_TEST(ParallelHashTableStreamTest, theThresholdIsTheStreamsUntilTheNextResize) {
    NumberTable<TypeParam> numbers(0);
    this->load(numbers, TableStream<TypeParam>(1024, 350).getBytes());
    EXPECT_EQ(0.7, Peer::getMaxLoadFactor(numbers.m_table));
    numbers.insertRange(1, 301);
    EXPECT_EQ(1024u, numbers.m_table.getNumberOfBuckets());
    numbers.insert(301);
    EXPECT_EQ(2048u, numbers.m_table.getNumberOfBuckets());
    EXPECT_EQ(1433u, Peer::getResizeThreshold(numbers.m_table));
    expectSoundAtRest(numbers.m_table);
}
