#include "Engine/core/platform/collections/ParallelHashTableHeader.h"

#include "Engine/core/platform/MelnarException.h"
#include "Engine/core/platform/stream/MemoryInputStream.h"
#include "Engine/core/platform/stream/MemoryOutputStream.h"
#include "tests/Engine/core/platform/collections/TableStream.h"

#include <gtest/gtest.h>

#include <string>

using namespace melnar;

namespace {

constexpr size_t MARKER_BYTES = 8 + 17;
constexpr size_t HEADER_BYTES = MARKER_BYTES + 4 * 8 + 256 * 4;

/// Makes a header with numbers that differ in every byte, and in every field.
ParallelHashTableHeader makeHeader() {
    ParallelHashTableHeader header;
    header.m_bucketCount = 0x0102030405060708;
    header.m_resizeThreshold = 0x1112131415161718;
    header.m_usedBucketCount = 0x2122232425262728;
    header.m_deletedBucketCount = 0x3132333435363738;
    header.m_insertionQuotas[0] = 0x41424344;
    header.m_insertionQuotas[255] = 0x51525354;
    return header;
}

/// Returns the bytes of that header, written by hand.
std::string makeBytes() {
    TableStream<uint32_t> stream(0x0102030405060708, 0x1112131415161718);
    stream.m_usedBuckets = 0x2122232425262728;
    stream.m_deletedBuckets = 0x3132333435363738;
    stream.m_quotas = {{0, 0x41424344}, {255, 0x51525354}};
    stream.m_regionCapacity = 0; // the region does not belong to the header
    return stream.getBytes().substr(0, HEADER_BYTES);
}

void expectEqual(const ParallelHashTableHeader& expected, const ParallelHashTableHeader& actual) {
    EXPECT_EQ(expected.m_bucketCount, actual.m_bucketCount);
    EXPECT_EQ(expected.m_resizeThreshold, actual.m_resizeThreshold);
    EXPECT_EQ(expected.m_usedBucketCount, actual.m_usedBucketCount);
    EXPECT_EQ(expected.m_deletedBucketCount, actual.m_deletedBucketCount);
    EXPECT_EQ(expected.m_insertionQuotas, actual.m_insertionQuotas);
}

TEST(ParallelHashTableHeaderTest, isKnownByteForByte) {
    MemoryOutputStream output;
    makeHeader().save(output);
    EXPECT_EQ(makeBytes(), output.getBytes());
}

TEST(ParallelHashTableHeaderTest, comesBackAndLeavesTheRegion) {
    const std::string bytes = makeBytes() + "region";
    MemoryInputStream input(bytes);
    ParallelHashTableHeader header;
    EXPECT_TRUE(header.load(input));
    expectEqual(makeHeader(), header);
    EXPECT_EQ(6u, input.getNumberOfRemainingBytes());
}

TEST(ParallelHashTableHeaderTest, anotherMarkerChangesNothing) {
    for (const size_t position : {size_t(0), size_t(8), MARKER_BYTES - 1}) {
        std::string bytes = makeBytes();
        bytes[position] ^= 1;
        MemoryInputStream input(bytes);
        ParallelHashTableHeader header;
        EXPECT_FALSE(header.load(input)) << position;
        expectEqual(ParallelHashTableHeader(), header);
        EXPECT_EQ(bytes.size() - (position == 0 ? 8 : MARKER_BYTES), input.getNumberOfRemainingBytes());
    }
}

TEST(ParallelHashTableHeaderTest, aStreamThatEndsTooEarlyHasGivenTheFieldsBeforeItsEnd) {
    const std::string bytes = makeBytes();
    for (const size_t length : {MARKER_BYTES + 16, MARKER_BYTES + 23}) {
        MemoryInputStream input(std::string_view(bytes).substr(0, length));
        ParallelHashTableHeader header;
        EXPECT_THROW(header.load(input), MelnarException);
        ParallelHashTableHeader expected;
        expected.m_bucketCount = makeHeader().m_bucketCount;
        expected.m_resizeThreshold = makeHeader().m_resizeThreshold;
        expectEqual(expected, header);
    }
}

TEST(ParallelHashTableHeaderTest, theThresholdIsTheLoadFactorsShareOfTheBucketsCutDown) {
    static_assert(ParallelHashTableHeader::getResizeThreshold(1024) == 716, "716.8");
    static_assert(ParallelHashTableHeader::getResizeThreshold(2048) == 1433, "1433.6");
    static_assert(ParallelHashTableHeader::getResizeThreshold(0) == 0);
    static_assert(ParallelHashTableHeader::getResizeThreshold(1024, 0.5) == 512);
    EXPECT_EQ(716u, ParallelHashTableHeader::getResizeThreshold(ParallelHashTableHeader::MINIMUM_NUMBER_OF_BUCKETS));
}

TEST(ParallelHashTableHeaderTest, quotasAddUpBeyondTheirWidth) {
    ParallelHashTableHeader header;
    EXPECT_EQ(0u, header.getSumOfInsertionQuotas());
    header.m_insertionQuotas.fill(0xFFFFFFFF);
    EXPECT_EQ(256 * uint64_t(0xFFFFFFFF), header.getSumOfInsertionQuotas());
}

} // namespace
