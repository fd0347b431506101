#include "Engine/core/platform/system/VirtualMemory.h"
#include "tests/Engine/core/platform/collections/FingerprintTable.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

using namespace melnar;

namespace {

using Peer = ParallelHashTableTestPeer;

/// Returns a hash whose home is `home` in every table of a test. Most hashes with the same home have different
/// fingerprints.
uint64_t getHashOf(const uint64_t home, const uint64_t upperBits) {
    return upperBits << 40 | home;
}

template<class T>
class ParallelHashTableFingerprintsTest : public testing::Test {
protected:
    static size_t getFingerprintBytes(const size_t numberOfBuckets) {
        return std::max(numberOfBuckets, getVMPageSize());
    }
};

} // namespace

TYPED_TEST_SUITE(ParallelHashTableFingerprintsTest, BucketWidths, BucketWidthNames);

TYPED_TEST(ParallelHashTableFingerprintsTest, anInsertionStoresTheFingerprintOfItsHash) {
    FingerprintTable<TypeParam> numbers;
    EXPECT_TRUE(numbers.getFingerprints().areComplete()) << "of an empty table";
    numbers.insertRange(1, 601);
    numbers.expectOwnFingerprints(1, 601);
    EXPECT_EQ(600u, numbers.countKnownFingerprints());
    EXPECT_TRUE(numbers.getFingerprints().areComplete());
    numbers.expectSound();
}

TYPED_TEST(ParallelHashTableFingerprintsTest, anInsertionInProgressHasNoneYetAndAFailedOneLeavesNone) {
    using Table = typename NumberTable<TypeParam>::Table;
    FingerprintTable<TypeParam> numbers;
    {
        const typename Table::Operation operation(numbers.m_table);
        numbers.m_table.reserveInsertionQuota(operation.getThreadContext());
        ASSERT_TRUE(Table::tryClaim(numbers.m_table.getBucket(7)));
        EXPECT_EQ(0, numbers.getFingerprints()[7]);
        EXPECT_EQ(7u, numbers.m_table.findCandidate(7, 1)) << "every probe looks at it";
        EXPECT_TRUE(numbers.m_table.isKnownToEndLookup(7));
        EXPECT_FALSE(numbers.m_table.isFingerprintUnknown(7)) << "there is nothing to learn in a complete table";
        Table::unclaim(numbers.m_table.getBucket(7));
        EXPECT_EQ(0, numbers.getFingerprints()[7]);
    }
    numbers.expectSound();
    EXPECT_TRUE(numbers.insert(7));
    EXPECT_EQ(7u, numbers.getIndexOf(7));
    EXPECT_EQ(Fingerprints::get(7), numbers.getFingerprints()[7]);
    numbers.expectSound();
}

TYPED_TEST(ParallelHashTableFingerprintsTest, aDeletionKeepsTheFingerprintAndTheNextInsertionTakesAnotherBucket) {
    FingerprintTable<TypeParam> numbers;
    numbers.insert(7);
    for (size_t index = 8; index < 40; ++index) {
        EXPECT_TRUE(numbers.remove(7));
        EXPECT_FALSE(numbers.contains(7));
        EXPECT_EQ(Fingerprints::get(7), numbers.getFingerprints()[index - 1]) << "the tombstone's";
        EXPECT_TRUE(numbers.insert(7));
        EXPECT_EQ(index, numbers.getIndexOf(7));
        EXPECT_EQ(Fingerprints::get(7), numbers.getFingerprints()[index]);
    }
    numbers.expectSound();
}

