#pragma once

#include "Engine/core/platform/Unmovable.h"
#include "Engine/core/platform/collections/Fingerprints.h"
#include "Engine/core/platform/collections/ParallelHashTableHeader.h"
#include "Engine/core/platform/collections/TableThreadContext.h"
#include "Engine/core/platform/stream/InputStream.h"
#include "Engine/core/platform/stream/OutputStream.h"
#include "Engine/core/platform/system/MemoryManager.h"
#include "Engine/core/platform/system/MemoryRegion.h"
#include "Engine/core/platform/system/SpinPause.h"
#include "Engine/core/platform/system/ThreadContextIndex.h"

#include <atomic>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <pthread.h>
#include <vector>

/// An open-addressing, linear-probing set of numbers that many threads read, insert into and delete from concurrently, and
/// that grows in place while they do.
///
/// A bucket holds a number; what the number stands for, its hash and its equality with a query are the policy's. A
/// policy provides Bucket (std::atomic<BucketValue>), BucketValue (an unsigned integer), the values EMPTY_BUCKET (0),
/// BUCKET_IN_PROGRESS and BUCKET_DELETED, and `uint64_t getHash(BucketValue) const` for a stored number. It may provide
/// `void getHashes(const BucketValue*, size_t, uint64_t*) const`, the same for up to REHASH_BLOCK_SIZE numbers together.
///
/// Units      Counters count buckets.
/// Ownership  Owns its bucket array; the memory manager and what the policy refers to must outlive it.
/// Threads    Everything that takes a ThreadContext: any threads concurrently, each holding the slot it passes, best through
///            Operation; so are the buckets. initialize, clear, shrinkToFit, reinsert, save, load,
///            enableFingerprints and destruction: alone. giveUpFingerprints: any threads, each without a slot. The
///            counters: any time. getProbeLengths and getUsedBuckets: while nobody inserts.
/// Errors     initialize, load, startHandleResize and reserveInsertionQuota pass on the failures of MemoryRegion; load
///            also rejects a stream that is not a table's; save and load pass on those of the stream. getProbeLengths
///            and getUsedBuckets throw std::bad_alloc. The rest does not fail.
///
/// You give up: reuse of a deleted entry's bucket before the next rehash; a reader that meets a bucket in progress
/// waits for its inserter. You get: no lock on any common path, and one shared counter update per 100 insertions.
///
/// A table can keep a byte of hash for each bucket, by which probes pass the buckets of other entries; see
/// Fingerprints. They change no answer and no state of a bucket, and are never saved.
///
/// BUCKET STATES   EMPTY -claim-> IN_PROGRESS -publish-> number -delete-> DELETED;  IN_PROGRESS -fail-> EMPTY
///                 A rehash copies numbers only, into an array of EMPTY buckets.
///
/// INVARIANTS      B1 a bucket changes only along an arrow, and only the claimer moves it out of IN_PROGRESS
///                 B2 an entry is found by probing from its home bucket before the first EMPTY bucket, as no bucket
///                    that a probe has passed ever becomes EMPTY again: a probe that meets IN_PROGRESS waits, unless
///                    the fingerprint tells that another entry is certain to come there (F2)
///                 B3 a number is in at most one bucket
///                 B4 used buckets = buckets that are not EMPTY + sum of the slots' quotas, whenever no insertion or
///                    resize is under way; so an insertion that has quota always finds an EMPTY bucket
///                 B5 insertions alone never take the used buckets past the resize threshold
///
/// MEMORY ORDERS
///   #   operation                        order    pairs with   makes visible                              checked by
///   O1  claim, CAS EMPTY->IN_PROGRESS    release  -            nothing yet: it only excludes              argued
///   O2  publish, store number            release  O3           all that the number refers to              TSan
///   O3  probe, load                      acquire  O2, O6                                                  TSan
///   O4  fail, store EMPTY                relaxed  -            nothing: the bucket holds nothing          argued
///   O5  delete, exchange -> DELETED      relaxed  -            nothing: what it refers to stays readable  argued
///   O6  rehash, CAS EMPTY->number        release  O3           what O3 on the old bucket made visible     argued
///   O7  reserve quota, CAS used + 100    relaxed  -            nothing: the counter is only a count       argued
///   O8  deleted buckets + 1              relaxed  -            nothing: read when all slots are held      argued
///   O9  reinsert, used buckets + 100     acq_rel  -            nothing: it runs alone                     argued
///   O10 shrink, CAS EMPTY->number        release  -            nothing: it runs alone                     argued
/// TSan: with relaxed order instead, ThreadSanitizer finds a race in the stress tests. Argued: it finds none, because
/// nothing but atomics is read across, or other rows order the same; so O6, which P5 and P6 cover: nobody reads the new
/// array before.
/// The resize protocol stands with its states and orders in ParallelHashTableImpl.h, the slot's in
/// TableThreadContext.h.
///
/// Linear probing, load factor 0.7 at most; growth by cooperative rehashing in chunks.
template<class Policy>
class ParallelHashTable : private Unmovable {
public:
    using ThreadContext = melnar::TableThreadContext;
    using Bucket = typename Policy::Bucket;
    using BucketValue = typename Policy::BucketValue;

