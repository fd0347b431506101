#pragma once

#include "Engine/core/platform/Unmovable.h"
#include "Engine/core/platform/collections/Fingerprints.h"
#include "Engine/core/platform/collections/ParallelHashTableHeader.h"
#include "Engine/core/platform/collections/TableThreadContext.h"
#include "Engine/core/platform/stream/InputStream.h"
#include "Engine/core/platform/stream/OutputStream.h"
#include "Engine/core/platform/system/Atomic.h"
#include "Engine/core/platform/system/Condition.h"
#include "Engine/core/platform/system/MemoryManager.h"
#include "Engine/core/platform/system/MemoryRegion.h"
#include "Engine/core/platform/system/Mutex.h"
#include "Engine/core/platform/system/SpinPause.h"
#include "Engine/core/platform/system/TableSizes.h"
#include "Engine/core/platform/system/ThreadContextIndex.h"

#include <bit>
#include <cstddef>
#include <cstdint>
#include <vector>

/// An open-addressing, linear-probing set of numbers. Many threads read, insert and delete concurrently, and the set
/// grows in place while they do.
///
/// A bucket holds a number; the policy defines what the number means, its hash and its equality with a query. A policy
/// provides Bucket (melnar::Atomic<BucketValue>), BucketValue (an unsigned integer), the values EMPTY_BUCKET (0),
/// BUCKET_IN_PROGRESS and BUCKET_DELETED, and `uint64_t getHash(BucketValue) const` for a stored number. It may provide
/// `void getHashes(const BucketValue*, size_t, uint64_t*) const`, the same for up to REHASH_BLOCK_SIZE numbers
/// together.
///
/// Units      Counters count buckets.
/// Ownership  Owns its bucket array. The memory manager, and whatever the policy refers to, must outlive it.
/// Threads    Everything that takes a ThreadContext, and operations on buckets: any threads concurrently, each holding
///            the slot it passes, usually through Operation. giveUpFingerprints: any threads, each without a slot. The
///            counters: any time. getProbeLengths and getUsedBuckets: while no thread inserts. initialize, clear,
///            shrinkToFit, reinsert, save, load, enableFingerprints and destruction: alone.
/// Errors     initialize, load, startHandleResize and reserveInsertionQuota pass on the failures of MemoryRegion. load
///            also rejects a stream that is not a table's. save and load pass on the failures of the stream.
///            getProbeLengths and getUsedBuckets throw std::bad_alloc. The rest does not fail.
///
/// What it costs: the bucket of a deleted entry is not reused before the next rehash, and a reader that finds a bucket
/// in progress waits for its inserter. What it gains: no lock on any common path, and one update of a shared counter
/// per 100 insertions.
///
/// A table can keep one byte of hash per bucket, with which probes skip the buckets of other entries; see Fingerprints.
/// Fingerprints change no answer and no state of a bucket, and are never saved.
///
/// BUCKET STATES   EMPTY -claim-> IN_PROGRESS -publish-> number -delete-> DELETED;  IN_PROGRESS -fail-> EMPTY
///                 A rehash copies only numbers, into an array of EMPTY buckets.
///
/// INVARIANTS      B1 a bucket changes only along an arrow, and only the claimer moves it out of IN_PROGRESS
///                 B2 an entry is found by probing from its home bucket before the first EMPTY bucket, since no bucket
///                    that a probe has passed ever becomes EMPTY again: a probe that finds IN_PROGRESS waits, unless
///                    the fingerprint shows that it is certain to become another entry (F2)
///                 B3 a number is in at most one bucket
///                 B4 used buckets = buckets that are not EMPTY + sum of the slots' quotas, whenever no insertion or
///                    resize is running; so an insertion that has quota always finds an EMPTY bucket
///                 B5 insertions alone never take the used buckets past the resize threshold
///
/// MEMORY ORDERS
///   #   operation                        order    pairs with   makes visible                              checked by
///   O1  claim, CAS EMPTY->IN_PROGRESS    release  -            nothing yet: it only excludes              argued
///   O2  publish, store number            release  O3           all that the number refers to              schedules
///   O3  probe, load                      acquire  O2, O6                                                  schedules
///   O4  fail, store EMPTY                relaxed  -            nothing: the bucket holds nothing          argued
///   O5  delete, exchange -> DELETED      relaxed  -            nothing: what it refers to stays readable  argued
///   O6  rehash, CAS EMPTY->number        release  O3           what O3 on the old bucket made visible     argued
///   O7  reserve quota, CAS used + 100    relaxed  -            nothing: the counter is only a count       argued
///   O8  deleted buckets + 1              relaxed  -            nothing: read when all slots are held      argued
///   O9  reinsert, used buckets + 100     acq_rel  -            nothing: it runs alone                     argued
///   O10 shrink, CAS EMPTY->number        release  -            nothing: it runs alone                     argued
/// Schedules: with a weaker order, tests that decide how threads interleave get a wrong answer. TSan: they do not, but
/// ThreadSanitizer finds a race in them. Argued: it finds none, because the row orders nothing but atomics, or because
/// other rows order the same. O6 is such a row: P5 and P6 cover it, since no thread reads the new array before them.
/// ParallelHashTableImpl.h defines the resize protocol with its states and orders, TableThreadContext.h that of slots.
///
/// Linear probing; load factor at most 0.7; growth by cooperative rehashing in chunks.
template<class Policy>
class ParallelHashTable : private Unmovable {
public:
    /// A thread's slot.
    using ThreadContext = melnar::TableThreadContext;

