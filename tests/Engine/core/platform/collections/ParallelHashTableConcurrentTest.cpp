#include "Engine/core/platform/MemoryExhaustedException.h"
#include "tests/Engine/core/platform/collections/NumberTable.h"
#include "tests/Engine/core/platform/collections/ScopedThreadContextIndex.h"
#include "tests/Engine/core/platform/collections/TableChecks.h"
#include "tests/Engine/core/platform/collections/WaitUntil.h"

#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <set>
#include <thread>
#include <vector>

using namespace melnar;

// Each of these tests brings threads into a specific situation of the protocol and lets them continue from there.

namespace {

using Peer = ParallelHashTableTestPeer;

template<class T>
class ParallelHashTableConcurrentTest : public testing::Test {
protected:
    static bool hasResizeState(NumberTable<T>& numbers, const size_t resizeState) {
        return Peer::getResizeState(numbers.m_table).load(std::memory_order_acquire) == resizeState;
    }

    static void waitForResizeState(NumberTable<T>& numbers, const size_t resizeState) {
        waitUntil([&] { return hasResizeState(numbers, resizeState); });
    }

    static TableThreadContext& getSlot(NumberTable<T>& numbers, const size_t index) {
        return Peer::getThreadContexts(numbers.m_table)[index];
    }

    static void waitForLockCount(NumberTable<T>& numbers, const size_t index, const uint16_t lockCount) {
        waitUntil([&] { return getSlot(numbers, index).m_lockCount.load(std::memory_order_acquire) == lockCount; });
    }

    /// Starts a thread at its own slot.
    template<class Action>
    static std::thread startAt(const size_t index, Action action) {
        return std::thread([index, action] {
            const ScopedThreadContextIndex scopedIndex(index);
            action();
        });
    }

    /// Claims a number's bucket, runs `action` in threads at slots 1 to 4, calls `settle`, which must publish or
    /// unclaim the bucket, and then waits for their ends.
    template<class Action, class Settle>
    static void runAtClaimedBucket(NumberTable<T>& numbers, const T number, const Action& action,
                                   const Settle& settle) {
        using Table = typename NumberTable<T>::Table;
        std::vector<std::thread> threads;
        {
            const typename Table::Operation operation(numbers.m_table);
            numbers.m_table.reserveInsertionQuota(operation.getThreadContext());
            auto& bucket = numbers.m_table.getBucket(numbers.m_table.getHomeIndex(number));
            ASSERT_TRUE(Table::tryClaim(bucket));
            for (size_t index = 1; index <= 4; ++index)
                threads.push_back(startAt(index, action));
            settle(operation.getThreadContext(), bucket);
        }
        for (std::thread& thread : threads)
            thread.join();
    }

    const ScopedThreadContextIndex m_indexOfTheTest{0}; // all others are free for the threads
};

} // namespace

TYPED_TEST_SUITE(ParallelHashTableConcurrentTest, BucketWidths, BucketWidthNames);

TYPED_TEST(ParallelHashTableConcurrentTest, theLeaderWaitsForAllThreadsInsideAnOperation) {
    using Table = typename NumberTable<TypeParam>::Table;
    NumberTable<TypeParam> numbers;
    numbers.insert(1);
    std::thread leader;
    {
        const ScopedThreadContextIndex index(9);
        const typename Table::Operation operation(numbers.m_table);
        leader = this->startAt(1, [&] { numbers.resize(); });
        this->waitForLockCount(numbers, 9, 2);
        EXPECT_TRUE(this->hasResizeState(numbers, Table::RESIZE_PREPARING));
        EXPECT_EQ(1, this->getSlot(numbers, 8).m_lockCount.load(std::memory_order_acquire)) << "taken by the leader";
        EXPECT_EQ(0, this->getSlot(numbers, 10).m_lockCount.load(std::memory_order_acquire)) << "in ascending order";
        EXPECT_EQ(1024u, numbers.m_table.getNumberOfBuckets());
        EXPECT_EQ(TypeParam(1), Table::readBucket(numbers.m_table.getBucket(numbers.m_table.getHomeIndex(1))))
            << "the array is still the old";
    }
    leader.join();
    EXPECT_EQ(2048u, numbers.m_table.getNumberOfBuckets());
    expectSoundAtRest(numbers.m_table);
}