TYPED_TEST(ParallelHashTableFingerprintsTest, aProbePassesBucketsOfOtherFingerprintsOnly) {
    FingerprintTable<TypeParam> numbers(1024, [](const TypeParam number) { return getHashOf(10, number); });
    numbers.insertRange(1, 201); // in buckets 10 to 209, in this order
    for (TypeParam number = 1; number <= 200; ++number) {
        const uint8_t fingerprint = Fingerprints::get(getHashOf(10, number));
        size_t from = 10;
        for (size_t index = 10; index < 210; ++index) {
            if (numbers.getFingerprints()[index] != fingerprint)
                continue;
            ASSERT_EQ(index, numbers.m_table.findCandidate(from, fingerprint)) << number;
            ASSERT_EQ(index, numbers.m_table.findCandidate(index, fingerprint)) << "the first bucket counts";
            from = index + 1;
        }
        ASSERT_LT(10u, from) << "it met its own at least";
        ASSERT_EQ(210u, numbers.m_table.findCandidate(from, fingerprint)) << "the first empty bucket";
    }
    numbers.expectSound();
}

TYPED_TEST(ParallelHashTableFingerprintsTest, aProbeContinuesAtTheStartOfTheTable) {
    FingerprintTable<TypeParam> numbers(1024, [](const TypeParam number) { return getHashOf(1000, number); });
    numbers.insertRange(1, 61); // in buckets 1000 to 1023 and 0 to 35
    EXPECT_TRUE(numbers.containsRange(1, 61));
    EXPECT_FALSE(numbers.contains(61));
    uint8_t absent = 1;
    const auto isThere = [&](const uint8_t fingerprint) {
        for (size_t index = 0; index < 1024; ++index)
            if (numbers.getFingerprints()[index] == fingerprint)
                return true;
        return false;
    };
    while (isThere(absent))
        ++absent;
    EXPECT_EQ(36u, numbers.m_table.findCandidate(1000, absent));
    EXPECT_EQ(36u, numbers.m_table.findCandidate(1023, absent));
    Peer::getFingerprints(numbers.m_table).set(1023, absent);
    EXPECT_EQ(1023u, numbers.m_table.findCandidate(1000, absent));
    Peer::getFingerprints(numbers.m_table).set(1023, Fingerprints::get(getHashOf(1000, 24)));
    numbers.expectSound();
}

TYPED_TEST(ParallelHashTableFingerprintsTest, unknownAndMatchingBucketsAreCandidatesInTheOrderOfTheProbe) {
    FingerprintTable<TypeParam> numbers(1024, [](const TypeParam number) { return getHashOf(1010, number); });
    numbers.insertRange(1, 41);
    // From here on the fingerprints do not belong to the entries: only findCandidate reads them.
    auto& fingerprints = Peer::getFingerprints(numbers.m_table);
    for (size_t index = 1010; index != 26; index = numbers.m_table.getNextIndex(index))
        fingerprints.set(index, 78);
    for (const size_t index : {size_t(1015), size_t(2), size_t(25)})
        fingerprints.set(index, 77);
    for (const size_t index : {size_t(1010), size_t(1023), size_t(1)})
        fingerprints.set(index, 0);
    std::vector<size_t> candidates;
    for (size_t index = 1010; index != 27; index = numbers.m_table.getNextIndex(index)) {
        index = numbers.m_table.findCandidate(index, 77);
        candidates.push_back(index);
    }
    EXPECT_EQ((std::vector<size_t>{1010, 1015, 1023, 1, 2, 25, 26}), candidates) << "and the first empty bucket";
}

TYPED_TEST(ParallelHashTableFingerprintsTest, withoutFingerprintsEveryBucketIsACandidate) {
    FingerprintTable<TypeParam> numbers;
    numbers.insertRange(1, 601);
    EXPECT_TRUE(numbers.m_table.giveUpFingerprints());
    for (size_t index = 0; index < 1024; ++index) {
        ASSERT_EQ(index, numbers.m_table.findCandidate(index, static_cast<uint8_t>(index % 255 + 1)));
        ASSERT_FALSE(numbers.m_table.isKnownToEndLookup(index));
        ASSERT_FALSE(numbers.m_table.isFingerprintUnknown(index));
    }
    EXPECT_TRUE(numbers.containsRange(1, 601));
    EXPECT_FALSE(numbers.contains(601));
    numbers.expectSound();
}

