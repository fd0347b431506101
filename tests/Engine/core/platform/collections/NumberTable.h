#pragma once

#include "Engine/core/platform/Unmovable.h"
#include "Engine/core/platform/collections/ParallelHashTable.h"
#include "tests/Engine/core/platform/collections/FindBucket.h"
#include "tests/Engine/core/platform/collections/NumberPolicy.h"
#include "tests/Engine/core/platform/collections/ParallelHashTableTestPeer.h"
#include "tests/support/FingerprintsUnderTest.h"

#include <cstddef>
#include <optional>

/// A table of plain numbers with its memory manager, and the operations of a datatype on it.
template<class T>
class NumberTable : private Unmovable {
public:
    using Policy = NumberPolicy<T>;
    using Table = ParallelHashTable<Policy>;
    using Operation = typename Table::Operation;
    using Bucket = typename Table::Bucket;

    static constexpr size_t AMPLE_MEMORY = size_t(1) << 26;

    /// Without buckets it is not initialised.
    explicit NumberTable(const size_t numberOfBuckets = 1024, typename Policy::Hash hash = &Policy::identity,
                         const size_t memoryLimit = AMPLE_MEMORY)
        : m_memoryManager(memoryLimit), m_table(m_memoryManager, Policy(std::move(hash))) {
        if (areFingerprintsUnderTest())
            m_table.enableFingerprints();
        if (numberOfBuckets != 0)
            m_table.initialize(numberOfBuckets);
    }

    /// Returns whether the number was absent.
    bool insert(const T number) {
        const Operation operation(m_table);
        m_table.reserveInsertionQuota(operation.getThreadContext());
        const uint64_t hash = m_table.getPolicy().getHash(number);
        for (size_t index = m_table.getHomeIndex(hash);;) {
            index = m_table.findCandidate(index, melnar::Fingerprints::get(hash));
            const T value = Table::readBucket(m_table.getBucket(index));
            if (value == number)
                return false;
            if (value != Policy::EMPTY_BUCKET)
                index = m_table.getNextIndex(index);
            else if (Table::tryClaim(m_table.getBucket(index))) {
                m_table.learnFingerprint(index, hash);
                m_table.publish(operation.getThreadContext(), index, number);
                return true;
            }
        }
    }

    void insertRange(const T first, const T afterLast) {
        for (T number = first; number < afterLast; ++number)
            insert(number);
    }

    bool contains(const T number) {
        const Operation operation(m_table);
        return find(number) != nullptr;
    }

    bool containsRange(const T first, const T afterLast) {
        for (T number = first; number < afterLast; ++number)
            if (!contains(number))
                return false;
        return true;
    }

    /// Returns whether the number was there.
    bool remove(const T number) {
        const Operation operation(m_table);
        Bucket* const bucket = find(number);
        if (bucket != nullptr)
            m_table.remove(*bucket);
        return bucket != nullptr;
    }

    void removeRange(const T first, const T afterLast) {
        for (T number = first; number < afterLast; ++number)
            remove(number);
    }

    /// Resizes the table now, whether or not it is full.
    void resize() {
        const Operation operation(m_table);
        m_table.startHandleResize(operation.getThreadContext());
    }

    T getBucketValue(const size_t index) {
        return ParallelHashTableTestPeer::getBuckets(m_table)[index].load(std::memory_order_acquire);
    }

    std::optional<size_t> getIndexOf(const T number) {
        const Operation operation(m_table);
        const Bucket* const bucket = find(number);
        if (bucket == nullptr)
            return std::nullopt;
        return static_cast<size_t>(bucket - ParallelHashTableTestPeer::getBuckets(m_table).getData());
    }

    size_t getUsedBuckets() const {
        return ParallelHashTableTestPeer::getNumberOfUsedBuckets(m_table).load(std::memory_order_relaxed);
    }

    uint32_t getQuota(const size_t threadContextIndex = 0) const {
        return ParallelHashTableTestPeer::getThreadContexts(m_table)[threadContextIndex].getInsertionQuota();
    }

    size_t getAllChargedBytes() const { return m_memoryManager.getReservedBytes() - m_memoryManager.getFreeBytes(); }

    /// Returns the charged bytes without those of fingerprints.
    size_t getChargedBytes() const { return getAllChargedBytes() - m_table.getFingerprintBytes(); }

    MemoryManager m_memoryManager;
    Table m_table;

private:
    /// Within an operation.
    Bucket* find(const T number) {
        return findBucket(m_table, m_table.getPolicy().getHash(number),
                          [number](const T value) { return value == number; });
    }
};
