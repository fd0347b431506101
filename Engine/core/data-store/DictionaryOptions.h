#pragma once

#include <cstddef>

class MemoryManager;

/// What a dictionary may do beside its contents. Options change no ID and are not saved. Near the memory limit they may
/// change where in the data pool a string lies.
struct DictionaryOptions {
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
