#pragma once

#include "Engine/core/platform/MelnarException.h"
#include "Engine/core/platform/collections/ParallelHashTable.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>

/// @file
/// The growth of the table, and its operations that run alone.
///
/// RESIZE STATES   NOT_RESIZING -elect-> PREPARING -start-> 0 -> 1 -> ... -> number of chunks -finish-> NOT_RESIZING
///                 PREPARING -fail-> NOT_RESIZING;  also when fingerprints are released, which is no resize
///                 A number k below the number of chunks: chunk k of the old array is the next one to claim. The
///                 number of chunks itself: all are claimed, some are still being rehashed.
///                 PREPARING -rehash with a ThreadContextLoan-> NOT_RESIZING: all chunks, by the leader alone
///
/// INVARIANTS      Z1 there is one leader: the thread whose CAS moved NOT_RESIZING to PREPARING
///                 Z2 before it leaves PREPARING for 0 the leader holds every slot; no other thread is inside an
///                    operation then, but parked without its slot in waitWhilePreparing, or waiting to enter a slot
///                 Z3 from 0 on, a thread that enters a slot joins the resize before it accesses a bucket, and leaves
///                    only when the resize is finished: no thread reads or inserts in an incomplete array
///                 Z4 a chunk is rehashed by the one thread whose CAS moved the state past its number, or all by a
///                    leader with a loan while it holds every slot
///                 Z5 the share of tombstones in the used buckets becomes quota of the threads that drop them
///
/// LOCK ORDER      A thread that waits for a slot holds no slot but its own; only the leader waits while it holds one,
///                 in ascending order. m_resizeMutex is taken by the leader holding all slots, or by a thread that
///                 holds none. A slot's mutex is held only for a hand-over, during which the thread waits for nothing.
///                 The memory manager's mutex is taken before any slot, by threads that hold none.
///
/// MEMORY ORDERS
///   #   operation                             order    pairs with   makes visible                     checked by
///   P1  elect, CAS NOT_RESIZING->PREPARING    acq_rel  P2, P6       the last resize's outcome         argued
///   P2  start or fail, store                  release  P1, P3, P4   the new array and its size        argued
///   P3  read the state, load                  acquire  P2, P6                                         schedules
///   P4  claim a chunk, CAS k->k+1             acq_rel  P2, P4       as P2, through the chain of RMWs  argued
///   P5  pending chunks - 1                    acq_rel  P5, P7       all buckets rehashed (O6) before  schedules
///   P6  finish, store NOT_RESIZING            release  P1, P3       the whole new array               schedules
///   P7  pending chunks, store                 release  P5           nothing more than P2 does         argued
/// A CAS that fails is a P3: it reads the state. Schedules and argued: as in ParallelHashTable.h. P1: the thread that
/// elects itself has read NOT_RESIZING through P3, and takes every slot (T1) before it accesses anything. P2, P4, P7: a
/// thread that sees the new array holds a slot that the leader has left before (T2, T3), or was parked under the mutex.

template<class Policy>
ParallelHashTable<Policy>::ParallelHashTable(MemoryManager& memoryManager, const Policy& policy) noexcept
    : m_policy(policy), m_resizeState(NOT_RESIZING), m_hashMask(0), m_afterLastBucket(nullptr),
      m_buckets(memoryManager), m_numberOfUsedBuckets(0), m_numberOfDeletedBuckets(0), m_numberOfBuckets(0),
      m_maxLoadFactor(melnar::ParallelHashTableHeader::MAXIMUM_LOAD_FACTOR), m_resizeThreshold(0),
      m_oldBuckets(memoryManager), m_numberOfResizeChunks(0), m_numberOfPendingChunks(0), m_keepsFingerprints(false),
      m_fingerprints(memoryManager), m_fingerprintReclaimer(*this) {}

template<class Policy>
ParallelHashTable<Policy>::~ParallelHashTable() {
    if (m_keepsFingerprints)
        getMemoryManager().removeReclaimable(m_fingerprintReclaimer);
}

template<class Policy>
void ParallelHashTable<Policy>::setNumberOfBuckets(const size_t numberOfBuckets) noexcept {
    m_hashMask = numberOfBuckets - 1;
    m_afterLastBucket = m_buckets.getData() + numberOfBuckets;
    m_numberOfBuckets.store(numberOfBuckets, std::memory_order_relaxed);
    m_resizeThreshold = melnar::ParallelHashTableHeader::getResizeThreshold(numberOfBuckets, m_maxLoadFactor);
}

