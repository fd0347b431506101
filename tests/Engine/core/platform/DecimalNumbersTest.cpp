#include "Engine/core/platform/DecimalNumbers.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>

namespace {

std::string getDecimal(const uint64_t value) {
    std::string text;
    appendDecimal(text, value);
    return text;
}

std::string getSignedDecimal(const int value) {
    std::string text;
    appendSignedDecimal(text, value);
    return text;
}

} // namespace

TEST(DecimalNumbersTest, numbersBelowTenRoundToOne) {
    for (uint32_t value = 0; value < 10; ++value) {
        EXPECT_EQ(1u, roundToCommonLogarithm32(value));
        EXPECT_EQ(1u, roundToCommonLogarithm64(value));
    }
}

TEST(DecimalNumbersTest, everyPowerOfTenOf32BitsStartsItsOwnRange) {
    uint32_t power = 1;
    for (int digits = 2; digits <= 10; ++digits) {
        EXPECT_EQ(power, roundToCommonLogarithm32(power * 10 - 1));
        power *= 10;
        EXPECT_EQ(power, roundToCommonLogarithm32(power));
    }
    EXPECT_EQ(1000000000u, roundToCommonLogarithm32(std::numeric_limits<uint32_t>::max()));
}

TEST(DecimalNumbersTest, everyPowerOfTenOf64BitsStartsItsOwnRange) {
    uint64_t power = 1;
    for (int digits = 2; digits <= 20; ++digits) {
        EXPECT_EQ(power, roundToCommonLogarithm64(power * 10 - 1));
        power *= 10;
        EXPECT_EQ(power, roundToCommonLogarithm64(power));
    }
}

TEST(DecimalNumbersTest, tenRoundsToTen) {
    EXPECT_EQ(10u, roundToCommonLogarithm64(10));
}

TEST(DecimalNumbersTest, largestNumberRoundsToTheLargestPowerOfTen) {
    EXPECT_EQ(10000000000000000000u, roundToCommonLogarithm64(18446744073709551615u));
}

TEST(DecimalNumbersTest, zeroPrintsAsOneDigit) {
    EXPECT_EQ("0", getDecimal(0));
    EXPECT_EQ("0", getSignedDecimal(0));
}

TEST(DecimalNumbersTest, digitsAreNotGrouped) {
    EXPECT_EQ("1000000", getDecimal(1000000));
    EXPECT_EQ("1000000", getSignedDecimal(1000000));
}

TEST(DecimalNumbersTest, largestNumbersPrintInFull) {
    EXPECT_EQ("18446744073709551615", getDecimal(std::numeric_limits<uint64_t>::max()));
    EXPECT_EQ("2147483647", getSignedDecimal(std::numeric_limits<int>::max()));
}

TEST(DecimalNumbersTest, printsLikeTheStandardLibraryAroundEveryPowerOfTwo) {
    for (unsigned bit = 0; bit < 64; ++bit)
        for (uint64_t value = (uint64_t(1) << bit) - 1, end = value + 3; value != end; ++value) {
            EXPECT_EQ(std::to_string(value), getDecimal(value));
            EXPECT_EQ(std::to_string(static_cast<int>(value)), getSignedDecimal(static_cast<int>(value)));
        }
}

TEST(DecimalNumbersTest, negativeNumbersPrintASignAndTheirMagnitude) {
    EXPECT_EQ("-1", getSignedDecimal(-1));
    EXPECT_EQ("-10", getSignedDecimal(-10));
}

TEST(DecimalNumbersTest, smallestNumberPrintsItsFullMagnitude) {
    EXPECT_EQ("-2147483648", getSignedDecimal(std::numeric_limits<int>::min()));
}

TEST(DecimalNumbersTest, printingAppends) {
    std::string text = "a";
    appendDecimal(text, 12);
    appendSignedDecimal(text, -3);
    EXPECT_EQ("a12-3", text);
}
