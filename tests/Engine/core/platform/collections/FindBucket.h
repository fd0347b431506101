#pragma once

#include "Engine/core/platform/collections/ParallelHashTable.h"

#include <cstdint>

/// The bucket of the number that `isWanted`, found by a probe from the home of its hash, or null. Within an operation.
template<class Policy, class IsWanted>
typename ParallelHashTable<Policy>::Bucket* findBucket(ParallelHashTable<Policy>& table, const uint64_t hash,
                                                       const IsWanted& isWanted) {
    using Table = ParallelHashTable<Policy>;
    for (typename Table::Bucket* bucket = table.getHomeBucket(hash);; bucket = table.getNextBucket(bucket)) {
        const auto value = Table::readBucket(*bucket);
        if (value == Policy::EMPTY_BUCKET)
            return nullptr;
        if (value != Policy::BUCKET_DELETED && isWanted(value))
            return bucket;
    }
}
