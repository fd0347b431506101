#pragma once

#include "Engine/core/platform/collections/ParallelHashTable.h"

#include <cstddef>

/// Gives tests access to all fields of a table, as lvalues with the table's constness, and to figures computed from
/// fields.
class ParallelHashTableTestPeer {
public:
    template<class Table>
    static auto& getThreadContexts(Table& table) {
        return table.m_threadContexts;
    }

    template<class Table>
    static auto& getPolicy(Table& table) {
        return table.m_policy;
    }

    template<class Table>
    static auto& getResizeState(Table& table) {
        return table.m_resizeState;
    }

    template<class Table>
    static auto& getHashMask(Table& table) {
        return table.m_hashMask;
    }

    template<class Table>
    static auto& getAfterLastBucket(Table& table) {
        return table.m_afterLastBucket;
    }

    template<class Table>
    static auto& getBuckets(Table& table) {
        return table.m_buckets;
    }

    template<class Table>
    static auto& getNumberOfUsedBuckets(Table& table) {
        return table.m_numberOfUsedBuckets;
    }

    template<class Table>
    static auto& getNumberOfDeletedBuckets(Table& table) {
        return table.m_numberOfDeletedBuckets;
    }

    template<class Table>
    static auto& getNumberOfBuckets(Table& table) {
        return table.m_numberOfBuckets;
    }

    template<class Table>
    static auto& getMaxLoadFactor(Table& table) {
        return table.m_maxLoadFactor;
    }

    template<class Table>
    static auto& getResizeThreshold(Table& table) {
        return table.m_resizeThreshold;
    }

    template<class Table>
    static auto& getOldBuckets(Table& table) {
        return table.m_oldBuckets;
    }

    template<class Table>
    static auto& getNumberOfResizeChunks(Table& table) {
        return table.m_numberOfResizeChunks;
    }

    template<class Table>
    static auto& getNumberOfPendingChunks(Table& table) {
        return table.m_numberOfPendingChunks;
    }

    template<class Table>
    static auto& getResizeMutex(Table& table) {
        return table.m_resizeMutex;
    }

    template<class Table>
    static auto& getResizeCondition(Table& table) {
        return table.m_resizeCondition;
    }

    template<class Table>
    static auto& getFingerprints(Table& table) {
        return table.m_fingerprints;
    }

    template<class Table>
    static size_t getSumOfQuotas(const Table& table) {
        size_t sum = 0;
        for (const melnar::TableThreadContext& threadContext : table.m_threadContexts)
            sum += threadContext.getInsertionQuota();
        return sum;
    }

    template<class Table>
    static size_t countBuckets(const Table& table, const typename Table::BucketValue value) {
        size_t count = 0;
        for (size_t index = 0; index < table.getNumberOfBuckets(); ++index)
            if (table.m_buckets[index].load(std::memory_order_acquire) == value)
                ++count;
        return count;
    }
};
