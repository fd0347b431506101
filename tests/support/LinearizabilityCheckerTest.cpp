#include "tests/support/LinearizabilityChecker.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <deque>
#include <numeric>
#include <random>
#include <vector>

namespace {

/// A number that threads write and read. Initially 0.
struct Register {
    using State = int;

    struct Operation {
        uint64_t m_invocation;
        uint64_t m_response;
        bool m_isWrite;
        int m_value; // written or read
    };

    static bool apply(State& state, const Operation& operation) {
        if (operation.m_isWrite)
            state = operation.m_value;
        return state == operation.m_value;
    }
};

/// A queue, first in, first out.
struct Queue {
    using State = std::deque<char>;

    struct Operation {
        uint64_t m_invocation;
        uint64_t m_response;
        bool m_isPush;
        char m_item;
    };

    static bool apply(State& state, const Operation& operation) {
        if (operation.m_isPush) {
            state.push_back(operation.m_item);
            return true;
        }
        if (state.empty() || state.front() != operation.m_item)
            return false;
        state.pop_front();
        return true;
    }
};

Register::Operation write(const uint64_t invocation, const uint64_t response, const int value) {
    return {invocation, response, true, value};
}

Register::Operation read(const uint64_t invocation, const uint64_t response, const int value) {
    return {invocation, response, false, value};
}

Queue::Operation push(const uint64_t invocation, const uint64_t response, const char item) {
    return {invocation, response, true, item};
}

Queue::Operation pop(const uint64_t invocation, const uint64_t response, const char item) {
    return {invocation, response, false, item};
}

bool isLinearizable(const std::vector<Register::Operation>& history) {
    return LinearizabilityChecker<Register>(history).check();
}

bool isLinearizable(const std::vector<Queue::Operation>& history) {
    return LinearizabilityChecker<Queue>(history).check();
}

TEST(LinearizabilityCheckerTest, nothingIsLinearizable) {
    EXPECT_TRUE(isLinearizable(std::vector<Register::Operation>{}));
}

TEST(LinearizabilityCheckerTest, operationsOneAfterTheOtherHaveOneOrder) {
    EXPECT_TRUE(isLinearizable({write(1, 2, 7), read(3, 4, 7)}));
    EXPECT_FALSE(isLinearizable({write(1, 2, 7), read(3, 4, 0)})) << "a read of an old value";
    EXPECT_FALSE(isLinearizable({write(1, 2, 7), read(3, 4, 8)})) << "a read of no value";
    EXPECT_FALSE(isLinearizable({read(1, 2, 7), write(3, 4, 7)})) << "a read of a future value";
}

TEST(LinearizabilityCheckerTest, theOrderInWhichOperationsAreGivenDoesNotMatter) {
    EXPECT_TRUE(isLinearizable({read(3, 4, 7), write(1, 2, 7)}));
    EXPECT_FALSE(isLinearizable({read(3, 4, 0), write(1, 2, 7)}));
}

TEST(LinearizabilityCheckerTest, concurrentOperationsHaveAnyOrder) {
    EXPECT_TRUE(isLinearizable({write(1, 4, 7), read(2, 3, 0)}));
    EXPECT_TRUE(isLinearizable({write(1, 4, 7), read(2, 3, 7)}));
    EXPECT_TRUE(isLinearizable({write(1, 2, 7), read(2, 3, 0)})) << "equal times count as concurrent";
    EXPECT_FALSE(isLinearizable({write(1, 4, 7), read(2, 3, 8)}));
}

TEST(LinearizabilityCheckerTest, aValueThatWasReadIsNotOldAgain) {
    EXPECT_TRUE(isLinearizable({write(1, 10, 7), read(2, 3, 0), read(4, 5, 7)}));
    EXPECT_FALSE(isLinearizable({write(1, 10, 7), read(2, 3, 7), read(4, 5, 0)}));
    EXPECT_TRUE(isLinearizable({write(1, 10, 7), read(2, 4, 7), read(3, 5, 0)})) << "the reads are concurrent";
}

TEST(LinearizabilityCheckerTest, aLongOperationMayTakeEffectLate) {
    EXPECT_TRUE(isLinearizable({write(1, 20, 7), write(2, 3, 8), read(4, 5, 8), read(6, 7, 7), read(8, 9, 7)}));
    EXPECT_FALSE(isLinearizable({write(1, 20, 7), write(2, 3, 8), read(4, 5, 7), read(6, 7, 8)}));
}

TEST(LinearizabilityCheckerTest, queuesOfTheLiteratureAreJudgedRightly) {
    EXPECT_TRUE(isLinearizable({push(1, 4, 'x'), push(2, 5, 'y'), pop(6, 7, 'y'), pop(8, 9, 'x')}));
    EXPECT_FALSE(isLinearizable({push(1, 2, 'x'), push(3, 4, 'y'), pop(5, 6, 'y')})) << "y overtakes x";
    EXPECT_TRUE(isLinearizable({push(1, 6, 'x'), pop(2, 3, 'x')})) << "a push that has taken effect early";
    EXPECT_FALSE(isLinearizable({push(1, 10, 'x'), push(2, 3, 'y'), pop(4, 6, 'y'), pop(5, 7, 'y')})) << "y twice";
}

TEST(LinearizabilityCheckerTest, aFirstChoiceThatFailsIsTakenBack) {
    // Only 3, 2, 1 explains the reads, and the search starts with 1.
    EXPECT_TRUE(isLinearizable({write(1, 10, 1), write(2, 11, 2), write(3, 12, 3), read(4, 20, 2), read(21, 22, 1)}));
    EXPECT_FALSE(isLinearizable({write(1, 10, 1), write(2, 11, 2), write(3, 12, 3), read(21, 22, 1), read(23, 24, 2)}));
}

TEST(LinearizabilityCheckerTest, theInitialStateCounts) {
    LinearizabilityChecker<Register> checker({read(1, 2, 7)});
    EXPECT_FALSE(checker.check());
    EXPECT_TRUE(checker.check(7));
    EXPECT_FALSE(checker.check(8));
}

/// A register that counts what the checker tries.
struct CountedRegister : public Register {
    bool apply(State& state, const Operation& operation) const {
        ++*m_numberOfAttempts;
        return Register::apply(state, operation);
    }