/// Resets the state of resizes. Only while the table is not shared.
template<class Policy>
void ParallelHashTable<Policy>::resetResize() noexcept {
    m_resizeState.store(NOT_RESIZING, std::memory_order_relaxed);
    m_numberOfResizeChunks = 0;
    m_numberOfPendingChunks.store(0, std::memory_order_relaxed);
}

template<class Policy>
void ParallelHashTable<Policy>::initialize(const size_t numberOfBuckets) {
    m_fingerprints.deinitialize();
    m_buckets.initialize(numberOfBuckets);
    m_buckets.ensureEndAtLeast(numberOfBuckets);
    setNumberOfBuckets(numberOfBuckets);
    for (ThreadContext& threadContext : m_threadContexts)
        threadContext.setInsertionQuota(0);
    m_numberOfUsedBuckets.store(0, std::memory_order_relaxed);
    m_numberOfDeletedBuckets.store(0, std::memory_order_relaxed);
    m_oldBuckets.deinitialize();
    resetResize();
    makeFingerprints(true);
}

/// Makes fingerprints, all unknown, for the current bucket array, if the table keeps any.
template<class Policy>
void ParallelHashTable<Policy>::makeFingerprints(const bool isEmpty) noexcept {
    const size_t numberOfBuckets = getNumberOfBuckets();
    // A loaded table has as many buckets as its stream says, which may be untrusted.
    if (m_keepsFingerprints && std::has_single_bit(numberOfBuckets) &&
        numberOfBuckets >= melnar::Fingerprints::GROUP_SIZE)
        m_fingerprints.initialize(numberOfBuckets, isEmpty);
}

template<class Policy>
void ParallelHashTable<Policy>::enableFingerprints() noexcept {
    if (m_keepsFingerprints)
        return;
    m_keepsFingerprints = true;
    makeFingerprints(getNumberOfNonEmptyBuckets() == 0);
    // Only after they are made: from here on, other threads may request their memory, though none uses this table yet.
    // Threads that have run out of memory meanwhile may try again.
    getMemoryManager().addReclaimable(m_fingerprintReclaimer);
    getMemoryManager().noteReclaim();
}

template<class Policy>
bool ParallelHashTable<Policy>::giveUpFingerprints() noexcept {
    // While a resize is prepared, its new fingerprints may be charged already but not yet counted.
    if (getFingerprintBytes() == 0 && m_resizeState.load(std::memory_order_acquire) == NOT_RESIZING) // P3
        return false;
    const Operation operation(*this);
    size_t observedState = NOT_RESIZING;
    while (!m_resizeState.compare_exchange_strong(observedState, RESIZE_PREPARING, std::memory_order_acq_rel,
                                                  std::memory_order_acquire)) { // P1, P3
        handleResize(operation.getThreadContext(), observedState);
        observedState = NOT_RESIZING;
    }
    const AllOtherThreadContexts allOtherThreadContexts(*this, operation.getThreadContext());
    const bool didExist = m_fingerprints.exist();
    m_fingerprints.deinitialize();
    publishResizeState(NOT_RESIZING);
    return didExist;
}

template<class Policy>
size_t ParallelHashTable<Policy>::getSumOfInsertionQuotas() const noexcept {
    size_t sum = 0;
    for (const ThreadContext& threadContext : m_threadContexts)
        sum += threadContext.getInsertionQuota();
    return sum;
}

template<class Policy>
size_t ParallelHashTable<Policy>::getNumberOfNonEmptyBuckets() const noexcept {
    const size_t unspentQuotas = getSumOfInsertionQuotas();
    const size_t usedBuckets = m_numberOfUsedBuckets.load(std::memory_order_relaxed);
    // During insertions the quotas and the counter may be of different moments; the difference must not wrap.
    return usedBuckets > unspentQuotas ? usedBuckets - unspentQuotas : 0;
}

