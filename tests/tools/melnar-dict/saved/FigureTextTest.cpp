#include "tools/melnar-dict/saved/FigureText.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace {

TEST(FigureTextTest, countsHaveCommas) {
    EXPECT_EQ("0", toCountText(0));
    EXPECT_EQ("999", toCountText(999));
    EXPECT_EQ("1,000", toCountText(1000));
    EXPECT_EQ("999,999", toCountText(999999));
    EXPECT_EQ("18,446,744,073,709,551,615", toCountText(UINT64_MAX));
}

TEST(FigureTextTest, nounsAreInTheSingularForOneAlone) {
    EXPECT_EQ("0 strings", toCountText(0, "string"));
    EXPECT_EQ("1 string", toCountText(1, "string"));
    EXPECT_EQ("2,000 strings", toCountText(2000, "string"));
}

TEST(FigureTextTest, sizesHaveThreeDigitsAndTheLargestUnit) {
    EXPECT_EQ("0 bytes", toBytesText(0));
    EXPECT_EQ("1 byte", toBytesText(1));
    EXPECT_EQ("1,023 bytes", toBytesText(1023));
    EXPECT_EQ("1.00 KiB", toBytesText(1024));
    EXPECT_EQ("9.99 KiB", toBytesText(10234));
    EXPECT_EQ("10.0 KiB", toBytesText(10235));
    EXPECT_EQ("99.9 KiB", toBytesText(102344));
    EXPECT_EQ("100 KiB", toBytesText(102400));
    EXPECT_EQ("1023 KiB", toBytesText(1023 * 1024));
    EXPECT_EQ("1.00 MiB", toBytesText(1024 * 1024 - 1)) << "not 1024 KiB";
    EXPECT_EQ("19.6 MiB", toBytesText(20598784));
    EXPECT_EQ("1.00 GiB", toBytesText(uint64_t(1) << 30));
    EXPECT_EQ("2.50 TiB", toBytesText(uint64_t(5) << 39));
    EXPECT_EQ("16777216 TiB", toBytesText(UINT64_MAX));
}

TEST(FigureTextTest, onlyNothingIsNoShareAndOnlyAllIsTheWhole) {
    EXPECT_EQ("0%", toShareText(0, 0));
    EXPECT_EQ("0%", toShareText(0, 7));
    EXPECT_EQ("<0.1%", toShareText(1, 1000000));
    EXPECT_EQ("0.1%", toShareText(1, 1000));
    EXPECT_EQ("33.3%", toShareText(1, 3));
    EXPECT_EQ("99.9%", toShareText(999, 1000));
    EXPECT_EQ(">99.9%", toShareText(999999, 1000000));
    EXPECT_EQ("100%", toShareText(7, 7));
}

TEST(FigureTextTest, decimalsHaveTwoDigits) {
    EXPECT_EQ("0.00", toDecimalText(0));
    EXPECT_EQ("1.52", toDecimalText(1.5161));
    EXPECT_EQ("14,331.00", toDecimalText(14331));
    EXPECT_EQ("1,000.00", toDecimalText(999.999));
}

} // namespace