    size_t* m_numberOfAttempts;
};

TEST(LinearizabilityCheckerTest, noConfigurationIsSearchedTwice) {
    // 10 concurrent writes have 10! orders, but only 10 * 2^9 pairs of a set and its last member. From a set of n,
    // 10 - n writes are tried. That is n * (10 - n) for each set of n, with each of its members: 10 * 9 * 2^8 in all.
    std::vector<Register::Operation> history;
    for (int number = 1; number <= 10; ++number)
        history.push_back(write(static_cast<uint64_t>(number), 100, number));
    history.push_back(read(101, 102, 0));
    size_t numberOfAttempts = 0;
    CountedRegister model;
    model.m_numberOfAttempts = &numberOfAttempts;
    EXPECT_FALSE(LinearizabilityChecker<CountedRegister>(history, model).check());
    EXPECT_EQ(10u + 10 * 9 * 256 + 10, numberOfAttempts) << "first writes, further ones, and reads after all writes";
}

/// Tries all orders of a history.
bool hasOrder(const std::vector<Register::Operation>& history) {
    std::vector<size_t> order(history.size());
    std::iota(order.begin(), order.end(), size_t(0));
    do {
        Register::State state{};
        bool isRight = true;
        for (size_t place = 0; place < order.size() && isRight; ++place) {
            for (size_t later = place + 1; later < order.size(); ++later)
                isRight &= history[order[later]].m_response >= history[order[place]].m_invocation;
            isRight = isRight && Register::apply(state, history[order[place]]);
        }
        if (isRight)
            return true;
    } while (std::ranges::next_permutation(order).found);
    return false;
}

TEST(LinearizabilityCheckerTest, agreesWithASearchOfAllOrders) {
    constexpr size_t HISTORIES = 3000;
    std::minstd_rand random(1);
    size_t numberOfLinearizable = 0;
    for (size_t number = 0; number < HISTORIES; ++number) {
        std::vector<Register::Operation> history;
        for (size_t count = 0; count < 6; ++count) {
            const uint64_t invocation = random() % 16;
            history.push_back({invocation, invocation + 1 + random() % 8, random() % 2 == 0, int(random() % 3)});
        }
        const bool isExpected = hasOrder(history);
        numberOfLinearizable += isExpected;
        ASSERT_EQ(isExpected, isLinearizable(history)) << "history " << number;
    }
    EXPECT_GT(numberOfLinearizable, HISTORIES / 10);
    EXPECT_LT(numberOfLinearizable, HISTORIES - HISTORIES / 10);
}

} // namespace
