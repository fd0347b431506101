#pragma once

#include "tests/Engine/core/platform/collections/ParallelHashTableTestPeer.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <set>

/// Expects that every slot of a table is free and no hand-over is pending.
template<class Table>
void expectAllSlotsFree(Table& table) {
    for (const melnar::TableThreadContext& threadContext : ParallelHashTableTestPeer::getThreadContexts(table)) {
        EXPECT_EQ(0, threadContext.m_lockCount.load(std::memory_order_acquire));
        EXPECT_EQ(0, threadContext.m_wakeUp);
    }
}

/// Expects B4, the relation between the used counter, the buckets and the quotas.
template<class Table>
void expectQuotasAccountedFor(Table& table) {
    using Peer = ParallelHashTableTestPeer;
    const size_t emptyBuckets = Peer::countBuckets(table, 0);
    EXPECT_EQ(Peer::getNumberOfUsedBuckets(table).load(std::memory_order_relaxed),
              table.getNumberOfBuckets() - emptyBuckets + Peer::getSumOfQuotas(table));
    EXPECT_EQ(table.getNumberOfBuckets() - emptyBuckets, table.getNumberOfNonEmptyBuckets());
}

/// Expects all invariants of an initialised idle table: the fields agree, no bucket is in progress, each number is
/// there once and is found by probing from its home (B2, B3), counters are exact (B4).
template<class Policy>
void expectSoundAtRest(ParallelHashTable<Policy>& table) {
    using Peer = ParallelHashTableTestPeer;
    using Table = ParallelHashTable<Policy>;
    const size_t numberOfBuckets = table.getNumberOfBuckets();
    auto& buckets = Peer::getBuckets(table);

    EXPECT_EQ(Table::NOT_RESIZING, Peer::getResizeState(table).load(std::memory_order_acquire));
    EXPECT_EQ(0u, Peer::getNumberOfPendingChunks(table).load(std::memory_order_acquire));
    EXPECT_EQ(nullptr, Peer::getOldBuckets(table).getData());
    EXPECT_EQ(0u, Peer::getOldBuckets(table).getCommittedBytes());
    EXPECT_EQ(numberOfBuckets - 1, Peer::getHashMask(table));
    EXPECT_EQ(buckets.getData() + numberOfBuckets, Peer::getAfterLastBucket(table));
    EXPECT_EQ(static_cast<size_t>(static_cast<double>(numberOfBuckets) * 0.7), Peer::getResizeThreshold(table));
    ASSERT_LE(numberOfBuckets, buckets.getEnd());
    expectAllSlotsFree(table);
    expectQuotasAccountedFor(table);
    EXPECT_EQ(Peer::countBuckets(table, Policy::BUCKET_DELETED), table.getNumberOfDeletedBuckets());
    EXPECT_EQ(0u, Peer::countBuckets(table, Policy::BUCKET_IN_PROGRESS));
    ASSERT_LT(0u, Peer::countBuckets(table, Policy::EMPTY_BUCKET)) << "a probe for an absent number would not end";
    for (size_t index = numberOfBuckets; index < buckets.getEnd(); ++index)
        ASSERT_EQ(0u, buckets[index].load(std::memory_order_acquire)) << "beyond the last bucket, at " << index;

    const melnar::Fingerprints& fingerprints = Peer::getFingerprints(table);
    for (size_t index = 0; fingerprints.exist() && index < numberOfBuckets; ++index) {
        const auto number = Table::readBucket(buckets[index]);
        if (number == Policy::EMPTY_BUCKET) {
            ASSERT_EQ(0, fingerprints[index]) << "probes pass the empty bucket " << index;
        } else if (fingerprints.areComplete()) {
            ASSERT_NE(0, fingerprints[index]) << "lookups end before bucket " << index;
        }
        if (number != Policy::EMPTY_BUCKET && number != Policy::BUCKET_DELETED && fingerprints[index] != 0) {
            ASSERT_EQ(melnar::Fingerprints::get(table.getPolicy().getHash(number)), fingerprints[index])
                << "bucket " << index;
        }
    }

    std::set<typename Policy::BucketValue> numbers;
    for (size_t index = 0; index < numberOfBuckets; ++index) {
        const auto number = Table::readBucket(buckets[index]);
        if (number == Policy::EMPTY_BUCKET || number == Policy::BUCKET_DELETED)
            continue;
        ASSERT_TRUE(numbers.insert(number).second) << number << " is there twice";
        const uint64_t hash = table.getPolicy().getHash(number);
        for (size_t passed = table.getHomeIndex(hash); passed != index; passed = table.getNextIndex(passed))
            ASSERT_NE(Policy::EMPTY_BUCKET, Table::readBucket(buckets[passed]))
                << number << " is cut off from its home";
    }
}
