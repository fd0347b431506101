#pragma once

#include <cstddef>

/// What a dictionary may do beside its contents. Options change no ID and are not saved. Near the memory limit they may
/// change where in the data pool a string lies.
struct DictionaryOptions {
    /// Whether hash tables keep a byte of hash for each bucket, as long as the memory limit has room for it. Lookups of
    /// absent literals are several times faster then.
    bool m_keepFingerprints = true;

    /// A new literal that collides in its hash table with more others is refused, with HashCollisionException: with
    /// fingerprints those of its own fingerprint count, without them all that its probe passes. By chance a few hundred
    /// never collide; literals whose hashes were made to collide would take time that grows with the square of their
    /// number. NO_COLLISION_LIMIT refuses none.
    size_t m_largestNumberOfCollisions = 4096;

    static constexpr size_t NO_COLLISION_LIMIT = ~size_t(0);
};