TYPED_TEST(ParallelHashTableConcurrentTest, ofTwoThatCrossTheThresholdOneLeadsAndTheOtherParksAndHelps) {
    using Table = typename NumberTable<TypeParam>::Table;
    NumberTable<TypeParam> numbers;
    numbers.insertRange(1, 701);
    std::thread first;
    {
        const ScopedThreadContextIndex index(5);
        const typename Table::Operation operation(numbers.m_table);
        first = this->startAt(1, [&] { numbers.insert(1001); });
        this->waitForLockCount(numbers, 5, 2); // the first leads and waits for this thread's slot,
        numbers.m_table.reserveInsertionQuota(operation.getThreadContext()); // which it releases here and gets back
        EXPECT_TRUE(this->hasResizeState(numbers, Table::NOT_RESIZING));
        EXPECT_EQ(2048u, numbers.m_table.getNumberOfBuckets()) << "one resize has happened, not two";
        EXPECT_EQ(100u, numbers.getQuota(5));
    }
    first.join();
    EXPECT_EQ(2048u, numbers.m_table.getNumberOfBuckets());
    EXPECT_EQ(900u, numbers.getUsedBuckets());
    EXPECT_TRUE(numbers.containsRange(1, 701));
    EXPECT_TRUE(numbers.contains(1001));
    expectSoundAtRest(numbers.m_table);
}

TYPED_TEST(ParallelHashTableConcurrentTest, whoComesDuringThePreparationWaitsAtItsSlot) {
    using Table = typename NumberTable<TypeParam>::Table;
    NumberTable<TypeParam> numbers;
    numbers.insert(77);
    std::thread leader;
    std::thread reader;
    std::atomic<bool> hasFound = false;
    {
        const ScopedThreadContextIndex index(9);
        const typename Table::Operation operation(numbers.m_table);
        leader = this->startAt(1, [&] { numbers.resize(); });
        this->waitForLockCount(numbers, 9, 2);
        reader = this->startAt(3, [&] { hasFound.store(numbers.contains(77), std::memory_order_release); });
        this->waitForLockCount(numbers, 3, 2);
        EXPECT_FALSE(hasFound.load(std::memory_order_acquire)) << "the leader holds its slot";
    }
    leader.join();
    reader.join();
    EXPECT_TRUE(hasFound.load(std::memory_order_acquire));
    EXPECT_EQ(2048u, numbers.m_table.getNumberOfBuckets());
    expectSoundAtRest(numbers.m_table);
}

