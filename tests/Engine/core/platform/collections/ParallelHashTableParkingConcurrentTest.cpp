#include "Engine/core/platform/MemoryExhaustedException.h"
#include "tests/Engine/core/platform/collections/NumberTable.h"
#include "tests/Engine/core/platform/collections/ParkedThreads.h"
#include "tests/Engine/core/platform/collections/ScopedThreadContextIndex.h"
#include "tests/Engine/core/platform/collections/SlotThread.h"
#include "tests/Engine/core/platform/collections/TableChecks.h"
#include "tests/Engine/core/platform/collections/WaitOrAbort.h"

#include <gtest/gtest.h>

#include <atomic>
#include <deque>
#include <initializer_list>

// Threads that enter a table while the leader of a resize waits for a slot park until the preparation is over.

namespace {

using Peer = ParallelHashTableTestPeer;

template<class T>
class ParallelHashTableParkingConcurrentTest : public testing::Test {
protected:
    static constexpr size_t LEADER_SLOT = 1;
    static constexpr size_t QUEUE_SLOT = 50;    // below the busy slot: the leader has it already
    static constexpr size_t BUSY_SLOT = 100;    // the leader waits for it
    static constexpr size_t QUOTA_SLOT = 120;   // holds quota
    static constexpr size_t SHARED_SLOT = 130;  // of a reader and an inserter
    static constexpr size_t FIRST_READER = 140; // slots without quota
    static constexpr size_t FIRST_INSERTER = 150;
    static constexpr size_t READERS = 3;
    static constexpr size_t INSERTERS = 3;

    /// Fills a table of 1024 buckets until an insertion without quota starts a resize.
    static void fill(NumberTable<T>& numbers) {
        numbers.insertRange(1, 601);
        const ScopedThreadContextIndex index(QUOTA_SLOT);
        numbers.insert(601);
        ASSERT_EQ(700u, numbers.getUsedBuckets());
        ASSERT_EQ(0u, numbers.getQuota(0));
        ASSERT_EQ(99u, numbers.getQuota(QUOTA_SLOT));
    }

    static uint16_t getLockCount(NumberTable<T>& numbers, const size_t slot) {
        return Peer::getThreadContexts(numbers.m_table)[slot].m_lockCount.load(std::memory_order_acquire);
    }

    void insert(NumberTable<T>& numbers, const T number) {
        try {
            EXPECT_TRUE(numbers.insert(number));
            m_inserted.fetch_add(1, std::memory_order_acq_rel);
        } catch (const MemoryExhaustedException&) {
            m_refused.fetch_add(1, std::memory_order_acq_rel);
        }
    }

    void find(NumberTable<T>& numbers, const T number) {
        m_found.fetch_add(numbers.contains(number) ? 1 : 0, std::memory_order_acq_rel);
    }

    /// Brings all threads to their waiting points, and lets the leader continue.
    void run(NumberTable<T>& numbers) {
        fill(numbers);
        ParkedThreads parkedThreads(Peer::getResizeCondition(numbers.m_table));
        std::deque<SlotThread> threads;
        {
            const ScopedThreadContextIndex index(BUSY_SLOT);
            const typename NumberTable<T>::Operation operation(numbers.m_table);
            threads.emplace_back(LEADER_SLOT, [&] { insert(numbers, 1001); });
            waitOrAbort("the leader", [&] { return getLockCount(numbers, BUSY_SLOT) == 2; });
            for (size_t reader = 0; reader < READERS; ++reader)
                threads.emplace_back(FIRST_READER + reader, [&, reader] { find(numbers, T(1 + reader)); });
            for (size_t inserter = 0; inserter < INSERTERS; ++inserter)
                threads.emplace_back(FIRST_INSERTER + inserter, [&, inserter] { insert(numbers, T(2001 + inserter)); });
            threads.emplace_back(QUOTA_SLOT, [&] { insert(numbers, 3001); });
            threads.emplace_back(SHARED_SLOT, [&] { find(numbers, 600); });
            threads.emplace_back(SHARED_SLOT, [&] { insert(numbers, 4001); });
            threads.emplace_back(QUEUE_SLOT, [&] { find(numbers, 601); });
            threads.emplace_back(QUEUE_SLOT, [&] { insert(numbers, 5001); });
            parkedThreads.waitFor(READERS + INSERTERS + 3);
            waitOrAbort("the queue", [&] { return getLockCount(numbers, QUEUE_SLOT) == 3; });

            for (const size_t slot : {QUOTA_SLOT, SHARED_SLOT, FIRST_READER, FIRST_INSERTER})
                EXPECT_EQ(0, getLockCount(numbers, slot)) << "a parked thread holds no slot";
            EXPECT_EQ(1, getLockCount(numbers, QUEUE_SLOT - 1)) << "the leader's";
            EXPECT_EQ(0u, m_found.load(std::memory_order_acquire) + m_inserted.load(std::memory_order_acquire) +
                              m_refused.load(std::memory_order_acquire));
            EXPECT_EQ(NumberTable<T>::Table::RESIZE_PREPARING,
                      Peer::getResizeState(numbers.m_table).load(std::memory_order_acquire));
            EXPECT_EQ(700u, numbers.getUsedBuckets());
        }
        for (const SlotThread& thread : threads)
            thread.waitForEnd();
        EXPECT_EQ(READERS + 2, m_found.load(std::memory_order_acquire));
    }