    /// A cell of the table.
    using Bucket = typename Policy::Bucket;

    /// What a bucket holds.
    using BucketValue = typename Policy::BucketValue;

    /// How many slots there are.
    static constexpr size_t NUMBER_OF_THREAD_CONTEXTS = NUMBER_OF_THREAD_CONTEXT_INDICES;

    /// How many insertions a slot reserves together.
    static constexpr uint32_t INSERTION_QUOTA_BATCH = melnar::TableSizes::INSERTION_QUOTA_BATCH;

    /// How many buckets a thread rehashes at a time.
    static constexpr size_t RESIZE_CHUNK_SIZE = melnar::TableSizes::RESIZE_CHUNK_SIZE;

    /// How many numbers of a chunk are hashed together: enough to pay off, on at most 16 KiB of stack.
    static constexpr size_t REHASH_BLOCK_SIZE = 256;

    /// The resize state while no resize is running.
    static constexpr size_t NOT_RESIZING = ~size_t(0);

    /// The resize state while the leader prepares the new array.
    static constexpr size_t RESIZE_PREPARING = NOT_RESIZING - 1;

    static_assert(melnar::ParallelHashTableHeader::MINIMUM_NUMBER_OF_BUCKETS >= RESIZE_CHUNK_SIZE,
                  "a resize needs a chunk at least");

    class Operation;

    /// Makes a table without buckets, to be initialised or loaded.
    ParallelHashTable(MemoryManager& memoryManager, const Policy& policy) noexcept;
    ~ParallelHashTable();

    /// Makes an empty table of exactly `numberOfBuckets` buckets, which must be a power of two of at least
    /// RESIZE_CHUNK_SIZE. After a throw the table is unusable until it is initialised or loaded.
    void initialize(size_t numberOfBuckets);

    /// Empties the table; its size stays.
    void clear() noexcept;

    /// Makes the bucket array as small as its contents allow at load factor 0.7, but no smaller than
    /// `minimumNumberOfBuckets`, and never larger than before. Always takes back unspent quotas.
    void shrinkToFit(size_t minimumNumberOfBuckets) noexcept;

    /// Writes the header and the buckets.
    void save(OutputStream& outputStream) const;

    /// Replaces the contents by saved ones. After a throw the table is unusable until it is initialised or loaded.
    void load(InputStream& inputStream);

