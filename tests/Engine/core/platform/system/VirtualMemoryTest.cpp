#include "Engine/core/platform/system/VirtualMemory.h"

#include "tests/support/MemoryAccess.h"
#include "tests/support/SystemCallFaults.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstdint>
#include <fstream>
#include <ios>
#include <sstream>
#include <string>
#include <sys/mman.h>
#include <unistd.h>

using namespace melnar;

namespace {

using Call = SystemCallFaults::Call;
using Duration = SystemCallFaults::Duration;

/// Two pages of address space.
class VirtualMemoryTest : public ::testing::Test {
protected:
    VirtualMemoryTest() : m_pageSize(getVMPageSize()), m_begin(nullptr) {}

    void SetUp() override {
        m_begin = static_cast<uint8_t*>(VirtualMemory::reserve(2 * m_pageSize));
        ASSERT_NE(nullptr, m_begin);
    }

    void TearDown() override { VirtualMemory::release(m_begin, 2 * m_pageSize); }

    bool isZero(const uint8_t* const begin) const {
        return std::all_of(begin, begin + m_pageSize, [](const uint8_t byte) { return byte == 0; });
    }

    const size_t m_pageSize;
    uint8_t* m_begin;
};

/// Does what the system may do to the old mapping before it reports that a new one over it has failed.
void unmap(void* const begin, const size_t size) {
    ::munmap(begin, size);
}

/// Returns whether the system has been advised to use huge pages for the mapping of this byte.
bool isAdvisedToUseHugePages(const uint8_t* const byte) {
    const auto address = reinterpret_cast<uintptr_t>(byte);
    std::ifstream mappings("/proc/self/smaps");
    bool isInMapping = false;
    for (std::string line; std::getline(mappings, line);) {
        std::istringstream words(line);
        uintptr_t begin = 0;
        uintptr_t end = 0;
        char dash = 0;
        if (words >> std::hex >> begin >> dash >> end && dash == '-')
            isInMapping = begin <= address && address < end;
        else if (isInMapping && line.starts_with("VmFlags:"))
            return (line + ' ').find(" hg ") != std::string::npos;
    }
    return false;
}

} // namespace

TEST(VMPageSizeTest, pageSizeIsTheSystemsAndAPowerOfTwo) {
    EXPECT_EQ(static_cast<size_t>(::sysconf(_SC_PAGESIZE)), getVMPageSize());
    EXPECT_TRUE(std::has_single_bit(getVMPageSize()));
    EXPECT_LE(4096u, getVMPageSize());
}

TEST_F(VirtualMemoryTest, reservedMemoryFaults) {
    EXPECT_EQ(0u, reinterpret_cast<uintptr_t>(m_begin) % m_pageSize);
    EXPECT_FALSE(isReadable(m_begin));
    EXPECT_FALSE(isReadable(m_begin + 2 * m_pageSize - 1));
}

TEST_F(VirtualMemoryTest, committedPagesAreZeroAndWritableAndTheRestStillFaults) {
    ASSERT_TRUE(VirtualMemory::commit(m_begin, m_pageSize));
    EXPECT_TRUE(isZero(m_begin));
    std::fill_n(m_begin, m_pageSize, uint8_t(0xFF));
    EXPECT_FALSE(isReadable(m_begin + m_pageSize));
}

TEST_F(VirtualMemoryTest, decommittedPagesFaultAndAreZeroWhenCommittedAgain) {
    ASSERT_TRUE(VirtualMemory::commit(m_begin, 2 * m_pageSize));
    std::fill_n(m_begin, 2 * m_pageSize, uint8_t(0xFF));
    VirtualMemory::decommit(m_begin + m_pageSize, m_pageSize);
    EXPECT_EQ(0xFF, m_begin[m_pageSize - 1]) << "the page before keeps its contents";
    EXPECT_FALSE(isReadable(m_begin + m_pageSize));
    ASSERT_TRUE(VirtualMemory::commit(m_begin + m_pageSize, m_pageSize));
    EXPECT_TRUE(isZero(m_begin + m_pageSize));
}

