#include "Engine/core/platform/MemoryExhaustedException.h"
#include "Engine/core/platform/stream/MemoryInputStream.h"
#include "Engine/core/platform/stream/MemoryOutputStream.h"
#include "Engine/core/platform/system/MemoryRegion.h"
#include "tests/support/CaughtException.h"
#include "tests/support/MemoryAccess.h"
#include "tests/support/MemoryRegionTestPeer.h"
#include "tests/support/SystemCallFaults.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdint>
#include <string>
#include <sys/mman.h>

using namespace melnar;

namespace {

using Call = SystemCallFaults::Call;
using Duration = SystemCallFaults::Duration;

constexpr size_t LIMIT = size_t(1) << 24;
constexpr const char* SOURCE_FILE = "Engine/core/platform/system/MemoryRegion";

/// A region of four pages of 8-byte items, two of them committed and filled.
class MemoryRegionFailureTest : public ::testing::Test {
protected:
    MemoryRegionFailureTest()
        : m_pageSize(getVMPageSize()), m_itemsPerPage(m_pageSize / 8), m_memoryManager(LIMIT),
          m_region(m_memoryManager) {}

    void SetUp() override {
        m_region.initialize(4 * m_itemsPerPage);
        m_region.ensureEndAtLeast(2 * m_itemsPerPage);
        for (size_t index = 0; index < m_region.getEnd(); ++index)
            m_region[index] = index + 1;
    }

    void expectUnchanged() {
        ASSERT_NE(nullptr, m_region.getData());
        EXPECT_EQ(4 * m_itemsPerPage, m_region.getMaximumNumberOfItems());
        EXPECT_EQ(2 * m_itemsPerPage, m_region.getEnd());
        EXPECT_EQ(2 * m_pageSize, m_region.getCommittedBytes());
        EXPECT_EQ(LIMIT - 2 * m_pageSize, m_memoryManager.getFreeBytes());
        EXPECT_EQ(0u, MemoryRegionTestPeer::getGrowthLock(m_region)) << "the lock is free again";
        for (size_t index = 0; index < m_region.getEnd(); ++index)
            ASSERT_EQ(index + 1, m_region[index]);
        EXPECT_FALSE(isReadable(m_region.getData() + 2 * m_itemsPerPage));
    }

    void expectEmpty() const {
        EXPECT_EQ(nullptr, m_region.getData());
        EXPECT_EQ(0u, m_region.getMaximumNumberOfItems());
        EXPECT_EQ(0u, m_region.getEnd());
        EXPECT_EQ(0u, m_region.getCommittedBytes());
        EXPECT_EQ(LIMIT, m_memoryManager.getFreeBytes());
    }

    void expectGrows() {
        m_region.ensureEndAtLeast(3 * m_itemsPerPage);
        EXPECT_EQ(3 * m_itemsPerPage, m_region.getEnd());
        EXPECT_EQ(LIMIT - 3 * m_pageSize, m_memoryManager.getFreeBytes());
    }

    std::string getSavedBytes() const {
        MemoryOutputStream output;
        m_region.save(output);
        return output.getBytes();
    }

    const size_t m_pageSize;
    const size_t m_itemsPerPage;
    MemoryManager m_memoryManager;
    MemoryRegion<uint64_t> m_region;
};

} // namespace

TEST_F(MemoryRegionFailureTest, refusedReservationLeavesTheRegionEmpty) {
    SystemCallFaults maps(Call::MMAP);
    maps.failAfter(0, ENOMEM, Duration::ONCE);
    const size_t numberOfBytes = 10 * m_pageSize;
    const auto exception = catchException<SystemCallException>([&] { m_region.initialize(9 * m_itemsPerPage + 1); });
    EXPECT_EQ("An error occurred while reserving " + std::to_string(numberOfBytes) +
                  " bytes of address space.\n[Extended information: mmap reported error code 12 (Cannot allocate "
                  "memory)]",
              exception.getMessage());
    EXPECT_EQ("SystemCallException", exception.getExceptionName());
    EXPECT_STREQ("mmap", exception.getSystemCallName());
    EXPECT_EQ(ENOMEM, exception.getErrorCode());
    EXPECT_EQ(SOURCE_FILE, exception.getSourceFileName());
    EXPECT_EQ(212, exception.getSourceLineNumber());
    EXPECT_TRUE(exception.getCauses().empty());
    EXPECT_EQ(1u, m_memoryManager.getNumberOfRefusals());
    expectEmpty();
    m_region.initialize(m_itemsPerPage);
    EXPECT_NE(nullptr, m_region.getData()) << "the region is as good as new";
}

