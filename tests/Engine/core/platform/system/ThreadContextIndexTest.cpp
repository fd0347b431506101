#include "Engine/core/platform/system/ThreadContextIndex.h"

#include <gtest/gtest.h>

#include <optional>
#include <thread>

namespace {

// Before there are other threads, so that the main thread has index 0 in every order of tests.
[[maybe_unused]] const size_t INDEX_OF_MAIN_THREAD = getCurrentThreadContextIndex();

/// Runs `work` in a separate thread.
template<class Work>
void inAnotherThread(const Work& work) {
    std::jthread thread(work);
}

TEST(ThreadContextIndexTest, aThreadHasNoneUntilItNeedsOne) {
    inAnotherThread([] {
        EXPECT_EQ(NO_THREAD_CONTEXT_INDEX, g_currentThreadContextIndex);
        EXPECT_EQ(0u, g_currentThreadID);
        const size_t index = getCurrentThreadContextIndex();
        EXPECT_GT(NUMBER_OF_THREAD_CONTEXT_INDICES, index);
        EXPECT_EQ(index, g_currentThreadContextIndex);
        EXPECT_EQ(index, getCurrentThreadContextIndex()) << "and keeps it";
    });
}

TEST(ThreadContextIndexTest, theLowestFreeIndexIsGiven) {
    EXPECT_EQ(0u, INDEX_OF_MAIN_THREAD);
    inAnotherThread([] {
        EXPECT_EQ(1u, getCurrentThreadContextIndex());
        inAnotherThread([] { EXPECT_EQ(2u, getCurrentThreadContextIndex()); });
    });
}

TEST(ThreadContextIndexTest, theIndexComesBackWhenItsThreadEnds) {
    for (size_t round = 0; round < 2 * NUMBER_OF_THREAD_CONTEXT_INDICES; ++round)
        inAnotherThread([] { EXPECT_EQ(1u, getCurrentThreadContextIndex()); });
}

/// Needs an index when its thread ends.
struct LastUse {
    ~LastUse() {
        if (m_index != nullptr)
            *m_index = getCurrentThreadContextIndex();
    }

    size_t* m_index = nullptr;
};

thread_local LastUse s_lastUse;

TEST(ThreadContextIndexTest, anObjectOfTheThreadThatIsDestroyedAfterwardsUsesSlot0) {
    size_t index = NO_THREAD_CONTEXT_INDEX;
    inAnotherThread([&index] {
        s_lastUse.m_index = &index;
        EXPECT_EQ(1u, getCurrentThreadContextIndex());
    });
    EXPECT_EQ(0u, index);
    inAnotherThread([] { EXPECT_EQ(1u, getCurrentThreadContextIndex()) << "nothing has leaked"; });
}

TEST(ThreadContextIndexTest, aLoanGivesAnotherIndex) {
    inAnotherThread([] {
        EXPECT_EQ(1u, getCurrentThreadContextIndex());
        {
            const ThreadContextLoan loan(7);
            EXPECT_EQ(7u, getCurrentThreadContextIndex());
            EXPECT_TRUE(g_hasThreadContextLoan);
            {
                const ThreadContextLoan inner;
                EXPECT_EQ(0u, getCurrentThreadContextIndex());
            }
            EXPECT_EQ(7u, getCurrentThreadContextIndex());
            EXPECT_TRUE(g_hasThreadContextLoan);
        }
        EXPECT_EQ(1u, getCurrentThreadContextIndex());
        EXPECT_FALSE(g_hasThreadContextLoan);
    });
}

TEST(ThreadContextIndexTest, aThreadThatHasNoIndexMayBorrow) {
    inAnotherThread([] {
        {
            const ThreadContextLoan loan(7);
            EXPECT_EQ(7u, getCurrentThreadContextIndex());
            EXPECT_NE(0u, getCurrentThreadID());
            EXPECT_EQ(7u, getCurrentThreadContextIndex()) << "the ID does not end the loan";
        }
        EXPECT_EQ(NO_THREAD_CONTEXT_INDEX, g_currentThreadContextIndex);
        EXPECT_EQ(1u, getCurrentThreadContextIndex()) << "nothing is left of the loan";
    });
    inAnotherThread([] { EXPECT_EQ(1u, getCurrentThreadContextIndex()); });
}

TEST(ThreadContextIndexTest, noTwoThreadsHaveTheSameID) {
    std::optional<uint64_t> last;
    for (int round = 0; round < 3; ++round)
        inAnotherThread([&last] {
            const uint64_t id = getCurrentThreadID();
            EXPECT_NE(0u, id);
            EXPECT_EQ(id, getCurrentThreadID());
            EXPECT_NE(last, id);
            last = id;
        });
    EXPECT_NE(last, getCurrentThreadID());
}

} // namespace
