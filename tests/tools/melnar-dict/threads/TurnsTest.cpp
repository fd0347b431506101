#include "tools/melnar-dict/threads/Turns.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <thread>
#include <vector>

namespace {

/// Takes the turns of all numbers with `numberOfThreads` threads, which come in no order; every seventh action throws.
std::vector<uint64_t> takeTurns(Turns& turns, const uint64_t numberOfTurns, const size_t numberOfThreads) {
    std::atomic<uint64_t> nextNumber = 0;
    std::atomic<size_t> numberOfExceptions = 0;
    std::vector<uint64_t> taken; // protected by the turns
    std::vector<std::thread> threads;
    for (size_t index = 0; index < numberOfThreads; ++index)
        threads.emplace_back([&] {
            for (uint64_t number = nextNumber++; number < numberOfTurns; number = nextNumber++)
                try {
                    turns.take(number, [&] {
                        taken.push_back(number);
                        if (number % 7 == 0)
                            throw std::runtime_error("a turn that fails");
                    });
                } catch (const std::runtime_error&) {
                    ++numberOfExceptions;
                }
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ((numberOfTurns + 6) / 7, numberOfExceptions);
    return taken;
}

TEST(TurnsConcurrentTest, comeInTheOrderOfTheNumbersAndAfterFailures) {
    constexpr uint64_t NUMBER_OF_TURNS = 5000;
    std::vector<uint64_t> expected;
    for (uint64_t number = 0; number < NUMBER_OF_TURNS; ++number)
        expected.push_back(number);
    for (const size_t numberOfThreads : {1u, 2u, 3u, 16u}) {
        Turns turns;
        EXPECT_EQ(expected, takeTurns(turns, NUMBER_OF_TURNS, numberOfThreads));
        turns.startOver();
        EXPECT_EQ(expected, takeTurns(turns, NUMBER_OF_TURNS, numberOfThreads)) << "again";
    }
}

// The first numbers come last.
TEST(TurnsConcurrentTest, wakeThreadsThatArriveInReverseOrder) {
    constexpr uint64_t NUMBER_OF_TURNS = 20;
    Turns turns;
    std::vector<uint64_t> taken;
    std::vector<std::thread> threads;
    for (uint64_t number = NUMBER_OF_TURNS; number-- > 0;)
        threads.emplace_back([&turns, &taken, number] { turns.take(number, [&] { taken.push_back(number); }); });
    for (std::thread& thread : threads)
        thread.join();
    ASSERT_EQ(NUMBER_OF_TURNS, taken.size());
    for (uint64_t number = 0; number < NUMBER_OF_TURNS; ++number)
        EXPECT_EQ(number, taken[number]);
}

} // namespace