    /// Returns the policy.
    const Policy& getPolicy() const noexcept { return m_policy; }

    /// Returns the manager that is charged for buckets and fingerprints.
    MemoryManager& getMemoryManager() const noexcept { return m_buckets.getMemoryManager(); }

    /// Returns the calling thread's slot, which need not be held.
    ThreadContext& getCurrentThreadContext() noexcept { return m_threadContexts[getCurrentThreadContextIndex()]; }

    /// Takes the calling thread's slot and joins any resize that is running, as Operation does.
    ThreadContext& enter() noexcept {
        ThreadContext& threadContext = getCurrentThreadContext();
        acquireThreadContext(threadContext);
        const size_t resizeState = m_resizeState.load(std::memory_order_acquire); // P3
        if (resizeState != NOT_RESIZING) [[unlikely]]
            handleResize(threadContext, resizeState);
        return threadContext;
    }

    /// Gives the slot back that enter has taken.
    static void leave(ThreadContext& threadContext) noexcept { releaseThreadContext(threadContext); }

    /// Performs a resize, or helps with one that another thread has started. Returns when none is running.
    void startHandleResize(ThreadContext& callerContext);

    /// Helps with the resize that the caller saw in `observedState`. Returns when none is running.
    void handleResize(ThreadContext& callerContext, size_t observedState) noexcept;

    /// Ensures that the slot holds quota for an insertion, and grows the table when it is full. Returns whether the
    /// buckets may have moved.
    bool reserveInsertionQuota(ThreadContext& callerContext) {
        bool haveBucketsMoved = false;
        while (callerContext.getInsertionQuota() == 0)
            haveBucketsMoved = refillInsertionQuota(callerContext) || haveBucketsMoved;
        return haveBucketsMoved;
    }

    /// Returns the index at which the probe for a hash starts.
    size_t getHomeIndex(const uint64_t hash) const noexcept { return hash & m_hashMask; }

    /// Returns the index after this one in every probe.
    size_t getNextIndex(const size_t index) const noexcept {
        return m_buckets.getData() + index + 1 == m_afterLastBucket ? 0 : index + 1;
    }

    /// Returns a bucket by its index.
    Bucket& getBucket(const size_t index) noexcept { return m_buckets[index]; }

    /// Prefetches a bucket.
    void prefetchBucket(const size_t index) const noexcept { __builtin_prefetch(&m_buckets[index]); }

    /// Prefetches what findCandidate reads.
    void prefetchFingerprint(const size_t index) const noexcept {
        if (m_fingerprints.exist())
            m_fingerprints.prefetch(index);
    }

    /// Returns the first bucket from `index` on, in the order of the probe, that may hold an entry of this fingerprint
    /// or be EMPTY. Without fingerprints that is every bucket.
    size_t findCandidate(const size_t index, const uint8_t fingerprint) const noexcept {
        if (!m_fingerprints.exist())
            return index;
        size_t group = index & ~(melnar::Fingerprints::GROUP_SIZE - 1);
        uint32_t candidates = m_fingerprints.getCandidates(group, fingerprint) >> (index - group) << (index - group);
        while (candidates == 0) {
            group = (group + melnar::Fingerprints::GROUP_SIZE) & m_hashMask;
            candidates = m_fingerprints.getCandidates(group, fingerprint);
        }
        return group + static_cast<size_t>(std::countr_zero(candidates));
    }

    /// Returns whether a candidate is certain to end the probe of a lookup, without reading the bucket: it is EMPTY, or
    /// holds an insertion in progress, and the lookup may give the answer of a moment earlier (F3).
    bool isKnownToEndLookup(const size_t index) const noexcept {
        return m_fingerprints.areComplete() && m_fingerprints[index] == 0;
    }