TEST_F(MemoryRegionFailureTest, moreAddressSpaceThanThereIsLeavesTheRegionEmpty) {
    const auto exception = catchException<SystemCallException>([&] { m_region.initialize(size_t(1) << 59); });
    EXPECT_EQ(ENOMEM, exception.getErrorCode());
    EXPECT_NE(std::string::npos, exception.getMessage().find(" 4611686018427387904 bytes of address space."));
    expectEmpty();
}

TEST_F(MemoryRegionFailureTest, growthBeyondCapacityCommitsNothing) {
    const SystemCallFaults protects(Call::MPROTECT);
    const auto exception = catchException<MelnarException>([&] { m_region.ensureEndAtLeast(4 * m_itemsPerPage + 1); });
    EXPECT_EQ("Failed to ensure that a memory region could hold " + std::to_string(4 * m_itemsPerPage + 1) +
                  " items because it was initialized to hold at most " + std::to_string(4 * m_itemsPerPage) + " items.",
              exception.getMessage());
    EXPECT_EQ(SOURCE_FILE, exception.getSourceFileName());
    EXPECT_EQ(242, exception.getSourceLineNumber());
    EXPECT_EQ(0u, protects.getNumberOfCalls());
    expectUnchanged();
    expectGrows();
}

TEST_F(MemoryRegionFailureTest, growthOfAThousandItemsByOneNamesBothNumbers) {
    MemoryRegion<uint64_t> region(m_memoryManager);
    region.initialize(1000);
    const auto exception = catchException<MelnarException>([&] { region.ensureEndAtLeast(1001); });
    EXPECT_EQ("Failed to ensure that a memory region could hold 1001 items because it was initialized to hold at most "
              "1000 items.",
              exception.getMessage());
    EXPECT_EQ(0u, region.getEnd());
    EXPECT_EQ(0u, region.getCommittedBytes());
    EXPECT_EQ(LIMIT - 2 * m_pageSize, m_memoryManager.getFreeBytes());
}

TEST_F(MemoryRegionFailureTest, capacityIsCheckedBeforeTheLockIsTaken) {
    MemoryRegionTestPeer::getGrowthLock(m_region) = 1;
    EXPECT_THROW(m_region.doEnsureEndAtLeast(4 * m_itemsPerPage + 1), MelnarException);
    EXPECT_EQ(1u, MemoryRegionTestPeer::getGrowthLock(m_region)) << "someone else's lock stays held";
    MemoryRegionTestPeer::getGrowthLock(m_region) = 0;
}

TEST_F(MemoryRegionFailureTest, growthOfAnEmptyRegionIsBeyondItsCapacity) {
    MemoryRegion<uint64_t> region(m_memoryManager);
    EXPECT_EQ("Failed to ensure that a memory region could hold 1 items because it was initialized to hold at most 0 "
              "items.",
              catchException<MelnarException>([&] { region.ensureEndAtLeast(1); }).getMessage());
    EXPECT_EQ(nullptr, region.getData());
}

TEST_F(MemoryRegionFailureTest, memoryLimitStopsGrowthBeforeAnythingIsCommitted) {
    MemoryManager memoryManager(2 * m_pageSize - 1);
    MemoryRegion<uint64_t> region(memoryManager);
    region.initialize(2 * m_itemsPerPage);
    const SystemCallFaults protects(Call::MPROTECT);
    const auto exception =
        catchException<MemoryExhaustedException>([&] { region.ensureEndAtLeast(m_itemsPerPage + 1); });
    EXPECT_EQ(
        "The Melnar instance has run out of memory.\n[Extended information: " + std::to_string(2 * m_pageSize - 1) +
            " bytes were reserved for the system, of which " + std::to_string(2 * m_pageSize - 1) +
            " were free when an attempt to allocate " + std::to_string(2 * m_pageSize) + " bytes was made.]",
        exception.getMessage());
    EXPECT_EQ(0u, protects.getNumberOfCalls());
    EXPECT_EQ(2 * m_pageSize - 1, memoryManager.getFreeBytes());
    EXPECT_EQ(0u, region.getEnd());
    EXPECT_EQ(0u, region.getCommittedBytes());
    EXPECT_EQ(0u, MemoryRegionTestPeer::getGrowthLock(region));
    region.ensureEndAtLeast(m_itemsPerPage);
    EXPECT_EQ(m_itemsPerPage, region.getEnd()) << "what fits is still to be had";
}

