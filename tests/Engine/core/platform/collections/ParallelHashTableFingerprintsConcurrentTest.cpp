#include "tests/Engine/core/platform/collections/FingerprintTable.h"
#include "tests/Engine/core/platform/collections/ParkedThreads.h"
#include "tests/Engine/core/platform/collections/ScopedThreadContextIndex.h"
#include "tests/Engine/core/platform/collections/SlotThread.h"
#include "tests/Engine/core/platform/collections/WaitOrAbort.h"

#include <gtest/gtest.h>

#include <atomic>
#include <deque>

using namespace melnar;

// Each of these tests brings threads into a specific situation with fingerprints and lets them continue from there.

namespace {

using Peer = ParallelHashTableTestPeer;

template<class T>
class ParallelHashTableFingerprintsConcurrentTest : public testing::Test {
protected:
    static constexpr size_t FIRST_SLOT = 1;
    static constexpr size_t BUSY_SLOT = 9;
    static constexpr size_t LATE_SLOT = 20; // beyond the busy one: free while a leader waits for that one

    static size_t getState(NumberTable<T>& numbers) {
        return Peer::getResizeState(numbers.m_table).load(std::memory_order_acquire);
    }

    static void waitForLockCount(NumberTable<T>& numbers, const size_t slot, const uint16_t lockCount) {
        const TableThreadContext& threadContext = Peer::getThreadContexts(numbers.m_table)[slot];
        waitOrAbort("a slot", [&] { return threadContext.m_lockCount.load(std::memory_order_acquire) == lockCount; });
    }

    /// Looks up a number and accepts an answer that was right a moment earlier.
    static bool lookUp(NumberTable<T>& numbers, const T number) {
        using Table = typename NumberTable<T>::Table;
        const typename Table::Operation operation(numbers.m_table);
        const uint64_t hash = numbers.m_table.getPolicy().getHash(number);
        for (size_t index = numbers.m_table.getHomeIndex(hash);; index = numbers.m_table.getNextIndex(index)) {
            index = numbers.m_table.findCandidate(index, Fingerprints::get(hash));
            if (numbers.m_table.isKnownToEndLookup(index))
                return false;
            const T value = Table::readBucket(numbers.m_table.getBucket(index));
            if (value == number || value == NumberPolicy<T>::EMPTY_BUCKET)
                return value == number;
        }
    }

    /// Inserts a number into a free home bucket, and calls `pause` between claim and publication.
    template<class Pause>
    static void insertSlowly(NumberTable<T>& numbers, const T number, const Pause& pause) {
        using Table = typename NumberTable<T>::Table;
        const typename Table::Operation operation(numbers.m_table);
        numbers.m_table.reserveInsertionQuota(operation.getThreadContext());
        const uint64_t hash = numbers.m_table.getPolicy().getHash(number);
        const size_t index = numbers.m_table.getHomeIndex(hash);
        ASSERT_TRUE(Table::tryClaim(numbers.m_table.getBucket(index)));
        pause();
        numbers.m_table.learnFingerprint(index, hash);
        numbers.m_table.publish(operation.getThreadContext(), index, number);
    }
};

/// Makes the rehash of one number wait until it may continue.
template<class T>
class SlowHash {
public:
    explicit SlowHash(const T slowNumber) : m_slowNumber(slowNumber), m_isSlow(false), m_isWaiting(false) {}

    uint64_t hash(const T number) {
        if (number == m_slowNumber && m_isSlow.load(std::memory_order_acquire)) {
            m_isWaiting.store(true, std::memory_order_release);
            waitOrAbort("the test", [this] { return !m_isSlow.load(std::memory_order_acquire); });
        }
        return number;
    }

    void makeSlow() { m_isSlow.store(true, std::memory_order_release); }
    void letGo() { m_isSlow.store(false, std::memory_order_release); }

    void waitUntilItWaits() const {
        waitOrAbort("a rehash", [this] { return m_isWaiting.load(std::memory_order_acquire); });
    }

private:
    const T m_slowNumber;
    std::atomic<bool> m_isSlow;
    std::atomic<bool> m_isWaiting;
};

} // namespace

TYPED_TEST_SUITE(ParallelHashTableFingerprintsConcurrentTest, BucketWidths, BucketWidthNames);

