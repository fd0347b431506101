#include "Engine/core/platform/MemoryExhaustedException.h"
#include "tests/Engine/core/platform/collections/NumberTable.h"
#include "tests/Engine/core/platform/collections/ScopedThreadContextIndex.h"
#include "tests/Engine/core/platform/collections/SlotThread.h"
#include "tests/Engine/core/platform/collections/TableChecks.h"
#include "tests/Engine/core/platform/collections/WaitOrAbort.h"
#include "tests/support/LockObserver.h"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>

using namespace melnar;

// The leader of a resize has started the rehash and left the other slots, and is delayed before it takes part in it.

namespace {

using Peer = ParallelHashTableTestPeer;

constexpr size_t LEADER_SLOT = 1;
constexpr size_t HELPER_SLOT = 255; // the last one that the leader takes and leaves

/// Delays the leader from the moment when it has left all slots except its own. To detect that moment, it first delays
/// the leader while it has all slots, until a helper waits for the last one, which the leader then hands over.
template<class Table>
class LateLeader : public LockObserver {
public:
    explicit LateLeader(Table& table) : m_table(table), m_hasAllSlots(false), m_isHeld(false), m_mayGoOn(false) {}

    void notice(const Event event, const void* const object) override {
        if (g_currentThreadContextIndex != LEADER_SLOT || m_mayGoOn.load(std::memory_order_acquire))
            return;
        TableThreadContext& helperSlot = Peer::getThreadContexts(m_table)[HELPER_SLOT];
        if (event == Event::MUTEX_LOCKED && object == &Peer::getResizeMutex(m_table)) {
            m_hasAllSlots.store(true, std::memory_order_release);
            waitOrAbort("a helper", [&] { return helperSlot.m_lockCount.load(std::memory_order_acquire) == 2; });
        } else if (event == Event::MUTEX_UNLOCKED && object == &helperSlot.m_mutex) {
            m_isHeld.store(true, std::memory_order_release);
            waitOrAbort("the test", [&] { return m_mayGoOn.load(std::memory_order_acquire); });
        }
    }

    void waitUntilItHasAllSlots() const {
        waitOrAbort("the leader to prepare", [this] { return m_hasAllSlots.load(std::memory_order_acquire); });
    }

    void waitUntilItIsHeld() const {
        waitOrAbort("the leader to hand over", [this] { return m_isHeld.load(std::memory_order_acquire); });
    }

    void letGo() { m_mayGoOn.store(true, std::memory_order_release); }

private:
    Table& m_table;
    std::atomic<bool> m_hasAllSlots;
    std::atomic<bool> m_isHeld;
    std::atomic<bool> m_mayGoOn;
};

template<class T>
class ParallelHashTableLateLeaderConcurrentTest : public testing::Test {
protected:
    static size_t getState(NumberTable<T>& numbers) {
        return Peer::getResizeState(numbers.m_table).load(std::memory_order_acquire);
    }

    /// `lead` starts a resize and is delayed; `help` enters the table and does the whole resize; `meanwhile` runs until
    /// the leader may continue.
    static void run(NumberTable<T>& numbers, const std::function<void()>& lead, const std::function<void()>& help,
                    const std::function<void(const SlotThread& helper)>& meanwhile) {
        LateLeader<typename NumberTable<T>::Table> lateLeader(numbers.m_table);
        const SlotThread leader(LEADER_SLOT, lead);
        lateLeader.waitUntilItHasAllSlots();
        const SlotThread helper(HELPER_SLOT, help);
        lateLeader.waitUntilItIsHeld();
        meanwhile(helper);
        EXPECT_FALSE(leader.hasEnded());
        lateLeader.letGo();
        leader.waitForEnd();
        helper.waitForEnd();
    }

