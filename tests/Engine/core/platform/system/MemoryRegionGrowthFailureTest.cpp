#include "Engine/core/platform/system/MemoryRegionGrowth.h"

#include "Engine/core/platform/MemoryExhaustedException.h"
#include "tests/support/CaughtException.h"
#include "tests/support/SystemCallFaults.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdint>

using namespace melnar;

namespace {

constexpr size_t LIMIT = size_t(1) << 24;

} // namespace

TEST(MemoryRegionGrowthFailureTest, growthBeyondTheCapacityChangesNothing) {
    MemoryManager memoryManager(LIMIT);
    MemoryRegion<uint64_t> region(memoryManager);
    region.initialize(1000);
    EXPECT_EQ("Failed to ensure that a memory region could hold 1001 items because it was initialized to hold at most "
              "1000 items.",
              catchException<MelnarException>([&] { ensureEndInSteps(region, 1001); }).getMessage());
    EXPECT_EQ(0u, region.getEnd());
    EXPECT_EQ(LIMIT, memoryManager.getFreeBytes());
}

TEST(MemoryRegionGrowthFailureTest, shortageIsReportedForTheNeedAlone) {
    const size_t pageSize = getVMPageSize();
    MemoryManager memoryManager(pageSize - 1);
    MemoryRegion<uint64_t> region(memoryManager);
    region.initialize(1000000);
    const auto exception = catchException<MemoryExhaustedException>([&] { ensureEndInSteps(region, 1); });
    EXPECT_NE(std::string::npos, exception.getMessage().find(" to allocate " + std::to_string(pageSize) + " bytes"));
    EXPECT_EQ(0u, region.getEnd());
    EXPECT_EQ(pageSize - 1, memoryManager.getFreeBytes());
}

TEST(MemoryRegionGrowthFailureTest, refusedCommitGivesEveryChargeBack) {
    MemoryManager memoryManager(LIMIT);
    MemoryRegion<uint64_t> region(memoryManager);
    region.initialize(1000000);
    {
        SystemCallFaults protects(SystemCallFaults::Call::MPROTECT);
        protects.failAfter(0, ENOMEM, SystemCallFaults::Duration::FOR_GOOD);
        EXPECT_STREQ("mprotect",
                     catchException<SystemCallException>([&] { ensureEndInSteps(region, 1); }).getSystemCallName());
    }
    EXPECT_EQ(0u, region.getEnd());
    EXPECT_EQ(0u, region.getCommittedBytes());
    EXPECT_EQ(LIMIT, memoryManager.getFreeBytes());
    ensureEndInSteps(region, 1);
    EXPECT_LT(0u, region.getEnd());
}
