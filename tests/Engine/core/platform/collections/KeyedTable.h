#pragma once

#include "Engine/core/platform/Unmovable.h"
#include "Engine/core/platform/collections/ParallelHashTable.h"
#include "tests/Engine/core/platform/collections/FindBucket.h"
#include "tests/Engine/core/platform/collections/NumberPolicy.h"
#include "tests/support/FingerprintsUnderTest.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <vector>

/// The records of the numbers of a KeyedTable: plain memory that only the table must order, so that ThreadSanitizer
/// reports every gap in the table's protocol.
template<class T>
struct KeyedEntry {
    uint64_t m_key;                   // written by the creator between its claim and its publication
    mutable uint32_t m_timesRehashed; // written by the thread that rehashes the number
};

template<class T>
class KeyedPolicy : public NumberBuckets<T> {
public:
    static uint64_t hashKey(const uint64_t key) noexcept {
        return ((key / 4) * 0x9E3779B97F4A7C15) >> 20; // four keys per home, so that chains are never trivial
    }

    explicit KeyedPolicy(const std::vector<KeyedEntry<T>>& entries) noexcept : m_entries(entries) {}

    /// Called only by a rehash.
    uint64_t getHash(const T number) const noexcept {
        ++m_entries[number].m_timesRehashed;
        return hashKey(m_entries[number].m_key);
    }

    uint64_t getKey(const T number) const noexcept { return m_entries[number].m_key; }
    uint32_t getTimesRehashed(const T number) const noexcept { return m_entries[number].m_timesRehashed; }

private:
    const std::vector<KeyedEntry<T>>& m_entries;
};

/// A table in the role that it has in a dictionary: a key corresponds to a string, its number to the resource ID.
/// Numbers are assigned in order from 1. Number 1, of key 0, exists from the start and counts the resizes.
template<class T>
class KeyedTable : private Unmovable {
public:
    using Policy = KeyedPolicy<T>;
    using Table = ParallelHashTable<Policy>;
    using Operation = typename Table::Operation;
    using Bucket = typename Table::Bucket;

    struct Resolution {
        T m_number;
        bool m_isNew;
    };

    KeyedTable(const size_t numberOfBuckets, const size_t maximumNumberOfEntries)
        : m_memoryManager(size_t(1) << 28), m_entries(maximumNumberOfEntries + 1),
          m_table(m_memoryManager, Policy(m_entries)), m_nextNumber(1), m_encounters(0) {
        if (areFingerprintsUnderTest())
            m_table.enableFingerprints();
        m_table.initialize(numberOfBuckets);
        resolve(0);
    }

    Resolution resolve(const uint64_t key) {
        return resolve(key, [] {});
    }

    /// Runs `create` between claim and publication; if it throws, the insertion fails.
    template<class Create>
    Resolution resolve(const uint64_t key, const Create& create) {
        const Operation operation(m_table);
        m_table.reserveInsertionQuota(operation.getThreadContext());
        const uint64_t hash = Policy::hashKey(key);
        size_t index = m_table.getHomeIndex(hash);
        for (;;) {
            index = m_table.findCandidate(index, melnar::Fingerprints::get(hash));
            Bucket& bucket = m_table.getBucket(index);
            if (bucket.load(std::memory_order_relaxed) == Policy::BUCKET_IN_PROGRESS)
                m_encounters.fetch_add(1, std::memory_order_relaxed);
            const T value = Table::readBucket(bucket);
            if (value == Policy::EMPTY_BUCKET) {
                if (Table::tryClaim(bucket))
                    break;
            } else if (value != Policy::BUCKET_DELETED && m_table.getPolicy().getKey(value) == key)
                return {value, false};
            else
                index = m_table.getNextIndex(index);
        }
        try {
            create();
        } catch (...) {
            Table::unclaim(m_table.getBucket(index));
            throw;
        }
        const T number = m_nextNumber.fetch_add(1, std::memory_order_relaxed);
        m_entries.at(number).m_key = key;
        m_table.learnFingerprint(index, hash);
        m_table.publish(operation.getThreadContext(), index, number);
        return {number, true};
    }

    /// Returns the key's number, or 0.
    T find(const uint64_t key) {
        const Operation operation(m_table);
        const Bucket* const bucket = findBucketOf(key);
        return bucket == nullptr ? 0 : Table::readBucket(*bucket);
    }

    /// Returns whether the key was there; another thread may have deleted it at the same time.
    bool remove(const uint64_t key) {
        const Operation operation(m_table);
        Bucket* const bucket = findBucketOf(key);
        if (bucket != nullptr)
            m_table.remove(*bucket);
        return bucket != nullptr;
    }

    /// Returns how often a number that the caller knows has been rehashed. Within an operation, everything that
    /// rehashing threads have written is visible, also what is reached through buckets that the caller does not read.
    uint32_t getTimesRehashed(const T number) {
        const Operation operation(m_table);
        return m_table.getPolicy().getTimesRehashed(number);
    }

    uint32_t getNumberOfResizes() { return getTimesRehashed(1); }

    /// Returns how many entries have been made, except the one that existed from the start.
    size_t getNumberOfEntriesMade() const { return m_nextNumber.load(std::memory_order_relaxed) - 2; }

    /// Returns how often an insertion found a bucket in progress.
    size_t getNumberOfEncounters() const { return m_encounters.load(std::memory_order_relaxed); }

    MemoryManager m_memoryManager;
    std::vector<KeyedEntry<T>> m_entries;
    Table m_table;

private:
    Bucket* findBucketOf(const uint64_t key) {
        return findBucket(m_table, Policy::hashKey(key),
                          [this, key](const T number) { return m_table.getPolicy().getKey(number) == key; });
    }

    std::atomic<T> m_nextNumber;
    std::atomic<size_t> m_encounters;
};
