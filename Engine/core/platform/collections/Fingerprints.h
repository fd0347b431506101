#pragma once

#include "Engine/core/platform/Export.h"
#include "Engine/core/platform/MelnarException.h"
#include "Engine/core/platform/Unmovable.h"
#include "Engine/core/platform/system/Atomic.h"
#include "Engine/core/platform/system/MemoryManager.h"
#include "Engine/core/platform/system/MemoryRegion.h"

#include <cstddef>
#include <cstdint>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace melnar {

/// One byte of hash per bucket of a hash table. A probe compares 16 of them at a time and reads only buckets whose
/// fingerprint is equal or unknown.
///
/// Units      Indexes count buckets. A group is 16 of them; its first index is a multiple of 16.
/// Ownership  Owns its memory, which is charged to the memory manager. There may be no memory: then every bucket is a
///            candidate and nothing is stored.
/// Threads    Reading, set and touch: any threads concurrently, each within an operation on the table.
///            getCommittedBytes: any time. Making or dropping fingerprints: alone, or with all slots of the table held.
/// Errors     None. If the limit leaves no room there are no fingerprints.
///
/// FINGERPRINT STATES   unknown (0) -learn-> 1 to 255, the fingerprint of the entry's hash
///
/// INVARIANTS   F1 a fingerprint other than 0 is that of the entry that its bucket holds, will hold as soon as it is
///                 published, or held before it became a tombstone; it does not change while slots are held
///              F2 a bucket whose fingerprint is not 0 is not EMPTY and never becomes EMPTY: an insertion stores its
///                 fingerprint when nothing can fail any more, and a failed one leaves 0
///              F3 if fingerprints are complete, a bucket whose fingerprint is 0 holds no published entry
///
/// So if a thread skips a bucket because of its fingerprint, the bucket has an entry with another hash, in progress or
/// not: the thread misses no entry that it should find, and the bucket never becomes EMPTY again. A bucket with an
/// unknown fingerprint must be read, unless the fingerprints are complete and the answer of a moment earlier suffices.
///
/// MEMORY ORDERS
///   #   operation               order    pairs with   makes visible                                       checked by
///   H1  learn, store            release  H2           the claim: a thread that reads it never sees EMPTY  argued
///   H2  match a group, load     acquire  H1                                                               argued
/// Argued: they order only atomics. With relaxed order a thread could see a fingerprint and, in a later probe that
/// reads the bucket itself, EMPTY.
///
/// Short hashes beside the slots, compared in parallel, are the idea of Swiss tables (Abseil's flat_hash_map) and of
/// the hash tables of Folly.
class MELNAR_EXPORT Fingerprints : private Unmovable {
public:
    /// How many buckets a group has.
    static constexpr size_t GROUP_SIZE = 16;

    /// Makes none until initialize.
    explicit Fingerprints(MemoryManager& memoryManager) noexcept
        : m_region(memoryManager), m_data(nullptr), m_areComplete(false) {}

    /// Returns the fingerprint of a hash, 1 to 255. It depends on all bits of the hash: hashes with the same home
    /// bucket have equal low bits, so their other bits must make the difference.
    static constexpr uint8_t get(const uint64_t hash) noexcept {
        const auto fingerprint = static_cast<uint8_t>((hash * 0x9E3779B97F4A7C15) >> 56);
        return static_cast<uint8_t>(fingerprint + (fingerprint == 0));
    }

    /// Makes one fingerprint per bucket, all unknown, or none if there is no memory for them. `areComplete` states
    /// whether no bucket has an entry.
    void initialize(const size_t numberOfBuckets, const bool areComplete) noexcept {
        deinitialize();
        try {
            m_region.initialize(numberOfBuckets);
            m_region.ensureEndAtLeast(numberOfBuckets);
            m_data = m_region.getData();
            m_areComplete = areComplete;
        } catch (...) { // making the exception may fail, too, which is no failure either
            m_region.deinitialize();
        }
    }

    /// Releases the memory.
    void deinitialize() noexcept {
        if (!exist())
            return;
        m_data = nullptr;
        m_region.deinitialize();
        m_region.getMemoryManager().noteReclaim();
    }

