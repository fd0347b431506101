#include "Engine/core/platform/system/ThreadContextIndex.h"
#include "tests/support/RunTogether.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <barrier>
#include <thread>
#include <vector>

namespace {

using UsersOfIndices = std::array<std::atomic<size_t>, NUMBER_OF_THREAD_CONTEXT_INDICES>;

// Before there are other threads, so that the main thread has index 0 in every order of tests.
[[maybe_unused]] const size_t INDEX_OF_MAIN_THREAD = getCurrentThreadContextIndex();

/// Counts how many of `numberOfThreads` concurrent threads, including the main thread, get each index.
void countUsers(const size_t numberOfThreads, UsersOfIndices& users) {
    ++users.at(INDEX_OF_MAIN_THREAD);
    std::barrier<> end(static_cast<ptrdiff_t>(numberOfThreads - 1));
    runTogether(numberOfThreads - 1, [&](const size_t) {
        ++users.at(getCurrentThreadContextIndex());
        end.arrive_and_wait();
    });
}

} // namespace

TEST(ThreadContextIndexConcurrentTest, asManyThreadsAsIndicesGetDistinctOnes) {
    for (int round = 0; round < 2; ++round) {
        UsersOfIndices users{};
        countUsers(NUMBER_OF_THREAD_CONTEXT_INDICES, users);
        for (const std::atomic<size_t>& usersOfIndex : users)
            EXPECT_EQ(1u, usersOfIndex) << "round " << round;
    }
}

TEST(ThreadContextIndexConcurrentTest, moreThreadsThanIndicesShareThemEvenly) {
    UsersOfIndices users{};
    countUsers(NUMBER_OF_THREAD_CONTEXT_INDICES + 44, users);
    EXPECT_EQ(44, std::count(users.begin(), users.end(), 2u));
    EXPECT_EQ(212, std::count(users.begin(), users.end(), 1u));
}

TEST(ThreadContextIndexConcurrentTest, twiceAsManyThreadsAsIndicesAreTwoOnEach) {
    UsersOfIndices users{};
    countUsers(2 * NUMBER_OF_THREAD_CONTEXT_INDICES, users);
    for (const std::atomic<size_t>& usersOfIndex : users)
        EXPECT_EQ(2u, usersOfIndex);
}

TEST(ThreadContextIndexConcurrentTest, allIndicesAreFreeAgainAfterACrowd) {
    UsersOfIndices crowd{};
    countUsers(2 * NUMBER_OF_THREAD_CONTEXT_INDICES, crowd);
    UsersOfIndices users{};
    countUsers(8, users);
    for (size_t index = 0; index < NUMBER_OF_THREAD_CONTEXT_INDICES; ++index)
        EXPECT_EQ(index < 8 ? 1u : 0u, users[index]) << "index " << index;
}

TEST(ThreadContextIndexConcurrentTest, threadsThatComeAndGoNeverShareWhileThereAreIndicesLeft) {
    constexpr size_t NUMBER_OF_THREADS = 8;
    UsersOfIndices users{};
    std::atomic<size_t> sharings = 0;
    std::atomic<size_t> overlaps = 0;
    std::atomic<size_t> present = 0;
    runTogether(NUMBER_OF_THREADS, [&](const size_t) {
        for (int round = 0; round < 200 || overlaps == 0; ++round)
            std::jthread([&, round] {
                const size_t index = getCurrentThreadContextIndex();
                sharings += users.at(index).fetch_add(1) != 0 ? 1 : 0;
                overlaps += present.fetch_add(1) != 0 ? 1 : 0;
                if (round % 16 == 0)
                    std::this_thread::yield();
                present.fetch_sub(1);
                users[index].fetch_sub(1);
            });
    });
    EXPECT_EQ(0u, sharings);
    EXPECT_LT(0u, overlaps) << "never two threads together: nothing was tested";
}
