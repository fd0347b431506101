#include "Engine/core/platform/collections/TableThreadContext.h"

#include "tests/support/SystemCallFaults.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <optional>

using namespace melnar;

namespace {

template<class T>
bool isAllZero(const T& object) {
    const auto* const bytes = reinterpret_cast<const std::byte*>(&object);
    return std::all_of(bytes, bytes + sizeof(T), [](const std::byte byte) { return byte == std::byte(0); });
}

/// Returns the offset of a field in the slot.
template<class Field>
ptrdiff_t getOffset(const TableThreadContext& threadContext, const Field& field) {
    return reinterpret_cast<const std::byte*>(&field) - reinterpret_cast<const std::byte*>(&threadContext);
}

} // namespace

TEST(TableThreadContextTest, slotsNeverShareACacheLine) {
    EXPECT_EQ(64u, alignof(TableThreadContext));
    const std::array<TableThreadContext, 3> slots{};
    EXPECT_EQ(0u, reinterpret_cast<uintptr_t>(&slots[0]) % 64);
    EXPECT_EQ(0u, reinterpret_cast<uintptr_t>(&slots[1]) % 64);
    EXPECT_EQ(2 * sizeof(TableThreadContext),
              reinterpret_cast<uintptr_t>(&slots[2]) - reinterpret_cast<uintptr_t>(&slots[0]));
}

TEST(TableThreadContextTest, fieldsFollowTheirOrder) {
    const TableThreadContext slot;
    EXPECT_EQ(0, getOffset(slot, slot.m_insertionQuota));
    EXPECT_EQ(4, getOffset(slot, slot.m_lockCount));
    EXPECT_EQ(6, getOffset(slot, slot.m_wakeUp));
    EXPECT_EQ(8, getOffset(slot, slot.m_mutex));
    EXPECT_EQ(8 + ptrdiff_t(sizeof(pthread_mutex_t)), getOffset(slot, slot.m_condition));
    EXPECT_EQ(4u, sizeof(slot.m_insertionQuota));
    EXPECT_EQ(2u, sizeof(slot.m_lockCount));
    EXPECT_EQ(1u, sizeof(slot.m_wakeUp));
}

TEST(TableThreadContextTest, startsFreeWithoutQuotaAsZeros) {
    const TableThreadContext slot;
    EXPECT_EQ(0u, slot.getInsertionQuota());
    EXPECT_EQ(0, slot.m_lockCount.load(std::memory_order_relaxed));
    EXPECT_EQ(0, slot.m_wakeUp);
    EXPECT_TRUE(isAllZero(slot.m_mutex));
    EXPECT_TRUE(isAllZero(slot.m_condition));
}

TEST(TableThreadContextTest, enteringAndLeavingAFreeSlotOnlyCounts) {
    TableThreadContext slot;
    slot.m_mutex.lock(); // an operation that locked the mutex would hang
    acquireThreadContext(slot);
    EXPECT_EQ(1, slot.m_lockCount.load(std::memory_order_relaxed));
    releaseThreadContext(slot);
    slot.m_mutex.unlock();
    EXPECT_EQ(0, slot.m_lockCount.load(std::memory_order_relaxed));
    EXPECT_EQ(0, slot.m_wakeUp);
}

TEST(TableThreadContextTest, leavingAContendedSlotHandsItOverToExactlyOne) {
    TableThreadContext slot;
    acquireThreadContext(slot);
    slot.m_lockCount.fetch_add(2, std::memory_order_relaxed); // two threads have arrived and not started to wait yet
    releaseThreadContext(slot);
    EXPECT_EQ(2, slot.m_lockCount.load(std::memory_order_relaxed));
    EXPECT_EQ(1, slot.m_wakeUp) << "the hand-over waits for its taker";

    acquireThreadContext(
        slot); // a third one finds the flag raised and takes the slot: the order of arrival does not matter
    EXPECT_EQ(3, slot.m_lockCount.load(std::memory_order_relaxed));
    EXPECT_EQ(0, slot.m_wakeUp) << "no other thread may take the slot now";
    releaseThreadContext(slot);
    EXPECT_EQ(2, slot.m_lockCount.load(std::memory_order_relaxed));
    EXPECT_EQ(1, slot.m_wakeUp);
}

TEST(TableThreadContextTest, theLastOfAQueueLeavesTheSlotFree) {
    TableThreadContext slot;
    acquireThreadContext(slot);
    slot.m_lockCount.fetch_add(1, std::memory_order_relaxed); // the waiter that is about to take the slot
    releaseThreadContext(slot);
    ASSERT_EQ(1, slot.m_wakeUp);
    slot.m_wakeUp = 0; // it has taken the slot
    releaseThreadContext(slot);
    EXPECT_EQ(0, slot.m_lockCount.load(std::memory_order_relaxed));
    EXPECT_EQ(0, slot.m_wakeUp);
    acquireThreadContext(slot);
    EXPECT_EQ(1, slot.m_lockCount.load(std::memory_order_relaxed)) << "free slots are entered without waiting";
    releaseThreadContext(slot);
}

TEST(TableThreadContextTest, quotaIsIndependentOfTheLock) {
    TableThreadContext slot;
    slot.setInsertionQuota(4'000'000'000);
    acquireThreadContext(slot);
    EXPECT_EQ(4'000'000'000, slot.getInsertionQuota());
    slot.setInsertionQuota(1);
    releaseThreadContext(slot);
    EXPECT_EQ(1u, slot.getInsertionQuota());
}

TEST(TableThreadContextTest, destructionDestroysMutexAndCondition) {
    std::optional<TableThreadContext> slot(std::in_place);
    const SystemCallFaults mutexes(SystemCallFaults::Call::MUTEX_DESTROY);
    const SystemCallFaults conditions(SystemCallFaults::Call::CONDITION_DESTROY);
    slot.reset();
    EXPECT_EQ(1u, mutexes.getNumberOfCalls());
    EXPECT_EQ(1u, conditions.getNumberOfCalls());
}
