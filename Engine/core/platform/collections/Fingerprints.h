#pragma once

#include "Engine/core/platform/Export.h"
#include "Engine/core/platform/MelnarException.h"
#include "Engine/core/platform/Unmovable.h"
#include "Engine/core/platform/system/MemoryManager.h"
#include "Engine/core/platform/system/MemoryRegion.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace melnar {

/// One byte of hash for each bucket of a hash table, beside the buckets: a probe compares 16 of them at a time and
/// looks only at buckets whose fingerprint agrees or is not known.
///
/// Units      Indexes count buckets; a group is 16 of them whose first index is a multiple of 16.
/// Ownership  Owns its memory, which is charged to the memory manager. There may be none: without memory every bucket
///            is a candidate and nothing is stored.
/// Threads    Reading, set and touch: any threads concurrently, each within an operation on the table. getCommittedBytes: any
///            time. What makes or drops fingerprints: alone, or with all slots of the table held.
/// Errors     None. Where the limit leaves no room there are no fingerprints.
///
/// FINGERPRINT STATES   unknown (0) -learn-> 1 to 255, the fingerprint of the entry's hash
///
/// INVARIANTS   F1 a fingerprint other than 0 is that of the entry that its bucket holds, will hold as soon as it is
///                 published, or held before it became a tombstone; it does not change while slots are held
///              F2 a bucket whose fingerprint is not 0 is not EMPTY and never becomes EMPTY: an insertion stores its
///                 fingerprint when nothing can fail any more, and a failed one leaves 0
///              F3 if fingerprints are complete, a bucket whose fingerprint is 0 holds no published entry
///
/// So a thread that passes a bucket because of its fingerprint passes an entry of another hash, in progress or not: no entry
/// that could be found is missed, and what is passed never becomes EMPTY again. What is unknown must be looked at,
/// unless the fingerprints are complete and an answer is enough that was right a moment earlier.
///
/// MEMORY ORDERS
///   #   operation               order    pairs with   makes visible                                     checked by
///   H1  learn, store            release  H2           the claim: who reads it never sees EMPTY there    argued
///   H2  match a group, load     acquire  H1                                                             argued
/// Argued: they guard nothing but atomics. With relaxed order a thread could see a fingerprint and, in a later
/// probe that looks at the bucket itself, EMPTY.
///
/// The idea of short hashes beside the slots, compared in parallel, is that of Swiss tables (Abseil's flat_hash_map)
/// and of the hash tables of Folly.
class MELNAR_EXPORT Fingerprints : private Unmovable {
public:
    static constexpr size_t GROUP_SIZE = 16;

    explicit Fingerprints(MemoryManager& memoryManager) noexcept
        : m_region(memoryManager), m_data(nullptr), m_areComplete(false) {}

    /// The fingerprint of a hash, 1 to 255. Mixes in all bits of the hash, so that the hashes of one home bucket, which
    /// agree in their low bits, differ in it by their other bits.
    static constexpr uint8_t get(const uint64_t hash) noexcept {
        const auto fingerprint = static_cast<uint8_t>((hash * 0x9E3779B97F4A7C15) >> 56);
        return static_cast<uint8_t>(fingerprint + (fingerprint == 0));
    }

    /// Makes a fingerprint for each of so many buckets, all unknown, or none if there is no memory for them.
    /// `areComplete` says whether no bucket has an entry.
    void initialize(const size_t numberOfBuckets, const bool areComplete) noexcept {
        deinitialize();
        try {
            m_region.initialize(numberOfBuckets);
            m_region.ensureEndAtLeast(numberOfBuckets);
            m_data = m_region.getData();
            m_areComplete = areComplete;
        } catch (...) { // Making the exception may fail, too, and that is no failure either.
            m_region.deinitialize();
        }
    }

    /// Gives the memory back.
    void deinitialize() noexcept {
        if (!exist())
            return;
        m_data = nullptr;
        m_region.deinitialize();
        m_region.getMemoryManager().noteReclaim();
    }