TYPED_TEST(ParallelHashTableFingerprintsTest, aDoublingGivesEveryNumberItsOwn) {
    FingerprintTable<TypeParam> numbers;
    numbers.insertRange(1, 701);
    numbers.removeRange(1, 101);
    for (size_t numberOfBuckets = 2048; numberOfBuckets <= 16384; numberOfBuckets *= 2) {
        numbers.resize();
        EXPECT_EQ(numberOfBuckets, numbers.m_table.getNumberOfBuckets());
        EXPECT_EQ(this->getFingerprintBytes(numberOfBuckets), numbers.m_table.getFingerprintBytes());
        EXPECT_TRUE(numbers.getFingerprints().areComplete());
        numbers.expectOwnFingerprints(101, 701);
        EXPECT_EQ(600u, numbers.countKnownFingerprints()) << "none of a tombstone is left";
        numbers.expectSound();
    }
}

TYPED_TEST(ParallelHashTableFingerprintsTest, aRebuildAtTheSameSizeDropsThoseOfTombstones) {
    FingerprintTable<TypeParam> numbers;
    numbers.insertRange(1, 701);
    numbers.removeRange(1, 601);
    EXPECT_EQ(700u, numbers.countKnownFingerprints());
    numbers.resize();
    EXPECT_EQ(1024u, numbers.m_table.getNumberOfBuckets());
    EXPECT_TRUE(numbers.getFingerprints().areComplete());
    numbers.expectOwnFingerprints(601, 701);
    EXPECT_EQ(100u, numbers.countKnownFingerprints());
    numbers.expectSound();
}

TYPED_TEST(ParallelHashTableFingerprintsTest, shrinkingMovesThemAlongTombstonesToo) {
    FingerprintTable<TypeParam> numbers(16384, [](const TypeParam number) { return number * 0x9E3779B1u; });
    numbers.insertRange(1, 501);
    numbers.removeRange(401, 501);
    numbers.m_table.shrinkToFit(1024);
    EXPECT_EQ(1024u, numbers.m_table.getNumberOfBuckets());
    EXPECT_EQ(this->getFingerprintBytes(1024), numbers.m_table.getFingerprintBytes());
    EXPECT_TRUE(numbers.getFingerprints().areComplete());
    numbers.expectOwnFingerprints(1, 401);
    EXPECT_EQ(500u, numbers.countKnownFingerprints());
    size_t tombstones = 0;
    for (size_t index = 0; index < 1024; ++index)
        if (numbers.getBucketValue(index) == NumberPolicy<TypeParam>::BUCKET_DELETED) {
            ++tombstones;
            EXPECT_NE(0, numbers.getFingerprints()[index]) << "an unknown one would end lookups here";
        }
    EXPECT_EQ(100u, tombstones);
    numbers.expectSound();
    numbers.insertRange(401, 601);
    numbers.expectOwnFingerprints(1, 601);
    numbers.expectSound();
}

TYPED_TEST(ParallelHashTableFingerprintsTest, aTableShrunkBelowAGroupStaysWithinItsEnd) {
    for (const size_t numberOfBuckets : {size_t(8), size_t(16), size_t(32)}) {
        SCOPED_TRACE(numberOfBuckets);
        FingerprintTable<TypeParam> numbers(
            1024, [&](const TypeParam number) { return getHashOf(numberOfBuckets - 1, number); });
        numbers.insertRange(1, 5);
        numbers.m_table.shrinkToFit(numberOfBuckets);
        ASSERT_EQ(numberOfBuckets, numbers.m_table.getNumberOfBuckets());
        EXPECT_TRUE(numbers.containsRange(1, 5)) << "in the last bucket and the first three";
        EXPECT_FALSE(numbers.contains(5));
        EXPECT_EQ(numberOfBuckets >= Fingerprints::GROUP_SIZE, numbers.getFingerprints().exist());
        for (uint32_t fingerprint = 1; fingerprint <= 255; ++fingerprint)
            ASSERT_GT(numberOfBuckets,
                      numbers.m_table.findCandidate(numberOfBuckets - 1, static_cast<uint8_t>(fingerprint)));
        numbers.expectSound();
    }
}