    static constexpr size_t NUMBER_OF_THREAD_CONTEXTS = NUMBER_OF_THREAD_CONTEXT_INDICES;
    static constexpr uint32_t INSERTION_QUOTA_BATCH = 100;
    static constexpr size_t RESIZE_CHUNK_SIZE = 1024;

    /// How many numbers of a chunk are hashed side by side: enough for that to pay, on at most 16 KiB of stack.
    static constexpr size_t REHASH_BLOCK_SIZE = 256;

    static constexpr size_t NOT_RESIZING = ~size_t(0);
    static constexpr size_t RESIZE_PREPARING = NOT_RESIZING - 1;

    static_assert(melnar::ParallelHashTableHeader::MINIMUM_NUMBER_OF_BUCKETS >= RESIZE_CHUNK_SIZE,
                  "a resize needs a chunk at least");

    class Operation;

    ParallelHashTable(MemoryManager& memoryManager, const Policy& policy) noexcept;
    ~ParallelHashTable();

    /// Makes an empty table of exactly `numberOfBuckets` buckets, which must be a power of two of at least
    /// RESIZE_CHUNK_SIZE. After a throw the table is unusable until it is initialised or loaded.
    void initialize(size_t numberOfBuckets);

    /// Empties the table; its size stays.
    void clear() noexcept;

    /// Makes the bucket array as small as its contents allow at load factor 0.7, but no smaller than
    /// `minimumNumberOfBuckets`, and never larger than it is. Unspent quotas are taken back in any case.
    void shrinkToFit(size_t minimumNumberOfBuckets) noexcept;

    void save(OutputStream& outputStream) const;
    void load(InputStream& inputStream);

    const Policy& getPolicy() const noexcept { return m_policy; }
    MemoryManager& getMemoryManager() const noexcept { return m_buckets.getMemoryManager(); }

    ThreadContext& getCurrentThreadContext() noexcept { return m_threadContexts[getCurrentThreadContextIndex()]; }

    /// Takes the calling thread's slot and joins any resize that is running; as Operation does.
    ThreadContext& enter() noexcept {
        ThreadContext& threadContext = getCurrentThreadContext();
        acquireThreadContext(threadContext);
        const size_t resizeState = m_resizeState.load(std::memory_order_acquire); // P3
        if (resizeState != NOT_RESIZING) [[unlikely]]
            handleResize(threadContext, resizeState);
        return threadContext;
    }

    static void leave(ThreadContext& threadContext) noexcept { releaseThreadContext(threadContext); }

    /// Performs a resize, or helps with one that another thread began. Returns when none is running.
    void startHandleResize(ThreadContext& callerContext);

    /// Helps with the resize that the caller saw in `observedState`. Returns when none is running.
    void handleResize(ThreadContext& callerContext, size_t observedState) noexcept;