    /// Forgets all fingerprints of a table that becomes empty.
    void clear() noexcept {
        if (!exist())
            return;
        std::memset(static_cast<void*>(m_data), 0, m_region.getEnd());
        m_areComplete = true;
    }

    /// Keeps the first ones, or none if they do not fill a group: a probe would find candidates beyond the last bucket.
    void truncate(const size_t numberOfBuckets) noexcept {
        if (numberOfBuckets < GROUP_SIZE)
            deinitialize();
        else if (exist())
            m_region.truncate(numberOfBuckets);
    }

    bool exist() const noexcept { return m_data != nullptr; }

    /// Whether F3 holds.
    bool areComplete() const noexcept { return exist() && m_areComplete; }

    size_t getCommittedBytes() const noexcept { return m_region.getCommittedBytes(); }

    uint8_t operator[](const size_t index) const noexcept {
        return m_data[index].load(std::memory_order_acquire); // H2
    }

    /// Stores a fingerprint, if there are any.
    void set(const size_t index, const uint8_t fingerprint) noexcept {
        if (exist())
            m_data[index].store(fingerprint, std::memory_order_release); // H1
    }

    /// Gives a bucket another one's fingerprint, if there are any.
    void copy(const size_t fromIndex, const size_t toIndex) noexcept {
        if (exist())
            set(toIndex, (*this)[fromIndex]);
    }

    void prefetch(const size_t index) const noexcept { __builtin_prefetch(m_data + index); }

    /// Has the system make the page of a fingerprint, if there are any, by a write that changes nothing: a page that is
    /// read before it is written costs two faults, and the second one interrupts the other processors.
    void touch(const size_t index) noexcept {
        uint8_t unknown = 0;
        if (exist())
            m_data[index].compare_exchange_strong(unknown, 0, std::memory_order_relaxed, std::memory_order_relaxed);
    }

    /// The buckets of a group to look at, one bit each, lowest first: those of the fingerprint, and unknown ones.
    uint32_t getCandidates(const size_t group, const uint8_t fingerprint) const noexcept {
        const Word low = getWord(group);
        const Word high = getWord(group + sizeof(Word));
#if defined(__SSE2__)
        const __m128i all = _mm_set_epi64x(static_cast<long long>(high), static_cast<long long>(low));
        const __m128i matches = _mm_or_si128(_mm_cmpeq_epi8(all, _mm_set1_epi8(static_cast<char>(fingerprint))),
                                             _mm_cmpeq_epi8(all, _mm_setzero_si128()));
        return static_cast<uint32_t>(_mm_movemask_epi8(matches));
#else
        return getCandidatesPortably(low, fingerprint) | getCandidatesPortably(high, fingerprint) << sizeof(Word);
#endif
    }

    /// The same for half a group, with the instructions that every processor has.
    static constexpr uint32_t getCandidatesPortably(const uint64_t word, const uint8_t fingerprint) noexcept {
        constexpr uint64_t EVERY_BYTE = 0x0101010101010101;
        const uint64_t zeroBytes = findZeroBytes(word) | findZeroBytes(word ^ fingerprint * EVERY_BYTE);
        // Gathers the top bits of the eight bytes in the topmost byte.
        return static_cast<uint32_t>((zeroBytes >> 7) * 0x0102040810204080 >> 56);
    }

private:
    /// The top bit of every byte that is zero.
    static constexpr uint64_t findZeroBytes(const uint64_t word) noexcept {
        constexpr uint64_t LOW_BITS = 0x7F7F7F7F7F7F7F7F;
        return ~(((word & LOW_BITS) + LOW_BITS) | word | LOW_BITS);
    }

    /// Eight fingerprints, read as one number.
    using Word [[gnu::may_alias]] = uint64_t;

    Word getWord(const size_t index) const noexcept {
        return __atomic_load_n(reinterpret_cast<const Word*>(m_data + index), __ATOMIC_ACQUIRE); // H2
    }

    MemoryRegion<std::atomic<uint8_t>> m_region;
    std::atomic<uint8_t>* m_data; // null when there are none
    bool m_areComplete;
};

} // namespace melnar