TYPED_TEST(ParallelHashTableFingerprintsConcurrentTest, lookupsDoNotWaitForAnInsertionInProgressButResolvingDoes) {
    FingerprintTable<TypeParam> numbers;
    numbers.insertRange(1, 4);
    std::atomic<bool> isNew = false;
    std::deque<SlotThread> threads;
    this->insertSlowly(numbers, 7, [&] {
        std::atomic<bool> isFound = true;
        const SlotThread reader(this->FIRST_SLOT,
                                [&] { isFound.store(this->lookUp(numbers, 7), std::memory_order_release); });
        reader.waitForEnd();
        EXPECT_FALSE(isFound.load(std::memory_order_acquire)) << "the answer of a moment earlier";
        threads.emplace_back(this->LATE_SLOT, [&] { isNew.store(numbers.insert(7), std::memory_order_release); });
        this->waitForLockCount(numbers, this->LATE_SLOT, 1);
        EXPECT_FALSE(threads.front().hasEnded());
    });
    threads.front().waitForEnd();
    EXPECT_FALSE(isNew.load(std::memory_order_acquire)) << "it has waited for the one in progress";
    EXPECT_TRUE(this->lookUp(numbers, 7));
    EXPECT_EQ(1u, Peer::countBuckets(numbers.m_table, 7));
    numbers.expectSound();
}

TYPED_TEST(ParallelHashTableFingerprintsConcurrentTest, lookupsInAnIncompleteTableWaitForAnInsertionInProgress) {
    FingerprintTable<TypeParam> numbers;
    numbers.insertRange(1, 4);
    numbers.load(numbers.save());
    ASSERT_FALSE(numbers.getFingerprints().areComplete());
    std::atomic<bool> isFound = false;
    std::deque<SlotThread> threads;
    this->insertSlowly(numbers, 7, [&] {
        threads.emplace_back(this->FIRST_SLOT,
                             [&] { isFound.store(this->lookUp(numbers, 7), std::memory_order_release); });
        this->waitForLockCount(numbers, this->FIRST_SLOT, 1);
        EXPECT_FALSE(threads.front().hasEnded()) << "the bucket could hold an old entry of an unknown fingerprint";
    });
    threads.front().waitForEnd();
    EXPECT_TRUE(isFound.load(std::memory_order_acquire));
    numbers.expectSound();
}

TYPED_TEST(ParallelHashTableFingerprintsConcurrentTest, givingUpWaitsForAThreadThatHoldsASlot) {
    using Table = typename NumberTable<TypeParam>::Table;
    FingerprintTable<TypeParam> numbers;
    numbers.insertRange(1, 601);
    std::atomic<bool> didGiveUp = false;
    std::atomic<size_t> found = 0;
    std::deque<SlotThread> threads;
    ParkedThreads parkedThreads(Peer::getResizeCondition(numbers.m_table));
    {
        const ScopedThreadContextIndex index(this->BUSY_SLOT);
        const typename Table::Operation operation(numbers.m_table);
        threads.emplace_back(this->FIRST_SLOT,
                             [&] { didGiveUp.store(numbers.m_table.giveUpFingerprints(), std::memory_order_release); });
        this->waitForLockCount(numbers, this->BUSY_SLOT, 2);
        for (const size_t slot : {this->FIRST_SLOT + 1, this->LATE_SLOT})
            threads.emplace_back(slot,
                                 [&] { found.fetch_add(numbers.contains(600) ? 1 : 0, std::memory_order_acq_rel); });
        this->waitForLockCount(numbers, this->FIRST_SLOT + 1, 2);
        parkedThreads.waitFor(1);
        EXPECT_FALSE(threads.front().hasEnded());
        EXPECT_EQ(Table::RESIZE_PREPARING, this->getState(numbers));
        ASSERT_TRUE(numbers.getFingerprints().exist()) << "this thread holds its slot and may use them";
        EXPECT_EQ(Fingerprints::get(5), numbers.getFingerprints()[5]);
        EXPECT_EQ(0u, found.load(std::memory_order_acquire));
    }
    for (const SlotThread& thread : threads)
        thread.waitForEnd();
    EXPECT_TRUE(didGiveUp.load(std::memory_order_acquire));
    EXPECT_EQ(2u, found.load(std::memory_order_acquire)) << "those who came meanwhile have gone on";
    EXPECT_FALSE(numbers.getFingerprints().exist());
    numbers.expectSound();
}