    /// Makes sure that the slot holds quota for an insertion, growing the table when it is full. Returns whether the
    /// buckets may have moved.
    bool reserveInsertionQuota(ThreadContext& callerContext) {
        bool haveBucketsMoved = false;
        while (callerContext.getInsertionQuota() == 0)
            haveBucketsMoved = refillInsertionQuota(callerContext) || haveBucketsMoved;
        return haveBucketsMoved;
    }

    /// Where the probe for a hash begins.
    size_t getHomeIndex(const uint64_t hash) const noexcept { return hash & m_hashMask; }

    /// The bucket after this one in every probe.
    size_t getNextIndex(const size_t index) const noexcept {
        return m_buckets.getData() + index + 1 == m_afterLastBucket ? 0 : index + 1;
    }

    Bucket& getBucket(const size_t index) noexcept { return m_buckets[index]; }

    void prefetchBucket(const size_t index) const noexcept { __builtin_prefetch(&m_buckets[index]); }

    /// Prefetches what findCandidate reads.
    void prefetchFingerprint(const size_t index) const noexcept {
        if (m_fingerprints.exist())
            m_fingerprints.prefetch(index);
    }

    /// The first bucket from `index` on, in the order of the probe, that may hold an entry of this fingerprint or be
    /// EMPTY. Without fingerprints that is every bucket.
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

    /// Whether a candidate is certain to end the probe of a lookup, without a look at the bucket: it holds nothing, or
    /// an insertion in progress, and the lookup may answer what it could have answered a moment earlier (F3).
    bool isKnownToEndLookup(const size_t index) const noexcept {
        return m_fingerprints.areComplete() && m_fingerprints[index] == 0;
    }

    /// Whether nobody has stored the fingerprint of an entry yet that is in a bucket, so that learnFingerprint is of
    /// use.
    bool isFingerprintUnknown(const size_t index) const noexcept {
        return m_fingerprints.exist() && !m_fingerprints.areComplete() && m_fingerprints[index] == 0;
    }

    /// Stores the fingerprint of an entry that is published, or that its claimer is about to publish and can no longer
    /// give up (F2).
    void learnFingerprint(const size_t index, const uint64_t hash) noexcept {
        m_fingerprints.set(index, melnar::Fingerprints::get(hash));
    }

    /// The bucket's value once it is not IN_PROGRESS.
    static BucketValue readBucket(const Bucket& bucket) noexcept {
        for (;;) {
            const BucketValue value = bucket.load(std::memory_order_acquire); // O3
            if (value != Policy::BUCKET_IN_PROGRESS)
                return value;
            melnar::spinPause();
        }
    }

    /// Claims an EMPTY bucket; after false, its new value must be examined.
    static bool tryClaim(Bucket& bucket) noexcept {
        BucketValue expected = Policy::EMPTY_BUCKET;
        return bucket.compare_exchange_strong(expected, Policy::BUCKET_IN_PROGRESS, std::memory_order_release,
                                              std::memory_order_relaxed); // O1
    }

    /// Completes an insertion in a bucket that the caller has claimed, and pays for it from the caller's quota. The
    /// caller has stored the entry's fingerprint before, in the same operation (F3): it knows from when on its entry can
    /// be read by other ways than the bucket, and must be found by then.
    void publish(ThreadContext& callerContext, const size_t index, const BucketValue value) noexcept {
        m_buckets[index].store(value, std::memory_order_release); // O2
        callerContext.setInsertionQuota(callerContext.getInsertionQuota() - 1);
    }

    /// Gives up an insertion in a bucket that the caller has claimed; the quota stays.
    static void unclaim(Bucket& bucket) noexcept {
        bucket.store(Policy::EMPTY_BUCKET, std::memory_order_relaxed); // O4
    }

    /// Turns a live bucket into a tombstone. Only the thread that takes the number out counts it.
    void remove(Bucket& bucket) noexcept {
        if (bucket.exchange(Policy::BUCKET_DELETED, std::memory_order_relaxed) != Policy::BUCKET_DELETED) // O5
            m_numberOfDeletedBuckets.fetch_add(1, std::memory_order_relaxed);                             // O8
    }

