#include "Engine/core/platform/system/MemoryManager.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <limits>

TEST(MemoryManagerTest, startsWithEverythingFree) {
    const MemoryManager memoryManager(1000);
    EXPECT_EQ(1000u, memoryManager.getReservedBytes());
    EXPECT_EQ(1000u, memoryManager.getFreeBytes());
}

TEST(MemoryManagerTest, chargesAndGivesBack) {
    MemoryManager memoryManager(1000);
    memoryManager.allocate(300);
    memoryManager.allocate(0);
    EXPECT_EQ(700u, memoryManager.getFreeBytes());
    memoryManager.allocate(700);
    EXPECT_EQ(0u, memoryManager.getFreeBytes()) << "the limit can be used to its last byte";
    memoryManager.deallocate(1000);
    EXPECT_EQ(1000u, memoryManager.getFreeBytes());
    EXPECT_EQ(1000u, memoryManager.getReservedBytes());
}

TEST(MemoryManagerTest, largestLimitCanBeUsedWhole) {
    constexpr size_t LARGEST = std::numeric_limits<size_t>::max();
    MemoryManager memoryManager(LARGEST);
    memoryManager.allocate(LARGEST);
    EXPECT_EQ(0u, memoryManager.getFreeBytes());
    memoryManager.deallocate(LARGEST);
    EXPECT_EQ(LARGEST, memoryManager.getFreeBytes());
}

TEST(MemoryManagerTest, fieldsLieInTheirOrder) {
    MemoryManager memoryManager(1000);
    memoryManager.allocate(1);
    std::array<size_t, 2> words;
    static_assert(sizeof(words) <= sizeof(memoryManager));
    std::memcpy(words.data(), &memoryManager, sizeof(words));
    EXPECT_EQ(1000u, words[0]) << "the limit";
    EXPECT_EQ(999u, words[1]) << "what is free of it";
}

TEST(MemoryManagerTest, whatIsChargedIsChargedToTheSharedManagerAsWell) {
    MemoryManager shared(1000);
    MemoryManager first(800, &shared);
    MemoryManager second(800, &shared);
    first.allocate(300);
    second.allocate(500);
    EXPECT_EQ(500u, first.getFreeBytes());
    EXPECT_EQ(300u, second.getFreeBytes());
    EXPECT_EQ(200u, shared.getFreeBytes());
    first.deallocate(300);
    second.deallocate(500);
    EXPECT_EQ(800u, first.getFreeBytes());
    EXPECT_EQ(800u, second.getFreeBytes());
    EXPECT_EQ(1000u, shared.getFreeBytes());
}

TEST(MemoryManagerTest, aSharedManagerMayShareOneItself) {
    MemoryManager outermost(1000);
    MemoryManager middle(1000, &outermost);
    MemoryManager innermost(1000, &middle);
    innermost.allocate(400);
    EXPECT_EQ(600u, middle.getFreeBytes());
    EXPECT_EQ(600u, outermost.getFreeBytes());
    innermost.deallocate(400);
    EXPECT_EQ(1000u, outermost.getFreeBytes());
}
