#include "Engine/core/platform/MemoryExhaustedException.h"
#include "tests/Engine/core/platform/collections/NumberTable.h"
#include "tests/Engine/core/platform/collections/TableChecks.h"
#include "tests/support/LockObserver.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <utility>
#include <vector>

// The order of one thread's calls on the table's mutex and condition. A mistake in it would be visible between threads
// only if they meet at one instruction.

namespace {

using Peer = ParallelHashTableTestPeer;
using Event = LockObserver::Event;

template<class T>
class ParallelHashTableLockingTest : public testing::Test {};

/// Records the events of a table's resize mutex and resize condition, each with the resize state at that moment.
template<class Table>
class ResizeStateRecorder : public LockObserver {
public:
    using Steps = std::vector<std::pair<Event, size_t>>;

    explicit ResizeStateRecorder(Table& table) : m_table(table) {}

    void notice(const Event event, const void* const object) override {
        if (object == &Peer::getResizeMutex(m_table) || object == &Peer::getResizeCondition(m_table))
            m_steps.emplace_back(event, Peer::getResizeState(m_table).load(std::memory_order_acquire));
    }

    const Steps& getSteps() const { return m_steps; }

private:
    Table& m_table;
    Steps m_steps;
};

/// Returns all steps of a leader that ends RESIZE_PREPARING with `newState`.
template<class Table>
typename ResizeStateRecorder<Table>::Steps getExpectedSteps(const size_t newState) {
    return {{Event::MUTEX_LOCKED, Table::RESIZE_PREPARING},
            {Event::CONDITION_BROADCAST, newState},
            {Event::MUTEX_UNLOCKING, newState},
            {Event::MUTEX_UNLOCKED, newState}};
}

} // namespace

TYPED_TEST_SUITE(ParallelHashTableLockingTest, BucketWidths, BucketWidthNames);

// A parking thread tests the state under the mutex before it waits. If the state changed without the mutex, the thread
// could miss the broadcast. If it changed after the broadcast, the thread would wait again.
TYPED_TEST(ParallelHashTableLockingTest, aPreparedResizeIsPublishedUnderTheMutexAndThenBroadcast) {
    using Table = typename NumberTable<TypeParam>::Table;
    NumberTable<TypeParam> numbers(2048);
    numbers.insertRange(1, 500);
    {
        const ResizeStateRecorder<Table> recorder(numbers.m_table);
        numbers.resize();
        EXPECT_EQ(getExpectedSteps<Table>(0), recorder.getSteps());
    }
    EXPECT_EQ(4096u, numbers.m_table.getNumberOfBuckets());
    EXPECT_TRUE(numbers.containsRange(1, 500));
    expectSoundAtRest(numbers.m_table);
}

TYPED_TEST(ParallelHashTableLockingTest, aFailedPreparationIsPublishedUnderTheMutexAndThenBroadcast) {
    using Table = typename NumberTable<TypeParam>::Table;
    NumberTable<TypeParam> numbers(1024, &NumberPolicy<TypeParam>::identity, 2048 * sizeof(TypeParam));
    numbers.insertRange(1, 500);
    {
        const ResizeStateRecorder<Table> recorder(numbers.m_table);
        EXPECT_THROW(numbers.resize(), MemoryExhaustedException);
        EXPECT_EQ(getExpectedSteps<Table>(Table::NOT_RESIZING), recorder.getSteps());
    }
    EXPECT_EQ(1024u, numbers.m_table.getNumberOfBuckets());
    expectSoundAtRest(numbers.m_table);
}

TYPED_TEST(ParallelHashTableLockingTest, nothingButAResizeTouchesTheMutexOrTheCondition) {
    using Table = typename NumberTable<TypeParam>::Table;
    NumberTable<TypeParam> numbers;
    const ResizeStateRecorder<Table> recorder(numbers.m_table);
    numbers.insertRange(1, 701);
    EXPECT_TRUE(numbers.containsRange(1, 701));
    numbers.removeRange(1, 100);
    numbers.m_table.shrinkToFit(1024);
    numbers.m_table.clear();
    EXPECT_EQ(typename ResizeStateRecorder<Table>::Steps(), recorder.getSteps());
    numbers.insertRange(1, 702);
    EXPECT_EQ(getExpectedSteps<Table>(0), recorder.getSteps()) << "an insertion that grows the table";
}