    /// Sets all fingerprints to unknown, for a table that becomes empty.
    void clear() noexcept {
        if (!exist())
            return;
        std::memset(static_cast<void*>(m_data), 0, m_region.getEnd());
        m_areComplete = true;
    }

    /// Keeps the first ones, or none if they do not fill a group: otherwise a probe would find candidates beyond the
    /// last bucket.
    void truncate(const size_t numberOfBuckets) noexcept {
        if (numberOfBuckets < GROUP_SIZE)
            deinitialize();
        else if (exist())
            m_region.truncate(numberOfBuckets);
    }

    /// Returns whether there are any.
    bool exist() const noexcept { return m_data != nullptr; }

    /// Returns whether F3 holds.
    bool areComplete() const noexcept { return exist() && m_areComplete; }

    /// Returns the bytes that they take.
    size_t getCommittedBytes() const noexcept { return m_region.getCommittedBytes(); }

    /// Returns the fingerprint of a bucket, 0 if it is unknown. There must be some.
    uint8_t operator[](const size_t index) const noexcept {
        return m_data[index].load(std::memory_order_acquire); // H2
    }

    /// Stores a fingerprint if there are fingerprints.
    void set(const size_t index, const uint8_t fingerprint) noexcept {
        if (exist())
            m_data[index].store(fingerprint, std::memory_order_release); // H1
    }

    /// Copies the fingerprint of a bucket to another one if there are fingerprints.
    void copy(const size_t fromIndex, const size_t toIndex) noexcept {
        if (exist())
            set(toIndex, (*this)[fromIndex]);
    }

    /// Prefetches the fingerprint of a bucket.
    void prefetch(const size_t index) const noexcept { __builtin_prefetch(m_data + index); }

    /// Makes the system allocate the page of a fingerprint, if there are fingerprints, with a write that changes
    /// nothing: a page that is read before it is written costs two faults, and the second one interrupts the other
    /// processors.
    void touch(const size_t index) noexcept {
        uint8_t unknown = 0;
        if (exist())
            m_data[index].compare_exchange_strong(unknown, 0, std::memory_order_relaxed, std::memory_order_relaxed);
    }

    /// Returns the buckets of a group that must be read, one bit each, lowest first: those with this fingerprint or an
    /// unknown one.
    uint32_t getCandidates(const size_t group, const uint8_t fingerprint) const noexcept {
        const uint64_t low = getWord(group);
        const uint64_t high = getWord(group + GROUP_SIZE / 2);
#if defined(__SSE2__)
        const __m128i all = _mm_set_epi64x(static_cast<long long>(high), static_cast<long long>(low));
        const __m128i matches = _mm_or_si128(_mm_cmpeq_epi8(all, _mm_set1_epi8(static_cast<char>(fingerprint))),
                                             _mm_cmpeq_epi8(all, _mm_setzero_si128()));
        return static_cast<uint32_t>(_mm_movemask_epi8(matches));
#else
        return getCandidatesPortably(low, fingerprint) | getCandidatesPortably(high, fingerprint) << GROUP_SIZE / 2;
#endif
    }

    /// Does the same for half a group, with instructions that every processor has.
    static constexpr uint32_t getCandidatesPortably(const uint64_t word, const uint8_t fingerprint) noexcept {
        constexpr uint64_t EVERY_BYTE = 0x0101010101010101;
        const uint64_t zeroBytes = findZeroBytes(word) | findZeroBytes(word ^ fingerprint * EVERY_BYTE);
        // Gathers the top bits of the eight bytes in the most significant byte.
        return static_cast<uint32_t>((zeroBytes >> 7) * 0x0102040810204080 >> 56);
    }

private:
    /// Returns a word with the top bit of every byte that is zero.
    static constexpr uint64_t findZeroBytes(const uint64_t word) noexcept {
        constexpr uint64_t LOW_BITS = 0x7F7F7F7F7F7F7F7F;
        return ~(((word & LOW_BITS) + LOW_BITS) | word | LOW_BITS);
    }

    /// Returns eight fingerprints.
    uint64_t getWord(const size_t index) const noexcept {
        return loadEightBytes(m_data + index, std::memory_order_acquire); // H2
    }

    MemoryRegion<Atomic<uint8_t>> m_region;
    Atomic<uint8_t>* m_data; // null if there are none
    bool m_areComplete;
};

} // namespace melnar