TEST_F(VirtualMemoryTest, decommittedPagesKeepTheAdviceForHugePages) {
    constexpr size_t SIZE = size_t(16) << 20;
    auto* const begin = static_cast<uint8_t*>(VirtualMemory::reserve(SIZE));
    ASSERT_NE(nullptr, begin);
    const bool hasHugePages = isAdvisedToUseHugePages(begin);
    for (const bool isLostMeanwhile : {false, true})
        for (const size_t kept : {SIZE - m_pageSize, SIZE / 2, size_t(0)}) {
            EXPECT_TRUE(VirtualMemory::commit(begin, SIZE));
            {
                SystemCallFaults maps(Call::MMAP);
                if (isLostMeanwhile)
                    maps.failAfter(0, ENOMEM, Duration::ONCE);
                maps.onFailedRemapping(unmap);
                VirtualMemory::decommit(begin + kept, SIZE - kept);
            }
            EXPECT_EQ(hasHugePages, isAdvisedToUseHugePages(begin + kept)) << "decommitted from byte " << kept;
            EXPECT_TRUE(VirtualMemory::commit(begin + kept, SIZE - kept));
            EXPECT_EQ(hasHugePages, isAdvisedToUseHugePages(begin + SIZE - 1)) << "decommitted from byte " << kept;
        }
    VirtualMemory::release(begin, SIZE);
    if (!hasHugePages)
        GTEST_SKIP() << "The system has no huge pages, or does not tell.";
}

TEST_F(VirtualMemoryTest, pagesThatTheSystemDoesNotTakeBackAreZeroAllTheSame) {
    for (const bool isAdviceRefused : {false, true}) {
        ASSERT_TRUE(VirtualMemory::commit(m_begin, 2 * m_pageSize));
        std::fill_n(m_begin, 2 * m_pageSize, uint8_t(0xFF));
        {
            SystemCallFaults maps(Call::MMAP);
            maps.failAfter(0, ENOMEM, Duration::ONCE);
            SystemCallFaults advices(Call::MADVISE);
            if (isAdviceRefused)
                advices.failAfter(0, EINVAL, Duration::ONCE);
            VirtualMemory::decommit(m_begin + m_pageSize, m_pageSize);
            EXPECT_EQ(1u, maps.getNumberOfFailures());
            EXPECT_EQ(1u, advices.getNumberOfCalls());
        }
        ASSERT_TRUE(VirtualMemory::commit(m_begin + m_pageSize, m_pageSize));
        EXPECT_TRUE(isZero(m_begin + m_pageSize));
        EXPECT_EQ(0xFF, m_begin[m_pageSize - 1]) << "the page before keeps its contents";
    }
}

TEST_F(VirtualMemoryTest, refusedDecommitLeavesNoMappingElsewhere) {
    ASSERT_TRUE(VirtualMemory::commit(m_begin, 2 * m_pageSize));
    SystemCallFaults maps(Call::MMAP);
    maps.failAfter(0, ENOMEM, Duration::ONCE);
    const SystemCallFaults unmaps(Call::MUNMAP);
    VirtualMemory::decommit(m_begin + m_pageSize, m_pageSize);
    EXPECT_EQ(maps.getNumberOfCalls() - maps.getNumberOfFailures(), unmaps.getNumberOfCalls());
}

TEST_F(VirtualMemoryTest, pagesThatAreLostInADecommitAreReservedAgain) {
    for (const bool isAdviceRefused : {false, true}) {
        ASSERT_TRUE(VirtualMemory::commit(m_begin, 2 * m_pageSize));
        std::fill_n(m_begin, 2 * m_pageSize, uint8_t(0xFF));
        {
            SystemCallFaults maps(Call::MMAP);
            maps.failAfter(0, ENOMEM, Duration::ONCE);
            maps.onFailedRemapping(unmap);
            SystemCallFaults advices(Call::MADVISE);
            if (isAdviceRefused)
                advices.failAfter(0, EINVAL, Duration::FOR_GOOD);
            VirtualMemory::decommit(m_begin + m_pageSize, m_pageSize);
            EXPECT_EQ(1u, maps.getNumberOfFailures());
        }
        EXPECT_EQ(0xFF, m_begin[m_pageSize - 1]) << "the page before keeps its contents";
        EXPECT_FALSE(isReadable(m_begin + m_pageSize));
        ASSERT_TRUE(VirtualMemory::commit(m_begin + m_pageSize, m_pageSize));
        EXPECT_TRUE(isZero(m_begin + m_pageSize));
    }
}

