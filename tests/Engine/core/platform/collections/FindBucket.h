#pragma once

#include "Engine/core/platform/collections/ParallelHashTable.h"

#include <cstdint>

/// Returns the bucket of the number for which `isWanted` is true, found by a probe from the home of its hash, or null.
/// Within an operation.
template<class Policy, class IsWanted>
typename ParallelHashTable<Policy>::Bucket* findBucket(ParallelHashTable<Policy>& table, const uint64_t hash,
                                                       const IsWanted& isWanted) {
    using Table = ParallelHashTable<Policy>;
    for (size_t index = table.getHomeIndex(hash);; index = table.getNextIndex(index)) {
        index = table.findCandidate(index, melnar::Fingerprints::get(hash));
        const auto value = Table::readBucket(table.getBucket(index));
        if (value == Policy::EMPTY_BUCKET)
            return nullptr;
        if (value != Policy::BUCKET_DELETED && isWanted(value))
            return &table.getBucket(index);
    }
}
