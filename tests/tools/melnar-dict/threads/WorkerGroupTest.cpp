#include "tools/melnar-dict/threads/WorkerGroup.h"

#include "tests/support/CaughtException.h"

#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <thread>

namespace {

TEST(WorkerGroupConcurrentTest, runsTheWorkInEveryThread) {
    std::atomic<unsigned> runs = 0;
    std::atomic<unsigned> wakings = 0;
    WorkerGroup group([&] { ++wakings; });
    group.start(5, [&] { ++runs; });
    group.join();
    EXPECT_EQ(5u, runs);
    EXPECT_EQ(0u, wakings);
}

TEST(WorkerGroupConcurrentTest, wakesTheOthersWhenOneFailsAndReportsWhy) {
    std::atomic<bool> isOver = false;
    std::atomic<unsigned> tickets = 0;
    WorkerGroup group([&] { isOver = true; });
    group.start(3, [&] {
        if (tickets++ == 0)
            throw std::runtime_error("the first");
        while (!isOver)
            std::this_thread::yield();
    });
    EXPECT_STREQ("the first", catchException<std::runtime_error>([&] { group.join(); }).what());
    EXPECT_EQ(3u, tickets);
}

TEST(WorkerGroupConcurrentTest, wakesAndJoinsWhatStillRunsWhenItGoes) {
    std::atomic<bool> isOver = false;
    std::atomic<unsigned> ended = 0;
    {
        WorkerGroup group([&] { isOver = true; });
        group.start(2, [&] {
            while (!isOver)
                std::this_thread::yield();
            ++ended;
        });
    }
    EXPECT_EQ(2u, ended);
}

} // namespace