TEST_F(MemoryRegionFailureTest, hundredFreeBytesAreNamedAndStayFree) {
    m_memoryManager.allocate(m_memoryManager.getFreeBytes() - 100);
    const auto exception =
        catchException<MemoryExhaustedException>([&] { m_region.ensureEndAtLeast(2 * m_itemsPerPage + 1); });
    EXPECT_EQ("The Melnar instance has run out of memory.\n[Extended information: 16777216 bytes were reserved for "
              "the system, of which 100 were free when an attempt to allocate " +
                  std::to_string(m_pageSize) + " bytes was made.]",
              exception.getMessage());
    EXPECT_EQ("Engine/core/platform/system/MemoryManager", exception.getSourceFileName());
    EXPECT_EQ(73, exception.getSourceLineNumber());
    EXPECT_EQ(100u, m_memoryManager.getFreeBytes());
    m_memoryManager.deallocate(LIMIT - 2 * m_pageSize - 100);
    expectUnchanged();
    expectGrows();
}

TEST_F(MemoryRegionFailureTest, refusedCommitGivesTheChargeBack) {
    {
        SystemCallFaults protects(Call::MPROTECT);
        protects.failAfter(0, ENOMEM, Duration::FOR_GOOD);
        const auto exception =
            catchException<SystemCallException>([&] { m_region.ensureEndAtLeast(3 * m_itemsPerPage); });
        EXPECT_EQ("An error occurred during memory allocation. This is most likely due to the system running out of "
                  "memory.\n[Extended information: mprotect reported error code 12 (Cannot allocate memory)]",
                  exception.getMessage());
        EXPECT_STREQ("mprotect", exception.getSystemCallName());
        EXPECT_EQ(ENOMEM, exception.getErrorCode());
        EXPECT_EQ(SOURCE_FILE, exception.getSourceFileName());
        EXPECT_EQ(167, exception.getSourceLineNumber());
        EXPECT_EQ(1u, protects.getNumberOfCalls());
        EXPECT_EQ(m_pageSize, protects.getLatestRequest());
        EXPECT_EQ(1u, m_memoryManager.getNumberOfRefusals());
    }
    expectUnchanged();
    expectGrows();
}

TEST_F(MemoryRegionFailureTest, everyGrowthStepMayBeRefusedOnce) {
    m_region.initialize(8 * m_itemsPerPage);
    for (size_t page = 1; page <= 8; ++page) {
        SystemCallFaults protects(Call::MPROTECT);
        protects.failAfter(0, ENOMEM, Duration::ONCE);
        EXPECT_THROW(m_region.ensureEndAtLeast(page * m_itemsPerPage), SystemCallException);
        EXPECT_EQ((page - 1) * m_itemsPerPage, m_region.getEnd());
        EXPECT_EQ(LIMIT - (page - 1) * m_pageSize, m_memoryManager.getFreeBytes());
        m_region.ensureEndAtLeast(page * m_itemsPerPage);
        EXPECT_EQ(page * m_itemsPerPage, m_region.getEnd());
    }
}

TEST_F(MemoryRegionFailureTest, refusedDecommitIsNotReportedAndLeavesNoContents) {
    for (const bool isAdviceRefused : {false, true}) {
        SetUp();
        {
            SystemCallFaults maps(Call::MMAP);
            maps.failAfter(0, ENOMEM, Duration::ONCE);
            SystemCallFaults advices(Call::MADVISE);
            if (isAdviceRefused)
                advices.failAfter(0, EINVAL, Duration::ONCE);
            m_region.truncate(1);
            EXPECT_EQ(1u, maps.getNumberOfFailures());
        }
        EXPECT_EQ(m_itemsPerPage, m_region.getEnd());
        EXPECT_EQ(m_pageSize, m_region.getCommittedBytes());
        EXPECT_EQ(LIMIT - m_pageSize, m_memoryManager.getFreeBytes());
        m_region.ensureEndAtLeast(3 * m_itemsPerPage);
        EXPECT_EQ(1u, m_region[0]);
        for (size_t index = 1; index < m_region.getEnd(); ++index)
            ASSERT_EQ(0u, m_region[index]) << "at index " << index;
    }
}

TEST_F(MemoryRegionFailureTest, pagesThatARefusedDecommitCostsMakeTheNextGrowthFail) {
    {
        SystemCallFaults maps(Call::MMAP);
        maps.failAfter(0, ENOMEM, Duration::FOR_GOOD);
        maps.onFailedRemapping([](void* const begin, const size_t size) { ::munmap(begin, size); });
        m_region.truncate(1);
    }
    EXPECT_EQ(1u, m_region[0]);
    EXPECT_EQ(LIMIT - m_pageSize, m_memoryManager.getFreeBytes());
    const auto exception = catchException<SystemCallException>([&] { m_region.ensureEndAtLeast(m_itemsPerPage + 1); });
    EXPECT_STREQ("mprotect", exception.getSystemCallName());
    EXPECT_EQ(m_itemsPerPage, m_region.getEnd());
    EXPECT_EQ(LIMIT - m_pageSize, m_memoryManager.getFreeBytes());
    m_region.deinitialize();
    expectEmpty();
}

