#pragma once

#include <cstddef>
#include <cstdint>

class MemoryManager;

/// How a dictionary is made or opened: its limits, and what it may do beside its contents. Options change no ID and, but
/// for the largest number of resources, are not saved. Near the memory limit they may change where in the data pool a
/// string lies.
///
///     Dictionary dictionary({.m_memoryLimit = size_t(4) << 30});
struct DictionaryOptions {
    /// No address space has room for more.
    static constexpr size_t NO_MEMORY_LIMIT = size_t(1) << 44;

    static constexpr uint64_t AS_MANY_AS_FIT = ~uint64_t(0);

    /// Bytes that the dictionary may commit: terms, hash tables and all that grows with them. Outside the limit are the
    /// objects of the dictionary, 95 KiB and 33 KiB more for each family of terms that it has beside strings; what an
    /// operation needs while it runs (its contract says so where that grows with the dictionary); and the exceptions that
    /// it throws. Of a ShardedDictionary, all shards have the limit together.
    size_t m_memoryLimit = NO_MEMORY_LIMIT;

    /// How many resources there may be, withdrawn ones included; address space is reserved for them, 9 bytes each.
    /// AS_MANY_AS_FIT is what the memory limit has room for, and at most
    /// Dictionary::LARGEST_NUMBER_OF_RESOURCES_IN_NARROW_BUCKETS. Of a ShardedDictionary, each shard may have so many.
    /// A file that is opened has its own.
    uint64_t m_maximumNumberOfResources = AS_MANY_AS_FIT;

    /// Whether hash tables keep a byte of hash for each bucket, as long as the memory limit has room for it. Lookups of
    /// absent literals are several times faster then.
    bool m_keepFingerprints = true;

    /// Whether address space is reserved for all that the dictionary may come to hold. Without, it holds no more than it
    /// does when it has been made or opened, and refuses new literals at a limit; a process whose address space is
    /// limited can open it to read it.
    bool m_canGrow = true;

    /// A new literal that collides in its hash table with more others is refused, with HashCollisionException: with
    /// fingerprints those of its own fingerprint count, without them all that its probe passes. By chance a few hundred
    /// never collide; literals whose hashes were made to collide would take time that grows with the square of their
    /// number. NO_COLLISION_LIMIT refuses none.
    size_t m_largestNumberOfCollisions = 4096;

    static constexpr size_t NO_COLLISION_LIMIT = ~size_t(0);

    /// If it is there, the dictionary's memory is charged to it as well: dictionaries that have it together keep within
    /// its limit, and give each other's fingerprints up at it. So one may be compacted only while no thread resolves in
    /// the others. It must outlive the dictionary.
    MemoryManager* m_sharedMemory = nullptr;
};