TEST_F(VirtualMemoryTest, pagesThatAreLostForGoodAreNeitherTouchedNorCommitted) {
    ASSERT_TRUE(VirtualMemory::commit(m_begin, 2 * m_pageSize));
    std::fill_n(m_begin, 2 * m_pageSize, uint8_t(0xFF));
    {
        SystemCallFaults maps(Call::MMAP);
        maps.failAfter(0, ENOMEM, Duration::FOR_GOOD);
        maps.onFailedRemapping(unmap);
        VirtualMemory::decommit(m_begin + m_pageSize, m_pageSize);
    }
    EXPECT_EQ(0xFF, m_begin[m_pageSize - 1]) << "the page before keeps its contents";
    EXPECT_FALSE(isReadable(m_begin + m_pageSize));
    EXPECT_FALSE(VirtualMemory::commit(m_begin + m_pageSize, m_pageSize));
    EXPECT_EQ(ENOMEM, errno);
}

TEST_F(VirtualMemoryTest, pagesThatAnotherThreadGotDuringADecommitAreLeftAlone) {
    ASSERT_TRUE(VirtualMemory::commit(m_begin, 2 * m_pageSize));
    uint8_t* const lost = m_begin + m_pageSize;
    {
        SystemCallFaults maps(Call::MMAP);
        maps.failAfter(0, ENOMEM, Duration::ONCE);
        maps.onFailedRemapping([](void* const begin, const size_t size) {
            constexpr int PROTECTION = PROT_READ | PROT_WRITE;
            ASSERT_EQ(begin, ::mmap(begin, size, PROTECTION, MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED, -1, 0));
            std::fill_n(static_cast<uint8_t*>(begin), size, uint8_t(0xAB));
        });
        VirtualMemory::decommit(lost, m_pageSize);
        EXPECT_EQ(1u, maps.getNumberOfFailures());
    }
    ASSERT_TRUE(isReadable(lost));
    EXPECT_TRUE(std::all_of(lost, lost + m_pageSize, [](const uint8_t byte) { return byte == 0xAB; }));
}

TEST_F(VirtualMemoryTest, releaseUnmapsTheWholeReservation) {
    const SystemCallFaults unmaps(Call::MUNMAP);
    void* const begin = VirtualMemory::reserve(3 * m_pageSize);
    ASSERT_NE(nullptr, begin);
    VirtualMemory::release(begin, 3 * m_pageSize);
    EXPECT_EQ(1u, unmaps.getNumberOfCalls());
    EXPECT_EQ(3 * m_pageSize, unmaps.getLatestRequest());
    EXPECT_EQ(0u, unmaps.getNumberOfFailures());
}

TEST_F(VirtualMemoryTest, refusedReservationIsNull) {
    SystemCallFaults maps(Call::MMAP);
    maps.failAfter(0, ENOMEM, Duration::ONCE);
    errno = 0;
    EXPECT_EQ(nullptr, VirtualMemory::reserve(m_pageSize));
    EXPECT_EQ(ENOMEM, errno);
}

TEST_F(VirtualMemoryTest, refusedCommitIsFalseAndThePagesStillFault) {
    SystemCallFaults protects(Call::MPROTECT);
    protects.failAfter(0, ENOMEM, Duration::ONCE);
    errno = 0;
    EXPECT_FALSE(VirtualMemory::commit(m_begin, m_pageSize));
    EXPECT_EQ(ENOMEM, errno);
    EXPECT_FALSE(isReadable(m_begin));
}

TEST_F(VirtualMemoryTest, commitOfWhatWasNeverReservedIsRefusedByTheSystem) {
    VirtualMemory::release(m_begin, 2 * m_pageSize);
    EXPECT_FALSE(VirtualMemory::commit(m_begin, m_pageSize));
    EXPECT_EQ(ENOMEM, errno);
    m_begin = static_cast<uint8_t*>(VirtualMemory::reserve(2 * m_pageSize));
}