    std::atomic<size_t> m_found = 0;
    std::atomic<size_t> m_inserted = 0;
    std::atomic<size_t> m_refused = 0;
};

} // namespace

TYPED_TEST_SUITE(ParallelHashTableParkingConcurrentTest, BucketWidths, BucketWidthNames);

TYPED_TEST(ParallelHashTableParkingConcurrentTest, everyParkedThreadContinuesInTheLargerTable) {
    NumberTable<TypeParam> numbers;
    this->run(numbers);
    EXPECT_EQ(this->INSERTERS + 4, this->m_inserted.load(std::memory_order_acquire));
    EXPECT_EQ(0u, this->m_refused.load(std::memory_order_acquire));
    EXPECT_EQ(2048u, numbers.m_table.getNumberOfBuckets()) << "one resize for all of them";
    for (const TypeParam number : std::initializer_list<TypeParam>{1001, 2001, 2002, 2003, 3001, 4001, 5001})
        EXPECT_TRUE(numbers.contains(number)) << number;
    EXPECT_TRUE(numbers.containsRange(1, 602));
    EXPECT_EQ(700u + 100 * (this->INSERTERS + 3), numbers.getUsedBuckets()) << "a batch for each but one";
    EXPECT_EQ(98u, numbers.getQuota(this->QUOTA_SLOT)) << "which had quota";
    for (const size_t slot : {this->LEADER_SLOT, this->SHARED_SLOT, this->QUEUE_SLOT, this->FIRST_INSERTER,
                              this->FIRST_INSERTER + 1, this->FIRST_INSERTER + 2})
        EXPECT_EQ(99u, numbers.getQuota(slot)) << slot;
    EXPECT_EQ(0u, numbers.getQuota(this->FIRST_READER));
    expectSoundAtRest(numbers.m_table);
}

// Each thread that wants to insert and has no quota leads a resize in turn, parks the others again, and fails.
TYPED_TEST(ParallelHashTableParkingConcurrentTest, everyParkedThreadContinuesInTheOldTableWhenThePreparationFails) {
    NumberTable<TypeParam> numbers(1024, &NumberPolicy<TypeParam>::identity, 2048 * sizeof(TypeParam));
    this->run(numbers);
    EXPECT_EQ(1u, this->m_inserted.load(std::memory_order_acquire)) << "the thread that had quota";
    EXPECT_EQ(this->INSERTERS + 3, this->m_refused.load(std::memory_order_acquire));
    EXPECT_EQ(1024u, numbers.m_table.getNumberOfBuckets());
    EXPECT_EQ(1024 * sizeof(TypeParam), numbers.getChargedBytes());
    EXPECT_TRUE(numbers.containsRange(1, 602));
    EXPECT_TRUE(numbers.contains(3001));
    for (const TypeParam number : std::initializer_list<TypeParam>{1001, 2001, 2002, 2003, 4001, 5001})
        EXPECT_FALSE(numbers.contains(number)) << number;
    EXPECT_EQ(700u, numbers.getUsedBuckets());
    EXPECT_EQ(98u, Peer::getSumOfQuotas(numbers.m_table));
    EXPECT_EQ(98u, numbers.getQuota(this->QUOTA_SLOT));
    expectSoundAtRest(numbers.m_table);
}

// A thread has observed a resize that is over when it wants to wait for it or to help with it.
TYPED_TEST(ParallelHashTableParkingConcurrentTest, anObservationOfAResizeThatIsOverBringsTheThreadBack) {
    using Table = typename NumberTable<TypeParam>::Table;
    NumberTable<TypeParam> numbers(2048);
    numbers.insertRange(1, 500);
    numbers.resize();
    ASSERT_EQ(2u, Peer::getNumberOfResizeChunks(numbers.m_table));
    for (const size_t observedState : {size_t(0), size_t(1), size_t(2), Table::RESIZE_PREPARING, Table::NOT_RESIZING}) {
        SlotThread thread(5, [&] {
            const typename NumberTable<TypeParam>::Operation operation(numbers.m_table);
            numbers.m_table.handleResize(operation.getThreadContext(), observedState);
            EXPECT_EQ(1, this->getLockCount(numbers, 5)) << "the thread still holds its slot";
        });
        thread.waitForEnd();
        EXPECT_EQ(Table::NOT_RESIZING, Peer::getResizeState(numbers.m_table).load(std::memory_order_acquire));
        EXPECT_EQ(4096u, numbers.m_table.getNumberOfBuckets());
    }
    EXPECT_TRUE(numbers.containsRange(1, 500));
    expectSoundAtRest(numbers.m_table);
}