template<class Policy>
std::vector<size_t> ParallelHashTable<Policy>::getProbeLengths() const {
    std::vector<size_t> probeLengths;
    for (size_t index = 0; index < getNumberOfBuckets(); ++index) {
        const BucketValue value = readBucket(m_buckets[index]);
        if (value == Policy::EMPTY_BUCKET || value == Policy::BUCKET_DELETED)
            continue;
        const size_t distance = (index - m_policy.getHash(value)) & m_hashMask;
        if (distance >= probeLengths.size())
            probeLengths.resize(distance + 1, 0);
        ++probeLengths[distance];
    }
    return probeLengths;
}

template<class Policy>
std::vector<size_t> ParallelHashTable<Policy>::getUsedBuckets(const size_t numberOfSegments) const {
    std::vector<size_t> usedBuckets(numberOfSegments, 0);
    const size_t bucketsOfASegment = getNumberOfBuckets() / numberOfSegments;
    for (size_t index = 0; index < getNumberOfBuckets(); ++index)
        if (readBucket(m_buckets[index]) != Policy::EMPTY_BUCKET)
            ++usedBuckets[index / bucketsOfASegment];
    return usedBuckets;
}

template<class Policy>
void ParallelHashTable<Policy>::clear() noexcept {
    if (m_numberOfUsedBuckets.load(std::memory_order_relaxed) == getSumOfInsertionQuotas())
        return;
    m_fingerprints.clear();
    for (ThreadContext& threadContext : m_threadContexts)
        threadContext.setInsertionQuota(0);
    std::memset(static_cast<void*>(m_buckets.getData()), 0, m_buckets.getEnd() * sizeof(Bucket));
    m_numberOfUsedBuckets.store(0, std::memory_order_relaxed);
    m_numberOfDeletedBuckets.store(0, std::memory_order_relaxed);
    resetResize();
}

template<class Policy>
void ParallelHashTable<Policy>::shrinkToFit(const size_t minimumNumberOfBuckets) noexcept {
    const size_t nonEmptyBuckets = getNumberOfNonEmptyBuckets();
    for (ThreadContext& threadContext : m_threadContexts)
        threadContext.setInsertionQuota(0);
    m_numberOfUsedBuckets.store(nonEmptyBuckets, std::memory_order_relaxed);

    const size_t neededBuckets = std::bit_ceil(static_cast<size_t>(static_cast<double>(nonEmptyBuckets) / 0.7) + 1);
    const size_t newNumberOfBuckets = std::max(minimumNumberOfBuckets, neededBuckets);
    const size_t oldNumberOfBuckets = getNumberOfBuckets();
    if (oldNumberOfBuckets <= newNumberOfBuckets)
        return;

    // The home bucket in the smaller table is the old home modulo its size, so every entry of the upper part moves to
    // its old index modulo the new size, or after it. Moving in ascending order keeps each probe chain unbroken: all
    // entries before an entry in its chain are placed before it. Nothing is rehashed.
    Bucket* const buckets = m_buckets.getData();
    for (size_t index = newNumberOfBuckets; index < oldNumberOfBuckets; ++index) {
        const BucketValue value = readBucket(buckets[index]);
        if (value == Policy::EMPTY_BUCKET)
            continue;
        size_t newIndex = index & (newNumberOfBuckets - 1);
        BucketValue expected = Policy::EMPTY_BUCKET;
        while (!buckets[newIndex].compare_exchange_strong(expected, value, std::memory_order_release,
                                                          std::memory_order_relaxed)) { // O10
            expected = Policy::EMPTY_BUCKET;
            newIndex = (newIndex + 1) & (newNumberOfBuckets - 1);
        }
        m_fingerprints.copy(index, newIndex);
    }
    m_buckets.truncate(newNumberOfBuckets);
    m_fingerprints.truncate(newNumberOfBuckets);
    setNumberOfBuckets(newNumberOfBuckets);
}

template<class Policy>
melnar::ParallelHashTableHeader ParallelHashTable<Policy>::getHeader() const noexcept {
    melnar::ParallelHashTableHeader header;
    header.m_bucketCount = getNumberOfBuckets();
    header.m_resizeThreshold = m_resizeThreshold;
    header.m_usedBucketCount = m_numberOfUsedBuckets.load(std::memory_order_relaxed);
    header.m_deletedBucketCount = getNumberOfDeletedBuckets();
    for (size_t index = 0; index < NUMBER_OF_THREAD_CONTEXTS; ++index)
        header.m_insertionQuotas[index] = m_threadContexts[index].getInsertionQuota();
    return header;
}