TYPED_TEST(ParallelHashTableFingerprintsConcurrentTest, givingUpHelpsToFinishAResizeThatRuns) {
    SlowHash<TypeParam> slowHash(1);
    std::atomic<size_t> hashedByHelper = 0;
    FingerprintTable<TypeParam> numbers(4096, [&](const TypeParam number) {
        if (g_currentThreadContextIndex == TestFixture::LATE_SLOT)
            hashedByHelper.fetch_add(1, std::memory_order_relaxed);
        return slowHash.hash(number);
    });
    numbers.insertRange(1, 2001);
    slowHash.makeSlow();
    const SlotThread leader(this->FIRST_SLOT, [&] { numbers.resize(); });
    slowHash.waitUntilItWaits(); // in the first of four chunks
    std::atomic<bool> didGiveUp = false;
    const SlotThread helper(this->LATE_SLOT,
                            [&] { didGiveUp.store(numbers.m_table.giveUpFingerprints(), std::memory_order_release); });
    waitOrAbort("the helper", [&] { return this->getState(numbers) == 4; });
    EXPECT_FALSE(helper.hasEnded()) << "the first chunk is not rehashed";
    EXPECT_FALSE(leader.hasEnded());
    slowHash.letGo();
    leader.waitForEnd();
    helper.waitForEnd();
    EXPECT_EQ(2000u - 1023u, hashedByHelper.load(std::memory_order_relaxed)) << "all of the other chunks";
    EXPECT_TRUE(didGiveUp.load(std::memory_order_acquire)) << "the resize has made new ones";
    EXPECT_FALSE(numbers.getFingerprints().exist());
    EXPECT_EQ(8192u, numbers.m_table.getNumberOfBuckets());
    EXPECT_TRUE(numbers.containsRange(1, 2001));
    numbers.expectSound();
}

TYPED_TEST(ParallelHashTableFingerprintsConcurrentTest, givingUpParksWhileAResizeIsPrepared) {
    using Table = typename NumberTable<TypeParam>::Table;
    FingerprintTable<TypeParam> numbers;
    numbers.insertRange(1, 601);
    std::atomic<bool> didGiveUp = false;
    std::deque<SlotThread> threads;
    ParkedThreads parkedThreads(Peer::getResizeCondition(numbers.m_table));
    {
        const ScopedThreadContextIndex index(this->BUSY_SLOT);
        const typename Table::Operation operation(numbers.m_table);
        threads.emplace_back(this->FIRST_SLOT, [&] { numbers.resize(); });
        this->waitForLockCount(numbers, this->BUSY_SLOT, 2);
        threads.emplace_back(this->LATE_SLOT,
                             [&] { didGiveUp.store(numbers.m_table.giveUpFingerprints(), std::memory_order_release); });
        parkedThreads.waitFor(1);
        this->waitForLockCount(numbers, this->LATE_SLOT, 0);
    }
    for (const SlotThread& thread : threads)
        thread.waitForEnd();
    EXPECT_TRUE(didGiveUp.load(std::memory_order_acquire));
    EXPECT_FALSE(numbers.getFingerprints().exist());
    EXPECT_EQ(2048u, numbers.m_table.getNumberOfBuckets());
    EXPECT_TRUE(numbers.containsRange(1, 601));
    numbers.expectSound();
}

// The insertion holds a slot and wants to lead a resize: it releases its slot to the other thread, and resizes after
// it.
TYPED_TEST(ParallelHashTableFingerprintsConcurrentTest, anInsertionThatMustGrowTheTableWaitsForTheRelease) {
    using Table = typename NumberTable<TypeParam>::Table;
    FingerprintTable<TypeParam> numbers;
    numbers.insertRange(1, 701);
    std::atomic<bool> didGiveUp = false;
    std::deque<SlotThread> threads;
    {
        const ScopedThreadContextIndex index(this->BUSY_SLOT);
        const typename Table::Operation operation(numbers.m_table);
        threads.emplace_back(this->FIRST_SLOT,
                             [&] { didGiveUp.store(numbers.m_table.giveUpFingerprints(), std::memory_order_release); });
        this->waitForLockCount(numbers, this->BUSY_SLOT, 2);
        EXPECT_TRUE(numbers.m_table.reserveInsertionQuota(operation.getThreadContext()));
        EXPECT_EQ(2048u, numbers.m_table.getNumberOfBuckets());
        EXPECT_TRUE(numbers.getFingerprints().areComplete()) << "the resize has made new ones";
    }
    threads.front().waitForEnd();
    EXPECT_TRUE(didGiveUp.load(std::memory_order_acquire));
    EXPECT_TRUE(numbers.containsRange(1, 701));
    numbers.expectSound();
}