    static void waitForTheNextPreparation(NumberTable<T>& numbers) {
        const auto& leaderSlot = Peer::getThreadContexts(numbers.m_table)[LEADER_SLOT];
        waitOrAbort("the next leader", [&] { return leaderSlot.m_lockCount.load(std::memory_order_acquire) == 2; });
        EXPECT_EQ(NumberTable<T>::Table::RESIZE_PREPARING, getState(numbers)) << "it waits for the late leader's slot";
    }
};

} // namespace

TYPED_TEST_SUITE(ParallelHashTableLateLeaderConcurrentTest, BucketWidths, BucketWidthNames);

TYPED_TEST(ParallelHashTableLateLeaderConcurrentTest, findsItsResizeFinishedAndStartsNoOther) {
    using Table = typename NumberTable<TypeParam>::Table;
    NumberTable<TypeParam> numbers(4096);
    numbers.insertRange(1, 1001);
    this->run(
        numbers, [&] { numbers.resize(); }, [&] { EXPECT_TRUE(numbers.contains(1000)); },
        [&](const SlotThread& helper) {
            helper.waitForEnd();
            EXPECT_EQ(Table::NOT_RESIZING, this->getState(numbers));
            EXPECT_EQ(8192 * sizeof(TypeParam), numbers.getChargedBytes()) << "the helper has released the old array";
            EXPECT_TRUE(numbers.containsRange(1, 1001));
        });
    EXPECT_EQ(8192u, numbers.m_table.getNumberOfBuckets());
    expectSoundAtRest(numbers.m_table);
}

// The helper wants to lead a resize while this one is already being rehashed: it helps to rehash, and leads none.
TYPED_TEST(ParallelHashTableLateLeaderConcurrentTest, isHelpedByAThreadThatComesTooLateToLead) {
    using Table = typename NumberTable<TypeParam>::Table;
    NumberTable<TypeParam> numbers(4096);
    numbers.insertRange(1, 1001);
    const auto helpWithoutJoining = [&] {
        auto& helperSlot = Peer::getThreadContexts(numbers.m_table)[HELPER_SLOT];
        acquireThreadContext(helperSlot);
        EXPECT_EQ(0u, this->getState(numbers));
        numbers.m_table.startHandleResize(helperSlot);
        EXPECT_EQ(Table::NOT_RESIZING, this->getState(numbers));
        releaseThreadContext(helperSlot);
    };
    this->run(
        numbers, [&] { numbers.resize(); }, helpWithoutJoining,
        [&](const SlotThread& helper) {
            helper.waitForEnd();
            EXPECT_EQ(8192u, numbers.m_table.getNumberOfBuckets());
        });
    EXPECT_EQ(8192u, numbers.m_table.getNumberOfBuckets()) << "one resize, not two";
    EXPECT_TRUE(numbers.containsRange(1, 1001));
    expectSoundAtRest(numbers.m_table);
}

TYPED_TEST(ParallelHashTableLateLeaderConcurrentTest, parksForTheNextResizeAndHelpsWithIt) {
    NumberTable<TypeParam> numbers(4096);
    numbers.insertRange(1, 1001);
    this->run(
        numbers, [&] { numbers.resize(); }, [&] { numbers.resize(); },
        [&](const SlotThread& helper) {
            this->waitForTheNextPreparation(numbers);
            EXPECT_EQ(8192u, numbers.m_table.getNumberOfBuckets()) << "the first resize is finished";
            EXPECT_FALSE(helper.hasEnded());
        });
    EXPECT_EQ(16384u, numbers.m_table.getNumberOfBuckets());
    EXPECT_EQ(16384 * sizeof(TypeParam), numbers.getChargedBytes());
    EXPECT_TRUE(numbers.containsRange(1, 1001));
    expectSoundAtRest(numbers.m_table);
}