template<class Policy>
void ParallelHashTable<Policy>::setHeader(const melnar::ParallelHashTableHeader& header) noexcept {
    m_numberOfBuckets.store(header.m_bucketCount, std::memory_order_relaxed);
    m_resizeThreshold = header.m_resizeThreshold;
    m_numberOfUsedBuckets.store(header.m_usedBucketCount, std::memory_order_relaxed);
    m_numberOfDeletedBuckets.store(header.m_deletedBucketCount, std::memory_order_relaxed);
    for (size_t index = 0; index < NUMBER_OF_THREAD_CONTEXTS; ++index)
        m_threadContexts[index].setInsertionQuota(header.m_insertionQuotas[index]);
}

template<class Policy>
void ParallelHashTable<Policy>::save(OutputStream& outputStream) const {
    getHeader().save(outputStream);
    m_buckets.save(outputStream);
}

template<class Policy>
void ParallelHashTable<Policy>::load(InputStream& inputStream) {
    constexpr const char* SOURCE_FILE = "Engine/core/platform/collections/ParallelHashTableImpl";
    constexpr long LINE_NOT_A_TABLE = 476;
    melnar::ParallelHashTableHeader header = getHeader();
    try {
        if (!header.load(inputStream))
            throw MelnarException(FailureKind::DAMAGED_FILE, SOURCE_FILE, LINE_NOT_A_TABLE, MelnarException::NO_CAUSES,
                                  "Invalid input file: cannot load ParallelHashTable.");
    } catch (...) {
        setHeader(header); // keeps what was read before the failure
        throw;
    }
    setHeader(header);
    m_fingerprints.deinitialize();
    m_buckets.load(inputStream);
    m_hashMask = getNumberOfBuckets() - 1;
    m_afterLastBucket = m_buckets.getData() + getNumberOfBuckets();
    m_oldBuckets.deinitialize();
    resetResize();
    makeFingerprints(false);
}

template<class Policy>
void ParallelHashTable<Policy>::reinsert(ThreadContext& callerContext, const uint64_t hash,
                                         const BucketValue value) noexcept {
    size_t index = getHomeIndex(hash);
    for (;; index = getNextIndex(index)) {
        index = findCandidate(index, melnar::Fingerprints::get(hash));
        const BucketValue present = readBucket(m_buckets[index]);
        if (present == Policy::EMPTY_BUCKET || present == value)
            break;
    }
    learnFingerprint(index, hash);
    m_buckets[index].store(value, std::memory_order_release); // O2
    if (callerContext.getInsertionQuota() == 0) {
        m_numberOfUsedBuckets.fetch_add(INSERTION_QUOTA_BATCH, std::memory_order_acq_rel); // O9
        callerContext.setInsertionQuota(INSERTION_QUOTA_BATCH - 1);
    } else
        callerContext.setInsertionQuota(callerContext.getInsertionQuota() - 1);
}

/// Makes one attempt; returns whether the buckets may have moved.
template<class Policy>
bool ParallelHashTable<Policy>::refillInsertionQuota(ThreadContext& callerContext) {
    size_t usedBuckets = m_numberOfUsedBuckets.load(std::memory_order_relaxed);
    if (m_resizeThreshold < usedBuckets + INSERTION_QUOTA_BATCH) {
        startHandleResize(callerContext);
        return true;
    }
    if (m_numberOfUsedBuckets.compare_exchange_strong(usedBuckets, usedBuckets + INSERTION_QUOTA_BATCH,
                                                      std::memory_order_relaxed, std::memory_order_relaxed)) // O7
        callerContext.setInsertionQuota(INSERTION_QUOTA_BATCH);
    return false;
}

/// Holds all slots except the caller's, taken in ascending order. Waits until all other threads have left the table or
/// are parked.
template<class Policy>
class ParallelHashTable<Policy>::AllOtherThreadContexts : private Unmovable {
public:
    AllOtherThreadContexts(ParallelHashTable& table, const ThreadContext& callerContext) noexcept
        : m_table(table), m_callerContext(callerContext) {
        for (ThreadContext& threadContext : m_table.m_threadContexts)
            if (&threadContext != &m_callerContext)
                acquireThreadContext(threadContext);
    }

