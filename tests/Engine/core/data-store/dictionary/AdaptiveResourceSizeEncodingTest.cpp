#include "Engine/core/data-store/dictionary/AdaptiveResourceSizeEncoding.h"

#include "tests/support/CaughtException.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

namespace {

using Encoding = AdaptiveResourceSizeEncoding;

struct HeaderCase {
    size_t m_size;
    std::vector<uint8_t> m_header;
};

/// Returns the smallest and the largest size of every header length, written by hand.
const std::vector<HeaderCase>& getHeaderCases() {
    static const std::vector<HeaderCase> s_headerCases{
        {0, {0x00}},
        {1, {0x02}},
        {5, {0x0A}},
        {0x7F, {0xFE}},
        {0x80, {0x01, 0x02}},
        {0x3FFF, {0xFD, 0xFF}},
        {0x4000, {0x03, 0x00, 0x02, 0x00}},
        {0x1FFFFFFF, {0xFB, 0xFF, 0xFF, 0xFF}},
        {0x20000000, {0x07, 0x00, 0x00, 0x00, 0x01, 0x00, 0x00, 0x00}},
        {0x1FFFFFFFFFFFFFFF, {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}},
    };
    return s_headerCases;
}

size_t decode(const std::vector<uint8_t>& header, const size_t expectedLength) {
    size_t size = 0;
    EXPECT_EQ(expectedLength, Encoding::decodeSize(header.data(), size));
    return size;
}

void expectRefusal(const MelnarException& exception) {
    EXPECT_EQ("The resource is larger than the largest resource supported by Melnar.", exception.getMessage());
    EXPECT_EQ("MelnarException", exception.getExceptionName());
    EXPECT_EQ("Engine/core/data-store/dictionary/AdaptiveResourceSizeEncoding", exception.getSourceFileName());
    EXPECT_EQ(37, exception.getSourceLineNumber());
    EXPECT_TRUE(exception.getCauses().empty());
}

} // namespace

TEST(AdaptiveResourceSizeEncodingTest, theShortestHeaderThatHoldsTheSizeIsChosen) {
    for (const HeaderCase& headerCase : getHeaderCases())
        EXPECT_EQ(headerCase.m_header.size(), Encoding::getEncodedSizeLength(headerCase.m_size)) << headerCase.m_size;
}

TEST(AdaptiveResourceSizeEncodingTest, headersHoldTheSizeAboveTheirTag) {
    for (const HeaderCase& headerCase : getHeaderCases()) {
        std::vector<uint8_t> header(headerCase.m_header.size());
        EXPECT_EQ(header.size(), Encoding::encodeSize(header.data(), headerCase.m_size));
        EXPECT_EQ(headerCase.m_header, header) << headerCase.m_size;
    }
}

TEST(AdaptiveResourceSizeEncodingTest, headersAreReadBack) {
    for (const HeaderCase& headerCase : getHeaderCases())
        EXPECT_EQ(headerCase.m_size, decode(headerCase.m_header, headerCase.m_header.size()));
}

TEST(AdaptiveResourceSizeEncodingTest, longerHeadersThanNeededAreReadToo) {
    EXPECT_EQ(5u, decode({0x15, 0x00}, 2));
    EXPECT_EQ(5u, decode({0x2B, 0x00, 0x00, 0x00}, 4));
    EXPECT_EQ(5u, decode({0x2F, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00}, 8));
}

TEST(AdaptiveResourceSizeEncodingTest, sizesAroundEveryBoundaryRoundTripAtEveryAddress) {
    constexpr uint8_t UNTOUCHED = 0xAB;
    std::vector<size_t> sizes{0, 1, 2, 3, Encoding::MAXIMUM_SIZE - 1, Encoding::MAXIMUM_SIZE};
    for (unsigned bit = 2; bit < 61; ++bit)
        for (size_t distance = 0; distance < 7; ++distance)
            sizes.push_back((size_t(1) << bit) - 3 + distance);
    for (const size_t size : sizes)
        for (size_t address = 0; address < 8; ++address) {
            alignas(8) std::array<uint8_t, 24> buffer;
            buffer.fill(UNTOUCHED);
            const std::array<uint8_t, 24> untouchedBuffer = buffer;
            const size_t length = Encoding::encodeSize(buffer.data() + address, size);
            EXPECT_EQ(Encoding::getEncodedSizeLength(size), length);
            size_t readSize = ~size;
            EXPECT_EQ(length, Encoding::decodeSize(buffer.data() + address, readSize)) << size;
            EXPECT_EQ(size, readSize);
            std::fill_n(buffer.begin() + address, length, UNTOUCHED);
            EXPECT_EQ(untouchedBuffer, buffer) << size << " at " << address << " wrote elsewhere";
        }
}

TEST(AdaptiveResourceSizeEncodingTest, theLargestSizeIsAccepted) {
    EXPECT_NO_THROW(Encoding::checkSize(0));
    EXPECT_NO_THROW(Encoding::checkSize(0x1FFFFFFFFFFFFFFF));
    EXPECT_NO_THROW(Encoding::checkLength(0));
    EXPECT_NO_THROW(Encoding::checkLength(0x1FFFFFFFFFFFFFFE));
}

TEST(AdaptiveResourceSizeEncodingFailureTest, sizesThatNoHeaderHoldsAreRefused) {
    for (const size_t size : {size_t(0x2000000000000000), std::numeric_limits<size_t>::max()})
        expectRefusal(catchException<MelnarException>([size] { Encoding::checkSize(size); }));
}

TEST(AdaptiveResourceSizeEncodingFailureTest, lengthsThatNoHeaderHoldsAreRefused) {
    for (const size_t length : {size_t(0x1FFFFFFFFFFFFFFF), std::numeric_limits<size_t>::max() - 1,
                                std::numeric_limits<size_t>::max()}) // the last one has no size
        expectRefusal(catchException<MelnarException>([length] { Encoding::checkLength(length); }));
}