// Two threads with the same index, and the leader, queue for one slot. A thread that gets it before the leader parks
// again.
TYPED_TEST(ParallelHashTableConcurrentTest, theLeaderGetsASlotThatSeveralThreadsShare) {
    using Table = typename NumberTable<TypeParam>::Table;
    NumberTable<TypeParam> numbers;
    numbers.insert(77);
    std::vector<std::thread> threads;
    std::atomic<size_t> found = 0;
    {
        const ScopedThreadContextIndex index(9);
        const typename Table::Operation operation(numbers.m_table);
        for (size_t reader = 0; reader < 3; ++reader)
            threads.push_back(
                this->startAt(9, [&] { found.fetch_add(numbers.contains(77) ? 1 : 0, std::memory_order_acq_rel); }));
        this->waitForLockCount(numbers, 9, 4);
        threads.push_back(this->startAt(1, [&] { numbers.resize(); }));
        this->waitForLockCount(numbers, 9, 5);
        numbers.m_table.startHandleResize(operation.getThreadContext());
        EXPECT_EQ(2048u, numbers.m_table.getNumberOfBuckets());
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(3u, found.load(std::memory_order_acquire));
    EXPECT_EQ(2048u, numbers.m_table.getNumberOfBuckets());
    expectSoundAtRest(numbers.m_table);
}

TYPED_TEST(ParallelHashTableConcurrentTest, aLookupThatComesDuringTheRehashHelpsBeforeItReads) {
    std::atomic<bool> isBlocking = false;
    std::atomic<bool> hasReturned = false;
    std::mutex mutex;
    std::set<TypeParam> rehashedByReader;
    NumberTable<TypeParam> numbers(4096, [&](const TypeParam number) {
        if (!isBlocking.load(std::memory_order_acquire))
            return number;
        if (g_currentThreadContextIndex == 1) { // the leader, at its first chunk
            waitUntil([&] { return !isBlocking.load(std::memory_order_acquire); });
            return number;
        }
        const std::lock_guard<std::mutex> lock(mutex);
        rehashedByReader.insert(number);
        return number;
    });
    numbers.insertRange(1000, 2050);
    numbers.insert(3);
    numbers.insertRange(3000, 3100);
    numbers.removeRange(3000, 3050);
    EXPECT_EQ(1151u, numbers.m_table.getNumberOfNonEmptyBuckets());

    isBlocking.store(true, std::memory_order_release);
    std::thread leader = this->startAt(1, [&] { numbers.resize(); });
    this->waitForResizeState(numbers, 1); // the leader has the first chunk and waits at number 3
    bool hasFound = false;
    std::thread reader = this->startAt(2, [&] {
        const typename NumberTable<TypeParam>::Operation operation(numbers.m_table);
        hasReturned.store(true, std::memory_order_release);
        hasFound = Peer::getBuckets(numbers.m_table)[3].load(std::memory_order_acquire) == 3;
    });
    waitUntil([&] { // all chunks but the leader's are done
        return Peer::getNumberOfPendingChunks(numbers.m_table).load(std::memory_order_acquire) == 1;
    });
    EXPECT_TRUE(this->hasResizeState(numbers, 4)) << "all chunks are claimed";
    EXPECT_FALSE(hasReturned.load(std::memory_order_acquire)) << "the leader's chunk is missing";
    {
        const std::lock_guard<std::mutex> lock(mutex);
        EXPECT_EQ(2050u - 1024 + 50, rehashedByReader.size());
        EXPECT_EQ(TypeParam(1024), *rehashedByReader.begin());
        EXPECT_EQ(TypeParam(3099), *rehashedByReader.rbegin());
    }
    isBlocking.store(false, std::memory_order_release);
    leader.join();
    reader.join();
    EXPECT_TRUE(hasFound);
    EXPECT_EQ(50u, numbers.getQuota(2)) << "the reader dropped the tombstones and has their places as quota";
    EXPECT_EQ(8192u, numbers.m_table.getNumberOfBuckets());
    EXPECT_TRUE(numbers.containsRange(1000, 2050));
    expectSoundAtRest(numbers.m_table);
}

TYPED_TEST(ParallelHashTableConcurrentTest, whoFinishesLastEndsTheResizeEvenIfItIsNotTheLeader) {
    using Table = typename NumberTable<TypeParam>::Table;
    Table* table = nullptr;
    std::atomic<bool> isWatching = false;
    std::atomic<bool> hasLeaderReturned = false;
    bool hadLeaderReturned = true;
    NumberTable<TypeParam> numbers(2048, [&](const TypeParam number) {
        if (isWatching.load(std::memory_order_acquire)) {
            if (g_currentThreadContextIndex == 1) // the leader, at the first chunk: until the helper has the second
                waitUntil([&] { return Peer::getResizeState(*table).load(std::memory_order_acquire) == 2; });
            else { // the helper: until the leader has nothing more to do
                waitUntil([&] { return Peer::getNumberOfPendingChunks(*table).load(std::memory_order_acquire) == 1; });
                hadLeaderReturned = hasLeaderReturned.load(std::memory_order_acquire);
                isWatching.store(false, std::memory_order_release);
            }
        }
        return number;
    });
    table = &numbers.m_table;
    numbers.insert(1);
    numbers.insert(2000);
    isWatching.store(true, std::memory_order_release);
    std::thread leader = this->startAt(1, [&] {
        numbers.resize();
        hasLeaderReturned.store(true, std::memory_order_release);
    });
    this->waitForResizeState(numbers, 1);
    std::thread helper = this->startAt(2, [&] { EXPECT_TRUE(numbers.contains(2000)); });
    leader.join();
    helper.join();
    EXPECT_FALSE(hadLeaderReturned);
    EXPECT_EQ(4096u, numbers.m_table.getNumberOfBuckets());
    EXPECT_EQ(4096 * sizeof(TypeParam), numbers.getChargedBytes()) << "the helper has released the old array";
    expectSoundAtRest(numbers.m_table);
}

TYPED_TEST(ParallelHashTableConcurrentTest, aProbeThatFindsABucketInProgressWaitsForItsNumber) {
    NumberTable<TypeParam> numbers;
    std::atomic<size_t> found = 0;
    this->runAtClaimedBucket(
        numbers, 5, [&] { found.fetch_add(numbers.contains(5) ? 1 : 0, std::memory_order_acq_rel); },
        [&](TableThreadContext& threadContext, typename NumberTable<TypeParam>::Bucket&) {
            for (size_t index = 1; index <= 4; ++index)
                this->waitForLockCount(numbers, index, 1);
            for (size_t patience = 0; patience < 20; ++patience)
                std::this_thread::yield();
            for (size_t index = 1; index <= 4; ++index)
                EXPECT_EQ(1, this->getSlot(numbers, index).m_lockCount.load(std::memory_order_acquire))
                    << "still reading";
            const size_t index = numbers.m_table.getHomeIndex(5);
            numbers.m_table.learnFingerprint(index, 5);
            numbers.m_table.publish(threadContext, index, 5);
        });
    EXPECT_EQ(4u, found.load(std::memory_order_acquire)) << "nobody took the bucket for empty, or passed it";
    expectSoundAtRest(numbers.m_table);
}

TYPED_TEST(ParallelHashTableConcurrentTest, afterAnInsertionThatFailedExactlyOneOfThoseThatWaitInserts) {
    using Table = typename NumberTable<TypeParam>::Table;
    NumberTable<TypeParam> numbers;
    std::atomic<size_t> created = 0;
    this->runAtClaimedBucket(
        numbers, 5, [&] { created.fetch_add(numbers.insert(5) ? 1 : 0, std::memory_order_acq_rel); },
        [&](TableThreadContext&, typename Table::Bucket& bucket) {
            for (size_t index = 1; index <= 4; ++index)
                waitUntil([&] { return numbers.getQuota(index) == 100; });
            EXPECT_EQ(0u, created.load(std::memory_order_acquire));
            Table::unclaim(bucket);
        });
    EXPECT_EQ(1u, created.load(std::memory_order_acquire));
    EXPECT_EQ(5u, numbers.getIndexOf(5));
    EXPECT_EQ(499u, Peer::getSumOfQuotas(numbers.m_table));
    expectSoundAtRest(numbers.m_table);
}

TYPED_TEST(ParallelHashTableConcurrentTest, aResizeThatFailsWakesThoseThatParked) {
    using Table = typename NumberTable<TypeParam>::Table;
    NumberTable<TypeParam> numbers(1024, &NumberPolicy<TypeParam>::identity, 2048 * sizeof(TypeParam));
    numbers.insertRange(1, 701);
    std::thread leader;
    std::atomic<bool> hasLeaderFailed = false;
    {
        const ScopedThreadContextIndex index(5);
        const typename Table::Operation operation(numbers.m_table);
        leader = this->startAt(1, [&] {
            try {
                numbers.insert(1001);
            } catch (const MemoryExhaustedException&) {
                hasLeaderFailed.store(true, std::memory_order_release);
            }
        });
        this->waitForLockCount(numbers, 5, 2);
        numbers.m_table.startHandleResize(
            operation.getThreadContext()); // parks, and returns when the leader has failed
        EXPECT_TRUE(this->hasResizeState(numbers, Table::NOT_RESIZING));
        EXPECT_EQ(1024u, numbers.m_table.getNumberOfBuckets());
        EXPECT_EQ(0u, numbers.getQuota(5));
        EXPECT_THROW(numbers.m_table.reserveInsertionQuota(operation.getThreadContext()), MemoryExhaustedException)
            << "now this thread has led, and failed on its own account";
    }
    leader.join();
    EXPECT_TRUE(hasLeaderFailed.load(std::memory_order_acquire));
    EXPECT_EQ(1024 * sizeof(TypeParam), numbers.getChargedBytes());
    EXPECT_TRUE(numbers.containsRange(1, 701));
    EXPECT_FALSE(numbers.contains(1001));
    expectSoundAtRest(numbers.m_table);
}

TYPED_TEST(ParallelHashTableConcurrentTest, threadsOfOneIndexEnterOneAfterTheOther) {
    using Table = typename NumberTable<TypeParam>::Table;
    NumberTable<TypeParam> numbers;
    bool hasFirstLeft = false; // ordered only by the slot
    bool hadFirstLeft = false;
    std::thread second;
    {
        const ScopedThreadContextIndex index(200);
        const typename Table::Operation operation(numbers.m_table);
        second = this->startAt(200, [&] {
            const typename Table::Operation secondOperation(numbers.m_table);
            hadFirstLeft = hasFirstLeft;
        });
        this->waitForLockCount(numbers, 200, 2);
        hasFirstLeft = true;
    }
    second.join();
    EXPECT_TRUE(hadFirstLeft);
    expectSoundAtRest(numbers.m_table);
}