TYPED_TEST(ParallelHashTableFingerprintsConcurrentTest, ofTwoThatReleaseThemTogetherTheLeaderLearnsThatItDid) {
    using Table = typename NumberTable<TypeParam>::Table;
    FingerprintTable<TypeParam> numbers;
    numbers.insertRange(1, 601);
    std::atomic<bool> didFirst = false;
    std::atomic<bool> didSecond = true;
    std::deque<SlotThread> threads;
    ParkedThreads parkedThreads(Peer::getResizeCondition(numbers.m_table));
    {
        const ScopedThreadContextIndex index(this->BUSY_SLOT);
        const typename Table::Operation operation(numbers.m_table);
        threads.emplace_back(this->FIRST_SLOT,
                             [&] { didFirst.store(numbers.m_table.giveUpFingerprints(), std::memory_order_release); });
        this->waitForLockCount(numbers, this->BUSY_SLOT, 2);
        threads.emplace_back(this->LATE_SLOT,
                             [&] { didSecond.store(numbers.m_table.giveUpFingerprints(), std::memory_order_release); });
        parkedThreads.waitFor(1);
    }
    for (const SlotThread& thread : threads)
        thread.waitForEnd();
    EXPECT_TRUE(didFirst.load(std::memory_order_acquire));
    EXPECT_FALSE(didSecond.load(std::memory_order_acquire));
    numbers.expectSound();
}

TYPED_TEST(ParallelHashTableFingerprintsConcurrentTest, ofManyThatReleaseThemTogetherExactlyOneLearnsThatItDid) {
    constexpr size_t THREADS = 8;
    constexpr size_t SLOTS = 5; // some share one
    FingerprintTable<TypeParam> numbers;
    numbers.insertRange(1, 601);
    for (size_t round = 0; round < 50; ++round) {
        std::atomic<size_t> ready = 0;
        std::atomic<size_t> successes = 0;
        {
            std::deque<SlotThread> threads;
            for (size_t thread = 0; thread < THREADS; ++thread)
                threads.emplace_back(thread % SLOTS, [&] {
                    ready.fetch_add(1, std::memory_order_acq_rel);
                    waitOrAbort("all to begin", [&] { return ready.load(std::memory_order_acquire) == THREADS; });
                    successes.fetch_add(numbers.m_table.giveUpFingerprints() ? 1 : 0, std::memory_order_acq_rel);
                });
        }
        ASSERT_EQ(1u, successes.load(std::memory_order_acquire)) << "round " << round;
        ASSERT_FALSE(numbers.getFingerprints().exist());
        numbers.m_table.initialize(1024);
        numbers.insertRange(1, 101);
    }
    numbers.expectSound();
}

TYPED_TEST(ParallelHashTableFingerprintsConcurrentTest, anOperationThatNeedsTheirMemoryWaitsForThemAndGetsIt) {
    using Table = typename NumberTable<TypeParam>::Table;
    FingerprintTable<TypeParam> numbers;
    numbers.insertRange(1, 601);
    const size_t wantedBytes = numbers.m_memoryManager.getFreeBytes() + 1;
    std::deque<SlotThread> threads;
    {
        const ScopedThreadContextIndex index(this->BUSY_SLOT);
        const typename Table::Operation operation(numbers.m_table);
        threads.emplace_back(this->FIRST_SLOT, [&] {
            numbers.m_memoryManager.withReclaim([&] { numbers.m_memoryManager.allocate(wantedBytes); });
        });
        this->waitForLockCount(numbers, this->BUSY_SLOT, 2);
        EXPECT_TRUE(numbers.getFingerprints().exist());
    }
    threads.front().waitForEnd();
    EXPECT_FALSE(numbers.getFingerprints().exist());
    numbers.m_memoryManager.deallocate(wantedBytes);
    EXPECT_TRUE(numbers.containsRange(1, 601));
    numbers.expectSound();
}