TYPED_TEST(ParallelHashTableFingerprintsTest, clearEmptiesThem) {
    FingerprintTable<TypeParam> numbers(2048);
    numbers.insertRange(1, 1001);
    numbers.removeRange(1, 11);
    numbers.m_table.clear();
    EXPECT_EQ(0u, numbers.countKnownFingerprints());
    EXPECT_TRUE(numbers.getFingerprints().areComplete());
    EXPECT_FALSE(numbers.contains(500));
    numbers.expectSound();
    numbers.insertRange(1, 501);
    numbers.expectOwnFingerprints(1, 501);
    numbers.expectSound();
}

TYPED_TEST(ParallelHashTableFingerprintsTest, reinsertStoresThem) {
    FingerprintTable<TypeParam> numbers(1024, [](const TypeParam number) { return getHashOf(number / 8, number); });
    numbers.insertRange(1, 401);
    numbers.m_table.clear();
    {
        const typename NumberTable<TypeParam>::Operation operation(numbers.m_table);
        for (TypeParam number = 400; number > 0; --number)
            numbers.m_table.reinsert(operation.getThreadContext(), numbers.m_table.getPolicy().getHash(number), number);
    }
    EXPECT_EQ(400u, numbers.countKnownFingerprints());
    EXPECT_TRUE(numbers.getFingerprints().areComplete());
    EXPECT_TRUE(numbers.containsRange(1, 401));
    numbers.expectOwnFingerprints(1, 401);
    numbers.expectSound();
}

TYPED_TEST(ParallelHashTableFingerprintsTest, aStreamIsTheSameWithAndWithoutThem) {
    FingerprintTable<TypeParam> numbers;
    numbers.insertRange(1, 901);
    numbers.removeRange(1, 101);
    const std::string bytesWith = numbers.save();
    EXPECT_TRUE(numbers.m_table.giveUpFingerprints());
    EXPECT_TRUE(bytesWith == numbers.save());
}

TYPED_TEST(ParallelHashTableFingerprintsTest, aLoadedTableKnowsNoneAndLearnsThem) {
    std::string bytes;
    {
        FingerprintTable<TypeParam> numbers;
        numbers.insertRange(1, 601);
        numbers.removeRange(1, 101);
        bytes = numbers.save();
    }
    FingerprintTable<TypeParam> numbers(0);
    numbers.load(bytes);
    EXPECT_TRUE(numbers.getFingerprints().exist());
    EXPECT_FALSE(numbers.getFingerprints().areComplete());
    EXPECT_EQ(0u, numbers.countKnownFingerprints());
    EXPECT_TRUE(numbers.containsRange(101, 601));
    EXPECT_FALSE(numbers.contains(601));
    for (TypeParam number = 101; number < 601; ++number) {
        const size_t index = numbers.getIndexOf(number).value();
        ASSERT_TRUE(numbers.m_table.isFingerprintUnknown(index));
        ASSERT_FALSE(numbers.m_table.isKnownToEndLookup(index));
        numbers.m_table.learnFingerprint(index, number);
        ASSERT_FALSE(numbers.m_table.isFingerprintUnknown(index));
    }
    numbers.expectOwnFingerprints(101, 601);
    EXPECT_EQ(500u, numbers.countKnownFingerprints()) << "nobody knows those of tombstones";
    EXPECT_FALSE(numbers.getFingerprints().areComplete());
    numbers.expectSound();
    numbers.resize();
    EXPECT_TRUE(numbers.getFingerprints().areComplete()) << "a resize fills what is unknown";
    numbers.expectOwnFingerprints(101, 601);
    numbers.expectSound();
}
