#include "Engine/core/platform/system/MemoryManager.h"

#include "Engine/core/platform/MemoryExhaustedException.h"
#include "tests/support/CaughtException.h"

#include <gtest/gtest.h>

#include <limits>

TEST(MemoryManagerFailureTest, chargeBeyondTheLimitChargesNothing) {
    MemoryManager memoryManager(5000);
    memoryManager.allocate(4900);
    const auto exception = catchException<MemoryExhaustedException>([&] { memoryManager.allocate(4096); });
    EXPECT_EQ("The Melnar instance has run out of memory.\n[Extended information: 5000 bytes were reserved for the "
              "system, of which 100 were free when an attempt to allocate 4096 bytes was made.]",
              exception.getMessage());
    EXPECT_EQ("Engine/core/platform/system/MemoryManager", exception.getSourceFileName());
    EXPECT_EQ(73, exception.getSourceLineNumber());
    EXPECT_TRUE(exception.getCauses().empty());
    EXPECT_EQ(100u, memoryManager.getFreeBytes());
    EXPECT_EQ(5000u, memoryManager.getReservedBytes());
}

TEST(MemoryManagerFailureTest, oneByteTooManyIsTooMany) {
    MemoryManager memoryManager(10);
    EXPECT_THROW(memoryManager.allocate(11), MemoryExhaustedException);
    EXPECT_THROW(memoryManager.allocate(std::numeric_limits<size_t>::max()), MemoryExhaustedException);
    EXPECT_EQ(10u, memoryManager.getFreeBytes());
    memoryManager.allocate(10);
    EXPECT_THROW(memoryManager.allocate(1), MemoryExhaustedException);
    EXPECT_EQ(0u, memoryManager.getFreeBytes());
}