    ~AllOtherThreadContexts() {
        for (ThreadContext& threadContext : m_table.m_threadContexts)
            if (&threadContext != &m_callerContext)
                releaseThreadContext(threadContext);
    }

private:
    ParallelHashTable& m_table;
    const ThreadContext& m_callerContext;
};

/// Ends PREPARING and wakes the threads that are parked until then.
template<class Policy>
void ParallelHashTable<Policy>::publishResizeState(const size_t resizeState) noexcept {
    m_resizeMutex.lock();
    m_resizeState.store(resizeState, std::memory_order_release); // P2
    m_resizeCondition.broadcast();
    m_resizeMutex.unlock();
}

template<class Policy>
void ParallelHashTable<Policy>::startHandleResize(ThreadContext& callerContext) {
    size_t observedState = NOT_RESIZING;
    if (!m_resizeState.compare_exchange_strong(observedState, RESIZE_PREPARING, std::memory_order_acq_rel,
                                               std::memory_order_acquire)) { // P1, P3
        handleResize(callerContext, observedState);
        return;
    }
    {
        const AllOtherThreadContexts allOtherThreadContexts(*this, callerContext);
        const size_t oldNumberOfBuckets = getNumberOfBuckets();
        // If more than half of the buckets are tombstones, dropping them makes enough room.
        const size_t newNumberOfBuckets =
            getNumberOfDeletedBuckets() <= oldNumberOfBuckets / 2 ? 2 * oldNumberOfBuckets : oldNumberOfBuckets;
        try {
            // Commit all of the new array now, so that no rehashing thread can run out of memory.
            m_oldBuckets.initialize(newNumberOfBuckets);
            m_oldBuckets.ensureEndAtLeast(newNumberOfBuckets);
        } catch (...) {
            m_oldBuckets.deinitialize();
            publishResizeState(NOT_RESIZING);
            throw;
        }
        m_fingerprints.deinitialize(); // before the new ones, so that both are never charged
        m_numberOfResizeChunks = oldNumberOfBuckets / RESIZE_CHUNK_SIZE;
        m_numberOfPendingChunks.store(m_numberOfResizeChunks, std::memory_order_release); // P7
        m_buckets.swapContents(m_oldBuckets);
        setNumberOfBuckets(newNumberOfBuckets);
        makeFingerprints(true);       // and complete: the rehash stores one with every number
        if (g_hasThreadContextLoan) { // The buckets would depend on the order in which helpers come.
            for (size_t chunkIndex = 0; chunkIndex < m_numberOfResizeChunks; ++chunkIndex)
                rehashChunk(callerContext, chunkIndex);
            m_numberOfPendingChunks.store(0, std::memory_order_relaxed);
            finishRehash();
            publishResizeState(NOT_RESIZING);
            return;
        }
        publishResizeState(0);
    }
    handleResize(callerContext, 0);
}

template<class Policy>
void ParallelHashTable<Policy>::handleResize(ThreadContext& callerContext, const size_t observedState) noexcept {
    size_t resizeState = observedState;
    while (resizeState != NOT_RESIZING) {
        if (resizeState == RESIZE_PREPARING) {
            waitWhilePreparing(callerContext);
            resizeState = m_resizeState.load(std::memory_order_acquire); // P3
        } else if (resizeState < m_numberOfResizeChunks) {
            if (!m_resizeState.compare_exchange_strong(resizeState, resizeState + 1, std::memory_order_acq_rel,
                                                       std::memory_order_acquire)) // P4, P3
                continue;                                                          // resizeState is what was seen
            rehashChunk(callerContext, resizeState);
            if (m_numberOfPendingChunks.fetch_sub(1, std::memory_order_acq_rel) == 1) { // P5
                finishResize();
                return;
            }
            resizeState = m_resizeState.load(std::memory_order_acquire); // P3
        } else {
            melnar::spinPause();
            resizeState = m_resizeState.load(std::memory_order_acquire); // P3
        }
    }
}

