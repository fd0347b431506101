#include "Engine/core/platform/system/ThreadContextRegistration.h"

#include <gtest/gtest.h>

#include <thread>

TEST(ThreadContextRegistrationTest, unregisteredThreadHasIndexZero) {
    EXPECT_EQ(0u, g_currentThreadContextIndex);
    std::thread([] { EXPECT_EQ(0u, g_currentThreadContextIndex); }).join();
}

TEST(ThreadContextRegistrationTest, lowestFreeIndexIsGiven) {
    const ThreadContextRegistration registration;
    EXPECT_EQ(0u, g_currentThreadContextIndex);
    std::thread([] {
        const ThreadContextRegistration otherRegistration;
        EXPECT_EQ(1u, g_currentThreadContextIndex);
    }).join();
}

TEST(ThreadContextRegistrationTest, registrationWithinARegistrationKeepsTheIndex) {
    const ThreadContextRegistration registration;
    std::thread([] {
        const ThreadContextRegistration outer;
        EXPECT_EQ(1u, g_currentThreadContextIndex);
        {
            const ThreadContextRegistration inner;
            EXPECT_EQ(1u, g_currentThreadContextIndex);
        }
        EXPECT_EQ(1u, g_currentThreadContextIndex) << "only the outermost gives the index back";
        std::thread([] {
            const ThreadContextRegistration other;
            EXPECT_EQ(2u, g_currentThreadContextIndex);
        }).join();
    }).join();
}

TEST(ThreadContextRegistrationTest, endOfARegistrationMakesTheThreadUnregistered) {
    const ThreadContextRegistration registration;
    std::thread([] {
        { const ThreadContextRegistration otherRegistration; }
        EXPECT_EQ(0u, g_currentThreadContextIndex);
    }).join();
}

TEST(ThreadContextRegistrationTest, indexComesBackWhenItsThreadEnds) {
    const ThreadContextRegistration registration;
    for (size_t round = 0; round < 2 * NUMBER_OF_THREAD_CONTEXT_INDICES; ++round)
        std::thread([] {
            const ThreadContextRegistration otherRegistration;
            EXPECT_EQ(1u, g_currentThreadContextIndex);
        }).join();
}

TEST(ThreadContextRegistrationTest, threadMayRegisterAgain) {
    for (int round = 0; round < 3; ++round) {
        const ThreadContextRegistration registration;
        EXPECT_EQ(0u, g_currentThreadContextIndex);
    }
}

TEST(ThreadContextRegistrationTest, loanGivesTheIndexOfAnotherThread) {
    const ThreadContextRegistration registration;
    std::thread([&registration] {
        const ThreadContextRegistration otherRegistration;
        EXPECT_EQ(1u, g_currentThreadContextIndex);
        {
            const ThreadContextLoan loan(registration);
            EXPECT_EQ(0u, g_currentThreadContextIndex);
            {
                const ThreadContextRegistration within;
                EXPECT_EQ(0u, g_currentThreadContextIndex) << "a registration within a loan keeps the index";
            }
            EXPECT_EQ(0u, g_currentThreadContextIndex);
        }
        EXPECT_EQ(1u, g_currentThreadContextIndex);
    }).join();
}

TEST(ThreadContextRegistrationTest, unregisteredThreadMayBorrow) {
    std::thread([] {
        const ThreadContextRegistration first;
        std::thread([] {
            const ThreadContextRegistration second;
            std::thread([&second] {
                {
                    const ThreadContextLoan loan(second);
                    EXPECT_EQ(1u, g_currentThreadContextIndex);
                    const ThreadContextRegistration within;
                }
                EXPECT_EQ(0u, g_currentThreadContextIndex);
                const ThreadContextRegistration own;
                EXPECT_EQ(2u, g_currentThreadContextIndex) << "nothing is left of the loan";
            }).join();
        }).join();
    }).join();
}

TEST(ThreadContextRegistrationTest, loanOfNobodysGivesIndexZero) {
    const ThreadContextRegistration registration;
    std::thread([] {
        const ThreadContextRegistration otherRegistration;
        EXPECT_EQ(1u, g_currentThreadContextIndex);
        {
            const ThreadContextLoan loan;
            EXPECT_EQ(0u, g_currentThreadContextIndex);
            EXPECT_TRUE(g_hasThreadContextLoan);
            const ThreadContextRegistration within;
            EXPECT_EQ(0u, g_currentThreadContextIndex);
        }
        EXPECT_EQ(1u, g_currentThreadContextIndex);
        EXPECT_FALSE(g_hasThreadContextLoan);
    }).join();
}