    /// Inserts a number that is not in the table, or is there already at its place, without growing the table: for
    /// rebuilding a cleared table that has held all these numbers before.
    void reinsert(ThreadContext& callerContext, uint64_t hash, BucketValue value) noexcept;

    size_t getNumberOfBuckets() const noexcept { return m_numberOfBuckets.load(std::memory_order_relaxed); }
    size_t getNumberOfDeletedBuckets() const noexcept {
        return m_numberOfDeletedBuckets.load(std::memory_order_relaxed);
    }
    size_t getCommittedBytes() const noexcept { return m_buckets.getCommittedBytes(); }

    /// Keeps fingerprints from now on, as far as the memory manager has room for them. Alone. Entries that are there
    /// have unknown ones, until a probe meets them or the table is resized.
    void enableFingerprints() noexcept;

    /// Gives the memory of the fingerprints back; the next resize makes new ones. Returns false when there are none.
    /// Any threads concurrently, each without any slot.
    bool giveUpFingerprints() noexcept;

    /// Bytes that the fingerprints take; charged to the memory manager beside getCommittedBytes.
    size_t getFingerprintBytes() const noexcept { return m_fingerprints.getCommittedBytes(); }

    /// Live entries and tombstones: the used buckets less the quotas. Exact while nobody inserts.
    size_t getNumberOfNonEmptyBuckets() const noexcept;

    /// How many live entries a lookup finds after how many buckets: element n counts those found in bucket n + 1 of
    /// their probe. Walks the table; while nobody inserts.
    std::vector<size_t> getProbeLengths() const;

    /// How many buckets are not EMPTY in each of `numberOfSegments` equal segments of the table, from the first bucket
    /// on: a power of two, and no more than there are buckets. Walks the table; while nobody inserts.
    std::vector<size_t> getUsedBuckets(size_t numberOfSegments) const;

private:
    friend class ParallelHashTableTestPeer;

    class AllOtherThreadContexts;

    melnar::ParallelHashTableHeader getHeader() const noexcept;
    void setHeader(const melnar::ParallelHashTableHeader& header) noexcept;
    /// Lets the memory manager have the fingerprints back.
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
    std::atomic<size_t> m_resizeState;
    // The next three change only while all slots are held, or alone: holding any slot makes them safe to read.
    size_t m_hashMask;
    Bucket* m_afterLastBucket;
    MemoryRegion<Bucket> m_buckets;
    std::atomic<size_t> m_numberOfUsedBuckets;
    std::atomic<size_t> m_numberOfDeletedBuckets;
    std::atomic<size_t> m_numberOfBuckets; // as the three above; atomic because statistics read it without a slot
    const double m_maxLoadFactor;
    size_t m_resizeThreshold;          // as the three above
    MemoryRegion<Bucket> m_oldBuckets; // as the three above, but for the finisher of a resize, which empties it
    size_t m_numberOfResizeChunks;     // as the three above
    std::atomic<size_t> m_numberOfPendingChunks;
    pthread_mutex_t m_resizeMutex;
    pthread_cond_t m_resizeCondition;
    bool m_keepsFingerprints;            // constant while threads are at work
    melnar::Fingerprints m_fingerprints; // as the bucket array
    FingerprintReclaimer m_fingerprintReclaimer;
};

/// The frame of every operation on a table: holds the calling thread's slot, and has joined any resize that was
/// running, so that nobody ever probes a half-built array.
template<class Policy>
class ParallelHashTable<Policy>::Operation : private Unmovable {
public:
    explicit Operation(ParallelHashTable& table) noexcept : m_threadContext(table.enter()) {}
    ~Operation() { leave(m_threadContext); }

    ThreadContext& getThreadContext() const noexcept { return m_threadContext; }

private:
    ThreadContext& m_threadContext;
};

#include "Engine/core/platform/collections/ParallelHashTableImpl.h" // IWYU pragma: export