/// Releases the caller's slot to the leader, waits until the leader has prepared the resize or failed, and takes the
/// slot again.
template<class Policy>
void ParallelHashTable<Policy>::waitWhilePreparing(ThreadContext& callerContext) noexcept {
    releaseThreadContext(callerContext);
    m_resizeMutex.lock();
    while (m_resizeState.load(std::memory_order_acquire) == RESIZE_PREPARING) // P3
        m_resizeCondition.wait(m_resizeMutex);
    m_resizeMutex.unlock();
    acquireThreadContext(callerContext);
}

template<class Policy>
void ParallelHashTable<Policy>::getHashes(const BucketValue* const values, const size_t numberOfValues,
                                          uint64_t* const hashes) const noexcept {
    if constexpr (requires { m_policy.getHashes(values, numberOfValues, hashes); })
        m_policy.getHashes(values, numberOfValues, hashes);
    else
        std::transform(values, values + numberOfValues, hashes,
                       [this](const BucketValue value) { return m_policy.getHash(value); });
}

/// Moves the numbers of a chunk to the new array, in the order of their old buckets.
template<class Policy>
void ParallelHashTable<Policy>::rehashChunk(ThreadContext& callerContext, const size_t chunkIndex) noexcept {
    std::array<BucketValue, REHASH_BLOCK_SIZE> values;
    size_t numberOfValues = 0;
    uint32_t droppedTombstones = 0;
    const size_t firstIndex = chunkIndex * RESIZE_CHUNK_SIZE;
    const Bucket* const begin = m_oldBuckets.getData() + firstIndex;
    // New homes are at the old index or, if the table doubles, at the old index plus the old number of buckets.
    m_fingerprints.touch(firstIndex);
    m_fingerprints.touch((firstIndex + m_numberOfResizeChunks * RESIZE_CHUNK_SIZE) & m_hashMask);
    for (const Bucket* oldBucket = begin; oldBucket != begin + RESIZE_CHUNK_SIZE; ++oldBucket) {
        const BucketValue value = readBucket(*oldBucket);
        if (value == Policy::BUCKET_DELETED)
            ++droppedTombstones;
        else if (value != Policy::EMPTY_BUCKET)
            values[numberOfValues++] = value;
        if (numberOfValues == values.size()) {
            rehashBlock(values.data(), numberOfValues);
            numberOfValues = 0;
        }
    }
    rehashBlock(values.data(), numberOfValues);
    callerContext.setInsertionQuota(callerContext.getInsertionQuota() + droppedTombstones);
}

/// Inserts numbers into the new array. Each step is done for all of them before the next one, so the cache misses of a
/// step overlap.
template<class Policy>
void ParallelHashTable<Policy>::rehashBlock(const BucketValue* const values, const size_t numberOfValues) noexcept {
    std::array<uint64_t, REHASH_BLOCK_SIZE> hashes;
    getHashes(values, numberOfValues, hashes.data());
    constexpr size_t PREFETCH_DISTANCE = 16;
    for (size_t ahead = 0; ahead < numberOfValues + PREFETCH_DISTANCE; ++ahead) {
        if (ahead < numberOfValues) {
            prefetchBucket(getHomeIndex(hashes[ahead]));
            prefetchFingerprint(getHomeIndex(hashes[ahead]));
        }
        if (ahead < PREFETCH_DISTANCE)
            continue;
        const size_t number = ahead - PREFETCH_DISTANCE;
        size_t index = getHomeIndex(hashes[number]);
        // A known fingerprint, whatever its value, means that the bucket is taken. The bucket is not read first, since
        // its page may be new (Fingerprints::touch).
        constexpr uint8_t UNKNOWN = 0;
        for (;; index = getNextIndex(index)) {
            index = findCandidate(index, UNKNOWN);
            BucketValue expected = Policy::EMPTY_BUCKET;
            if (m_buckets[index].compare_exchange_strong(expected, values[number], std::memory_order_release,
                                                         std::memory_order_relaxed)) // O6
                break;
        }
        learnFingerprint(index, hashes[number]);
    }
}

/// Releases the old array.
template<class Policy>
void ParallelHashTable<Policy>::finishRehash() noexcept {
    m_numberOfDeletedBuckets.store(0, std::memory_order_relaxed);
    m_oldBuckets.deinitialize();
}

template<class Policy>
void ParallelHashTable<Policy>::finishResize() noexcept {
    finishRehash();
    m_resizeState.store(NOT_RESIZING, std::memory_order_release); // P6
}