TYPED_TEST(ParallelHashTableLateLeaderConcurrentTest, continuesAfterTheNextPreparationHasFailed) {
    if (areFingerprintsUnderTest())
        GTEST_SKIP() << "the memory limit counts every byte";
    NumberTable<TypeParam> numbers(4096, &NumberPolicy<TypeParam>::identity, 3 * 4096 * sizeof(TypeParam));
    numbers.insertRange(1, 1001);
    this->run(
        numbers, [&] { numbers.resize(); }, [&] { EXPECT_THROW(numbers.resize(), MemoryExhaustedException); },
        [&](const SlotThread&) { this->waitForTheNextPreparation(numbers); });
    EXPECT_EQ(8192u, numbers.m_table.getNumberOfBuckets());
    EXPECT_EQ(8192 * sizeof(TypeParam), numbers.getChargedBytes());
    EXPECT_TRUE(numbers.containsRange(1, 1001));
    expectSoundAtRest(numbers.m_table);
}

TYPED_TEST(ParallelHashTableLateLeaderConcurrentTest, leavesAllTombstonesToTheThreadThatRehashes) {
    NumberTable<TypeParam> numbers(4096);
    numbers.insertRange(1, 2601);
    numbers.removeRange(501, 2501); // in three of the four chunks
    ASSERT_EQ(2600u, numbers.getUsedBuckets());
    this->run(
        numbers, [&] { numbers.resize(); }, [&] { EXPECT_FALSE(numbers.contains(501)); },
        [&](const SlotThread& helper) {
            helper.waitForEnd();
            EXPECT_EQ(2000u, numbers.getQuota(HELPER_SLOT));
        });
    EXPECT_EQ(2000u, numbers.getQuota(HELPER_SLOT));
    EXPECT_EQ(2000u, Peer::getSumOfQuotas(numbers.m_table)) << "the leader has none of them, nor has anyone else";
    EXPECT_EQ(2600u, numbers.getUsedBuckets()) << "600 entries and 2000 that may be inserted";
    EXPECT_EQ(600u, numbers.m_table.getNumberOfNonEmptyBuckets());
    EXPECT_EQ(0u, numbers.m_table.getNumberOfDeletedBuckets());
    EXPECT_EQ(8192u, numbers.m_table.getNumberOfBuckets());
    expectSoundAtRest(numbers.m_table);
    const ScopedThreadContextIndex index(HELPER_SLOT);
    numbers.insertRange(5001, 7001);
    EXPECT_EQ(0u, numbers.getQuota(HELPER_SLOT)) << "the credit is spent";
    EXPECT_EQ(2600u, numbers.getUsedBuckets()) << "before anything is reserved";
    expectSoundAtRest(numbers.m_table);
}

// The table is rebuilt with the same size, and the helper gets all buckets that became free: the leader must resize
// again.
TYPED_TEST(ParallelHashTableLateLeaderConcurrentTest, growsTheTableWhenAnotherThreadHasAllTheCredit) {
    NumberTable<TypeParam> numbers;
    numbers.insertRange(1, 701);
    numbers.removeRange(1, 601);
    ASSERT_EQ(700u, numbers.getUsedBuckets());
    this->run(
        numbers, [&] { EXPECT_TRUE(numbers.insert(3001)); }, [&] { EXPECT_TRUE(numbers.contains(601)); },
        [&](const SlotThread& helper) {
            helper.waitForEnd();
            EXPECT_EQ(1024u, numbers.m_table.getNumberOfBuckets());
            EXPECT_EQ(600u, numbers.getQuota(HELPER_SLOT));
        });
    EXPECT_EQ(2048u, numbers.m_table.getNumberOfBuckets());
    EXPECT_EQ(800u, numbers.getUsedBuckets());
    EXPECT_EQ(600u, numbers.getQuota(HELPER_SLOT)) << "a credit outlives the next resize";
    EXPECT_EQ(99u, numbers.getQuota(LEADER_SLOT));
    EXPECT_TRUE(numbers.containsRange(601, 701));
    EXPECT_TRUE(numbers.contains(3001));
    expectSoundAtRest(numbers.m_table);
}
