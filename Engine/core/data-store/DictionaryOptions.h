#pragma once

#include <cstddef>
#include <cstdint>

class MemoryManager;

/// How a dictionary is made or opened: its limits, and how it works. Options change no ID. Only the largest number of
/// resources is saved. Near the memory limit they may change the place of a string in the data pool.
struct DictionaryOptions {
    /// The largest limit that has an effect: no data pool is larger.
    static constexpr size_t NO_MEMORY_LIMIT = size_t(1) << 44;

    /// As many resources as the memory limit has room for.
    static constexpr uint64_t AS_MANY_AS_FIT = ~uint64_t(0);

    /// The number of bytes that the dictionary may commit: terms, hash tables and everything that grows with them. The
    /// limit does not include the objects of the dictionary (93 KiB, and 32 KiB more for each family of terms that it
    /// has besides strings), what an operation needs while it runs (its contract states this if it grows with the
    /// dictionary), and the exceptions that it throws. All shards of a ShardedDictionary share the limit.
    size_t m_memoryLimit = NO_MEMORY_LIMIT;

    /// The largest number of resources, including withdrawn ones. Address space is reserved for them, 9 bytes each.
    /// AS_MANY_AS_FIT is the number that the memory limit has room for, and at most
    /// Dictionary::LARGEST_NUMBER_OF_RESOURCES_IN_NARROW_BUCKETS. In a ShardedDictionary it applies to each shard. A
    /// file that is opened has its own number.
    uint64_t m_maximumNumberOfResources = AS_MANY_AS_FIT;

    /// Whether hash tables keep one byte of hash per bucket, as long as the memory limit has room for it. Lookups of
    /// absent literals are several times faster then.
    bool m_keepFingerprints = true;

    /// Whether address space is reserved for everything that the dictionary may come to hold. If not, the dictionary
    /// stays as large as it was when it was made or opened, and refuses new literals at a limit. A process whose
    /// address space is limited can open it in this way to read it.
    bool m_canGrow = true;

    /// A new literal that collides with more others in its hash table is refused, with HashCollisionException. With
    /// fingerprints, those with its own fingerprint count; without them, all that its probe passes. More than a few
    /// hundred collisions never happen by chance. Literals whose hashes were made to collide would take time that grows
    /// with the square of their number. NO_COLLISION_LIMIT refuses none.
    size_t m_largestNumberOfCollisions = 4096;

    /// No literal is refused because of collisions.
    static constexpr size_t NO_COLLISION_LIMIT = ~size_t(0);

    /// If it is not null, the dictionary's memory is charged to it as well. Dictionaries that share one keep within its
    /// limit together, and at the limit they release each other's fingerprints. So one may be compacted only while no
    /// thread resolves in the others. It must outlive the dictionary.
    MemoryManager* m_sharedMemory = nullptr;
};