    /// Returns whether the fingerprint of an entry in a bucket has not been stored yet, so that learnFingerprint is
    /// useful.
    bool isFingerprintUnknown(const size_t index) const noexcept {
        return m_fingerprints.exist() && !m_fingerprints.areComplete() && m_fingerprints[index] == 0;
    }

    /// Stores the fingerprint of an entry that is published, or that its claimer is about to publish and can no longer
    /// abandon (F2).
    void learnFingerprint(const size_t index, const uint64_t hash) noexcept {
        m_fingerprints.set(index, melnar::Fingerprints::get(hash));
    }

    /// Returns the bucket's value once it is not IN_PROGRESS.
    static BucketValue readBucket(const Bucket& bucket) noexcept {
        for (;;) {
            const BucketValue value = bucket.load(std::memory_order_acquire); // O3
            if (value != Policy::BUCKET_IN_PROGRESS)
                return value;
            melnar::spinPause();
        }
    }

    /// Claims an EMPTY bucket. If it returns false, the caller must examine the bucket's new value.
    static bool tryClaim(Bucket& bucket) noexcept {
        BucketValue expected = Policy::EMPTY_BUCKET;
        return bucket.compare_exchange_strong(expected, Policy::BUCKET_IN_PROGRESS, std::memory_order_release,
                                              std::memory_order_relaxed); // O1
    }

    /// Completes an insertion in a bucket that the caller has claimed, and takes one insertion from the caller's quota.
    /// The caller has stored the entry's fingerprint before, in the same operation (F3): it knows from when on its
    /// entry can be read in other ways than through the bucket, and must be found from then on.
    void publish(ThreadContext& callerContext, const size_t index, const BucketValue value) noexcept {
        m_buckets[index].store(value, std::memory_order_release); // O2
        callerContext.setInsertionQuota(callerContext.getInsertionQuota() - 1);
    }

    /// Cancels an insertion in a bucket that the caller has claimed. The quota stays.
    static void unclaim(Bucket& bucket) noexcept {
        bucket.store(Policy::EMPTY_BUCKET, std::memory_order_relaxed); // O4
    }

    /// Turns a live bucket into a tombstone. Only the thread that removes the number counts it.
    void remove(Bucket& bucket) noexcept {
        if (bucket.exchange(Policy::BUCKET_DELETED, std::memory_order_relaxed) != Policy::BUCKET_DELETED) // O5
            m_numberOfDeletedBuckets.fetch_add(1, std::memory_order_relaxed);                             // O8
    }

    /// Inserts a number that is not in the table, or is already in its bucket, without growing the table. For
    /// rebuilding a cleared table that has held all these numbers before.
    void reinsert(ThreadContext& callerContext, uint64_t hash, BucketValue value) noexcept;

    /// Returns the size of the bucket array.
    size_t getNumberOfBuckets() const noexcept { return m_numberOfBuckets.load(std::memory_order_relaxed); }

    /// Returns the number of tombstones.
    size_t getNumberOfDeletedBuckets() const noexcept {
        return m_numberOfDeletedBuckets.load(std::memory_order_relaxed);
    }

    /// Returns the bytes that the bucket array takes.
    size_t getCommittedBytes() const noexcept { return m_buckets.getCommittedBytes(); }

    /// Keeps fingerprints from now on, as far as the memory manager has room for them. Alone. The fingerprints of
    /// existing entries are unknown until a probe finds the entries or the table is resized.
    void enableFingerprints() noexcept;

    /// Releases the memory of the fingerprints; the next resize makes new ones. Returns false if there are none. Any
    /// threads concurrently, each without any slot.
    bool giveUpFingerprints() noexcept;

    /// Returns the bytes of the fingerprints, which are charged to the memory manager in addition to getCommittedBytes.
    size_t getFingerprintBytes() const noexcept { return m_fingerprints.getCommittedBytes(); }

    /// Returns the number of live entries and tombstones: the used buckets minus the quotas. Exact while no thread
    /// inserts.
    size_t getNumberOfNonEmptyBuckets() const noexcept;