TEST_F(MemoryRegionFailureTest, refusedUnmapIsNotReported) {
    SystemCallFaults unmaps(Call::MUNMAP);
    unmaps.failAfter(0, EINVAL, Duration::ONCE);
    void* const data = m_region.getData();
    m_region.deinitialize();
    EXPECT_EQ(1u, unmaps.getNumberOfFailures());
    expectEmpty();
    VirtualMemory::release(data, 4 * m_pageSize);
}

TEST_F(MemoryRegionFailureTest, streamCutInsideCapacityOrEndLeavesTheRegionAsItWas) {
    const std::string bytes = getSavedBytes();
    for (size_t size = 0; size < 16; ++size) {
        const std::string cut = bytes.substr(0, size);
        MemoryInputStream input(cut);
        const auto exception = catchException<MelnarException>([&] { m_region.load(input); });
        EXPECT_EQ("Premature end of stream.", exception.getMessage());
        expectUnchanged();
    }
}

TEST_F(MemoryRegionFailureTest, streamCutInsideTheItemsEndsPrematurely) {
    const std::string bytes = getSavedBytes();
    for (const size_t size : {size_t(16), size_t(17), size_t(24), bytes.size() - 1}) {
        const std::string cut = bytes.substr(0, size);
        MemoryInputStream input(cut);
        MemoryRegion<uint64_t> region(m_memoryManager);
        const auto exception = catchException<MelnarException>([&] { region.load(input); });
        EXPECT_EQ("Premature end of stream.", exception.getMessage());
        EXPECT_EQ("Engine/core/platform/stream/InputStream", exception.getSourceFileName());
        EXPECT_EQ(26, exception.getSourceLineNumber());
        EXPECT_EQ(LIMIT - 2 * m_pageSize - region.getCommittedBytes(), m_memoryManager.getFreeBytes());
        region.initialize(5);
        region.ensureEndAtLeast(5);
        EXPECT_EQ(0u, region[0]) << "initialised again, it is as good as new";
    }
    expectUnchanged();
}

TEST_F(MemoryRegionFailureTest, savedEndBeyondTheSavedCapacityIsRefused) {
    MemoryOutputStream output;
    output.writeUInt64(1000);
    output.writeUInt64(1001);
    MemoryInputStream input(output.getBytes());
    const auto exception = catchException<MelnarException>([&] { m_region.load(input); });
    EXPECT_EQ("Failed to ensure that a memory region could hold 1001 items because it was initialized to hold at most "
              "1000 items.",
              exception.getMessage());
    EXPECT_EQ(0u, m_region.getEnd());
    EXPECT_EQ(LIMIT, m_memoryManager.getFreeBytes());
}

TEST_F(MemoryRegionFailureTest, loadBeyondTheMemoryLimitIsRefused) {
    MemoryOutputStream output;
    output.writeUInt64(LIMIT);
    output.writeUInt64(LIMIT / 8 + 1);
    MemoryInputStream input(output.getBytes());
    EXPECT_THROW(m_region.load(input), MemoryExhaustedException);
    EXPECT_EQ(0u, m_region.getEnd());
    EXPECT_EQ(LIMIT, m_memoryManager.getFreeBytes());
}

TEST_F(MemoryRegionFailureTest, loadWithoutAddressSpaceLeavesTheRegionEmpty) {
    const std::string bytes = getSavedBytes();
    MemoryInputStream input(bytes);
    SystemCallFaults maps(Call::MMAP);
    maps.failAfter(0, ENOMEM, Duration::ONCE);
    EXPECT_THROW(m_region.load(input), SystemCallException);
    expectEmpty();
}

TEST_F(MemoryRegionFailureTest, loadThatCannotCommitChargesNothing) {
    const std::string bytes = getSavedBytes();
    MemoryInputStream input(bytes);
    {
        SystemCallFaults protects(Call::MPROTECT);
        protects.failAfter(0, ENOMEM, Duration::ONCE);
        EXPECT_THROW(m_region.load(input), SystemCallException);
    }
    EXPECT_EQ(0u, m_region.getEnd());
    EXPECT_EQ(LIMIT, m_memoryManager.getFreeBytes());
    MemoryInputStream secondInput(bytes);
    m_region.load(secondInput);
    expectUnchanged();
}
