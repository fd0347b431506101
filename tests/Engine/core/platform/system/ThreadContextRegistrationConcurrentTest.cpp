#include "Engine/core/platform/system/ThreadContextRegistration.h"
#include "tests/support/RunTogether.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <thread>
#include <vector>

namespace {

using UsersOfIndices = std::array<std::atomic<size_t>, NUMBER_OF_THREAD_CONTEXT_INDICES>;

/// Registers that many threads, all at the same time, and counts how many of them got each index.
void countUsers(const size_t numberOfThreads, UsersOfIndices& users) {
    runTogether<ThreadContextRegistration>(numberOfThreads,
                                           [&users](const size_t) { ++users.at(g_currentThreadContextIndex); });
}

} // namespace

TEST(ThreadContextRegistrationConcurrentTest, asManyThreadsAsIndicesGetDistinctOnes) {
    for (int round = 0; round < 2; ++round) {
        UsersOfIndices users{};
        countUsers(NUMBER_OF_THREAD_CONTEXT_INDICES, users);
        for (const std::atomic<size_t>& usersOfIndex : users)
            EXPECT_EQ(1u, usersOfIndex) << "round " << round;
    }
}

TEST(ThreadContextRegistrationConcurrentTest, moreThreadsThanIndicesShareThemEvenly) {
    UsersOfIndices users{};
    countUsers(NUMBER_OF_THREAD_CONTEXT_INDICES + 44, users);
    EXPECT_EQ(44, std::count(users.begin(), users.end(), 2u));
    EXPECT_EQ(212, std::count(users.begin(), users.end(), 1u));
}

TEST(ThreadContextRegistrationConcurrentTest, twiceAsManyThreadsAsIndicesAreTwoOnEach) {
    UsersOfIndices users{};
    countUsers(2 * NUMBER_OF_THREAD_CONTEXT_INDICES, users);
    for (const std::atomic<size_t>& usersOfIndex : users)
        EXPECT_EQ(2u, usersOfIndex);
}

TEST(ThreadContextRegistrationConcurrentTest, allIndicesAreFreeAgainAfterACrowd) {
    UsersOfIndices crowd{};
    countUsers(2 * NUMBER_OF_THREAD_CONTEXT_INDICES, crowd);
    UsersOfIndices users{};
    countUsers(8, users);
    for (size_t index = 0; index < NUMBER_OF_THREAD_CONTEXT_INDICES; ++index)
        EXPECT_EQ(index < 8 ? 1u : 0u, users[index]) << "index " << index;
}

TEST(ThreadContextRegistrationConcurrentTest, threadsThatComeAndGoNeverShareWhileThereAreIndicesLeft) {
    constexpr size_t NUMBER_OF_THREADS = 8;
    UsersOfIndices users{};
    std::atomic<size_t> sharings = 0;
    std::atomic<size_t> overlaps = 0;
    std::atomic<size_t> registered = 0;
    std::vector<std::thread> threads;
    for (size_t thread = 0; thread < NUMBER_OF_THREADS; ++thread)
        threads.emplace_back([&] {
            for (int round = 0; round < 2000 || overlaps == 0; ++round) {
                const ThreadContextRegistration registration;
                const size_t index = g_currentThreadContextIndex;
                sharings += users.at(index).fetch_add(1) != 0 ? 1 : 0;
                overlaps += registered.fetch_add(1) != 0 ? 1 : 0;
                if (round % 16 == 0)
                    std::this_thread::yield();
                registered.fetch_sub(1);
                users[index].fetch_sub(1);
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(0u, sharings);
    EXPECT_LT(0u, overlaps) << "never two threads at once: nothing was tested";
}