    /// Returns how many live entries lookups find after how many buckets: element n counts those found in bucket n + 1
    /// of their probe. Reads the whole table; while no thread inserts.
    std::vector<size_t> getProbeLengths() const;

    /// Returns how many buckets are not EMPTY in each of `numberOfSegments` equal segments of the table, from the first
    /// bucket on. The number must be a power of two, and not larger than that of the buckets. Reads the whole table;
    /// while no thread inserts.
    std::vector<size_t> getUsedBuckets(size_t numberOfSegments) const;

private:
    friend class ParallelHashTableTestPeer;

    class AllOtherThreadContexts;

    melnar::ParallelHashTableHeader getHeader() const noexcept;
    void setHeader(const melnar::ParallelHashTableHeader& header) noexcept;
    /// Lets the memory manager reclaim the fingerprints.
    class FingerprintReclaimer final : public melnar::ReclaimableMemory {
    public:
        explicit FingerprintReclaimer(ParallelHashTable& table) noexcept : m_table(table) {}
        bool reclaim() noexcept override { return m_table.giveUpFingerprints(); }

    private:
        ParallelHashTable& m_table;
    };

    size_t getSumOfInsertionQuotas() const noexcept;
    bool refillInsertionQuota(ThreadContext& callerContext);
    void getHashes(const BucketValue* values, size_t numberOfValues, uint64_t* hashes) const noexcept;
    void setNumberOfBuckets(size_t numberOfBuckets) noexcept;
    void resetResize() noexcept;
    void publishResizeState(size_t resizeState) noexcept;
    void makeFingerprints(bool isEmpty) noexcept;
    void rehashChunk(ThreadContext& callerContext, size_t chunkIndex) noexcept;
    void rehashBlock(const BucketValue* values, size_t numberOfValues) noexcept;
    void finishRehash() noexcept;
    void finishResize() noexcept;
    void waitWhilePreparing(ThreadContext& callerContext) noexcept;

    ThreadContext m_threadContexts[NUMBER_OF_THREAD_CONTEXTS];
    const Policy m_policy;
    melnar::Atomic<size_t> m_resizeState;
    // The next three change only while all slots are held, or alone: a thread that holds any slot may read them.
    size_t m_hashMask;
    Bucket* m_afterLastBucket;
    MemoryRegion<Bucket> m_buckets;
    melnar::Atomic<size_t> m_numberOfUsedBuckets;
    melnar::Atomic<size_t> m_numberOfDeletedBuckets;
    melnar::Atomic<size_t> m_numberOfBuckets; // as the three above; atomic because statistics read it without a slot
    const double m_maxLoadFactor;
    size_t m_resizeThreshold;          // as the three above
    MemoryRegion<Bucket> m_oldBuckets; // as the three above, except that the finisher of a resize empties it
    size_t m_numberOfResizeChunks;     // as the three above
    melnar::Atomic<size_t> m_numberOfPendingChunks;
    melnar::Mutex m_resizeMutex;
    melnar::Condition m_resizeCondition;
    bool m_keepsFingerprints;            // constant while threads run
    melnar::Fingerprints m_fingerprints; // as the bucket array
    FingerprintReclaimer m_fingerprintReclaimer;
};

/// The frame of every operation on a table: holds the calling thread's slot. It has joined any resize that was running,
/// so no operation ever probes an incomplete array.
template<class Policy>
class ParallelHashTable<Policy>::Operation : private Unmovable {
public:
    /// Takes the calling thread's slot, and joins a resize that is running.
    explicit Operation(ParallelHashTable& table) noexcept : m_threadContext(table.enter()) {}
    ~Operation() { leave(m_threadContext); }

    /// Returns the slot that is held.
    ThreadContext& getThreadContext() const noexcept { return m_threadContext; }

private:
    ThreadContext& m_threadContext;
};

#include "Engine/core/platform/collections/ParallelHashTableImpl.h" // IWYU pragma: export
