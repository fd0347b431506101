#include "Engine/core/platform/stream/MemoryInputStream.h"
#include "Engine/core/platform/system/MemoryRegion.h"

#include <gtest/gtest.h>

#include <atomic>
#include <bit>
#include <cstdint>
#include <string>
#include <vector>

using namespace melnar;

namespace {

constexpr size_t LIMIT = size_t(1) << 24;

/// Records each write separately.
class RecordingOutputStream final : public OutputStream {
public:
    const std::string& getName() const override { return m_name; }

    void write(const void* const data, const size_t numberOfBytes) override {
        m_writes.emplace_back(static_cast<const char*>(data), numberOfBytes);
    }

    void flush() override {}

    std::string getBytes() const {
        std::string bytes;
        for (const std::string& write : m_writes)
            bytes += write;
        return bytes;
    }

    std::vector<std::string> m_writes;

private:
    const std::string m_name = "record";
};

/// Returns the bytes of a number in the format of a little-endian machine.
std::string getBytesOf(const uint64_t value, const size_t width = 8) {
    std::string bytes;
    for (size_t byte = 0; byte < width; ++byte)
        bytes.push_back(static_cast<char>(value >> 8 * byte));
    return bytes;
}

class MemoryRegionStreamTest : public ::testing::Test {
protected:
    MemoryRegionStreamTest() : m_pageSize(getVMPageSize()), m_memoryManager(LIMIT) {}

    void SetUp() override {
        if (std::endian::native != std::endian::little)
            GTEST_SKIP() << "the bytes expected here are little-endian";
    }

    const size_t m_pageSize;
    MemoryManager m_memoryManager;
};

} // namespace

TEST_F(MemoryRegionStreamTest, emptyRegionIsSavedAsAZeroCapacity) {
    MemoryRegion<uint64_t> region(m_memoryManager);
    region.initialize(0);
    RecordingOutputStream output;
    region.save(output);
    EXPECT_EQ(std::vector<std::string>{std::string(8, '\0')}, output.m_writes);
}

TEST_F(MemoryRegionStreamTest, zeroCapacityEmptiesTheRegion) {
    MemoryRegion<uint64_t> region(m_memoryManager);
    region.initialize(1000);
    region.ensureEndAtLeast(1);
    const std::string bytes(8, '\0');
    MemoryInputStream input(bytes);
    region.load(input);
    EXPECT_EQ(nullptr, region.getData());
    EXPECT_EQ(0u, region.getEnd());
    EXPECT_EQ(0u, region.getMaximumNumberOfItems());
    EXPECT_EQ(LIMIT, m_memoryManager.getFreeBytes());
    EXPECT_EQ(0u, input.getNumberOfRemainingBytes());
}

TEST_F(MemoryRegionStreamTest, regionWithoutItemsIsSavedAsCapacityAndEnd) {
    MemoryRegion<uint32_t> region(m_memoryManager);
    region.initialize(7);
    RecordingOutputStream output;
    region.save(output);
    EXPECT_EQ(getBytesOf(7) + getBytesOf(0), output.getBytes());
    MemoryRegion<uint32_t> copy(m_memoryManager);
    const std::string bytes = output.getBytes();
    MemoryInputStream input(bytes);
    copy.load(input);
    EXPECT_EQ(7u, copy.getMaximumNumberOfItems());
    EXPECT_EQ(0u, copy.getEnd());
    EXPECT_EQ(0u, copy.getCommittedBytes());
}

TEST_F(MemoryRegionStreamTest, savedBytesAreCapacityEndAndItems) {
    MemoryRegion<uint64_t> region(m_memoryManager);
    region.initialize(3);
    region.ensureEndAtLeast(3);
    region[0] = 0x0102030405060708u;
    region[2] = 0xFFu;
    RecordingOutputStream output;
    region.save(output);
    EXPECT_EQ(std::string("\3\0\0\0\0\0\0\0"
                          "\3\0\0\0\0\0\0\0"
                          "\x08\x07\x06\x05\x04\x03\x02\x01"
                          "\0\0\0\0\0\0\0\0"
                          "\xFF\0\0\0\0\0\0\0",
                          40),
              output.getBytes());
}

TEST_F(MemoryRegionStreamTest, narrowItemsTakeTheirOwnWidth) {
    MemoryRegion<std::atomic<uint32_t>> region(m_memoryManager);
    region.initialize(2);
    region.ensureEndAtLeast(2);
    region[0] = 0x01020304u;
    region[1] = 5;
    RecordingOutputStream output;
    region.save(output);
    EXPECT_EQ(getBytesOf(2) + getBytesOf(2) + getBytesOf(0x01020304u, 4) + getBytesOf(5, 4), output.getBytes());
}

TEST_F(MemoryRegionStreamTest, eachPieceIsOneWrite) {
    MemoryRegion<uint64_t> region(m_memoryManager);
    region.initialize(100000);
    region.ensureEndAtLeast(50000);
    RecordingOutputStream output;
    region.save(output);
    ASSERT_EQ(3u, output.m_writes.size());
    EXPECT_EQ(getBytesOf(100000), output.m_writes[0]);
    EXPECT_EQ(getBytesOf(region.getEnd()), output.m_writes[1]);
    EXPECT_EQ(region.getEnd() * sizeof(uint64_t), output.m_writes[2].size());
}

TEST_F(MemoryRegionStreamTest, wholePagesAreSaved) {
    MemoryRegion<uint64_t> region(m_memoryManager);
    region.initialize(100000);
    region.ensureEndAtLeast(1);
    region[0] = 1;
    RecordingOutputStream output;
    region.save(output);
    EXPECT_EQ(getBytesOf(100000) + getBytesOf(m_pageSize / 8) + getBytesOf(1) + std::string(m_pageSize - 8, '\0'),
              output.getBytes());
}

TEST_F(MemoryRegionStreamTest, loadedRegionEqualsTheSavedOne) {
    MemoryRegion<uint64_t> region(m_memoryManager);
    region.initialize(100000);
    region.ensureEndAtLeast(3 * m_pageSize / 8);
    for (size_t index = 0; index < region.getEnd(); ++index)
        region[index] = index * index;
    RecordingOutputStream output;
    region.save(output);
    const std::string bytes = output.getBytes() + "rest";

    MemoryRegion<uint64_t> copy(m_memoryManager);
    copy.initialize(5);
    copy.ensureEndAtLeast(5);
    copy[4] = 99;
    MemoryInputStream input(bytes);
    copy.load(input);
    EXPECT_EQ(4u, input.getNumberOfRemainingBytes());
    EXPECT_EQ(region.getMaximumNumberOfItems(), copy.getMaximumNumberOfItems());
    ASSERT_EQ(region.getEnd(), copy.getEnd());
    EXPECT_EQ(region.getCommittedBytes(), copy.getCommittedBytes());
    for (size_t index = 0; index < copy.getEnd(); ++index)
        ASSERT_EQ(index * index, copy[index]);
    EXPECT_EQ(LIMIT - region.getCommittedBytes() - copy.getCommittedBytes(), m_memoryManager.getFreeBytes());
}

TEST_F(MemoryRegionStreamTest, loadedRegionStillGrows) {
    const std::string bytes = getBytesOf(100000) + getBytesOf(1) + getBytesOf(42);
    MemoryInputStream input(bytes);
    MemoryRegion<uint64_t> region(m_memoryManager);
    region.load(input);
    EXPECT_EQ(m_pageSize / 8, region.getEnd()) << "the page that holds one item holds more";
    region.ensureEndAtLeast(100000);
    EXPECT_EQ(42u, region[0]);
    EXPECT_EQ(0u, region[99999]);
}
